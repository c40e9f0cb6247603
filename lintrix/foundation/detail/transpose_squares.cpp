// Squares of one cache line of 64 bytes a side, 8 x 8 real or 4 x 4 complex cells. A square is made of ones
// as wide as a vector, and such a one is transposed in registers: for each bit of its width the cells that
// differ in that bit alone, of row and column number the one and the other, change places (J. O. Eklundh, "A
// fast computer method for matrix transposing", IEEE Trans. Comput. C-21 (1972)).
//
// Where columns begin at a line, squares do so as well: a line is then read once and written once, and what
// leading dimensions of a power of two do to the sets of a cache cannot hurt it.

#include <lintrix/foundation/detail/transpose_squares.h>

#include <lintrix/foundation/detail/transpose_tiles.h>
#include <lintrix/services/processor_family.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::uint64_t kLine = 8; ///< doubles

/// From this many bytes on, result and source are no longer both in the last cache, and lines are written
/// past it: a plain store would read each of them before.
constexpr std::uint64_t kStreamed = std::uint64_t{12} << 20;
/// From this many bytes on, the second cache no longer holds the source, and its lines are fetched ahead.
constexpr std::uint64_t kFetchedAhead = std::uint64_t{4} << 20;
/// Rows that are streamed at once, so that few pages are written to in turn.
constexpr std::uint64_t kPanel = 128;

enum class Cells { Real, Complex, Conjugate };

template <int W>
struct Lanes {
    typedef double Register __attribute__((vector_size(W * sizeof(double))));
    typedef std::int64_t Bits __attribute__((vector_size(W * sizeof(double))));
    /// Wherever a double may stand.
    typedef double Memory
        __attribute__((vector_size(W * sizeof(double)), aligned(sizeof(double)), may_alias));
    /// At an address that is a multiple of its size.
    typedef double Aligned __attribute__((vector_size(W * sizeof(double)), may_alias));
};

/// The elements of x with the bit S in their numbers, and those of y without it, change places.
template <int S, class Vector, std::size_t... E>
[[gnu::always_inline]] inline void exchange(Vector& x, Vector& y, std::index_sequence<E...>)
{
    constexpr std::size_t kWidth = sizeof...(E);
    const Vector lower = __builtin_shufflevector(x, y, ((E & S) != 0 ? kWidth + E - S : E)...);
    y = __builtin_shufflevector(x, y, ((E & S) != 0 ? kWidth + E : E + S)...);
    x = lower;
}

/// Of columns whose cells are P doubles each.
template <int S, int W, int P>
[[gnu::always_inline]] inline void exchangeAll(typename Lanes<W>::Register* columns)
{
    if constexpr (S * P < W) {
        for (int k = 0; k < W / P; ++k)
            if ((k & S) == 0) exchange<S * P>(columns[k], columns[k + S], std::make_index_sequence<W>());
        exchangeAll<2 * S, W, P>(columns);
    }
}

template <int W, std::size_t... E>
[[gnu::always_inline]] inline void conjugate(typename Lanes<W>::Register& cells, std::index_sequence<E...>)
{
    using Bits = typename Lanes<W>::Bits;
    constexpr Bits kSigns{(E % 2 != 0 ? INT64_MIN : 0)...};
    cells = reinterpret_cast<typename Lanes<W>::Register>(reinterpret_cast<Bits>(cells) ^ kSigns);
}

/// The array a as doubles, in vectors of W, and where its transpose goes; leading dimensions count doubles.
template <int W, Cells Kind>
struct Move {
    static constexpr int kParts = Kind == Cells::Real ? 1 : 2; ///< doubles a cell
    static constexpr std::uint64_t kSquare = kLine / kParts;   ///< cells a line

    std::uint64_t rows, cols;
    const double* a;
    std::uint64_t lda;
    double* b;
    std::uint64_t ldb;

    [[gnu::always_inline]] const double* from(std::uint64_t i, std::uint64_t j) const
    {
        return a + i * kParts + lda * j;
    }
    [[gnu::always_inline]] double* to(std::uint64_t i, std::uint64_t j) const
    {
        return b + j * kParts + ldb * i;
    }

    /// The square of rows i and up and columns j and up, to `target`.
    template <bool Streamed>
    [[gnu::always_inline]] void square(std::uint64_t i, std::uint64_t j, double* target,
                                       std::uint64_t ldTarget) const
    {
        constexpr std::uint64_t kWidth = W / kParts;
        for (std::uint64_t p = 0; p < kSquare; p += kWidth) {
            for (std::uint64_t q = 0; q < kSquare; q += kWidth) {
                typename Lanes<W>::Register columns[kWidth];
                for (std::uint64_t k = 0; k < kWidth; ++k) {
                    columns[k] = *reinterpret_cast<const typename Lanes<W>::Memory*>(from(i + p, j + q + k));
                    if constexpr (Kind == Cells::Conjugate)
                        conjugate<W>(columns[k], std::make_index_sequence<W>());
                }
                exchangeAll<1, W, kParts>(columns);
                for (std::uint64_t k = 0; k < kWidth; ++k) {
                    double* const line = target + q * kParts + ldTarget * (p + k);
                    if constexpr (Streamed) {
                        processor_family::storePastCaches(reinterpret_cast<typename Lanes<W>::Aligned*>(line),
                                                          columns[k]);
                    } else {
                        *reinterpret_cast<typename Lanes<W>::Memory*>(line) = columns[k];
                    }
                }
            }
        }
    }

