#include <lintrix/solvers/sparse_solver.h>

#include <lintrix/dense/access.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/detail/crc32.h>
#include <lintrix/foundation/rounding.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/access.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix {

using detail::DenseAccess;
using detail::EngineMatrix;
using detail::SparseAccess;
using Parameter = PardisoParameter;

namespace {

constexpr std::int32_t kAnalysis = 11, kFactorizationAndSolve = 23, kSolve = 33;

// Types of matrices, by the engine's numbers.
constexpr std::int32_t kStructurallySymmetric = 1, kPositiveDefinite = 2, kIndefinite = -2, kUnsymmetric = 11;

EngineMatrix arraysOf(const SparseMatrix& matrix)
{
    return {matrix.Rows(), SparseAccess::values(matrix), SparseAccess::rowPointers(matrix),
            SparseAccess::columns(matrix)};
}

/// Check sum of sizes and places.
std::uint32_t patternOf(const EngineMatrix& matrix)
{
    detail::Crc32 sum;
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
    const std::int32_t exponent = detail::truncatedToInt32(Round(std::log10(value), 0));
    return static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(exponent));
}

void requireSuccess(std::int32_t error, const char* text)
{
    if (error != 0) throw OperationFailedException(text);
}

} // namespace

SparseSolver::SparseSolver(const SparseMatrix& matrix)
    : m(&matrix), session_(matrix.Symmetric() ? kIndefinite : kUnsymmetric, arraysOf(matrix)),
      sym(matrix.Symmetric())
{
    session_.iparm(Parameter::CallersValues) = 1;
    session_.iparm(Parameter::Threads) = TrellConfiguration::GetMaxThreads();
    session_.iparm(Parameter::Scaling) = sym ? 0 : 1;
    session_.iparm(Parameter::Matching) = sym ? 0 : 1;
    FillInReducingMethod(FillInReducingMethod::NestedDissection);
    RefinementSteps(2); // keeps 0, as any positive count does
    PivotEpsilon(sym ? 1e-08 : 1e-13);
    Compute4(_factorizationStrategy, _stoppingTolerance);
}

SparseSolver::SparseSolver(SparseSolver&&) noexcept = default;
SparseSolver& SparseSolver::operator=(SparseSolver&&) noexcept = default;
SparseSolver::~SparseSolver() = default;

void SparseSolver::Dispose() noexcept
{
    session_.release();
}

Matrix SparseSolver::Solve(const Matrix& rhnds)
{
    if (rhnds.Rows() != m->Rows()) throw SizeMismatchException();
    refresh();
    const double* b = DenseAccess::cells(rhnds);
    analyse(b);
    Matrix result(m->Cols(), rhnds.Cols());
    double* x = DenseAccess::cells(result);
    factorizeAndSolve(b, x);
    for (std::int32_t j = 1; j < rhnds.Cols(); ++j) {
        b += rhnds.Rows();
        x += m->Cols();
        solve(b, x);
    }
    return result;
}

Vector SparseSolver::Solve(const Vector& rhnds)
{
    if (rhnds.Length() != m->Rows()) throw InvalidSizeException();
    refresh();
    const double* const b = DenseAccess::cells(rhnds);
    analyse(b);
    Vector result(m->Cols());
    factorizeAndSolve(b, DenseAccess::cells(result));
    return result;
}

/// The matrix may have grown or moved since the last call.
void SparseSolver::refresh()
{
    if constexpr (detail::kHardened) requireDuties();
    session_.matrix(arraysOf(*m));
}

/// What the interface leaves to the caller.
void SparseSolver::requireDuties() const
{
    if (m->Rows() != m->Cols()) throw InvalidOperationException("The matrix of a solver must be square.");
    if (looksFalselyDiagonal(arraysOf(*m)))
        throw InvalidOperationException("The only element of each row must stand on the diagonal.");
    if (analysis && patternOf(arraysOf(*m)) != analysedPattern_)
        throw InvalidOperationException(
            "The pattern of a solver's matrix must not change after its analysis.");
}

