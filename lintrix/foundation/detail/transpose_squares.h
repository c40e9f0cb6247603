#pragma once
/// @file
/// The transposition of doubles by vectors.

#include <lintrix/services/dispatch.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// b(j, i) := a(i, j) for the rows x cols array `a`, both column-major; they must not overlap.
using TransposeSquares = void (*)(std::uint64_t rows, std::uint64_t cols, const double* a, std::uint64_t lda,
                                  double* b, std::uint64_t ldb);

/// Its forms. Cells are moved and never looked at, so that each gives the same bits.
LINTRIX_TESTABLE const KernelForms<TransposeSquares>& transposeSquares() noexcept;

} // namespace Velmar::Lintrix::detail