    [[gnu::always_inline]] void prefetch(std::uint64_t i, std::uint64_t j) const
    {
        for (std::uint64_t k = 0; k < kSquare; ++k) __builtin_prefetch(from(i, j + k), 0, 2);
    }
};

/// Cells from `array` to the next line of it.
template <class M>
[[gnu::always_inline]] inline std::uint64_t cellsToLine(const double* array)
{
    const std::uint64_t doubles = (kLine - reinterpret_cast<std::uintptr_t>(array) / sizeof(double) % kLine);
    return doubles % kLine / M::kParts;
}

/// How many cells stand before the first whole line of each column; 0 where columns differ in that.
template <class M>
[[gnu::always_inline]] inline std::uint64_t cellsBeforeLines(const double* array, std::uint64_t ld)
{
    return ld % kLine == 0 ? cellsToLine<M>(array) : 0;
}

/// Squares begin at 0, at `lead` and from there on side by side; the last is moved back over the one before
/// it, so that it ends with the array.
template <class M>
[[gnu::always_inline]] inline std::uint64_t squareBehind(std::uint64_t start, std::uint64_t lead)
{
    return start < lead ? lead : start + M::kSquare;
}

/// Along the rows: the lines of a square's columns of b are filled from front to end. `Ahead`: the lines
/// below, which come next, are fetched meanwhile.
template <bool Ahead, class M>
[[gnu::always_inline]] inline void moveInCaches(const M& m)
{
    const std::uint64_t lastRow = m.rows - M::kSquare, lastCol = m.cols - M::kSquare;
    const std::uint64_t rowLead = cellsBeforeLines<M>(m.a, m.lda), colLead = cellsBeforeLines<M>(m.b, m.ldb);
    for (std::uint64_t row = 0; row < m.rows; row = squareBehind<M>(row, rowLead)) {
        const std::uint64_t i = std::min(row, lastRow), below = std::min(i + M::kSquare, lastRow);
        for (std::uint64_t col = 0; col < m.cols; col = squareBehind<M>(col, colLead)) {
            const std::uint64_t j = std::min(col, lastCol);
            if constexpr (Ahead) m.prefetch(below, j);
            m.template square<false>(i, j, m.to(i, j), m.ldb);
        }
    }
}

/// Rows first .. last-1 of the columns j and up, to their places.
template <bool Streamed, class M>
[[gnu::always_inline]] inline void moveStrip(const M& m, std::uint64_t first, std::uint64_t last,
                                             std::uint64_t j)
{
    const std::uint64_t next = std::min(j + M::kSquare, m.cols - M::kSquare);
    for (std::uint64_t row = first; row < last; row += M::kSquare) {
        const std::uint64_t i = std::min(row, last - M::kSquare);
        m.prefetch(i, next);
        m.template square<Streamed>(i, j, m.to(i, j), m.ldb);
    }
}

/// Where all columns of b begin at the same place of a line: squares are whole lines of b.
template <class M>
[[gnu::always_inline]] inline void streamLines(const M& m, std::uint64_t first, std::uint64_t last)
{
    const std::uint64_t lead = cellsToLine<M>(m.b), lastCol = m.cols - M::kSquare;
    if (lead != 0) moveStrip<false>(m, first, last, 0);
    std::uint64_t col = lead;
    for (; col <= lastCol; col += M::kSquare) moveStrip<true>(m, first, last, col);
    if (col < m.cols) moveStrip<false>(m, first, last, lastCol);
}

/// The line of `column` that ends within its cells 0 .. 7, from the strip before them and theirs, which stand
/// one behind the other in `strips`; then theirs are the strip before.
template <int W>
[[gnu::always_inline]] inline void streamShiftedLine(double* column, double* strips)
{
    using Memory = typename Lanes<W>::Memory;
    const std::uint64_t shift = reinterpret_cast<std::uintptr_t>(column) / sizeof(double) % kLine;
    for (std::uint64_t k = 0; k < kLine; k += W) {
        auto* const target = reinterpret_cast<typename Lanes<W>::Aligned*>(column - shift + k);
        const typename Lanes<W>::Register cells =
            *reinterpret_cast<const Memory*>(strips + kLine - shift + k);
        processor_family::storePastCaches(target, cells);
    }
    for (std::uint64_t k = 0; k < kLine; k += W)
        *reinterpret_cast<Memory*>(strips + k) = *reinterpret_cast<const Memory*>(strips + kLine + k);
}

