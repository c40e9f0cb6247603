#pragma once
/// @file
/// The transposition of real and complex cells by vectors.

#include <lintrix/foundation/function_objects.h>
#include <lintrix/services/dispatch.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// b(j, i) := a(i, j) for the rows x cols array `a`, both column-major; they must not overlap. Leading
/// dimensions count cells. Cells are moved and never looked at, so that each form gives the same bits.
template <class Cell>
using TransposeSquares = void (*)(std::uint64_t rows, std::uint64_t cols, const Cell* a, std::uint64_t lda,
                                  Cell* b, std::uint64_t ldb);

LINTRIX_TESTABLE const KernelForms<TransposeSquares<double>>& transposeSquares() noexcept;
LINTRIX_TESTABLE const KernelForms<TransposeSquares<Complex>>& transposeComplexSquares() noexcept;
/// The same with the sign bit of each imaginary part flipped on the way.
LINTRIX_TESTABLE const KernelForms<TransposeSquares<Complex>>& adjointSquares() noexcept;

} // namespace Velmar::Lintrix::detail
