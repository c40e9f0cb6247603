#pragma once
// Sparse systems: the sizes that cannot be held are refused.

#include <lintrix/lintrix.h>

namespace Velmar::Lintrix::tools {

/// Refuses a matrix that takes more than `memory` bytes as it is read, with `beside` bytes for what is made
/// of it. @throws InputError  at the size line
void requireMatrixRoom(const MatrixMarketHeader& matrix, double beside, double memory = MemoryLimit());

/// Refuses a system that takes more than `memory` bytes before anything is factorized, in real or complex
/// numbers. @throws InputError  at the size line
void requireSparseRoom(const MatrixMarketHeader& matrix, double memory, bool complex = false);
/// The same with right-hand sides, which must also fit the matrix.
void requireSparseRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                             double memory, bool complex = false);

} // namespace Velmar::Lintrix::tools
