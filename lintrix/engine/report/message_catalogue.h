#pragma once
/// @file
/// Texts in place of the built-in rows, as a file holds them; docs/message_catalogue.md tells its format.

#include <lintrix/engine/report/messages.h>
#include <lintrix/services/export.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// By message; nothing where the built-in row stands.
using MessageTexts = std::array<std::optional<std::string_view>, kMessages>;

/// The first line of a catalogue.
inline constexpr std::string_view kCatalogueTitle = "lintrix messages 1";

/// A row stands under the number of its message plus this.
inline constexpr std::uint32_t kFirstIdentifier = 0x80000000;

/// Whether a catalogue may hold the row. Those that tell of a missing row or of a line too long may not: they
/// are what is left to say when a text is at fault.
LINTRIX_TESTABLE bool isReplaceable(Message message) noexcept;

/// The rows of a catalogue, as views into `file`. Nothing if anything in it is damaged: half a catalogue
/// would mix two languages.
LINTRIX_TESTABLE std::optional<MessageTexts> readCatalogue(std::string_view file) noexcept;

} // namespace Velmar::Lintrix::detail::engine
