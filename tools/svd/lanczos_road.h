#pragma once
// Singular values by steps without restarts: `lintrix svd --method lanczos`.

#include <tools/svd/triplets.h>

#include <optional>

namespace Velmar::Lintrix::tools {

/// By the steps of `SparseSVD`, and where they come to no end because the matrix leaves them nothing to work
/// on (a multiple or a zero value, or hardly a row), by the dense decomposition, if the matrix is small. None
/// where nothing was found; the report tells why.
std::optional<Triplets<double>> findBySteps(const SparseMatrix& A, const SvdOptions& options,
                                            Progress& progress, SvdReport& report);

} // namespace Velmar::Lintrix::tools