/// Elsewhere each column of b has lines of its own: they are cut from two strips side by side, which takes a
/// third more time.
template <int W, class M>
[[gnu::always_inline]] inline void streamShiftedLines(const M& m, std::uint64_t first, std::uint64_t last)
{
    alignas(kLine * sizeof(double)) double strips[kPanel][2 * kLine];
    const std::uint64_t height = last - first, lastCol = m.cols - M::kSquare;
    moveStrip<false>(m, first, last, 0);
    for (std::uint64_t j = 0; j <= lastCol; j += M::kSquare) {
        const std::uint64_t next = std::min(j + M::kSquare, lastCol), part = j == 0 ? 0 : kLine;
        for (std::uint64_t row = 0; row < height; row += M::kSquare) {
            const std::uint64_t i = std::min(row, height - M::kSquare);
            m.prefetch(first + i, next);
            m.template square<false>(first + i, j, strips[i] + part, 2 * kLine);
        }
        if (j == 0) continue;
        for (std::uint64_t i = 0; i < height; ++i) streamShiftedLine<W>(m.to(first + i, j), strips[i]);
    }
    moveStrip<false>(m, first, last, m.cols / M::kSquare * M::kSquare - M::kSquare);
    moveStrip<false>(m, first, last, lastCol);
}

template <int W, Cells Kind, class Cell>
[[gnu::always_inline]] inline void transpose(std::uint64_t rows, std::uint64_t cols, const Cell* a,
                                             std::uint64_t lda, Cell* b, std::uint64_t ldb)
{
    using M = Move<W, Kind>;
    const M m{rows,
              cols,
              reinterpret_cast<const double*>(a),
              lda * M::kParts,
              reinterpret_cast<double*>(b),
              ldb * M::kParts};
    if (rows < M::kSquare || cols < M::kSquare) {
        if constexpr (Kind == Cells::Conjugate) {
            transposeTiles(rows, cols, a, lda, b, ldb, [](const Complex& x) { return std::conj(x); });
        } else {
            transposeTiles(rows, cols, a, lda, b, ldb, std::identity());
        }
    } else if (rows * cols * sizeof(Cell) < kFetchedAhead) {
        moveInCaches<false>(m);
    } else if (rows * cols * sizeof(Cell) < kStreamed) {
        moveInCaches<true>(m);
    } else {
        const bool wholeSquares =
            m.ldb % kLine == 0 && reinterpret_cast<std::uintptr_t>(b) % sizeof(Cell) == 0;
        for (std::uint64_t row = 0; row < rows; row += kPanel) {
            const std::uint64_t first = std::min(row, rows - M::kSquare), last = std::min(row + kPanel, rows);
            if (wholeSquares) {
                streamLines(m, first, last);
            } else {
                streamShiftedLines<W>(m, first, last);
            }
        }
        processor_family::orderStores();
    }
}

template <Cells Kind, class Cell>
void transposeSse2(std::uint64_t rows, std::uint64_t cols, const Cell* a, std::uint64_t lda, Cell* b,
                   std::uint64_t ldb)
{
    transpose<2, Kind>(rows, cols, a, lda, b, ldb);
}

template <Cells Kind, class Cell>
LINTRIX_FOR_AVX2 void transposeAvx2(std::uint64_t rows, std::uint64_t cols, const Cell* a, std::uint64_t lda,
                                    Cell* b, std::uint64_t ldb)
{
    transpose<4, Kind>(rows, cols, a, lda, b, ldb);
}

template <Cells Kind, class Cell>
LINTRIX_FOR_AVX512 void transposeAvx512(std::uint64_t rows, std::uint64_t cols, const Cell* a,
                                        std::uint64_t lda, Cell* b, std::uint64_t ldb)
{
    transpose<8, Kind>(rows, cols, a, lda, b, ldb);
}

template <Cells Kind, class Cell>
constexpr KernelForms<TransposeSquares<Cell>> kForms{transposeSse2<Kind, Cell>, transposeAvx2<Kind, Cell>,
                                                     transposeAvx512<Kind, Cell>};

} // namespace

const KernelForms<TransposeSquares<double>>& transposeSquares() noexcept
{
    return kForms<Cells::Real, double>;
}

const KernelForms<TransposeSquares<Complex>>& transposeComplexSquares() noexcept
{
    return kForms<Cells::Complex, Complex>;
}

const KernelForms<TransposeSquares<Complex>>& adjointSquares() noexcept
{
    return kForms<Cells::Conjugate, Complex>;
}

} // namespace Velmar::Lintrix::detail
