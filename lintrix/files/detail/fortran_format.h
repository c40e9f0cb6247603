#pragma once
/// @file
/// Edit descriptors of Fortran as the heads of Harwell-Boeing files give them, and the numbers that they
/// read. ISO/IEC 1539-1, sections 13.7.2 (numeric editing) and 13.8.5 (scale factor).

#include <lintrix/services/export.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// "(10I8)", "(1P,4E20.12)", "(3D25.16)", "(4(1X,F9.2))" is not one of them: one kind of field, repeated.
struct LINTRIX_TESTABLE FortranFormat {
    std::int32_t perLine = 1; ///< fields of a line
    char letter = 'I';        ///< I, or one of E, D, F, G
    std::int32_t width = 0;   ///< characters of a field
    std::int32_t decimals = 0;
    std::int32_t scale = 0; ///< k of kP: a number without an exponent is divided by 10^k

    /// Nothing where the text is no such format.
    static std::optional<FortranFormat> parse(std::string_view text);

    /// The whole number of a field; nothing where there is none. Blanks count for nothing.
    std::optional<std::int64_t> wholeFrom(std::string_view field) const;
    /// The number of a field: with or without a point (then the last `decimals` digits are behind it), with
    /// an exponent after E, D or Q or after its sign alone ("1.0+5"). Beyond the range it is infinite or
    /// zero.
    std::optional<double> realFrom(std::string_view field) const;
};

} // namespace Velmar::Lintrix::detail
