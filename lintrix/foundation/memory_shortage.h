#pragma once
/// @file
/// One failure for all memory that there is not.

#include <lintrix/foundation/failures.h>

#include <new>
#include <utility>

namespace Velmar::Lintrix::detail {

/// `work()`. What a container of the standard library could not have is told as what the library's own
/// classes could not: callers know one failure for both.
/// @throws NotEnoughMemoryException  in place of std::bad_alloc; what else `work` raises
template <class Work>
decltype(auto) tellingShortage(Work&& work)
try {
    return std::forward<Work>(work)();
} catch (const std::bad_alloc&) {
    throw NotEnoughMemoryException();
}

} // namespace Velmar::Lintrix::detail
