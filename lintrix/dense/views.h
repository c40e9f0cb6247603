#pragma once
/// @file
/// Views: rows, columns, diagonals and blocks of a dense matrix, where they stand. What is written through
/// one is written to the matrix; nothing is copied.
///
///     Matrix A(3, 4);
///     A.RowView(0).Fill(1.0);
///     A.ColView(1) += A.ColView(0);
///     A.View(1, 2, 2, 2) = Matrix{{1, 2}, {3, 4}};          // two rows and two columns from (1, 2) on
///     for (double& x : A.DiagonalView()) x += 10.0;
///     Matrix B(A.View(0, 0, 2, 2));                         // a copy of its own
///
/// A view belongs to the block that held the cells when it was made: it stays good while that block is there,
/// also when the matrix hands it on by a move, and no longer. What replaces or releases a block (another
/// assignment, `Resize`, `Dispose`, the end of the matrix) ends its views. No view is made of a temporary:
/// that does not compile. The normal build does not look any further, and pays nothing; the hardened build
/// keeps book of blocks that are looked into and raises InvalidOperationException, "The view has outlived the
/// block that it shows."
///
/// A view of memory that no matrix owns (a `std::span`, cells of another library) is made by the
/// constructors; that the memory is there is then the caller's duty in every build.
///
/// Making a view copies no cells, assigning to one does: `x = y` writes the cells of y into those of x, and
/// overlapping parts of one matrix are taken as they were before. Each member that takes an operand checks
/// the sizes before it writes.

#include <lintrix/dense/detail/dense_classes.h>
#include <lintrix/foundation/detail/block_witness.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <compare>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {

namespace detail {

/// @throws IndexOutOfBoundsException  "Row 5 is outside 3 rows."
[[noreturn]] LINTRIX_EXPORT void raiseOutside(std::string_view what, std::int64_t index, std::int64_t count);
/// @throws IndexOutOfBoundsException  "A block of 2 x 2 cells from (2, 3) on exceeds a 3 x 4 matrix."
[[noreturn]] LINTRIX_EXPORT void raiseBlockOutside(std::int64_t row, std::int64_t col, std::int64_t rows,
                                                   std::int64_t cols, std::int64_t allRows,
                                                   std::int64_t allCols);
/// @throws SizeMismatchException  "Matrix sizes do not match: 2 x 3 plus 3 x 2."
[[noreturn]] LINTRIX_EXPORT void raiseShapes(std::string_view operation, std::int64_t rows, std::int64_t cols,
                                             std::int64_t otherRows, std::int64_t otherCols);
/// @throws SizeMismatchException  "Vectors are not of the same size: 3 plus 4."
[[noreturn]] LINTRIX_EXPORT void raiseLengths(std::string_view operation, std::int64_t length,
                                              std::int64_t other);
/// @throws InvalidSizeException  "A view of 4 cells cannot show 2 x 3 of them."
[[noreturn]] LINTRIX_EXPORT void raiseViewSize(std::int64_t cells, std::int64_t rows, std::int64_t cols);
/// @throws InvalidSizeException  "A view of 2147483648 cells is too long."
LINTRIX_EXPORT std::int32_t viewLength(std::size_t cells);

/// The product of two cells as the dense classes take it: of complex ones by the plain formula.
inline double cellProduct(double x, double y) noexcept
{
    return x * y;
}
inline std::complex<double> cellProduct(const std::complex<double>& x, const std::complex<double>& y) noexcept
{
    return {x.real() * y.real() - x.imag() * y.imag(), x.imag() * y.real() + x.real() * y.imag()};
}

/// The quotient of two cells as `Vector` and `CVector` take it: of complex ones by LAPACK's `dladiv`.
inline double cellQuotient(double x, double y) noexcept
{
    return x / y;
}
LINTRIX_EXPORT std::complex<double> cellQuotient(const std::complex<double>& x,
                                                 const std::complex<double>& y) noexcept;

/// Visits cells that stand `stride` apart.
template <class Cell>
class StridedIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = std::remove_const_t<Cell>;
    using difference_type = std::ptrdiff_t;
    using pointer = Cell*;
    using reference = Cell&;

    StridedIterator() noexcept = default;
    StridedIterator(Cell* cells, difference_type stride, difference_type index) noexcept
        : cells_(cells), stride_(stride), index_(index)
    {
    }

