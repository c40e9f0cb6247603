#include <lintrix/foundation/array2d.h>

namespace Velmar::Lintrix {

template <class T>
Array2D<T>::Array2D(std::int32_t rows, std::int32_t cols, std::int32_t lowerRow, std::int32_t lowerCol)
    : lengths_{rows, cols}, lower_{lowerRow, lowerCol}
{
    if (rows < 0 || cols < 0) throw ArgumentOutOfRangeException("Non-negative number required.");
    values_.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
}

template <class T>
Array2D<T>::Array2D(std::initializer_list<std::initializer_list<T>> rows)
{
    fill(rows);
}

template <class T>
Array2D<T>::Array2D(const std::vector<std::vector<T>>& rows)
{
    fill(rows);
}

template <class T>
template <class RowList>
void Array2D<T>::fill(const RowList& rows)
{
    const std::size_t cols = rows.size() == 0 ? 0 : rows.begin()->size();
    if (rows.size() > INT32_MAX || cols > INT32_MAX) throw ArgumentOutOfRangeException("Array is too large.");
    values_.reserve(rows.size() * cols);
    for (const auto& row : rows) {
        if (row.size() != cols) throw ArgumentException("Rows of the array differ in length.");
        values_.insert(values_.end(), row.begin(), row.end());
    }
    lengths_ = {static_cast<std::int32_t>(rows.size()), static_cast<std::int32_t>(cols)};
}

template <class T>
std::size_t Array2D<T>::offset(std::int32_t row, std::int32_t col) const
{
    const std::int64_t i = std::int64_t{row} - lower_[0], j = std::int64_t{col} - lower_[1];
    if (i < 0 || i >= lengths_[0] || j < 0 || j >= lengths_[1]) throw IndexOutOfRangeException();
    return static_cast<std::size_t>(i * lengths_[1] + j);
}

template class Array2D<double>;
template class Array2D<std::complex<double>>;

} // namespace Velmar::Lintrix
