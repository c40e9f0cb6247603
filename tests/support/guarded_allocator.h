#pragma once
/// @file
/// Puts every new block at the end of a page behind which nothing may be read.

namespace Velmar::Lintrix::testing {

/// While it lives, a block of the library ends where its memory does, up to its alignment of 16 bytes:
/// whoever reads or writes past it, a kernel in assembler too, ends the process. Blocks taken meanwhile go
/// back meanwhile.
class GuardedAllocator {
public:
    GuardedAllocator();
    ~GuardedAllocator();
    GuardedAllocator(const GuardedAllocator&) = delete;
    GuardedAllocator& operator=(const GuardedAllocator&) = delete;
};

} // namespace Velmar::Lintrix::testing
