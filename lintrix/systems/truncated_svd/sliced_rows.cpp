#include <lintrix/systems/truncated_svd/sliced_rows.h>

#include <lintrix/services/dispatch.h>
#include <lintrix/services/team.h>
#include <lintrix/services/threads.h>
#include <lintrix/systems/cells.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

/// Of a product with one vector.
template <class Cell>
constexpr double kNanosecondsAnElement = 0.4 * kMultiplications<Cell>;

/// Calls visit(row, column, element) for each element of A, or of A^H; the columns of a row ascend.
template <class Cell, class Visit>
void visitElements(const RowsView<Cell>& A, typename SlicedRows<Cell>::Of side, const Visit& visit)
{
    const bool given = side == SlicedRows<Cell>::Of::Given;
    for (std::int32_t r = 0; r < A.rows; ++r) {
        for (std::int32_t k = A.ia[r] - 1; k < A.ia[r + 1] - 1; ++k) {
            const std::int32_t c = A.ja[k] - 1;
            given ? visit(r, c, A.a[k]) : visit(c, r, conjugate(A.a[k]));
        }
    }
}

/// 0 .. lengths.size()-1 by descending length: a counting sort.
std::vector<std::int32_t> longestFirst(const std::vector<std::int32_t>& lengths)
{
    const std::int32_t longest = lengths.empty() ? 0 : *std::ranges::max_element(lengths);
    std::vector<std::int32_t> place(static_cast<std::size_t>(longest) + 2);
    const auto less = [longest](std::int32_t length) { return static_cast<std::size_t>(longest - length); };
    for (const std::int32_t length : lengths) ++place[less(length) + 1];
    for (std::size_t i = 1; i < place.size(); ++i) place[i] += place[i - 1];
    std::vector<std::int32_t> order(lengths.size());
    for (std::size_t r = 0; r < lengths.size(); ++r)
        order[static_cast<std::size_t>(place[less(lengths[r])]++)] = static_cast<std::int32_t>(r);
    return order;
}

/// The arrays of `SlicedRows`.
template <class Cell>
struct Slices {
    static constexpr std::int32_t kRows = SlicedRows<Cell>::kRows;

    const Cell* values;
    const std::int32_t* columns;
    const std::int64_t* starts;
    const std::int32_t* order;
    std::int32_t rows;

    std::int32_t rowsOf(std::int32_t slice) const { return std::min(kRows, rows - slice * kRows); }
    const std::int32_t* orderOf(std::int32_t slice) const { return order + std::int64_t{slice} * kRows; }
};

constexpr int kDoubles = 8; ///< of a group: an element of each row of a slice
/// Doubles of a cell.
template <class Cell>
constexpr int kParts = sizeof(Cell) / sizeof(double);

/// A register, and the same anywhere in memory.
template <int W>
struct Vectors {
    typedef double Register __attribute__((vector_size(W * sizeof(double))));
    typedef double Memory __attribute__((vector_size(W * sizeof(double)), may_alias, aligned(8)));
};
template <int W>
using Vector = typename Vectors<W>::Register;

/// Places, loaded two at a time: a product waits for its loads.
template <int Count>
class Places {
public:
    [[gnu::always_inline]] explicit Places(const std::int32_t* places)
    {
        std::memcpy(pairs_, places, Count * sizeof(std::int32_t));
    }
    [[gnu::always_inline]] std::uint64_t operator[](int i) const
    {
        constexpr bool kLittle = std::endian::native == std::endian::little;
        return (i % 2 == 0) == kLittle ? pairs_[i / 2] & UINT32_MAX : pairs_[i / 2] >> 32;
    }

private:
    std::uint64_t pairs_[(Count + 1) / 2] = {};
};

