#include <lintrix/systems/least_squares/symmetric_factor.h>

#include <lintrix/engine/threaded_dissection.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/run_control.h>

#include <initializer_list>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kAnalysis = 11, kFactorization = 22, kSolve = 33;
constexpr int kPivotExponent = 20;      // quasi-definite: no pivot is small but by the shift
constexpr double kManyOperations = 1e9; // a second order then costs less than it may save

template <class Cell>
std::int32_t mtypeOf(FactorKind kind)
{
    const std::int32_t definite = std::is_same_v<Cell, double> ? 2 : 4;
    return kind == FactorKind::Definite ? definite : -definite;
}

} // namespace

template <class Cell>
std::optional<typename SymmetricFactor<Cell>::Analysed>
SymmetricFactor<Cell>::analysedInOrder(FactorKind kind, FillInReducingMethod ordering)
{
    EngineSession session(mtypeOf<Cell>(kind), EngineMatrix{order(), a.data(), ia.data(), ja.data()});
    using enum PardisoParameter;
    const std::initializer_list<std::pair<PardisoParameter, int>> values{
        {CallersValues, 1},
        {Ordering, static_cast<int>(ordering)},
        {PivotExponent, kPivotExponent},
        {Scaling, 0},
        {Matching, 0},
        {SymmetricPivoting, 1},
        {FactorNonZeros, -1},
        {RefinementOff, 1}}; // who solves, refines
    for (const auto& [slot, value] : values) session.iparm(slot) = value;
    const double operations = analysisOperations(static_cast<double>(ja.size()));
    WorkScope::expect(operations);
    const ThreadedDissectionScope byThreads;
    if (!call(session, kAnalysis, operations)) return std::nullopt;
    FactorForecast forecast{order(), static_cast<double>(order()), 0.0};
    if (const auto summary = session.summary()) {
        const double kilobytes =
            static_cast<double>(session.iparm(AnalysisKept)) + session.iparm(FactorMemory);
        forecast = {summary->lowerNonZeros, summary->operations, 1024.0 * kilobytes};
    }
    return Analysed{std::move(session), forecast};
}

template <class Cell>
bool SymmetricFactor<Cell>::analyse(FactorKind kind)
{
    std::optional<Analysed> best = analysedInOrder(kind, FillInReducingMethod::MinimumDegree);
    if (!best || best->forecast.operations > kManyOperations) {
        std::optional<Analysed> other = analysedInOrder(kind, FillInReducingMethod::NestedDissection);
        if (other && (!best || other->forecast.operations < best->forecast.operations))
            best = std::move(other);
    }
    if (!best) return false;
    session_ = std::move(best->session);
    forecast_ = best->forecast;
    return true;
}

template <class Cell>
std::int32_t SymmetricFactor<Cell>::negativePivots() const
{
    return session_->iparm(PardisoParameter::NegativePivots);
}

template <class Cell>
bool SymmetricFactor<Cell>::factorize(FactorKind kind)
{
    session_->mtype(mtypeOf<Cell>(kind));
    WorkScope::expect(forecast_.operations);
    return call(*session_, kFactorization, forecast_.operations);
}

template <class Cell>
bool SymmetricFactor<Cell>::solve(const Cell* b, Cell* x)
{
    constexpr double kEach = std::is_same_v<Cell, double> ? 4.0 : 16.0; // of an entry of L, both ways
    return call(*session_, kSolve, kEach * static_cast<double>(forecast_.entries), b, x);
}

/// @return whether the engine could
template <class Cell>
bool SymmetricFactor<Cell>::call(EngineSession& session, std::int32_t phase, double operations, const Cell* b,
                                 Cell* x)
{
    const WorkStep step(operations);
    const bool done = session.call(phase, b, x) == 0;
    WorkScope::tell();
    return done;
}

template class SymmetricFactor<double>;
template class SymmetricFactor<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
