#include <lintrix/foundation/detail/block_witness.h>

#include <lintrix/foundation/failures.h>

#include <mutex>
#include <unordered_map>

namespace Velmar::Lintrix::detail {

namespace {

struct WatchedBlocks {
    std::mutex mutex;
    std::unordered_map<const void*, std::uint64_t> numbers;
    std::uint64_t last = 0;
};

/// Never destroyed: objects of static storage free their blocks at the end of a program.
WatchedBlocks& watched()
{
    static auto* const blocks = new WatchedBlocks;
    return *blocks;
}

} // namespace

std::uint64_t watchBlock(const void* block)
{
    WatchedBlocks& blocks = watched();
    const std::lock_guard lock(blocks.mutex);
    const auto [entry, isNew] = blocks.numbers.try_emplace(block, blocks.last + 1);
    if (isNew) ++blocks.last;
    return entry->second;
}

void forgetBlock(const void* block) noexcept
{
    WatchedBlocks& blocks = watched();
    const std::lock_guard lock(blocks.mutex);
    blocks.numbers.erase(block);
}

void requireWatched(const void* block, std::uint64_t number)
{
    WatchedBlocks& blocks = watched();
    const std::lock_guard lock(blocks.mutex);
    const auto entry = blocks.numbers.find(block);
    if (entry != blocks.numbers.end() && entry->second == number) return;
    throw InvalidOperationException("The view has outlived the block that it shows.");
}

} // namespace Velmar::Lintrix::detail
