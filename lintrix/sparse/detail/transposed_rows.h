#pragma once
/// @file
/// Transposition of compressed rows.

#include <lintrix/sparse/detail/result_rows.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// The compressed rows of A', A being `rows` x `cols`: a counting sort by column, linear in elements and
/// sizes.
///
/// Row c of A' gets its end first. The elements of A are then visited from the last to the first, each
/// stepping the pointer of its column down to its own slot: the pointers come to rest on the starts, and the
/// columns of A' ascend because the rows of A were taken in descending order.
/// Source: Gustavson, ACM TOMS 4 (1978), with the pointers as counters.
template <class Cell>
ResultRows<Cell> transposedRows(std::int32_t rows, std::int32_t cols, const Cell* a, const std::int32_t* ia,
                                const std::int32_t* ja)
{
    const std::int32_t count = ia[rows] - ia[0];
    ResultRows<Cell> transposed(cols);
    std::int32_t* const pointer = transposed.ia.get();
    transposed.ia.clear(std::int64_t{cols} + 1);
    for (std::int32_t k = 0; k < count; ++k) ++pointer[ja[k] - 1];
    std::int32_t end = 1;
    for (std::int32_t c = 0; c <= cols; ++c) pointer[c] = end += pointer[c];
    transposed.allot();

    for (std::int32_t r = rows - 1; r >= 0; --r) {
        for (std::int32_t k = ia[r + 1] - 2; k >= ia[r] - 1; --k) {
            const std::int32_t slot = --pointer[ja[k] - 1] - 1;
            transposed.a[slot] = a[k];
            transposed.ja[slot] = r + 1;
        }
    }
    transposed.markSpareSlot();
    return transposed;
}

} // namespace Velmar::Lintrix::detail
