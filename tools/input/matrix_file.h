#pragma once
// The matrix files that the command is given.

#include <tools/input/columns.h>
#include <tools/support/output_file.h>
#include <tools/support/progress.h>

#include <lintrix/sparse/matrix_market.h>

#include <string>

namespace Velmar::Lintrix::tools {

/// Reads as far as the size line. "-" is standard input. Where reading takes long, `progress` tells how far
/// it is; it must outlive the reader.
MatrixMarketReader openMatrix(const std::string& file, Progress& progress);

/// The dense matrix as an array file; closes `file`.
void writeMatrix(OutputFile& file, const Matrix& matrix);
void writeMatrix(OutputFile& file, const CMatrix& matrix);

/// By the word in the header, whatever the numbers are.
bool isComplex(const MatrixMarketReader& reader);
/// @throws InputError  "FILE:1: WHAT" of a complex file
void requireReal(const MatrixMarketReader& reader, const std::string& what);

/// The entries; also those of a real file as complex numbers, but not the other way round. Of a complex
/// matrix both triangles in any case.
template <class Cell>
SparseRows<Cell> readRows(MatrixMarketReader& reader, MatrixMarketStorage storage);
/// Likewise the full matrix.
template <class Cell>
Columns<Cell> readColumns(MatrixMarketReader& reader);

} // namespace Velmar::Lintrix::tools