/// `cells` becomes W doubles of the cells in these places of x. By an initializer: set one after the other,
/// they would wait for each other.
template <class Cell, int W, int... L>
[[gnu::always_inline]] inline void gather(const Cell* x, const std::int32_t* places, Vector<W>& cells,
                                          std::integer_sequence<int, L...>)
{
    constexpr int kOf = kParts<Cell>;
    const Places<W / kOf> at(places);
    const auto* const parts = reinterpret_cast<const double*>(x);
    cells = Vector<W>{parts[kOf * at[L / kOf] + L % kOf]...};
}

/// `parts` becomes the real parts of cells, or the imaginary ones, in the places of both.
template <class Cell, int W, int... L>
[[gnu::always_inline]] inline void spread(const Vector<W>& cells, int part, Vector<W>& parts,
                                          std::integer_sequence<int, L...>)
{
    parts = kParts<Cell> == 1 ? cells : Vector<W>{cells[L - L % 2 + part]...};
}

/// A cell of sums of products with the real parts of elements, and with the imaginary ones.
template <class Cell, std::size_t W>
[[gnu::always_inline]] inline Cell joined(const double (&sums)[kParts<Cell>][W], int cell)
{
    if constexpr (kParts<Cell> == 1)
        return sums[0][cell];
    else
        return {sums[0][2 * cell] - sums[1][2 * cell + 1], sums[0][2 * cell + 1] + sums[1][2 * cell]};
}

/// The rows of slices first .. last-1 of y := A*x.
template <class Cell, int W>
[[gnu::always_inline]] inline void multiplySlices(const Slices<Cell>& A, std::int32_t first,
                                                  std::int32_t last, const Cell* x, Cell* y)
{
    using V = Vector<W>;
    constexpr int kVectors = kDoubles / W, kOf = kParts<Cell>;
    constexpr auto lanes = std::make_integer_sequence<int, W>();
    for (std::int32_t s = first; s < last; ++s) {
        V sums[kOf][kVectors] = {};
        for (std::int64_t i = A.starts[s]; i < A.starts[s + 1]; i += A.kRows) {
#pragma GCC unroll 4
            for (int v = 0; v < kVectors; ++v) {
                const std::int64_t at = i + v * (W / kOf);
                const V elements = *reinterpret_cast<const typename Vectors<W>::Memory*>(A.values + at);
                V cells, factors;
                gather<Cell, W>(x, A.columns + at, cells, lanes);
                for (int p = 0; p < kOf; ++p) {
                    spread<Cell, W>(elements, p, factors, lanes);
                    sums[p][v] += factors * cells;
                }
            }
        }
        double ofRows[kOf][kDoubles];
        std::memcpy(ofRows, sums, sizeof ofRows);
        const std::int32_t* const order = A.orderOf(s);
        if (A.rowsOf(s) == A.kRows) {
#pragma GCC unroll 8
            for (int l = 0; l < A.kRows; ++l) y[order[l]] = joined<Cell>(ofRows, l);
        } else {
            for (int l = 0; l < A.rowsOf(s); ++l) y[order[l]] = joined<Cell>(ofRows, l);
        }
    }
}

template <class Cell>
using MultiplySlices = void (*)(const Slices<Cell>&, std::int32_t, std::int32_t, const Cell*, Cell*);

/// Of wider vectors, which are no faster to put together from four cells each, there is no form.
template <class Cell>
struct Forms {
    LINTRIX_FOR_AVX2 static void avx2(const Slices<Cell>& A, std::int32_t first, std::int32_t last,
                                      const Cell* x, Cell* y)
    {
        multiplySlices<Cell, 4>(A, first, last, x, y);
    }
    static void sse2(const Slices<Cell>& A, std::int32_t first, std::int32_t last, const Cell* x, Cell* y)
    {
        multiplySlices<Cell, 2>(A, first, last, x, y);
    }

    static constexpr KernelForms<MultiplySlices<Cell>> kAll{.sse2 = sse2, .avx2 = avx2, .avx512 = avx2};
};

} // namespace

