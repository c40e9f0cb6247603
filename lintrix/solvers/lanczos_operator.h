#pragma once
/// @file
/// The two products of the Lanczos driver with its matrix.

#include <lintrix/services/export.h>
#include <lintrix/solvers/lanczos_matrix.h>
#include <lintrix/solvers/sliced_rows.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::detail {

/// y = A*x and y = A'*x, for as many x as there are Lanczos steps.
///
/// The kernel applies A row by row and A' by scattering rows, on one thread. Here slices of both stand ready
/// instead. A product with A' is the same to the last bit: the elements of a row of A' come in the order in
/// which the kernel adds them up. Slices take 12 bytes an element; first those of A', then those of A are
/// made as far as both together stay within `mostBytes`, and none of a symmetric matrix. The kernel does the
/// rest.
class LINTRIX_TESTABLE LanczosOperator {
public:
    /// @throws NotEnoughMemoryException
    LanczosOperator(const LanczosMatrix& matrix, std::int64_t mostBytes);

    const LanczosMatrix& matrix() const noexcept { return A_; }
    bool hasSlices() const noexcept { return slices_.has_value(); }
    bool hasTransposedSlices() const noexcept { return transposed_.has_value(); }

    /// y := A*x
    void multiply(const double* x, double* y) const;
    /// y := A'*x
    void multiplyTransposed(const double* x, double* y) const;
    /// y := y + alpha*A'*x
    void addTransposed(double alpha, const double* x, double* y) const;

private:
    LanczosMatrix A_;
    std::optional<SlicedRows> transposed_, slices_;
};

} // namespace Velmar::Lintrix::detail
