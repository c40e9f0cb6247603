#pragma once
/// @file
/// Text of a double, exactly rounded: a letter says the form, a digit count how much of it.
///
/// | Letter | Form | Digit count, if not given |
/// |---|---|---|
/// | F | fixed point | digits after the point, 2 |
/// | N | fixed point with grouped integer digits | digits after the point, 2 |
/// | P | 100 times the value as by N, then " %" | digits after the point, 2 |
/// | E | d.ddd, exponent with its sign and at least three digits: "1.500000E+003" | digits after the point, 6
/// | | G | fixed or scientific, whichever suits | significant digits; as many as the round trip needs | | R |
/// as G without a count | none; a count is read and has no effect |
///
/// The letter may be upper or lower case; it is the case of the exponent's E. The count is a decimal number
/// from 0 to 99. An empty format is "G".
///
/// G drops trailing zeros, and turns to scientific form, with an exponent of at least two digits, when the
/// decimal exponent is -5 or less, or not below the digit count (15 where none is given): 0.0001, 1E-05,
/// 1E+15. "G0" is "G".
///
/// Every digit is that of the exact binary value, rounded to nearest, an exact half to the even digit; P
/// shifts the decimal point and multiplies nothing. The sign of a zero, also of a value that is rounded to
/// zero, is kept: "-0.00". Decimal sign and grouping are those of the locale's `numpunct`; NaN is "NaN", the
/// infinities are "Infinity" and "-Infinity" in every form.

#include <lintrix/services/export.h>

#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

/// A format and a locale, looked at once and then used for many values.
class LINTRIX_EXPORT NumberFormatter {
public:
    /// @throws FormatException  unknown letter, or no digit count from 0 to 99: "Format specifier was
    /// invalid."
    NumberFormatter(std::string_view format, const std::locale& locale);

    /// Appends the text of `value` to `text`. About 100 ns at three decimals.
    void Append(std::string& text, double value) const;

private:
    char* write(double value, char* out) const;
    char* writePlain(double value, char* out) const;
    char* writeGeneral(double value, char* out) const;
    char* writeScientific(double value, char* out) const;
    char* appendGrouped(std::string_view integer, char* out) const;

    char form_ = 'G';     ///< the upper-case letter
    char exponent_ = 'E'; ///< 'E' or 'e', as the letter's case
    int digits_ = 0;      ///< for G: 0 means as many as the round trip needs
    char point_ = '.';
    char separator_ = ','; ///< between groups
    std::string grouping_; ///< sizes of the groups, from the point outward, as `numpunct` tells them
};

/// The text of `value`. @throws FormatException  as the constructor of `NumberFormatter`
LINTRIX_EXPORT std::string FormatNumber(double value, std::string_view format = {},
                                        const std::locale& locale = std::locale());

} // namespace Velmar::Lintrix
