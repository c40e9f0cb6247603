#pragma once
/// @file
/// From the lengths of rows to row pointers.

namespace Velmar::Lintrix::detail {

/// `ic` holds the length of row i in ic[i + 1]; afterwards it holds one-based row pointers. Returns false,
/// with `ic` half done, if they pass the largest int.
inline bool lengthsToPointers(int rows, int* ic) noexcept
{
    ic[0] = 1;
    for (int i = 0; i < rows; ++i) {
        if (__builtin_add_overflow(ic[i], ic[i + 1], &ic[i + 1])) return false;
    }
    return true;
}

} // namespace Velmar::Lintrix::detail
