#pragma once
/// @file
/// The cells of a block that an object keeps until its release.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>
#include <lintrix/services/hardening.h>

namespace Velmar::Lintrix::detail {

[[noreturn]] LINTRIX_EXPORT void raiseReleased();

/// The guard of every build: refuses an owner that has given up what it held.
template <class Owner>
void requireKept(const Owner& owner)
{
    if (!owner) raiseReleased();
}

/// Use after release is the caller's duty; the hardened build refuses it.
template <class Cell>
Cell* kept(const Block<Cell>& block)
{
    if constexpr (kHardened) requireKept(block);
    return block.get();
}

} // namespace Velmar::Lintrix::detail
