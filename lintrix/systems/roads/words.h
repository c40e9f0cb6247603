#pragma once
/// @file
/// How numbers are shown to people.

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace Velmar::Lintrix::detail::roads {

/// Two digits; "unknown" for a NaN, whose sign would be shown otherwise.
inline std::string numberInWords(double value)
{
    return std::isnan(value) ? "unknown" : fmt::format("{:.1e}", value);
}

} // namespace Velmar::Lintrix::detail::roads
