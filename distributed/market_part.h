#pragma once
/// @file
/// A Matrix Market file that several ranks read, each the lines in its part of the bytes.

#include <distributed/own_rows.h>

#include <lintrix/sparse/matrix_market.h>

#include <string>
#include <vector>

namespace Velmar::Lintrix::Distributed {

/// The header, which every rank reads. @throws DistributedFailure  a rank cannot read it, finds another one
/// than rank 0, or finds no file: what is no regular file cannot be read in parts
MatrixMarketHeader headerOf(const Agreement& all, const std::string& file);

/// Whether the file is compressed: then rank 0 reads all of it.
bool isCompressed(const Agreement& all, const std::string& file);

/// Entries of a coordinate file, those included that a symmetry mirrors: each rank those of its lines, in
/// their order. Any rank may have none. Faults are told as `MatrixMarketReader` does, with the line in the
/// whole file; `Cell` is complex if the file is.
template <class Cell>
std::vector<Entry<Cell>> readEntries(const Agreement& all, const MatrixMarketHeader& header, bool compressed);

} // namespace Velmar::Lintrix::Distributed
