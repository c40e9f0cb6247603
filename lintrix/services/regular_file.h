#pragma once
/// @file
/// Opening what must be a regular file, and moving bytes to it and from it whole.

#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail {

/// Opens what stands at the path if it is a regular file, and makes one of this mode where the flags of
/// open(2) ask for it. Anything else is closed again: a pipe without waiting for its other end, a terminal
/// without becoming the process's own.
/// @return  the descriptor, below 0 where there is none: with errno if the file could not be opened
int openRegular(const char* path, int flags, unsigned mode = 0600) noexcept;

/// All bytes, from `offset` on. A write that a limit of the process forbids is a failure like any other,
/// without the signal that goes with it. @return  whether it could
bool writeAll(int file, std::int64_t offset, std::span<const std::byte> from) noexcept;

/// A file that ends before has been cut off: then it could not. @return  whether it could
bool readAll(int file, std::int64_t offset, std::span<std::byte> into) noexcept;

} // namespace Velmar::Lintrix::detail
