#pragma once
/// @file
/// Complex sparse matrices from the entries of a file.

#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/matrix_market.h>

#include <sstream>

namespace Velmar::Lintrix::testing {

/// What a program reads from a file with these entries.
inline CSparseMatrix matrixOf(const MatrixMarketTriplets& entries)
{
    std::stringstream file;
    WriteMatrixMarket(file, entries);
    MatrixMarketReader reader(file);
    return reader.ReadComplexSparse(MatrixMarketStorage::BothTriangles);
}

} // namespace Velmar::Lintrix::testing
