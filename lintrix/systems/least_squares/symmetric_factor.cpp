#include <lintrix/systems/least_squares/symmetric_factor.h>

#include <complex>
#include <type_traits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kAnalysis = 11, kFactorization = 22, kSolve = 33;
constexpr int kNestedDissection = 2;
constexpr int kPivotExponent = 14; // replaced are pivots that rounding alone could have made

template <class Cell>
std::int32_t mtypeOf(FactorKind kind)
{
    const std::int32_t definite = std::is_same_v<Cell, double> ? 2 : 4;
    return kind == FactorKind::Definite ? definite : -definite;
}

} // namespace

template <class Cell>
bool SymmetricFactor<Cell>::analyse(FactorKind kind)
{
    session_.emplace(mtypeOf<Cell>(kind), EngineMatrix{order(), a.data(), ia.data(), ja.data()});
    using enum PardisoParameter;
    const auto set = [this](PardisoParameter slot, int value) { session_->iparm(slot) = value; };
    set(CallersValues, 1);
    set(Ordering, kNestedDissection);
    set(PivotExponent, kPivotExponent);
    set(Scaling, kind == FactorKind::Matched ? 1 : 0);
    set(Matching, kind == FactorKind::Matched ? 1 : 0);
    set(SymmetricPivoting, 1);
    set(FactorNonZeros, -1);
    set(RefinementOff, 1); // who solves, refines
    if (session_->call(kAnalysis, nullptr, nullptr) != 0) return false;
    forecast_ = {order(), static_cast<double>(order()), 0.0};
    if (const auto summary = session_->summary()) {
        const double kilobytes =
            static_cast<double>(session_->iparm(AnalysisKept)) + session_->iparm(FactorMemory);
        forecast_ = {summary->lowerNonZeros, summary->operations, 1024.0 * kilobytes};
    }
    return true;
}

template <class Cell>
bool SymmetricFactor<Cell>::factorize(FactorKind kind)
{
    session_->mtype(mtypeOf<Cell>(kind));
    return session_->call(kFactorization, nullptr, nullptr) == 0;
}

template <class Cell>
bool SymmetricFactor<Cell>::solve(const Cell* b, Cell* x)
{
    return session_->call(kSolve, b, x) == 0;
}

template class SymmetricFactor<double>;
template class SymmetricFactor<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
