#pragma once
/// @file
/// Whether a text is UTF-8.

#include <lintrix/services/export.h>

#include <cstddef>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// Bytes of the sequence that begins a text, which is not empty; 0 if it is none.
std::size_t utf8SequenceLength(std::string_view text) noexcept;

/// Whether the text is a row of whole sequences of the Unicode Standard, table 3-7; an empty one is.
LINTRIX_TESTABLE bool isUtf8(std::string_view text) noexcept;

} // namespace Velmar::Lintrix::detail
