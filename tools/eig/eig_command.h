#pragma once
// `lintrix eig`: the spectrum of a small matrix.

#include <string>

namespace Velmar::Lintrix::tools {

struct EigOptions {
    std::string matrix;  ///< "-" is standard input
    bool left = false;   ///< left eigenvectors, too
    std::string vectors; ///< prefix of the files; empty: nothing is kept
    std::string plot;    ///< FILE.png or FILE.svg; empty: no picture
    bool json = false;
};

/// Prints each eigenvalue with the residual of its eigenvector. Exit code 0, or 1 when not all were found,
/// said in words on standard error; no file is written then.
/// @throws InputError  bad input, a matrix that is not square, or too large to be held dense; a failing write
int runEig(const EigOptions& options);

} // namespace Velmar::Lintrix::tools
