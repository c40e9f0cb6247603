#pragma once
/// @file
/// An orthonormal basis that grows by one vector at a time.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Columns of `length` cells, one behind the other.
///
/// A new vector is written into its column and made orthonormal there by modified Gram-Schmidt, one sweep
/// (Golub and Van Loan, Matrix Computations, 4th ed., section 5.2.8): each scalar product sees the vector
/// already corrected by the columns before, so there is one meeting of the threads per column and no way
/// around it. What can be saved is memory traffic: the correction by one column and the scalar product with
/// the next are a single pass over the vector.
///
/// A scalar product is the sum of its chunks of kChunk cells, in their order, and a chunk is summed in
/// kLanes lanes that are then added in pairs. So the bits depend neither on the number of threads nor on the
/// processor.
class LINTRIX_TESTABLE KrylovBasis {
public:
    static constexpr int kLanes = 16;
    static constexpr int kChunk = 2048; ///< a multiple of kLanes

    /// Room for `columns` vectors, uninitialised. @throws NotEnoughMemoryException
    KrylovBasis(std::int32_t length, std::int32_t columns);

    double* column(std::int32_t j) const noexcept { return cells_.get() + std::int64_t{length_} * j; }
    const double* cells() const noexcept { return cells_.get(); }
    std::int32_t length() const noexcept { return length_; }

    /// Room for `columns` vectors, what there is kept. @throws NotEnoughMemoryException
    void resize(std::int32_t columns);

    /// w = column j becomes (w - c*q(j-1)), then for i = 0 .. j-2 in this order w - (w.q(i))*q(i), at last
    /// w/||w||; the result is ||w|| before that. Column 0 is only normalized, and `c` without meaning.
    /// By contract a norm of zero divides all the same: the column is then NaN.
    double orthonormalize(std::int32_t j, double c) const noexcept;

private:
    std::int32_t length_;
    Block<double> cells_;
    Block<double> chunkSums_; ///< two sets, used in turn: one is read while the other is written
};

} // namespace Velmar::Lintrix::detail
