#include <lintrix/solvers/sparse_svd.h>

#include <lintrix/dense/access.h>
#include <lintrix/solvers/lanczos.h>
#include <lintrix/sparse/access.h>

namespace Velmar::Lintrix {

using detail::DenseAccess;
using detail::SparseAccess;

SparseSVD::SparseSVD(const SparseMatrix& matrix, std::int32_t numSingularValues, double tolerance)
    : SparseSVD(matrix, numSingularValues, tolerance, {})
{
}

SparseSVD::SparseSVD(const SparseMatrix& matrix, std::int32_t numSingularValues, double tolerance,
                     const LanczosObserver& observer)
    : _mU(matrix.Rows(), numSingularValues), _mV(matrix.Cols(), numSingularValues), _mS(numSingularValues)
{
    const detail::LanczosMatrix A{matrix.Rows(),
                                  matrix.Cols(),
                                  SparseAccess::values(matrix),
                                  SparseAccess::rowPointers(matrix),
                                  SparseAccess::columns(matrix),
                                  matrix.Symmetric()};
    const detail::Triplets results{numSingularValues, DenseAccess::cells(_mU), DenseAccess::cells(_mV),
                                   DenseAccess::cells(_mS)};
    lastPass_ = detail::LanczosRun(A, results, tolerance).run(observer);
}

void SparseSVD::Dispose() noexcept
{
    _mS.Dispose();
    _mV.Dispose();
    _mU.Dispose();
}

} // namespace Velmar::Lintrix
