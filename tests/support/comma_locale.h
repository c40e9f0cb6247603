#pragma once
/// @file
/// A locale with decimal comma and grouping by points, on any machine.

#include <locale>
#include <string>

namespace Velmar::Lintrix::testing {

class CommaPunctuation : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

inline const std::locale& comma()
{
    static const std::locale locale(std::locale::classic(), new CommaPunctuation);
    return locale;
}

} // namespace Velmar::Lintrix::testing
