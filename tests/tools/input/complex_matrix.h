#pragma once
/// @file
/// Complex sparse matrices for the tests of the command, from the entries of a file.

#include <tools/input/matrix_file.h>

#include <lintrix/sparse/matrix_market.h>

#include <sstream>

namespace Velmar::Lintrix::testing {

/// What the command reads from a file with these entries.
inline CSparseMatrix matrixOf(const MatrixMarketTriplets& entries)
{
    std::stringstream file;
    WriteMatrixMarket(file, entries);
    MatrixMarketReader reader(file);
    return tools::readRows<tools::ComplexNumber>(reader, MatrixMarketStorage::UpperTriangle);
}

} // namespace Velmar::Lintrix::testing
