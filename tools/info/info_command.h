#pragma once
// `lintrix info`: what a matrix file holds.

#include <string>

namespace Velmar::Lintrix::tools {

struct InfoOptions {
    std::string matrix; ///< "-" is standard input
    std::string plot;   ///< FILE.png or FILE.svg; empty: no picture
    bool json = false;
};

/// Prints size, entries, symmetry, norms and a sketch of the pattern; for small matrices also rank and
/// extreme singular values. No dense copy is made of a large matrix. Exit code 0, or 1 when the singular
/// values did not converge. @throws InputError  bad input, or a failing write
int runInfo(const InfoOptions& options);

} // namespace Velmar::Lintrix::tools
