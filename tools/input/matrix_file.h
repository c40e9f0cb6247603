#pragma once
// The matrix files that the command is given.

#include <tools/input/columns.h>
#include <tools/support/output_file.h>
#include <tools/support/progress.h>

#include <lintrix/files/matrix_file.h>
#include <lintrix/sparse/matrix_market.h>

#include <optional>
#include <string>

namespace Velmar::Lintrix::tools {

/// Reads as far as the sizes, whatever the form. "-" is standard input. Where reading takes long, `progress`
/// tells how far it is; it must outlive the reader.
MatrixFileReader openMatrix(const std::string& file, Progress& progress);

/// The dense matrix in this form; closes `file`.
void writeMatrix(OutputFile& file, const Matrix& matrix,
                 MatrixFileFormat format = MatrixFileFormat::MatrixMarket);
void writeMatrix(OutputFile& file, const CMatrix& matrix,
                 MatrixFileFormat format = MatrixFileFormat::MatrixMarket);
/// The form of dense matrices that the name says; Matrix Market where it says none.
/// @throws InputError  the form is one of sparse matrices alone
MatrixFileFormat denseFormatOf(const std::string& name);

/// By the word in the header, whatever the numbers are.
bool isComplex(const MatrixFileReader& reader);
/// @throws InputError  "FILE:1: WHAT" of a complex file
void requireReal(const MatrixFileReader& reader, const std::string& what);

/// The entries; also those of a real file as complex numbers, but not the other way round. Of a complex
/// matrix both triangles in any case.
template <class Cell>
SparseRows<Cell> readRows(MatrixFileReader& reader, MatrixMarketStorage storage);
/// Likewise the full matrix.
template <class Cell>
Columns<Cell> readColumns(MatrixFileReader& reader);
/// The right-hand sides that stand in the file behind the matrix, which has been read.
template <class Cell>
Columns<Cell> readOwnRightHands(MatrixFileReader& reader);
/// What a file of them alone would tell; nothing where there are none.
std::optional<MatrixMarketHeader> ownRightHands(const MatrixFileReader& reader);

} // namespace Velmar::Lintrix::tools
