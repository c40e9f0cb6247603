#pragma once
// Singular values by `TruncatedSVD`.

#include <tools/svd/triplets.h>

#include <optional>

namespace Velmar::Lintrix::tools {

/// None where the matrix is not finite; the report tells all.
template <class Cell>
std::optional<Triplets<Cell>> findByRestarts(const SparseRows<Cell>& A, const SvdOptions& options,
                                             Progress& progress, SvdReport& report);

} // namespace Velmar::Lintrix::tools
