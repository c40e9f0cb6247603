#pragma once
/// @file
/// The matrix of the Lanczos driver.

#include <cstdint>

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
};

} // namespace Velmar::Lintrix::detail
