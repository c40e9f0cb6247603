#include <lintrix/systems/column_quality.h>

#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/forward_bound.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/quality.h>
#include <lintrix/systems/roads/words.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <span>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// What is estimated is the small part of the bound that is left when the correction is known: the size will
/// do.
constexpr NormEstimation kQuick{.columns = 1, .iterations = 2};

/// Y = op(A)^-1 * X by the factor, on raw columns.
template <class Cell>
void solveRaw(Factored<Cell>& factor, std::int32_t size, TransposeMode op, std::int32_t columns,
              const Cell* x, Cell* y)
{
    const MatrixOf<Cell> X = AccessTo<Cell>::copyOf(x, size, columns);
    MatrixOf<Cell> Y(size, columns);
    const bool solved = factor.solve(X, Y, op, 0).error == 0;
    const auto cells = cellsOf(Y);
    if (solved)
        std::ranges::copy(cells, y);
    else
        std::fill_n(y, cells.size(), Cell(std::numeric_limits<double>::quiet_NaN()));
}

/// (A^T)^-H*x is conj(A^-1*conj(x)).
template <class Cell>
void solveConjugated(Factored<Cell>& factor, std::int32_t size, std::int32_t columns, const Cell* x, Cell* y)
{
    const auto count = static_cast<std::size_t>(size) * static_cast<std::size_t>(columns);
    MatrixOf<Cell> X = conjugateOf(AccessTo<Cell>::copyOf(x, size, columns));
    solveRaw(factor, size, TransposeMode::NotTransposed, columns, cellsOf(std::as_const(X)).data(), y);
    X = conjugateOf(AccessTo<Cell>::copyOf(y, size, columns));
    std::copy_n(cellsOf(std::as_const(X)).begin(), count, y);
}

/// The columns in the order in which their errors are bounded.
std::vector<std::size_t> worstFirst(const std::vector<BackwardError>& errors)
{
    std::vector<std::size_t> order(errors.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto badness = [&errors](std::size_t j) {
        const double error = errors[j].componentwise;
        return std::isnan(error) ? std::numeric_limits<double>::infinity() : error;
    };
    std::ranges::stable_sort(order, std::ranges::greater(), badness);
    return order;
}

template <class Cells>
bool isZero(Cells cells)
{
    return std::ranges::all_of(cells, [](const auto& cell) { return cell == 0.0; });
}

/// A bound that could not be had takes the best verdict away, and no more: the probe has been measured.
Verdict verdictOf(const ColumnQuality& column, double probeError, std::optional<double> ownError)
{
    const Verdict byProbe = roads::verdictOf(column.backwardError, probeError);
    if (!ownError) return byProbe;
    if (!std::isfinite(*ownError)) return std::max(byProbe, Verdict::Degraded);
    return roads::verdictOf(column.backwardError, worseError(probeError, ownError));
}

/// ||op(A)^-1 * r||/||x|| of each of some columns, by the factor.
template <class Cell>
std::vector<double> errorEstimates(Factored<Cell>& factor, std::int32_t n, TransposeMode op,
                                   std::span<const std::size_t> which, const Cell* x, const Cell* r)
{
    const auto rows = static_cast<std::size_t>(n);
    if (which.empty()) return {};
    std::vector<Cell> residuals, corrections(rows * which.size());
    for (const std::size_t j : which) residuals.insert(residuals.end(), r + rows * j, r + rows * (j + 1));
    solveRaw(factor, n, op, static_cast<std::int32_t>(which.size()), residuals.data(), corrections.data());
    std::vector<double> estimates;
    for (std::size_t k = 0; k < which.size(); ++k) {
        const double correction = largestModulus(corrections.data() + rows * k, n);
        estimates.push_back(correction == 0.0 ? 0.0 : correction / largestModulus(x + rows * which[k], n));
    }
    return estimates;
}

template <class Cell>
double errorBound(const MatrixView<Cell>& A, TransposeMode op, Factored<Cell>& factor,
                  std::span<const Cell> b, std::span<const Cell> x, const Cell* r)
{
    if (isZero(x) && isZero(b)) return 0.0; // exact, and there is no size to divide by
    return forwardErrorBounds(A, op, inverseBy(factor, A.rows(), op), 1, b.data(), x.data(), r,
                              ResidualPrecision::Twice, kQuick)
        .front();
}

} // namespace

