#pragma once
// `lintrix svd`: the largest singular values of a sparse matrix.

#include <string>

namespace Velmar::Lintrix::tools {

struct SvdOptions {
    std::string matrix; ///< "-" is standard input
    int count = 0;
    double tolerance = 1e-10;
    bool bySteps = false; ///< without restarts, of a real matrix
    bool certify = false; ///< prove that no value was passed over
    std::string out;      ///< prefix of three files; empty: the triplets are not kept
    std::string plot;     ///< FILE.png or FILE.svg; empty: no picture
    bool json = false;
};

/// Prints values, residuals, restarts and times. Without restarts, steps past the smaller side find nothing
/// any more, so there the work is stopped. Exit code 0, or 1 when a triplet did not converge, a value was
/// passed over, or nothing is finite, said in words on standard error; no file is written then.
/// @throws InputError  bad input, more values wanted than there are, or a failing write
int runSvd(const SvdOptions& options);

} // namespace Velmar::Lintrix::tools
