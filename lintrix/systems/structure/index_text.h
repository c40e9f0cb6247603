#pragma once
/// @file
/// Indices in English: "columns 3, 17 and 20".

#include <lintrix/services/export.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// "row 4"; "rows 4 and 7"; of many "rows 0, 1, 2, 3, 4 and 95 more". The noun in the singular; no indices:
/// "no rows". The indices are from 0, and told as if the first were `first`.
LINTRIX_TESTABLE std::string indexText(std::string_view noun, std::span<const std::int32_t> indices,
                                       std::int32_t first = 0);

/// The text with a capital letter.
LINTRIX_TESTABLE std::string capitalized(std::string text);

} // namespace Velmar::Lintrix::detail
