#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/transposition.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/kernels.h>

namespace Velmar::Lintrix {

using detail::Block;

SparseMatrix::SparseMatrix(const Matrix& matrix)
{
    mRows = matrix.Rows();
    mCols = matrix.Cols();
    detail::requireSparseSizes(mRows, mCols);
    const std::int32_t cells = detail::cellCount(mRows, mCols);
    const Block<double> rowMajor(cells); // the rows of A are the columns of A'
    detail::vmr_transo(detail::DenseAccess::cells(matrix), rowMajor.get(), mRows, mCols);

    int job[] = {0, 0, 1, 2, cells, 0}; // dense from 0, compressed rows from 1, whole matrix
    int info = 0;                       // not looked at: the limit is the size of the matrix
    ia = Block<std::int32_t>(std::int64_t{mRows} + 1);
    mkl_ddnscsr(job, mRows, mCols, rowMajor.get(), mCols, a.get(), ja.get(), ia.get(), info);
    mCells = ia[mRows] - ia[0];
    a = Block<double>(mCells);
    ja = Block<std::int32_t>(mCells);
    job[5] = 1; // now values and columns, too
    mkl_ddnscsr(job, mRows, mCols, rowMajor.get(), mCols, a.get(), ja.get(), ia.get(), info);
    closeRowPointers();
    // The growth factor stays 0: a full matrix grows by one slot.
}

Matrix SparseMatrix::Multiply(const SparseMatrix& A, const Matrix& B)
{
    if (A.Cols() != B.Rows()) throw InvalidSizeException("Invalid number of rows for matrix B");
    return A * B;
}

bool SparseMatrix::Equals(const SparseMatrix&) const
{
    throw NullReferenceException();
}

bool SparseMatrix::Equals(const SparseMatrix*) const
{
    throw NullReferenceException();
}

} // namespace Velmar::Lintrix
