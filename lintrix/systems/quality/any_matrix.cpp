#include <lintrix/systems/quality/any_matrix.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/sparse/access.h>

#include <complex>

namespace Velmar::Lintrix::detail {

template <class Cell>
AnyMatrix<Cell>::AnyMatrix(const CompressedMatrix<Cell>& matrix)
    : rows_(matrix.Rows()), cols_(matrix.Cols()), values_(matrix.Values().data()),
      starts_(matrix.RowPointers().data()), places_(matrix.ColumnIndices().data()),
      oneTriangle_(SparseAccess::isMarked(matrix))
{
}

template <class Cell>
AnyMatrix<Cell>::AnyMatrix(const MatrixOf<Cell>& matrix)
    : rows_(matrix.Rows()), cols_(matrix.Cols()), values_(AccessTo<Cell>::cells(matrix))
{
}

template <class Cell>
std::int64_t AnyMatrix<Cell>::elements() const noexcept
{
    return isDense() ? std::int64_t{rows_} * cols_ : std::int64_t{starts_[rows_]} - starts_[0];
}

template class AnyMatrix<double>;
template class AnyMatrix<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
