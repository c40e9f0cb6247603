#pragma once
/// @file
/// A rectangular array of plain values with lower bounds, row after row: the exchange form of the matrices.

#include <lintrix/foundation/failures.h>

#include <array>
#include <complex>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

namespace Velmar::Lintrix {

/// Elements (i, j) with i from LowerBound(0) on and j from LowerBound(1) on. A value type.
template <class T>
class Array2D {
public:
    /// rows x cols zeros.
    /// @throws ArgumentOutOfRangeException  a negative length: "Non-negative number required."
    explicit Array2D(std::int32_t rows, std::int32_t cols, std::int32_t lowerRow = 0,
                     std::int32_t lowerCol = 0);
    /// @throws ArgumentException  ragged rows: "Rows of the array differ in length."
    Array2D(std::initializer_list<std::initializer_list<T>> rows);
    /// @throws ArgumentException  ragged rows: "Rows of the array differ in length."
    Array2D(const std::vector<std::vector<T>>& rows);
    /// Every element, the lower bounds with them.
    Array2D(const Array2D&) = default;
    /// `other` is left 0 x 0, so that its bounds still tell the truth.
    Array2D(Array2D&& other) noexcept
        : lengths_(std::exchange(other.lengths_, {})), lower_(other.lower_), values_(std::move(other.values_))
    {
    }
    /// By copy or move, then exchange.
    Array2D& operator=(Array2D other) noexcept
    {
        std::swap(lengths_, other.lengths_);
        std::swap(lower_, other.lower_);
        std::swap(values_, other.values_);
        return *this;
    }
    ~Array2D() = default;

    std::int32_t Rows() const noexcept { return lengths_[0]; } ///< length of dimension 0
    std::int32_t Cols() const noexcept { return lengths_[1]; } ///< length of dimension 1
    /// First valid index of dimension 0 (rows) or 1 (columns).
    /// @throws IndexOutOfRangeException  another dimension
    std::int32_t LowerBound(int dimension) const
    {
        if (dimension != 0 && dimension != 1) throw IndexOutOfRangeException();
        return lower_[static_cast<std::size_t>(dimension)];
    }

    /// Element (row, col), counted from the lower bounds. @throws IndexOutOfRangeException  outside them
    T& operator()(std::int32_t row, std::int32_t col) { return values_[offset(row, col)]; }
    /// The same, to read.
    const T& operator()(std::int32_t row, std::int32_t col) const { return values_[offset(row, col)]; }

    /// Row `i` counted from 0, whatever the lower bounds; Cols() values, the next row right behind them.
    T* Row(std::int32_t i) noexcept { return values_.data() + rowStart(i); }
    /// The same, to read.
    const T* Row(std::int32_t i) const noexcept { return values_.data() + rowStart(i); }

    /// Same lengths, same lower bounds, equal elements.
    bool operator==(const Array2D&) const = default;

private:
    template <class RowList>
    void fill(const RowList& rows);
    std::size_t rowStart(std::int32_t i) const noexcept
    {
        return static_cast<std::size_t>(i) * static_cast<std::size_t>(lengths_[1]);
    }
    std::size_t offset(std::int32_t row, std::int32_t col) const;

    std::array<std::int32_t, 2> lengths_{}, lower_{};
    std::vector<T> values_;
};

extern template class LINTRIX_EXPORT Array2D<double>;
extern template class LINTRIX_EXPORT Array2D<std::complex<double>>;

} // namespace Velmar::Lintrix
