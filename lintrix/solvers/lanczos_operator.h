#pragma once
/// @file
/// The two products of the Lanczos driver with its matrix.

#include <lintrix/services/export.h>
#include <lintrix/sparse/detail/result_rows.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::detail {

/// An m x n matrix in one-based compressed rows; with `symmetric` they are the upper triangle. Owns nothing.
struct LanczosMatrix {
    std::int32_t m, n;
    const double* a;
    const std::int32_t* ia;
    const std::int32_t* ja;
    bool symmetric;

    /// For the kernels: general or symmetric, upper triangle, non-unit diagonal, one-based.
    const char* descriptor() const noexcept { return symmetric ? "SUNF" : "GUNF"; }
    std::int32_t elements() const noexcept { return ia[m] - ia[0]; }
};

/// y = A*x and y = A'*x, for as many x as there are Lanczos steps.
///
/// The kernel applies A' by scattering rows, on one thread. Here the rows of A' stand ready instead, and each
/// is one sum. Its elements come in the order in which the kernel adds them up, since they ascend by row of
/// A: the results are the same to the last bit, for any number of threads. The transposed copy takes 12 bytes
/// an element; it is not made of a symmetric matrix, which needs none, of a wide one on a single thread,
/// where scattering is faster, and not where it would be larger than `mostBytes`. The kernel then does both
/// products.
class LINTRIX_TESTABLE LanczosOperator {
public:
    /// @throws NotEnoughMemoryException
    LanczosOperator(const LanczosMatrix& matrix, std::int64_t mostBytes);

    const LanczosMatrix& matrix() const noexcept { return A_; }
    bool hasTransposedCopy() const noexcept { return transposed_.has_value(); }

    /// y := A*x
    void multiply(const double* x, double* y) const;
    /// y := A'*x
    void multiplyTransposed(const double* x, double* y) const;
    /// y := y + alpha*A'*x
    void addTransposed(double alpha, const double* x, double* y) const;

private:
    LanczosMatrix A_;
    std::optional<ResultRows<double>> transposed_;
};

} // namespace Velmar::Lintrix::detail