    reference operator*() const { return cells_[index_ * stride_]; }
    pointer operator->() const { return &**this; }
    reference operator[](difference_type k) const { return cells_[(index_ + k) * stride_]; }
    StridedIterator& operator+=(difference_type k) noexcept
    {
        index_ += k;
        return *this;
    }
    StridedIterator& operator-=(difference_type k) noexcept { return *this += -k; }
    StridedIterator& operator++() noexcept { return *this += 1; }
    StridedIterator& operator--() noexcept { return *this += -1; }
    StridedIterator operator++(int) noexcept
    {
        const StridedIterator before = *this;
        ++*this;
        return before;
    }
    StridedIterator operator--(int) noexcept
    {
        const StridedIterator before = *this;
        --*this;
        return before;
    }
    friend StridedIterator operator+(StridedIterator it, difference_type k) noexcept { return it += k; }
    friend StridedIterator operator+(difference_type k, StridedIterator it) noexcept { return it += k; }
    friend StridedIterator operator-(StridedIterator it, difference_type k) noexcept { return it -= k; }
    friend difference_type operator-(const StridedIterator& x, const StridedIterator& y) noexcept
    {
        return x.index_ - y.index_;
    }
    friend bool operator==(const StridedIterator& x, const StridedIterator& y) noexcept
    {
        return x.index_ == y.index_;
    }
    friend std::strong_ordering operator<=>(const StridedIterator& x, const StridedIterator& y) noexcept
    {
        return x.index_ <=> y.index_;
    }

private:
    Cell* cells_ = nullptr;
    difference_type stride_ = 1, index_ = 0;
};

} // namespace detail

template <class Cell>
class VectorView;
template <class Cell>
class MatrixView;

namespace detail {

/// What a view of a vector can be calculated with: another view, and whatever lies next to each other (a
/// vector of this library or of the standard one, a span). Only for the length of a call, so temporaries may
/// come.
template <class Value>
struct VectorOperand {
    VectorOperand(const VectorView<const Value>& x) : view(x) {}
    VectorOperand(const VectorView<Value>& x) : view(x) {}
    template <class Range>
    requires std::is_convertible_v<const Range&, std::span<const Value>> VectorOperand(const Range& x)
        : view(std::span<const Value>(x))
    {
    }

    VectorView<const Value> view;
};

/// The same for matrices.
template <class Value>
struct MatrixOperand {
    MatrixOperand(const MatrixView<const Value>& A) : view(A) {}
    MatrixOperand(const MatrixView<Value>& A) : view(A) {}
    MatrixOperand(const MatrixOf<Value>& A) : view(A.View()) {}

    MatrixView<const Value> view;
};

} // namespace detail

/// Cells of a vector, or of a row, a column or a diagonal: `stride` apart. `Cell` is double or Complex, const
/// where they are only read.
template <class Cell>
class VectorView {
public:
    using Value = std::remove_const_t<Cell>;
    using V = detail::VectorOf<Value>;
    using ConstView = VectorView<const Value>;
    using Operand = detail::VectorOperand<Value>;

    /// Of memory that is not ours, or of a block that `witness` knows.
    VectorView(Cell* cells, std::int32_t length, std::int64_t stride = 1, detail::BlockWitness witness = {})
        : cells_(cells), length_(length), stride_(stride), witness_(witness)
    {
    }
    /// @throws InvalidSizeException  more cells than 2147483647
    explicit VectorView(std::span<Cell> cells) : VectorView(cells.data(), detail::viewLength(cells.size())) {}
    VectorView(const VectorView&) = default;
    operator ConstView() const requires(!std::is_const_v<Cell>)
    {
        return {cells_, length_, stride_, witness_};
    }

    /// @name Access
    /// @{
    std::int32_t Length() const noexcept { return length_; }
    std::int64_t Stride() const noexcept { return stride_; }
    std::size_t size() const noexcept { return static_cast<std::size_t>(length_); }
    bool empty() const noexcept { return length_ == 0; }
    /// The first cell; the others stand Stride() apart.
    Cell* data() const
    {
        witness_.require();
        return cells_;
    }
    /// @throws IndexOutOfBoundsException  "Element 4 is outside 4 elements."
    Cell& operator()(std::int32_t index) const
    {
        if (index < 0 || index >= length_) detail::raiseOutside("Element", index, length_);
        return data()[index * stride_];
    }
    Cell& operator[](std::int32_t index) const { return (*this)(index); }
    detail::StridedIterator<Cell> begin() const { return {data(), stride_, 0}; }
    detail::StridedIterator<Cell> end() const { return {data(), stride_, length_}; }
    /// A vector of its own.
    V ToVector() const
    {
        if (empty()) return V(std::span<const Value>());
        V copy(length_);
        std::copy(begin(), end(), copy.begin());
        return copy;
    }
    operator V() const { return ToVector(); }
    /// @}

