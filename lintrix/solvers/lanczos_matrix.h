#pragma once
/// @file
/// The matrix of the Lanczos driver and its two products.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// An m x n matrix in one-based compressed rows; with `symmetric` they are the upper triangle. Owns nothing:
/// the products go through the caller's rows as they stand, and nothing of the size of the matrix is made.
///
/// A row of A*x is summed in two chains, A'*x is scattered row by row on one thread: the bits of both depend
/// neither on the processor nor on the number of threads. Those of a symmetric matrix depend on the latter,
/// since each thread sums into a vector of its own.
struct LINTRIX_TESTABLE LanczosMatrix {
    std::int32_t m, n;
    const double* a;
    const std::int32_t* ia;
    const std::int32_t* ja;
    bool symmetric;

    /// y := A*x
    void multiply(const double* x, double* y) const;
    /// y := A'*x
    void multiplyTransposed(const double* x, double* y) const;
    /// y := y + alpha*A'*x
    void addTransposed(double alpha, const double* x, double* y) const;

private:
    void product(const char* trans, double alpha, const double* x, double beta, double* y) const;
};

} // namespace Velmar::Lintrix::detail
