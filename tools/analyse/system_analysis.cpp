#include <tools/analyse/system_analysis.h>

#include <numeric>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kAnalyse = 11, kRelease = -1;
constexpr int kNoMatching = -6;

constexpr OrderingMethod kMethods[] = {
    {"mmd", "minimum degree", 0},
    {"cmmd", "minimum degree in parts", 1},
    {"nd", "nested dissection", 2},
    {"pnd", "nested dissection in parts", 3},
    {"natural", "as the file has it", 0, true},
};

} // namespace

std::span<const OrderingMethod> orderingMethods()
{
    return kMethods;
}

std::string_view errorInWords(int error)
{
    switch (error) {
    case -2:
        return "there is not enough memory";
    case -8:
    case -3:
        return "the factor is too large";
    default:
        return "the analysis failed";
    }
}

SystemAnalysis::SystemAnalysis(const EngineMatrix& matrix)
    : matrix_(matrix), natural_(static_cast<std::size_t>(matrix_.n))
{
    std::iota(natural_.begin(), natural_.end(), 1);
}

SystemAnalysis::~SystemAnalysis()
{
    call(kRelease, kMethods[0]);
}

int SystemAnalysis::call(int phase, const OrderingMethod& method)
{
    using enum PardisoParameter;
    parameters_[CallersValues] = 1;
    parameters_[Ordering] = method.ordering;
    parameters_[PermutationUse] = method.asItStands ? 1 : 0;
    // With a matching the symmetric types would be ordered by its pairs, whatever is asked for.
    const bool matches = (matrix_.mtype == 11 || matrix_.mtype == 13) && !isSingular();
    parameters_[Matching] = parameters_[Scaling] = matches ? 1 : 0;
    int error = 0;
    pardiso(pt_.data(), 1, 1, matrix_.mtype, phase, matrix_.n, matrix_.a, matrix_.ia, matrix_.ja,
            natural_.data(), 1, slots_.data(), 0, nullptr, nullptr, error);
    return error;
}

OrderingResult SystemAnalysis::order(const OrderingMethod& method)
{
    OrderingResult result{.method = &method, .error = call(kAnalyse, method)};
    const AnalysisView view(pt_.data());
    if (!isSingular()) matching_ = view.Matching();
    if (result.error == kNoMatching) result.error = call(kAnalyse, method);
    if (result.error != 0) return result;
    result.summary = *view.Summary();
    result.analysisKilobytes = parameters_[PardisoParameter::AnalysisPeak];
    result.keptKilobytes = parameters_[PardisoParameter::AnalysisKept];
    result.factorKilobytes = parameters_[PardisoParameter::FactorMemory];
    result.inCoreMegabytes = parameters_[PardisoParameter::InCoreMegabytes];
    result.leastOutOfCoreMegabytes = parameters_[PardisoParameter::OutOfCoreMegabytes];
    return result;
}

PatternGrid SystemAnalysis::factorPattern(int side) const
{
    const bool withU = !matrix_.isTriangle();
    PatternGrid grid(matrix_.n, matrix_.n, side, side);
    for (std::int32_t i = 0; matrix_.isDiagonal() && i < matrix_.n; ++i) grid.add(i, i);
    const AnalysisView view(pt_.data());
    for (std::int32_t J = 0; J < view.Supernodes(); ++J) {
        const Supernode supernode = view.SupernodeAt(J);
        for (std::int32_t k = 0; k < supernode.columns; ++k) {
            const std::int32_t column = supernode.firstColumn + k;
            for (const std::int32_t row : supernode.rows.subspan(static_cast<std::size_t>(k))) {
                grid.add(row, column);
                if (withU && row != column) grid.add(column, row);
            }
        }
    }
    return grid;
}

} // namespace Velmar::Lintrix::tools
