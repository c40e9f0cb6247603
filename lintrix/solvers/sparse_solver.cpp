#include <lintrix/solvers/sparse_solver.h>

#include <lintrix/dense/access.h>
#include <lintrix/foundation/configuration.h>

namespace Velmar::Lintrix {

using detail::DenseAccess;

namespace {

constexpr detail::EngineTypes kTypes{1, 2, -2, 11};

} // namespace

SparseSolver::SparseSolver(const SparseMatrix& matrix)
    : DirectSolver(matrix, matrix.Symmetric(), kTypes, TrellConfiguration::GetMaxThreads())
{
    FactorizationStrategy(_factorizationStrategy);
}

Matrix SparseSolver::Solve(const Matrix& rhnds)
{
    if (rhnds.Rows() != m->Rows()) throw SizeMismatchException();
    analyse(DenseAccess::cells(rhnds));
    phase = kFactorizationAndSolve;
    return solutionsOf(rhnds, "Error during matrix solve phase.");
}

Vector SparseSolver::Solve(const Vector& rhnds)
{
    if (rhnds.Length() != m->Rows()) throw InvalidSizeException();
    analyse(DenseAccess::cells(rhnds));
    phase = kFactorizationAndSolve;
    return solutionOf(rhnds);
}

MatrixType SparseSolver::MatrixType() const noexcept
{
    for (const auto type :
         {MatrixType::StructurallySymmetric, MatrixType::PositiveDefinite, MatrixType::Indefinite}) {
        if (session_.mtype() == kTypes.of(type)) return type;
    }
    return MatrixType::Unsymmetric;
}

void SparseSolver::MatrixType(Lintrix::MatrixType value) noexcept
{
    session_.mtype(kTypes.of(value));
}

void SparseSolver::FactorizationStrategy(Lintrix::FactorizationStrategy value)
{
    const bool always = value == FactorizationStrategy::ComputeAlways;
    Compute4(always ? 0 : sym ? 2 : 1, StoppingTolerance());
    _factorizationStrategy = value;
}

} // namespace Velmar::Lintrix
