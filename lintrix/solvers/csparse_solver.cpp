#include <lintrix/solvers/csparse_solver.h>

#include <lintrix/complex/access.h>

namespace Velmar::Lintrix {

using detail::ComplexAccess;

namespace {

constexpr detail::EngineTypes kTypes{3, 4, -4, 13};
constexpr std::int32_t kThreads = 1; // the engine puts its own count in its place

} // namespace

CSparseSolver::CSparseSolver(const CSparseMatrix& matrix)
    : DirectSolver(matrix, matrix.Hermitian(), kTypes, kThreads)
{
}

CMatrix CSparseSolver::Solve(const CMatrix& rhnds)
{
    if (rhnds.Rows() != m->Rows()) throw InvalidSizeException();
    analyse(ComplexAccess::cells(rhnds));
    return solutionsOf(rhnds, "Error during solve phase.");
}

CVector CSparseSolver::Solve(const CVector& rhnds)
{
    if (rhnds.Length() != m->Rows()) throw InvalidSizeException();
    analyse(ComplexAccess::cells(rhnds));
    return solutionOf(rhnds);
}

void CSparseSolver::MatrixType(Lintrix::MatrixType value) noexcept
{
    session_.mtype(kTypes.of(value));
}

/// The slot of the strategy is worked out all the same: of a released solver that is refused.
void CSparseSolver::FactorizationStrategy(Lintrix::FactorizationStrategy value)
{
    if (value != FactorizationStrategy::ComputeAlways)
        throw ArgumentOutOfRangeException("Setting is not valid for complex matrices.", "value");
    Compute4(0, StoppingTolerance());
}

} // namespace Velmar::Lintrix
