#pragma once
/// @file
/// A sparse rectangular matrix as the least squares solvers see it: always tall, and stored both ways.

#include <lintrix/services/export.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/quality/column_scales.h>

#include <complex>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Compressed rows, one-based, owned by somebody else.
template <class Cell>
struct RowsView {
    std::int32_t rows = 0, cols = 0;
    const Cell* a = nullptr;
    const std::int32_t *ia = nullptr, *ja = nullptr;

    std::int64_t entries() const noexcept { return rows > 0 ? std::int64_t{ia[rows]} - ia[0] : 0; }
};

/// y = A*x or y = A^H*x for so many columns, stored one behind the other without gaps.
template <class Cell>
void multiplyColumns(const RowsView<Cell>& A, bool adjoint, std::int32_t columns, const Cell* x, Cell* y);

/// M with p rows and q <= p columns: A itself where it is tall or square, else A^H. Its rows and those of M^H
/// are at hand, so that both products run along rows and on all threads.
///
/// D = diag(scale) evens out the columns of M (see `ColumnScales`).
template <class Cell>
class LINTRIX_TESTABLE TallMatrix {
public:
    /// Refers to A's arrays. @throws std::bad_alloc
    explicit TallMatrix(const RowsView<Cell>& A);
    TallMatrix(const TallMatrix&) = delete;
    TallMatrix& operator=(const TallMatrix&) = delete;

    bool isAdjoint() const noexcept { return adjoint_; }                ///< M is A^H
    const RowsView<Cell>& rows() const noexcept { return rows_; }       ///< of M
    const RowsView<Cell>& columns() const noexcept { return columns_; } ///< the rows of M^H
    double norm() const noexcept { return norm_; }                      ///< ||A||_F; NaN or infinite as A is
    const std::vector<double>& scale() const noexcept { return scales_.scale; }
    bool isEvened() const noexcept { return scales_.differ; }
    void scaleAlike(); ///< gives all columns the largest column's scale

    void times(const Cell* x, Cell* y) const;        ///< y = M*x
    void adjointTimes(const Cell* x, Cell* y) const; ///< y = M^H*x
    LinearMap<Cell> asGiven() const;                 ///< A; refers to this object

private:
    void measureColumns();

    bool adjoint_;
    std::vector<Cell> otherCells_; // the rows of A^H
    std::vector<std::int32_t> otherStarts_, otherColumns_;
    RowsView<Cell> rows_, columns_;
    ColumnScales scales_;
    double norm_ = 0.0;
};

extern template class TallMatrix<double>;
extern template class TallMatrix<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