template <class Cell>
LinearMap<Cell> inverseBy(Factored<Cell>& factor, std::int32_t size, TransposeMode op)
{
    LinearMap<Cell> inverse{size, size, {}, {}};
    inverse.times = [&factor, size, op](std::int32_t columns, const Cell* x, Cell* y) {
        solveRaw(factor, size, op, columns, x, y);
    };
    inverse.adjointTimes = [&factor, size, op](std::int32_t columns, const Cell* x, Cell* y) {
        if (op == TransposeMode::Transposed) return solveConjugated(factor, size, columns, x, y);
        const bool plain = op == TransposeMode::NotTransposed;
        solveRaw(factor, size, plain ? TransposeMode::ConjugateTransposed : TransposeMode::NotTransposed,
                 columns, x, y);
    };
    return inverse;
}

template <class Cell>
std::vector<ColumnQuality> qualityOfColumns(const MatrixView<Cell>& A, TransposeMode op,
                                            const MatrixOf<Cell>& B, const MatrixOf<Cell>& X,
                                            Factored<Cell>* factor, std::int32_t bounds, double probeError)
{
    const auto b = cellsOf(B), x = cellsOf(X);
    std::vector<Cell> r(x.size());
    residualInTwicePrecision(A, op, X.Cols(), b.data(), x.data(), static_cast<const Cell*>(nullptr),
                             r.data());
    const std::vector<BackwardError> errors =
        backwardErrors(A, op, X.Cols(), b.data(), x.data(), static_cast<const Cell*>(r.data()));
    const std::vector<std::size_t> order = worstFirst(errors);
    const std::size_t bounded = factor ? std::min<std::size_t>(std::max(bounds, 0), order.size()) : 0;
    std::vector<ColumnQuality> columns(errors.size());
    const auto n = static_cast<std::size_t>(A.rows());
    for (std::size_t k = 0; k < order.size(); ++k) {
        const std::size_t j = order[k];
        columns[j].backwardError = errors[j].normwise;
        columns[j].componentwiseError = errors[j].componentwise;
        if (k < bounded)
            columns[j].errorBound = errorBound(A, op, *factor, b.subspan(n * j, n), x.subspan(n * j, n),
                                               static_cast<const Cell*>(r.data() + n * j));
        columns[j].verdict = verdictOf(columns[j], probeError, columns[j].errorBound);
    }
    if (bounded == 0) return columns;
    std::vector<std::size_t> others;
    std::ranges::copy_if(order, std::back_inserter(others), [&columns](std::size_t j) {
        return !columns[j].errorBound || !std::isfinite(*columns[j].errorBound);
    });
    const std::vector<double> estimates =
        errorEstimates<Cell>(*factor, A.rows(), op, others, x.data(), r.data());
    for (std::size_t k = 0; k < others.size(); ++k) {
        ColumnQuality& column = columns[others[k]];
        column.verdict = std::max(column.verdict, verdictOf(column, probeError, estimates[k]));
    }
    return columns;
}

std::string reasonOf(const ColumnQuality& column)
{
    if (!(column.backwardError <= kRoundingLevel))
        return "scaled residual " + numberInWords(column.backwardError);
    if (!column.errorBound) return "ill-conditioned";
    return std::isfinite(*column.errorBound)
               ? fmt::format("ill-conditioned, error up to {}", numberInWords(*column.errorBound))
               : "the error cannot be bounded";
}

Verdict worstOf(const std::vector<ColumnQuality>& columns)
{
    Verdict worst = Verdict::Accurate;
    for (const ColumnQuality& column : columns) worst = std::max(worst, column.verdict);
    return worst;
}

template LinearMap<double> inverseBy(Factored<double>&, std::int32_t, TransposeMode);
template LinearMap<Complex> inverseBy(Factored<Complex>&, std::int32_t, TransposeMode);
template std::vector<ColumnQuality> qualityOfColumns<double>(const MatrixView<double>&, TransposeMode,
                                                             const Matrix&, const Matrix&, Factored<double>*,
                                                             std::int32_t, double);
template std::vector<ColumnQuality> qualityOfColumns<Complex>(const MatrixView<Complex>&, TransposeMode,
                                                              const CMatrix&, const CMatrix&,
                                                              Factored<Complex>*, std::int32_t, double);

} // namespace Velmar::Lintrix::detail
