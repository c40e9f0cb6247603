#pragma once
// Dense systems: the sizes that cannot be held are refused.

#include <tools/input/columns.h>

#include <lintrix/lintrix.h>
#include <lintrix/sparse/matrix_market.h>

#include <cstdint>

namespace Velmar::Lintrix::tools {

/// Whether the dense form can be had for singular values just so: a second of work, 32 MB.
bool isSmall(std::int32_t rows, std::int32_t cols);

/// Refuses a matrix whose dense form has more than 2147483647 cells, or that takes, with the copy that is
/// factorized, more than `memory` bytes. `cellBytes` is the size of a cell: a real matrix may have to be held
/// in complex ones. @throws InputError  at the size line
void requireRoom(const MatrixMarketHeader& matrix, double memory = MemoryLimit(),
                 std::size_t cellBytes = sizeof(double));

/// Refuses right-hand sides that do not fit the matrix or the memory. @throws InputError  at the size line
void requireRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                       double memory = MemoryLimit(), std::size_t cellBytes = sizeof(double));

/// Refuses right-hand sides of another length. @throws InputError  at the size line
void requireSameRows(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands);

} // namespace Velmar::Lintrix::tools
