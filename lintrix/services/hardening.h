#pragma once
/// @file
/// The one switch of the hardened build. Where the interface leaves a duty to the caller (use after release,
/// wrapped sizes, overlapping operands), the normal build does not look; the hardened build does.

namespace Velmar::Lintrix::detail {

#if defined(LINTRIX_HARDENED)
inline constexpr bool kHardened = true;
#else
inline constexpr bool kHardened = false;
#endif

} // namespace Velmar::Lintrix::detail
