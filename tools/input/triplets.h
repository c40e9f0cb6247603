#pragma once
// From the entries of a file, in any order, to a complex matrix.

#include <tools/input/compressed_rows.h>

#include <lintrix/sparse/matrix_market.h>

namespace Velmar::Lintrix::tools {

/// Entries at one place are added up in the order of the file. `storage` means what it does for a real
/// matrix, a hermitian file being stored like a symmetric one.
CompressedRows<ComplexNumber> rowsOf(const MatrixMarketTriplets& triplets, MatrixMarketStorage storage);

} // namespace Velmar::Lintrix::tools