    /// @name Changes of the cells
    /// The cells that are read are those before the change, also where both views overlap.
    /// @throws SizeMismatchException  "Vectors are not of the same size: 3 takes 4."
    /// @{
    const VectorView& operator=(const VectorView& x) const requires(!std::is_const_v<Cell>)
    {
        return *this = Operand(x);
    }
    const VectorView& operator=(const Operand& x) const requires(!std::is_const_v<Cell>)
    {
        return combine("takes", x.view, [](const Value&, const Value& y) { return y; });
    }
    const VectorView& operator+=(const Operand& x) const { return combine("plus", x.view, std::plus<>()); }
    const VectorView& operator-=(const Operand& x) const { return combine("minus", x.view, std::minus<>()); }
    const VectorView& operator*=(Value alpha) const
    {
        return each([alpha](const Value& x) { return detail::cellProduct(x, alpha); });
    }
    /// A division by zero gives infinities and NaN, as of a vector.
    const VectorView& operator/=(Value alpha) const
    {
        return each([alpha](const Value& x) { return detail::cellQuotient(x, alpha); });
    }
    const VectorView& Fill(Value value) const
    {
        return each([value](const Value&) { return value; });
    }
    /// @}

private:
    template <class>
    friend class VectorView;

    /// Lowest and highest address in use.
    std::pair<const Value*, const Value*> extent() const
    {
        const Value *first = cells_, *last = cells_ + stride_ * std::max(length_ - 1, 0);
        return std::minmax(first, last, std::less<>());
    }
    bool mayReadAhead(const ConstView& x) const
    {
        const auto [low, high] = extent();
        const auto [xLow, xHigh] = x.extent();
        const bool apart = std::less<>()(high, xLow) || std::less<>()(xHigh, low);
        return !apart && (x.cells_ != cells_ || x.stride_ != stride_);
    }
    template <class Function>
    const VectorView& each(Function function) const
    {
        for (Cell& cell : *this) cell = function(cell);
        return *this;
    }
    template <class Function>
    const VectorView& combine(std::string_view operation, const ConstView& x, Function function) const
    {
        if (x.length_ != length_) detail::raiseLengths(operation, length_, x.length_);
        if (length_ > 0 && mayReadAhead(x)) {
            const V before = x.ToVector();
            std::transform(begin(), end(), before.begin(), begin(), function);
        } else {
            std::transform(begin(), end(), x.begin(), begin(), function);
        }
        return *this;
    }

    Cell* cells_;
    std::int32_t length_;
    std::int64_t stride_;
    [[no_unique_address]] detail::BlockWitness witness_;
};

/// A block of a matrix, column-major: element (r, c) stands LeadingDimension()*c + r behind the first.
template <class Cell>
class MatrixView {
public:
    using Value = std::remove_const_t<Cell>;
    using M = detail::MatrixOf<Value>;
    using ConstView = MatrixView<const Value>;
    using Operand = detail::MatrixOperand<Value>;

    /// Of memory that is not ours, or of a block that `witness` knows.
    MatrixView(Cell* cells, std::int32_t rows, std::int32_t cols, std::int64_t leadingDimension,
               detail::BlockWitness witness = {})
        : cells_(cells), rows_(rows), cols_(cols), leading_(leadingDimension), witness_(witness)
    {
    }
    /// Column after column. @throws InvalidSizeException  "A view of 4 cells cannot show 2 x 3 of them."
    MatrixView(std::span<Cell> cells, std::int32_t rows, std::int32_t cols)
        : MatrixView(cells.data(), rows, cols, rows)
    {
        if (rows < 0 || cols < 0 ||
            static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(cols) > cells.size()) {
            detail::raiseViewSize(static_cast<std::int64_t>(cells.size()), rows, cols);
        }
    }
    MatrixView(const MatrixView&) = default;
    operator ConstView() const requires(!std::is_const_v<Cell>)
    {
        return {cells_, rows_, cols_, leading_, witness_};
    }

