#pragma once
/// @file
/// An orthonormal basis that grows by one vector at a time.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Vectors of `length` cells, a column each. Columns are stride() cells apart, so that each begins at a cache
/// line and is a whole number of steps of the loops; the cells behind `length` are made zero
/// when a column is made orthonormal.
///
/// A new vector is written into its column and made orthonormal there by modified Gram-Schmidt, one sweep
/// (Golub and Van Loan, Matrix Computations, 4th ed., section 5.2.8): each scalar product sees the vector
/// already corrected by the columns before, so the threads must meet at each column. What can be saved is
/// memory traffic: the correction by one column and the scalar product with the next are a single pass.
///
/// A scalar product is the sum of its chunks of kChunk cells, in their order, and a chunk is summed in
/// kLanes lanes that are then folded in halves. So the bits depend neither on the number of threads nor on
/// the processor.
class LINTRIX_TESTABLE KrylovBasis {
public:
    static constexpr int kLanes = 16;
    static constexpr int kChunk = 2048; ///< a multiple of kLanes

    /// Room for `columns` vectors, uninitialised. @throws NotEnoughMemoryException  also for a length whose
    /// stride is no 32-bit number
    KrylovBasis(std::int32_t length, std::int32_t columns);

    double* column(std::int32_t j) const noexcept { return first_ + std::int64_t{stride_} * j; }
    std::int32_t length() const noexcept { return length_; }
    std::int32_t stride() const noexcept { return stride_; }

    /// Room for `columns` vectors, at least as many as before; what there is stays. Pointers to columns are
    /// void afterwards. @throws NotEnoughMemoryException
    void resize(std::int32_t columns);

    /// w = column j becomes (w - c*q(j-1)), then for i = 0 .. j-2 in this order w - (w.q(i))*q(i), at last
    /// w/||w||; the result is ||w|| before that. Column 0 is only normalized, and `c` without meaning.
    /// A norm of zero divides all the same: the column is then NaN, by which the driver's run comes to its
    /// end.
    double orthonormalize(std::int32_t j, double c) const noexcept;

private:
    std::int64_t cellsFor(std::int32_t columns) const noexcept;

    std::int32_t length_, stride_;
    Block<double> cells_;
    double* first_;           ///< column 0: the first cell of the block at a cache line
    Block<double> chunkSums_; ///< two sets, used in turn: one is read while the other is written
};

} // namespace Velmar::Lintrix::detail
