#pragma once
// `lintrix convert`: a matrix from one form of file into another.

#include <string>

namespace Velmar::Lintrix::tools {

struct ConvertOptions {
    std::string matrix; ///< "-" is standard input
    std::string out;    ///< its name says the form
};

/// Exit code 0. @throws InputError  bad input, a name that says no form, or a failing write
int runConvert(const ConvertOptions& options);

} // namespace Velmar::Lintrix::tools
