#pragma once
/// @file
/// How the steps of an analysis are shared among threads.

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Of `threads`, as many as have some milliseconds of work each, which is as long as one may take to start:
/// so many entries, or elements of row lists, are to be gone through.
inline int threadsRepaidBy(std::int64_t elements, int threads) noexcept
{
    constexpr std::int64_t kElementsAThread = 400000;
    return static_cast<int>(
        std::clamp<std::int64_t>(elements / kElementsAThread + 1, 1, std::max(threads, 1)));
}

/// The first of 0 .. count whose weight is `part` of `parts` of that of `count`, or more: between two such
/// bounds lies about one part of the work. weight(i), of all before i, ascends.
template <class Weight>
int weightedBound(int count, int part, int parts, const Weight& weight)
{
    if (part == parts) return count;
    const double aim = static_cast<double>(weight(count)) * part / parts;
    int first = 0;
    for (int left = count; left > 0;) {
        const int half = left / 2;
        if (static_cast<double>(weight(first + half)) < aim) {
            first += half + 1;
            left -= half + 1;
        } else {
            left = half;
        }
    }
    return first;
}

} // namespace Velmar::Lintrix::detail::engine
