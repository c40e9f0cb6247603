// Sorting of Matrix, and deleting, in which CMatrix differs.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/detail/sorting.h>

#include <utility>

namespace Velmar::Lintrix {

void Matrix::SortRows(std::int32_t col, SortOrder order)
{
    std::vector<std::int32_t> pivots;
    SortRows(col, order, pivots);
}

void Matrix::SortRows(std::int32_t col, SortOrder order, std::vector<std::int32_t>& pivots)
{
    requireColumn(col);
    auto places = detail::inverseOf(detail::sortedOrder({column(col), column(col) + mRows}, order));
    ReorderRows(places);
    pivots = std::move(places);
}

void Matrix::SortCols(std::int32_t row, SortOrder order)
{
    std::vector<std::int32_t> pivots;
    SortCols(row, order, pivots);
}

void Matrix::SortCols(std::int32_t row, SortOrder order, std::vector<std::int32_t>& pivots)
{
    requireRow(row);
    std::vector<double> keys(static_cast<std::size_t>(mCols));
    for (std::int32_t j = 0; j < mCols; ++j) keys[static_cast<std::size_t>(j)] = column(j)[row];
    auto places = detail::inverseOf(detail::sortedOrder(std::move(keys), order));
    ReorderCols(places);
    pivots = std::move(places);
}

void Matrix::DeleteRow(std::int32_t row)
{
    deleteRow(row, mRows == 1 ? 0 : mRows);
}

void Matrix::DeleteColumn(std::int32_t column)
{
    deleteColumn(column, mCols == 1 ? 0 : mCols);
}

} // namespace Velmar::Lintrix
