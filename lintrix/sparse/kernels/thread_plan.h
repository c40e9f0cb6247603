#pragma once
/// @file
/// Who does what: how the products with dense operands are cut for threads. Pure rules, so that they can be
/// tested without threads.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// 0 .. size-1 cut in `count` contiguous blocks of size / count, integer division; the last takes the rest.
struct Blocks {
    int size;
    int count;

    constexpr int first(int block) const noexcept { return block * (size / count); }
    constexpr int last(int block) const noexcept { return block + 1 == count ? size : first(block + 1); }
};

/// y := A*x, general: one block of rows for each thread. With fewer rows than threads the last block would
/// take them all.
constexpr Blocks planRows(int rows, int threads) noexcept
{
    return {rows, threads >= 2 && threads <= rows ? threads : 1};
}

/// C := op(A)*B: one block of columns for each thread, from 200 columns a thread on.
constexpr Blocks planColumns(int columns, int threads) noexcept
{
    const bool pays = threads >= 2 && std::int64_t{threads} * 200 < columns;
    return {columns, pays ? threads : 1};
}

/// y := A*x with a stored triangle. A block of rows writes into y behind its own rows as well, therefore into
/// a buffer; the buffers are summed at the end.
struct SymmetricPlan {
    Blocks blocks;
    bool sharedReduction; ///< the sum of the buffers is shared out, a result block for each thread
};

/// In parallel from 100 rows a thread on; the reduction is shared above 1000 rows. Sixteen threads and more
/// are cut to eight if the count may be adjusted: the buffers cost memory traffic with every thread.
constexpr SymmetricPlan planSymmetric(int rows, int threads, bool dynamic) noexcept
{
    const int team = dynamic && threads >= 16 ? 8 : threads;
    const bool pays = team >= 2 && std::int64_t{team} * 100 < rows;
    return {{rows, pays ? team : 1}, rows > 1000};
}

} // namespace Velmar::Lintrix::detail
