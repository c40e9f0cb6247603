#pragma once
/// @file
/// A sparse matrix laid out for many products with one vector each.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>
#include <lintrix/solvers/lanczos_matrix.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::detail {

/// The rows of A, or of A', in slices of kRows: the rows are ordered by length, the longest first, and the
/// elements of eight neighbours lie side by side, padded with zeros to the length of the first. Eight sums
/// grow at once, and no mispredicted branch ends each short row.
/// Source: Kreutzer, Hager, Wellein, Fehske and Bishop, SIAM Journal on Scientific Computing 36 (2014).
///
/// A row is summed element by element in their order, so that bits depend neither on the number of threads
/// nor on the processor.
class LINTRIX_TESTABLE SlicedRows {
public:
    static constexpr std::int32_t kRows = 8;

    enum class Of { A, Transpose };

    /// Nothing if the slices would take more than `mostBytes`, or 2^31 elements with the zeros.
    /// @throws NotEnoughMemoryException
    static std::optional<SlicedRows> make(Of side, const LanczosMatrix& A, std::int64_t mostBytes);

    /// 12 an element, zeros among them, and about 5 a row.
    std::int64_t bytes() const noexcept;

    /// y := A*x, or A'*x. Either all cells of x are finite or none, as in a vector divided by its norm: the
    /// zeros are multiplied by its first cell.
    void multiply(const double* x, double* y) const;

private:
    SlicedRows(Of side, const LanczosMatrix& A);
    void fill(Of side, const LanczosMatrix& A);

    std::int32_t slices() const noexcept { return (rows_ - 1) / kRows + 1; }
    /// In groups of kRows elements.
    std::int32_t groups() const noexcept { return starts_[slices()]; }

    std::int32_t rows_;
    Block<std::int32_t> order_;   ///< the row in each place
    Block<std::int32_t> starts_;  ///< group at which each slice begins, and the end
    Block<double> values_;        ///< group by group
    Block<std::int32_t> columns_; ///< zero-based
};

} // namespace Velmar::Lintrix::detail
