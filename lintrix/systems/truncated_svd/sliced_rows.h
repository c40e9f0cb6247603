#pragma once
/// @file
/// A sparse matrix laid out for many products with one vector each.

#include <lintrix/services/export.h>
#include <lintrix/systems/least_squares/tall_matrix.h>

#include <complex>
#include <cstdint>
#include <optional>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The rows of A, or of A^H, in slices of kRows: the rows are ordered by length, the longest first, and the
/// elements of neighbours lie side by side, padded with zeros to the length of the first. The sums of a slice
/// grow at once, and no mispredicted branch ends each short row.
/// Source: Kreutzer, Hager, Wellein, Fehske and Bishop, SIAM Journal on Scientific Computing 36 (2014).
///
/// A row is summed element by element in their order: bits do not depend on the number of threads.
template <class Cell>
class LINTRIX_TESTABLE SlicedRows {
public:
    static constexpr std::int32_t kRows = 64 / sizeof(Cell); ///< a cache line of cells

    enum class Of { Given, Adjoint };

    /// Nothing if the slices would take more than so many bytes. Cost: some products. @throws std::bad_alloc
    static std::optional<SlicedRows> within(double bytes, const RowsView<Cell>& A, Of side);

    /// The size of a cell and 4 more an element, padding counted, and about 6 a row.
    double bytes() const noexcept;

    /// y := A*x, or A^H*x, for so many columns, stored one behind the other without gaps. What is not finite
    /// in x spoils its rows, and others of their slices.
    void multiply(std::int32_t columns, const Cell* x, Cell* y) const;

private:
    SlicedRows(const RowsView<Cell>& A, Of side);
    void fill(const RowsView<Cell>& A, Of side);

    std::int32_t slices() const noexcept { return static_cast<std::int32_t>(starts_.size()) - 1; }
    std::int64_t places() const noexcept { return starts_.back(); }

    std::int32_t rows_, cols_;
    std::vector<std::int32_t> order_;  ///< the row in each place
    std::vector<std::int64_t> starts_; ///< place of each slice's first element, and the end
    std::vector<Cell> values_;         ///< kRows of a slice after the other
    std::vector<std::int32_t> columns_;
};

extern template class SlicedRows<double>;
extern template class SlicedRows<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
