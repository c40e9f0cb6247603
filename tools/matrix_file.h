#pragma once
// The matrix files that the command is given.

#include <tools/progress.h>

#include <lintrix/sparse/matrix_market.h>

#include <string>

namespace Velmar::Lintrix::tools {

/// Reads as far as the size line, and refuses complex files. "-" is standard input. Where reading takes long,
/// `progress` tells how far it is; it must outlive the reader.
MatrixMarketReader openMatrix(const std::string& file, Progress& progress);

} // namespace Velmar::Lintrix::tools