template <class Cell>
SlicedRows<Cell>::SlicedRows(const RowsView<Cell>& A, Of side)
    : rows_(side == Of::Given ? A.rows : A.cols), cols_(side == Of::Given ? A.cols : A.rows)
{
    std::vector<std::int32_t> lengths(static_cast<std::size_t>(rows_));
    visitElements<Cell>(
        A, side, [&](std::int32_t r, std::int32_t, const Cell&) { ++lengths[static_cast<std::size_t>(r)]; });
    order_ = longestFirst(lengths);
    starts_.reserve(order_.size() / kRows + 2);
    starts_.push_back(0);
    for (std::size_t place = 0; place < order_.size(); place += kRows)
        starts_.push_back(starts_.back() +
                          std::int64_t{kRows} * lengths[static_cast<std::size_t>(order_[place])]);
}

template <class Cell>
auto SlicedRows<Cell>::within(double bytes, const RowsView<Cell>& A, Of side) -> std::optional<SlicedRows>
{
    SlicedRows made(A, side);
    if (made.bytes() > bytes) return std::nullopt;
    made.fill(A, side);
    return made;
}

template <class Cell>
double SlicedRows<Cell>::bytes() const noexcept
{
    return static_cast<double>(places()) * (sizeof(Cell) + sizeof(std::int32_t)) +
           sizeof(std::int32_t) * static_cast<double>(order_.size()) +
           sizeof(std::int64_t) * static_cast<double>(starts_.size());
}

/// Padding takes its zeros by the last column of its row, which is in the cache.
template <class Cell>
void SlicedRows<Cell>::fill(const RowsView<Cell>& A, Of side)
{
    values_.resize(static_cast<std::size_t>(places()));
    columns_.resize(values_.size());
    std::vector<std::int64_t> next(order_.size()); // place of the next element of each row
    for (std::size_t place = 0; place < order_.size(); ++place)
        next[static_cast<std::size_t>(order_[place])] =
            starts_[place / kRows] + static_cast<std::int64_t>(place % kRows);
    visitElements<Cell>(A, side, [&](std::int32_t r, std::int32_t c, const Cell& element) {
        std::int64_t& place = next[static_cast<std::size_t>(r)];
        values_[static_cast<std::size_t>(place)] = element;
        columns_[static_cast<std::size_t>(place)] = c;
        place += kRows;
    });
    for (std::size_t place = 0; place < order_.size(); ++place) {
        const std::int64_t end = starts_[place / kRows + 1];
        for (std::int64_t i = next[static_cast<std::size_t>(order_[place])]; i < end; i += kRows)
            if (i >= starts_[place / kRows] + kRows)
                columns_[static_cast<std::size_t>(i)] = columns_[static_cast<std::size_t>(i - kRows)];
    }
}

template <class Cell>
void SlicedRows<Cell>::multiply(std::int32_t columns, const Cell* x, Cell* y) const
{
    const Slices<Cell> A{values_.data(), columns_.data(), starts_.data(), order_.data(), rows_};
    const MultiplySlices<Cell> form = Forms<Cell>::kAll.chosen();
    const double nanoseconds = kNanosecondsAnElement<Cell> * static_cast<double>(places()) * columns;
    const auto firstSlice = [this](int part, int parts) {
        if (part == parts) return slices(); // the empty ones at the end as well
        return static_cast<std::int32_t>(std::ranges::lower_bound(starts_, places() * part / parts) -
                                         starts_.begin());
    };
    runTeam(repaidTeam(MKL_Get_Max_Threads(), nanoseconds), [&](const TeamMember& member) {
        const std::int32_t first = firstSlice(member.thread, member.threads),
                           behind = firstSlice(member.thread + 1, member.threads);
        for (std::int64_t c = 0; c < columns; ++c) form(A, first, behind, x + cols_ * c, y + rows_ * c);
    });
}

template class SlicedRows<double>;
template class SlicedRows<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
