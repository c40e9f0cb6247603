#pragma once
/// @file
/// Rounding to a number of fractional digits.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix {

namespace detail {

/// `value` without its fraction. What does not fit, NaN included, becomes the smallest integer, as in the
/// processor's own conversion, so that stored results stay as they are.
constexpr std::int32_t truncatedToInt32(double value) noexcept
{
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<std::int32_t>(value) : INT32_MIN;
}

} // namespace detail

/// `value` rounded to `digits` fractional digits, ties to the even digit. The value is scaled by 10^digits,
/// rounded to an integer and scaled back; numbers from 1e16 on have no fractional digits and stay as they
/// are.
/// @throws ArgumentOutOfRangeException  digits outside 0 to 15: "Rounding digits must be between 0 and 15,
///         inclusive.", parameter "digits"
LINTRIX_EXPORT double Round(double value, int digits);

} // namespace Velmar::Lintrix
