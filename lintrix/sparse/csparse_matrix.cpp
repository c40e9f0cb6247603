#include <lintrix/sparse/csparse_matrix.h>

#include <lintrix/complex/access.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/sizes.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

namespace {

// Also for a NaN in either part.
bool isStored(const Complex& cell)
{
    return cell.real() != 0.0 || cell.imag() != 0.0;
}

} // namespace

CSparseMatrix::CSparseMatrix(const CMatrix& matrix)
{
    const Complex* const cells = detail::ComplexAccess::cells(matrix);
    const std::int64_t rows = matrix.Rows(), count = detail::ComplexAccess::count(matrix);
    const std::int64_t elements = std::count_if(cells, cells + count, isStored);
    detail::requireElementCount(elements);
    const auto stored = static_cast<std::int32_t>(elements);
    detail::RowArrays<Complex> fresh{detail::Block<Complex>(stored), detail::Block<std::int32_t>(rows + 1),
                                     detail::Block<std::int32_t>(stored)};
    std::int32_t slot = 0;
    fresh.ia[0] = 1;
    for (std::int32_t i = 0; i < rows; ++i) {
        for (std::int32_t j = 0; j < matrix.Cols(); ++j) {
            const Complex& cell = cells[i + rows * j];
            if (!isStored(cell)) continue;
            fresh.a[slot] = cell;
            fresh.ja[slot++] = j + 1;
        }
        fresh.ia[i + 1] = slot + 1;
    }
    mRows = matrix.Rows();
    mCols = matrix.Cols();
    setArrays(stored, std::move(fresh));
    // The growth factor stays 0.
}

} // namespace Velmar::Lintrix
