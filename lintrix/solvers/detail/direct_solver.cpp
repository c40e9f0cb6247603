#include <lintrix/solvers/detail/direct_solver.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/foundation/detail/crc32.h>
#include <lintrix/foundation/rounding.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/access.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix::detail {

using Parameter = PardisoParameter;

namespace {

template <class S>
EngineMatrix arraysOf(const S& matrix)
{
    return {matrix.Rows(), SparseAccess::values(matrix), SparseAccess::rowPointers(matrix),
            SparseAccess::columns(matrix)};
}

/// Check sum of sizes and places.
std::uint32_t patternOf(const EngineMatrix& matrix)
{
    Crc32 sum;
    sum.update(matrix.ia, (static_cast<std::size_t>(matrix.n) + 1) * sizeof(std::int32_t));
    sum.update(matrix.ja, static_cast<std::size_t>(matrix.ia[matrix.n] - 1) * sizeof(std::int32_t));
    return sum.value();
}

/// Each row has one element, and some of them beside the diagonal.
bool looksFalselyDiagonal(const EngineMatrix& matrix)
{
    bool beside = false;
    for (std::int32_t i = 0; i < matrix.n; ++i) {
        if (matrix.ia[i + 1] - matrix.ia[i] != 1) return false;
        beside = beside || matrix.ja[i] != i + 1;
    }
    return beside;
}

/// p with value = 10^-p, rounded. No value is refused: where there is no such p, the conversion gives the
/// smallest integer, which stays itself when negated.
std::int32_t negativeExponent(double value)
{
    const std::int32_t exponent = truncatedToInt32(Round(std::log10(value), 0));
    return static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(exponent));
}

void requireSuccess(std::int32_t error, const char* text)
{
    if (error != 0) throw OperationFailedException(text);
}

} // namespace

std::int32_t EngineTypes::of(MatrixType type) const noexcept
{
    switch (type) {
    case MatrixType::StructurallySymmetric:
        return structurallySymmetric;
    case MatrixType::PositiveDefinite:
        return positiveDefinite;
    case MatrixType::Indefinite:
        return indefinite;
    default:
        return unsymmetric;
    }
}

template <class Cell>
DirectSolver<Cell>::DirectSolver(const S& matrix, bool oneTriangle, const EngineTypes& types,
                                 std::int32_t threads)
    : m(&matrix), session_(oneTriangle ? types.indefinite : types.unsymmetric, arraysOf(matrix)),
      sym(oneTriangle)
{
    session_.iparm(Parameter::CallersValues) = 1;
    session_.iparm(Parameter::Threads) = threads;
    session_.iparm(Parameter::Scaling) = sym ? 0 : 1;
    session_.iparm(Parameter::Matching) = sym ? 0 : 1;
    FillInReducingMethod(FillInReducingMethod::NestedDissection);
    RefinementSteps(2); // keeps 0, as any positive count does
    PivotEpsilon(sym ? 1e-08 : 1e-13);
    StoppingTolerance(1e-06);
}

template <class Cell>
DirectSolver<Cell>::DirectSolver(DirectSolver&&) noexcept = default;
template <class Cell>
DirectSolver<Cell>& DirectSolver<Cell>::operator=(DirectSolver&&) noexcept = default;
template <class Cell>
DirectSolver<Cell>::~DirectSolver() = default;

template <class Cell>
void DirectSolver<Cell>::Dispose() noexcept
{
    session_.release();
}

/// The matrix may have grown or moved since the last call.
template <class Cell>
void DirectSolver<Cell>::analyse(const Cell* b)
{
    if constexpr (kHardened) requireDuties();
    session_.matrix(arraysOf(*m));
    if (analysis) return;
    Cell none{}; // in the place of x
    requireSuccess(session_.call(kAnalysis, b, &none), "Error during matrix analysis phase.");
    analysis = true;
    if constexpr (kHardened) analysedPattern_ = patternOf(arraysOf(*m));
}

