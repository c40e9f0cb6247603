#pragma once
/// @file
/// The catalogue that a user may put beside a program.

#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/report/message_catalogue.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// A catalogue's file in memory, and the texts in it.
struct Catalogue {
    Scratch<char> file;
    MessageTexts texts;
};

/// The catalogue in the file of this name; without texts where there is no regular file of at most 1 MiB,
/// where it is damaged, or where there is no memory for it.
LINTRIX_TESTABLE Catalogue loadCatalogue(const char* path) noexcept;

/// The texts of this process. The first call loads them, if it can, from "%lu/mkl_msg.dll" in the current
/// directory, %lu being the locale number of the thread that calls; no later call looks again.
LINTRIX_TESTABLE const MessageTexts& textsInForce() noexcept;

} // namespace Velmar::Lintrix::detail::engine
