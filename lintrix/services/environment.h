#pragma once
/// @file
/// Environment variables as the kernel services read them: the value or its absence, at most 256 characters.
/// Everything that comes from here is hostile until it has been parsed.

#include <lintrix/services/export.h>

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// A private copy of one variable's text, or its absence. Holds no pointer into the environment, which
/// another part of the program may change, and takes no memory.
class LINTRIX_TESTABLE EnvironmentValue {
public:
    static constexpr std::size_t kLongest = 256;

    /// Absent.
    EnvironmentValue() noexcept = default;

    /// A copy of `text`; null counts as absent, and so does a text longer than kLongest.
    explicit EnvironmentValue(const char* text) noexcept;

    bool present() const noexcept { return present_; }
    std::string_view text() const noexcept { return {text_.data(), length_}; }

    /// The integer at the start of the text: leading white space, an optional sign, digits; 0 without a
    /// digit. A number beyond the range of int becomes the nearest int.
    int leadingInteger() const noexcept;

private:
    std::array<char, kLongest + 1> text_{}; // zero-terminated
    std::size_t length_ = 0;
    bool present_ = false;
};

/// From where a value is read: the process environment, or a test's table.
using EnvironmentLookup = std::function<EnvironmentValue(const char* name)>;

/// The variable `name` of this process.
LINTRIX_TESTABLE EnvironmentValue readEnvironment(const char* name) noexcept;

/// Whether the variable `name` exists at all, whatever its value: empty and overlong ones count.
LINTRIX_TESTABLE bool environmentHas(const char* name) noexcept;

/// The value of a text that is all digits, nothing if there is any other character. No digit at all is 0.
/// A number beyond the range of int becomes the largest int, which every user takes as "as many as there
/// are".
LINTRIX_TESTABLE std::optional<int> digitsValue(std::string_view text) noexcept;

} // namespace Velmar::Lintrix::detail