    /// @name Access
    /// @{
    std::int32_t Rows() const noexcept { return rows_; }
    std::int32_t Cols() const noexcept { return cols_; }
    std::int64_t LeadingDimension() const noexcept { return leading_; }
    Cell* data() const
    {
        witness_.require();
        return cells_;
    }
    /// @throws IndexOutOfBoundsException  "Row 5 is outside 3 rows."; "Column 4 is outside 4 columns."
    Cell& operator()(std::int32_t row, std::int32_t col) const
    {
        requireRow(row);
        requireColumn(col);
        return data()[row + leading_ * col];
    }
    /// @throws IndexOutOfBoundsException  as above
    VectorView<Cell> RowView(std::int32_t row) const
    {
        requireRow(row);
        return {data() + row, cols_, leading_, witness_};
    }
    VectorView<Cell> ColView(std::int32_t col) const
    {
        requireColumn(col);
        return {data() + leading_ * col, rows_, 1, witness_};
    }
    /// min(Rows(), Cols()) cells.
    VectorView<Cell> DiagonalView() const { return {data(), std::min(rows_, cols_), leading_ + 1, witness_}; }
    /// `rows` x `cols` cells from (row, col) on; either may be 0.
    /// @throws IndexOutOfBoundsException  "A block of 2 x 2 cells from (2, 3) on exceeds a 3 x 4 matrix."
    MatrixView View(std::int32_t row, std::int32_t col, std::int32_t rows, std::int32_t cols) const
    {
        const bool inside =
            row >= 0 && col >= 0 && rows >= 0 && cols >= 0 && row <= rows_ - rows && col <= cols_ - cols;
        if (!inside) detail::raiseBlockOutside(row, col, rows, cols, rows_, cols_);
        return {data() + row + leading_ * col, rows, cols, leading_, witness_};
    }
    /// A matrix of its own. @throws InvalidSizeException  the view has no cells
    M ToMatrix() const
    {
        M copy(rows_, cols_);
        copy.View() = *this;
        return copy;
    }
    operator M() const { return ToMatrix(); }
    /// @}

    /// @name Changes of the cells
    /// The cells that are read are those before the change, also where both views overlap.
    /// @throws SizeMismatchException  "Matrix sizes do not match: 2 x 3 takes 3 x 2."
    /// @{
    const MatrixView& operator=(const MatrixView& A) const requires(!std::is_const_v<Cell>)
    {
        return *this = Operand(A);
    }
    const MatrixView& operator=(const Operand& A) const requires(!std::is_const_v<Cell>)
    {
        return combine("takes", A.view, [](const Value&, const Value& y) { return y; });
    }
    const MatrixView& operator+=(const Operand& A) const { return combine("plus", A.view, std::plus<>()); }
    const MatrixView& operator-=(const Operand& A) const { return combine("minus", A.view, std::minus<>()); }
    const MatrixView& operator*=(Value alpha) const
    {
        for (std::int32_t c = 0; c < cols_; ++c) ColView(c) *= alpha;
        return *this;
    }
    /// Each cell divided, as those of a vector: a division by zero gives infinities and NaN. `Matrix` refuses
    /// it, and multiplies by the reciprocal.
    const MatrixView& operator/=(Value alpha) const
    {
        for (std::int32_t c = 0; c < cols_; ++c) ColView(c) /= alpha;
        return *this;
    }
    const MatrixView& Fill(Value value) const
    {
        for (std::int32_t c = 0; c < cols_; ++c) ColView(c).Fill(value);
        return *this;
    }
    /// @}

private:
    template <class>
    friend class MatrixView;

    void requireRow(std::int32_t row) const
    {
        if (row < 0 || row >= rows_) detail::raiseOutside("Row", row, rows_);
    }
    void requireColumn(std::int32_t col) const
    {
        if (col < 0 || col >= cols_) detail::raiseOutside("Column", col, cols_);
    }
    const Value* lastCell() const { return cells_ + (rows_ - 1) + leading_ * (cols_ - 1); }
    bool mayReadAhead(const ConstView& A) const
    {
        const bool apart = std::less<>()(lastCell(), A.cells_) || std::less<>()(A.lastCell(), cells_);
        return !apart && (A.cells_ != cells_ || A.leading_ != leading_);
    }
    template <class Function>
    const MatrixView& combine(std::string_view operation, const ConstView& A, Function function) const
    {
        if (A.rows_ != rows_ || A.cols_ != cols_)
            detail::raiseShapes(operation, rows_, cols_, A.rows_, A.cols_);
        if (rows_ == 0 || cols_ == 0) return *this;
        if (mayReadAhead(A)) {
            const M before = A.ToMatrix();
            return combine(operation, before.View(), function);
        }
        for (std::int32_t c = 0; c < cols_; ++c) {
            Cell* const target = data() + leading_ * c;
            std::transform(target, target + rows_, A.data() + A.leading_ * c, target, function);
        }
        return *this;
    }

    Cell* cells_;
    std::int32_t rows_, cols_;
    std::int64_t leading_;
    [[no_unique_address]] detail::BlockWitness witness_;
};

} // namespace Velmar::Lintrix
