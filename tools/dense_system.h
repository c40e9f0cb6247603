#pragma once
// Dense systems: the sizes that cannot be held are refused, and columns are moved about.

#include <lintrix/lintrix.h>
#include <lintrix/sparse/matrix_market.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::tools {

/// What this process may use, in bytes: the machine's memory, or less where its address space is limited.
double memoryLimit();

/// Refuses a matrix whose dense form has more than 2147483647 cells, or that takes, with the copy that is
/// factorized, more than `memory` bytes. @throws InputError  at the size line
void requireRoom(const MatrixMarketHeader& matrix, double memory = memoryLimit());

/// Refuses right-hand sides that do not fit the matrix or the memory. @throws InputError  at the size line
void requireRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                       double memory = memoryLimit());

/// Refuses right-hand sides of another length. @throws InputError  at the size line
void requireSameRows(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands);

/// The cells, column by column.
std::span<const double> cellsOf(const Matrix& matrix);
std::span<double> cellsOf(Matrix& matrix);

/// Those of column j.
std::span<const double> columnCells(const Matrix& matrix, std::int32_t j);

/// Column j, Rows() x 1.
Matrix columnOf(const Matrix& matrix, std::int32_t j);

/// Copies all of `source` to the columns of `target` from column j on; the row counts agree.
void copyColumns(const Matrix& source, Matrix& target, std::int32_t j);

/// All ones, or any other constant.
Matrix filledWith(double value, std::int32_t rows, std::int32_t cols);

} // namespace Velmar::Lintrix::tools
