#pragma once
/// @file
/// Arrays out of the sections of a file, each as long as is expected and no longer than the file.

#include <lintrix/foundation/block.h>
#include <lintrix/services/section_file.h>
#include <lintrix/systems/saved_system.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// @throws as `requireWhole`; so do the others
template <class T>
void requireRoom(SectionReader& file, std::string_view name, std::int64_t count)
{
    if (count < 0 || count > file.BytesLeft() / std::int64_t{sizeof(T)}) requireWhole(file.Contradiction());
    requireWhole(file.Expect(name, count * std::int64_t{sizeof(T)}));
}

template <class T>
std::vector<T> taken(SectionReader& file, std::string_view name, std::int64_t count)
{
    requireRoom<T>(file, name, count);
    std::vector<T> cells(static_cast<std::size_t>(count));
    requireWhole(file.Take(std::span(cells)));
    return cells;
}

template <class T>
Block<T> takenBlock(SectionReader& file, std::string_view name, std::int64_t count)
{
    requireRoom<T>(file, name, count);
    Block<T> cells(count);
    requireWhole(file.Take(std::span(cells.get(), static_cast<std::size_t>(count))));
    return cells;
}

inline bool isPermutation(const std::vector<std::int32_t>& at)
{
    std::vector<bool> met(at.size());
    for (const std::int32_t index : at) {
        if (index < 0 || index >= std::ssize(at) || met[static_cast<std::size_t>(index)]) return false;
        met[static_cast<std::size_t>(index)] = true;
    }
    return true;
}

} // namespace Velmar::Lintrix::detail::roads
