#pragma once
/// @file
/// How numbers and failures are told to people.

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace Velmar::Lintrix::detail::roads {

/// Two digits; "unknown" for a NaN, whose sign would be shown otherwise.
inline std::string numberInWords(double value)
{
    return std::isnan(value) ? "unknown" : fmt::format("{:.1e}", value);
}

/// Of a failed system, as the end of a sentence.
inline std::string complaintOf(const std::string& reason)
{
    return "there is no good solution: " + reason;
}

} // namespace Velmar::Lintrix::detail::roads
