#pragma once
// `lintrix svd`: the largest singular values of a sparse matrix.

#include <string>

namespace Velmar::Lintrix::tools {

struct SvdOptions {
    std::string matrix; ///< "-" is standard input
    int count = 0;
    double tolerance = 1e-10;
    std::string out;  ///< prefix of three files; empty: the triplets are not kept
    std::string plot; ///< FILE.png or FILE.svg; empty: no picture
    bool json = false;
};

/// Prints values, residuals, passes and times. Steps past the smaller side find nothing any more, so there
/// the work is stopped. Exit code 0, or 1 when the last triplet did not converge or nothing is finite, said
/// in words on standard error; no file is written then.
/// @throws InputError  bad input, more values wanted than there are, or a failing write
int runSvd(const SvdOptions& options);

} // namespace Velmar::Lintrix::tools
