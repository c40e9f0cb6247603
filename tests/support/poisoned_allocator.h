#pragma once
/// @file
/// Fills every new block with a byte of the test's choice, so that a cell which nobody wrote shows.

namespace Velmar::Lintrix::testing {

/// While it lives, each byte of a new block of the library holds `byte`. What is computed under two different
/// bytes and comes out the same has read no cell before it was written.
class PoisonedAllocator {
public:
    explicit PoisonedAllocator(unsigned char byte);
    ~PoisonedAllocator();
    PoisonedAllocator(const PoisonedAllocator&) = delete;
    PoisonedAllocator& operator=(const PoisonedAllocator&) = delete;
};

} // namespace Velmar::Lintrix::testing
