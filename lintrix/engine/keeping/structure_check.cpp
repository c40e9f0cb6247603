#include <lintrix/engine/keeping/structure_check.h>

#include <algorithm>
#include <cstddef>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kNone = -1;

// Its own columns, then rows behind them.
bool isRowList(const FactorStructure& structure, int J) noexcept
{
    const std::span<const int> rows = structure.rowsOf(J);
    int last = structure.starts[J] - 1;
    for (int i = 0; i < structure.height(J); ++i) {
        const bool own = i < structure.width(J);
        if (own ? rows[i] != last + 1 : rows[i] <= last) return false;
        last = rows[i];
    }
    return last < static_cast<int>(structure.supernodeOf.size());
}

// From step i of a block of `width` columns on.
bool staysWithin(int number, int i, int width) noexcept
{
    return number > i && number <= width;
}

bool areSinglePivots(std::span<const int> exchange) noexcept
{
    const int width = static_cast<int>(exchange.size());
    for (int i = 0; i < width; ++i) {
        if (!staysWithin(exchange[i], i, width)) return false;
    }
    return true;
}

bool arePivotsAndPairs(std::span<const int> exchange) noexcept
{
    const int width = static_cast<int>(exchange.size());
    const auto isHalf = [&](int i) {
        return i < width && exchange[i] >= -width && staysWithin(-exchange[i], i, width);
    };
    for (int i = 0; i < width;) {
        const bool isPair = exchange[i] < 0;
        const bool fits = isPair ? isHalf(i) && isHalf(i + 1) : staysWithin(exchange[i], i, width);
        if (!fits) return false;
        i += isPair ? 2 : 1;
    }
    return true;
}

} // namespace

bool invert(std::span<const int> order, std::span<int> placeOf) noexcept
{
    std::ranges::fill(placeOf, kNone);
    const int count = static_cast<int>(order.size());
    for (int k = 0; k < count; ++k) {
        const int number = order[k];
        if (number < 0 || number >= count || placeOf[number] != kNone) return false;
        placeOf[number] = k;
    }
    return true;
}

bool cover(std::span<const PositionRange> ranges, int count) noexcept
{
    int next = 0;
    for (const auto [first, last] : ranges) {
        if (first != next || last < first || last >= count) return false;
        next = last + 1;
    }
    return next == count;
}

bool areSupernodes(std::span<const int> starts, int columns, int widest) noexcept
{
    if (starts.front() != 0 || starts.back() != columns) return false;
    for (std::size_t J = 0; J + 1 < starts.size(); ++J) {
        if (starts[J] < 0 || starts[J + 1] <= starts[J] || starts[J + 1] > columns) return false;
        if (starts[J + 1] - starts[J] > widest) return false;
    }
    return true;
}

bool areRowStarts(std::span<const std::int64_t> rowStarts, std::span<const int> starts,
                  std::int64_t rows) noexcept
{
    if (rowStarts.front() != 0 || rowStarts.back() != rows) return false;
    for (std::size_t J = 0; J + 1 < starts.size(); ++J) {
        if (rowStarts[J + 1] < rowStarts[J] || rowStarts[J + 1] > rows) return false;
        const std::int64_t height = rowStarts[J + 1] - rowStarts[J];
        if (height < starts[J + 1] - starts[J] || height > starts.back() - starts[J]) return false;
    }
    return true;
}

bool haveClosedRows(const FactorStructure& structure, std::span<int> work) noexcept
{
    const int supernodes = structure.supernodes();
    const auto count = static_cast<std::size_t>(supernodes);
    // The children of each supernode, and the last supernode that each row was seen in.
    const std::span<int> child = work.first(count), sibling = work.subspan(count, count),
                         seen = work.subspan(2 * count);
    std::ranges::fill(work, kNone);
    for (int J = 0; J < supernodes; ++J) {
        if (!isRowList(structure, J)) return false;
        for (const int row : structure.rowsOf(J)) seen[row] = J;
        const auto isSeen = [&](int row) { return seen[row] == J; };
        for (int K = child[J]; K != kNone; K = sibling[K]) {
            if (!std::ranges::all_of(structure.rowsBelow(K), isSeen)) return false;
        }
        const int parent = structure.parent(J);
        if (parent == kNone) continue;
        sibling[J] = child[parent];
        child[parent] = J;
    }
    return true;
}

bool holdsEntries(const FactorStructure& structure, const RowPattern& A, std::span<const int> columnOfRow,
                  std::span<const int> positionOf) noexcept
{
    for (int i = 0; i < A.order(); ++i) {
        const int row = positionOf[columnOfRow.empty() ? i : columnOfRow[i]];
        for (int k = A.starts[i]; k < A.starts[i + 1]; ++k) {
            const int column = positionOf[A.columns[k]], behind = std::max(row, column);
            const int J = structure.supernodeOf[std::min(row, column)];
            if (behind < structure.starts[J + 1]) continue;
            if (!std::ranges::binary_search(structure.rowsBelow(J), behind)) return false;
        }
    }
    return true;
}

bool areExchanges(const FactorStructure& structure, Method method, std::span<const int> exchanges) noexcept
{
    if (method == Method::Cholesky) return true; // it has none
    const std::size_t n = structure.supernodeOf.size();
    for (int J = 0; J < structure.supernodes(); ++J) {
        const auto first = static_cast<std::size_t>(structure.starts[J]),
                   width = static_cast<std::size_t>(structure.width(J));
        const std::span<const int> rows = exchanges.subspan(first, width),
                                   columns = exchanges.subspan(n + first, width);
        const bool fits = method == Method::BunchKaufman ? arePivotsAndPairs(rows) : areSinglePivots(rows);
        if (!fits || (method == Method::CompletePivoting && !areSinglePivots(columns))) return false;
    }
    return true;
}

} // namespace Velmar::Lintrix::detail::engine
