#pragma once
/// @file
/// Compressed rows on their way from a kernel into an object.

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/detail/row_arrays.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// The three arrays of a result. A first pass writes the row pointers, `allot` makes the others to fit, a
/// second pass fills them.
///
/// The object that adopts the arrays tells a capacity of one more than is stored, which callers have come to
/// read off results; the spare slot makes that true.
template <class Cell>
struct ResultRows : RowArrays<Cell> {
    using RowArrays<Cell>::a;
    using RowArrays<Cell>::ia;
    using RowArrays<Cell>::ja;

    explicit ResultRows(std::int32_t rowCount) : rows(rowCount)
    {
        ia = Block<std::int32_t>(std::int64_t{rowCount} + 1);
    }

    /// One-based, the last pointer is the number of elements and one more: the spare slot.
    void allot()
    {
        a = Block<Cell>(ia[rows]);
        ja = Block<std::int32_t>(ia[rows]);
    }
    /// The spare slot as in a new matrix: no value, no column.
    void markSpareSlot() noexcept
    {
        const std::int32_t spare = ia[rows] - 1;
        a[spare] = Cell{};
        ja[spare] = -1;
    }

    std::int32_t rows;
};

/// Runs pass(request, C, info) of a kernel twice, to size C and to fill it. Whatever it lacks, it writes
/// another `info` than 0; of a parameter that it refuses it says nothing there, and its outputs are as they
/// were. @throws OperationFailedException
template <class Cell, class Pass>
ResultRows<Cell> runTwoPasses(std::int32_t rows, Pass pass)
{
    ResultRows<Cell> C(rows);
    const auto run = [&](int request) {
        std::int32_t info = INT32_MIN;
        pass(request, C, info);
        if (info != 0) throw OperationFailedException();
    };
    run(1);
    C.allot();
    run(2); // a transposed product drops what cancels, and writes the row pointers anew
    C.markSpareSlot();
    return C;
}

} // namespace Velmar::Lintrix::detail
