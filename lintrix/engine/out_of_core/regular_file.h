#pragma once
/// @file
/// Opening what must be a regular file.

namespace Velmar::Lintrix::detail::engine {

/// Opens what stands at the path if it is a regular file, and makes one of mode 0600 where the flags of
/// open(2) ask for it. Anything else is closed again: a pipe without waiting for its other end, a terminal
/// without becoming the process's own.
/// @return  the descriptor, below 0 where there is none: with errno if the file could not be opened
int openRegular(const char* path, int flags) noexcept;

} // namespace Velmar::Lintrix::detail::engine
