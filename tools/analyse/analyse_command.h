#pragma once
// `lintrix analyse`: what the sparse direct solver would make of a matrix.

#include <string>

namespace Velmar::Lintrix::tools {

struct AnalyseOptions {
    std::string matrix;   ///< "-" is standard input
    std::string ordering; ///< the name of one; empty: each that is sensible
    std::string plot;     ///< FILE.png or FILE.svg; empty: no picture
    bool json = false;
};

/// Prints the matrix type, the matching, and for each ordering fill, supernodes, tree height, the forecast of
/// memory and operations, and the time. The picture is the factor's pattern by the ordering of least fill.
/// Exit code 0, or 1 when the pattern is singular or an ordering failed, said on standard error. @throws
/// InputError  bad input, or a failing write
int runAnalyse(const AnalyseOptions& options);

/// What is wrong with the name of an ordering, in words; nothing when there is one.
std::string faultOfOrdering(const std::string& name);

} // namespace Velmar::Lintrix::tools