/// What the interface leaves to the caller.
template <class Cell>
void DirectSolver<Cell>::requireDuties() const
{
    if (m->Rows() != m->Cols()) throw InvalidOperationException("The matrix of a solver must be square.");
    if (looksFalselyDiagonal(arraysOf(*m)))
        throw InvalidOperationException("The only element of each row must stand on the diagonal.");
    if (analysis && patternOf(arraysOf(*m)) != analysedPattern_)
        throw InvalidOperationException(
            "The pattern of a solver's matrix must not change after its analysis.");
}

template <class Cell>
void DirectSolver<Cell>::factorizeAndSolve(const Cell* b, Cell* x)
{
    requireSuccess(session_.call(kFactorizationAndSolve, b, x),
                   "Error during matrix factorization and solve phase.");
}

template <class Cell>
auto DirectSolver<Cell>::solutionsOf(const M& rhnds, const char* furtherColumnFailed) -> M
{
    M result(m->Cols(), rhnds.Cols());
    const Cell* b = AccessTo<Cell>::cells(rhnds);
    Cell* x = AccessTo<Cell>::cells(result);
    factorizeAndSolve(b, x);
    for (std::int32_t j = 1; j < rhnds.Cols(); ++j) {
        b += rhnds.Rows();
        x += m->Cols();
        requireSuccess(session_.call(kSolve, b, x), furtherColumnFailed);
    }
    return result;
}

template <class Cell>
auto DirectSolver<Cell>::solutionOf(const V& rhnds) -> V
{
    V result(m->Cols());
    factorizeAndSolve(AccessTo<Cell>::cells(rhnds), AccessTo<Cell>::cells(result));
    return result;
}

template <class Cell>
SolverStatus DirectSolver<Cell>::Status() const noexcept
{
    const std::int32_t error = session_.error();
    return error < -5 ? SolverStatus::OtherError : static_cast<SolverStatus>(-error);
}

template <class Cell>
void DirectSolver<Cell>::Progress(ProgressFunction listener) noexcept
{
    session_.progress(std::move(listener));
}

template <class Cell>
bool DirectSolver<Cell>::Stopped() const noexcept
{
    return session_.stopped();
}

template <class Cell>
FillInReducingMethod DirectSolver<Cell>::FillInReducingMethod() const
{
    return static_cast<Lintrix::FillInReducingMethod>(session_.iparm(Parameter::Ordering));
}

template <class Cell>
void DirectSolver<Cell>::FillInReducingMethod(Lintrix::FillInReducingMethod value)
{
    session_.iparm(Parameter::Ordering) = static_cast<std::int32_t>(value);
}

template <class Cell>
void DirectSolver<Cell>::StoppingTolerance(double value)
{
    Compute4(K_, value);
}

/// In wrapping arithmetic: no tolerance is refused.
template <class Cell>
void DirectSolver<Cell>::Compute4(std::uint32_t K, double tolerance)
{
    const std::int32_t L = tolerance == 0.0 ? 0 : negativeExponent(tolerance);
    session_.iparm(Parameter::IterativePath) =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(L) * 10 + K);
    K_ = K;
    _stoppingTolerance = tolerance;
}

template <class Cell>
std::int32_t DirectSolver<Cell>::RefinementSteps() const
{
    return session_.iparm(Parameter::RefinementLimit);
}

template <class Cell>
void DirectSolver<Cell>::RefinementSteps(std::int32_t value)
{
    session_.iparm(Parameter::RefinementLimit) = std::min(value, 0);
}

template <class Cell>
void DirectSolver<Cell>::PivotEpsilon(double value)
{
    session_.iparm(Parameter::PivotExponent) = negativeExponent(value);
    _pivotEpsilon = value;
}

template class DirectSolver<double>;
template class DirectSolver<Complex>;

} // namespace Velmar::Lintrix::detail