void SparseSolver::analyse(const double* b)
{
    if (analysis) return;
    double none = 0.0; // in the place of x
    requireSuccess(session_.call(kAnalysis, b, &none), "Error during matrix analysis phase.");
    analysis = true;
    if constexpr (detail::kHardened) analysedPattern_ = patternOf(arraysOf(*m));
}

void SparseSolver::factorizeAndSolve(const double* b, double* x)
{
    requireSuccess(session_.call(kFactorizationAndSolve, b, x),
                   "Error during matrix factorization and solve phase.");
}

void SparseSolver::solve(const double* b, double* x)
{
    requireSuccess(session_.call(kSolve, b, x), "Error during matrix solve phase.");
}

SolverStatus SparseSolver::Status() const noexcept
{
    const std::int32_t error = session_.error();
    return error < -5 ? SolverStatus::OtherError : static_cast<SolverStatus>(-error);
}

void SparseSolver::Progress(ProgressFunction listener) noexcept
{
    session_.progress(std::move(listener));
}

bool SparseSolver::Stopped() const noexcept
{
    return session_.stopped();
}

FillInReducingMethod SparseSolver::FillInReducingMethod() const
{
    return static_cast<Lintrix::FillInReducingMethod>(session_.iparm(Parameter::Ordering));
}

void SparseSolver::FillInReducingMethod(Lintrix::FillInReducingMethod value)
{
    session_.iparm(Parameter::Ordering) = static_cast<std::int32_t>(value);
}

MatrixType SparseSolver::MatrixType() const noexcept
{
    switch (session_.mtype()) {
    case kStructurallySymmetric:
        return MatrixType::StructurallySymmetric;
    case kPositiveDefinite:
        return MatrixType::PositiveDefinite;
    case kIndefinite:
        return MatrixType::Indefinite;
    default:
        return MatrixType::Unsymmetric;
    }
}

void SparseSolver::MatrixType(Lintrix::MatrixType value) noexcept
{
    switch (value) {
    case MatrixType::StructurallySymmetric:
        return session_.mtype(kStructurallySymmetric);
    case MatrixType::PositiveDefinite:
        return session_.mtype(kPositiveDefinite);
    case MatrixType::Indefinite:
        return session_.mtype(kIndefinite);
    default:
        return session_.mtype(kUnsymmetric);
    }
}

void SparseSolver::FactorizationStrategy(Lintrix::FactorizationStrategy value)
{
    Compute4(value, _stoppingTolerance);
    _factorizationStrategy = value;
}

void SparseSolver::StoppingTolerance(double value)
{
    Compute4(_factorizationStrategy, value);
    _stoppingTolerance = value;
}

/// 10*L + K: K chooses between a direct solve (0) and an iteration with the stored factors (1 unsymmetric, 2
/// symmetric), which stops at 10^-L. In wrapping arithmetic: no tolerance is refused.
void SparseSolver::Compute4(Lintrix::FactorizationStrategy strategy, double tolerance)
{
    const bool always = strategy == FactorizationStrategy::ComputeAlways;
    const std::uint32_t K = always ? 0 : sym ? 2 : 1;
    const std::int32_t L = tolerance == 0.0 ? 0 : negativeExponent(tolerance);
    session_.iparm(Parameter::IterativePath) =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(L) * 10 + K);
}

std::int32_t SparseSolver::RefinementSteps() const
{
    return session_.iparm(Parameter::RefinementLimit);
}

void SparseSolver::RefinementSteps(std::int32_t value)
{
    session_.iparm(Parameter::RefinementLimit) = std::min(value, 0);
}

void SparseSolver::PivotEpsilon(double value)
{
    session_.iparm(Parameter::PivotExponent) = negativeExponent(value);
    _pivotEpsilon = value;
}

} // namespace Velmar::Lintrix
