#pragma once
/// @file
/// The loops behind the products with dense operands, on `Width` columns of x and y at once, so that A is
/// read once for all of them. A vector is a panel of width 1.
///
/// One-based arrays; the -1 stands at the read and nowhere else. It costs nothing if the column number is
/// made 64 bits wide before: the processor then adds it to the address.

#include <lintrix/sparse/kernels/cell.h>

#include <algorithm>
#include <cstddef>

namespace Velmar::Lintrix::detail {

/// The caller's arrays of a sparse matrix, one-based.
template <class Cell>
struct CompressedRowsView {
    const Cell* values;
    const int* columns;
    const int* starts; ///< of each row
    const int* ends;   ///< of each row, one behind its last element
};

/// Columns of a dense matrix, `stride` cells apart.
template <class Cell>
struct Panel {
    Cell* cells;
    std::ptrdiff_t stride;

    Cell& operator()(std::ptrdiff_t row, int column) const { return cells[row + column * stride]; }
};

/// Columns of a dense matrix side by side, the cells of a row next to each other.
template <class Cell, int Width>
struct PackedPanel {
    Cell* cells;

    Cell& operator()(std::ptrdiff_t row, int column) const { return cells[row * Width + column]; }
};

/// Copies `rows` rows of a panel.
template <int Width, class Cell>
void pack(Panel<const Cell> from, int rows, PackedPanel<Cell, Width> to)
{
    for (int i = 0; i < rows; ++i) {
        for (int w = 0; w < Width; ++w) to(i, w) = from(i, w);
    }
}

/// Rows first .. last-1 of y := scaled(y).
template <int Width, class Cell, class Scaling>
void scaleRows(Panel<Cell> y, int first, int last, Scaling scaled)
{
    for (int w = 0; w < Width; ++w) {
        for (int i = first; i < last; ++i) y(i, w) = scaled(y(i, w));
    }
}

/// Rows first .. last-1 of y := scaled(y) + alpha*A*x. The elements of a row go to `Chains` sums, 1 or 2, in
/// turn: in a single column one long chain of additions would wait for each of them, while a wider panel has
/// chains enough.
template <int Width, int Chains, class Cell, class Source, class Scaling>
void gatherRows(CompressedRowsView<Cell> A, int first, int last, const Cell alpha, Source x, Panel<Cell> y,
                Scaling scaled)
{
    static_assert(Chains == 1 || Chains == 2);
    for (int i = first; i < last; ++i) {
        Cell sums[Chains][Width] = {};
        const auto add = [&](Cell(&sum)[Width], std::ptrdiff_t p) {
            const std::ptrdiff_t j = std::ptrdiff_t{A.columns[p]} - 1;
            for (int w = 0; w < Width; ++w) sum[w] += times(A.values[p], x(j, w));
        };
        const std::ptrdiff_t end = std::ptrdiff_t{A.ends[i]} - 1;
        std::ptrdiff_t p = std::ptrdiff_t{A.starts[i]} - 1;
        if constexpr (Chains == 2) {
            for (; p + 1 < end; p += 2) {
                add(sums[0], p);
                add(sums[1], p + 1);
            }
        }
        for (; p < end; ++p) add(sums[0], p);
        for (int w = 0; w < Width; ++w) {
            const Cell sum = Chains == 2 ? sums[0][w] + sums[Chains - 1][w] : sums[0][w];
            y(i, w) = scaled(y(i, w)) + times(alpha, sum);
        }
    }
}

/// y += alpha*A'*x, or with the conjugated values of A, for an A of `rows` rows. The additions follow one
/// another: the columns of y may overlap.
template <int Width, bool Conjugate, class Cell>
void scatterRows(CompressedRowsView<Cell> A, int rows, const Cell alpha, Panel<const Cell> x, Panel<Cell> y)
{
    for (int i = 0; i < rows; ++i) {
        Cell scaledX[Width];
        for (int w = 0; w < Width; ++w) scaledX[w] = times(alpha, x(i, w));
        for (std::ptrdiff_t p = std::ptrdiff_t{A.starts[i]} - 1; p < A.ends[i] - 1; ++p) {
            const std::ptrdiff_t j = std::ptrdiff_t{A.columns[p]} - 1;
            const Cell value = conjugatedIf<Conjugate>(A.values[p]);
            for (int w = 0; w < Width; ++w) y(j, w) += times(scaledX[w], value);
        }
    }
}

/// What rows first .. last-1 of a stored upper triangle give to y := scaled(y) + alpha*A*x, where A is the
/// full symmetric matrix of `size` rows. Elements below the diagonal are skipped; columns ascend.
///
/// Rows `first` and up of y are written to, no others. y is scaled a little ahead of the additions, while it
/// comes into the cache anyway. Returns the row up to which it is scaled; behind that, y is as it was. The
/// elements are fetched ahead: the processor's own fetching starts anew with each page of memory.
template <int Width, bool Conjugate, class Cell, class Scaling>
int symmetricRows(CompressedRowsView<Cell> A, int first, int last, int size, const Cell alpha,
                  Panel<const Cell> x, Panel<Cell> y, Scaling scaled)
{
    constexpr int kAhead = 256;
    constexpr std::ptrdiff_t kBytesAhead = 512;
    int ready = first;
    for (int i = first; i < last; ++i) {
        const int row = i + 1; // one-based, as the columns are
        const std::ptrdiff_t end = std::ptrdiff_t{A.ends[i]} - 1;
        std::ptrdiff_t p = std::ptrdiff_t{A.starts[i]} - 1;
        __builtin_prefetch(reinterpret_cast<const char*>(A.values + p) + kBytesAhead);
        __builtin_prefetch(reinterpret_cast<const char*>(A.columns + p) + kBytesAhead);
        while (p < end && A.columns[p] < row) [[unlikely]]++ p;
        const int reach = p < end ? A.columns[end - 1] : row;
        if (reach > ready) [[unlikely]] {
            const int upTo = reach < size - kAhead ? reach + kAhead : size;
            scaleRows<Width>(y, ready, upTo, scaled);
            ready = upTo;
        }
        Cell scaledX[Width], sums[Width] = {};
        for (int w = 0; w < Width; ++w) scaledX[w] = times(alpha, x(i, w));
        if (p < end && A.columns[p] == row) [[likely]] {
            const Cell value = conjugatedIf<Conjugate>(A.values[p++]);
            for (int w = 0; w < Width; ++w) sums[w] = times(value, x(i, w));
        }
        for (; p < end; ++p) {
            const std::ptrdiff_t j = std::ptrdiff_t{A.columns[p]} - 1;
            const Cell value = conjugatedIf<Conjugate>(A.values[p]);
            for (int w = 0; w < Width; ++w) {
                sums[w] += times(value, x(j, w));
                y(j, w) += times(scaledX[w], value);
            }
        }
        for (int w = 0; w < Width; ++w) y(i, w) += times(alpha, sums[w]);
    }
    return ready;
}

} // namespace Velmar::Lintrix::detail
