#pragma once
/// @file
/// The number under which a locale's catalogue is looked for.

#include <lintrix/services/export.h>

#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// The usual number of a locale of this name, language_TERRITORY with or without encoding and modifier:
/// 1031 for "de_DE.UTF-8". "C", "POSIX" and what the table does not know are 1033, as en_US.
LINTRIX_TESTABLE unsigned long localeNumber(std::string_view name) noexcept;

/// That of the calling thread's locale for messages.
LINTRIX_TESTABLE unsigned long localeNumberOfThread() noexcept;

} // namespace Velmar::Lintrix::detail::engine
