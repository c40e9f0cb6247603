#include <lintrix/engine/analysis/graph/adjacency.h>

#include <lintrix/services/work.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

bool startsFit(const Pattern& pattern)
{
    return !pattern.ia.empty() && pattern.ia.front() == 0 &&
           std::is_sorted(pattern.ia.begin(), pattern.ia.end()) &&
           static_cast<std::size_t>(pattern.ia.back()) == pattern.ja.size();
}

bool columnsFit(const Pattern& pattern)
{
    // A negative column is a large one when read without its sign.
    const auto order = static_cast<unsigned>(pattern.order());
    return std::all_of(pattern.ja.begin(), pattern.ja.end(),
                       [order](int column) { return static_cast<unsigned>(column) < order; });
}

bool rowsAscend(const Pattern& pattern)
{
    for (int i = 0; i < pattern.order(); ++i) {
        if (!std::ranges::is_sorted(pattern.row(i))) return false;
    }
    return true;
}

// Hands each member of an ascending list to `take` once, but not `excluded`; the last that was handed on, or
// `last`.
template <class Take>
int forMembers(std::span<const int> list, int last, int excluded, Take take)
{
    for (const int next : list) {
        if (next == last || next == excluded) continue;
        take(next);
        last = next;
    }
    return last;
}

// The same of the union of two such lists.
template <class Take>
void forMerged(std::span<const int> a, std::span<const int> b, int excluded, Take take)
{
    constexpr int kEnd = std::numeric_limits<int>::max(); // above any index
    std::size_t p = 0, q = 0;
    for (int last = excluded;;) {
        const int next = std::min(p < a.size() ? a[p] : kEnd, q < b.size() ? b[q] : kEnd);
        if (next == kEnd) return;
        p += p < a.size() && a[p] == next;
        q += q < b.size() && b[q] == next;
        if (next == last || next == excluded) continue;
        take(next);
        last = next;
    }
}

// Hands each member of the union of two ascending lists to `take` once, ascending, but not `excluded`. One
// after the other where b ends before a begins, as in a symmetric matrix of which a triangle is stored, and
// one for both where they are equal, as with a symmetric pattern; by merging elsewhere.
template <class Take>
void forUnion(std::span<const int> a, std::span<const int> b, int excluded, Take take)
{
    if (a.empty() || b.empty() || b.back() <= a.front()) {
        forMembers(a, forMembers(b, excluded, excluded, take), excluded, take);
    } else if (std::ranges::equal(a, b)) {
        forMembers(a, excluded, excluded, take);
    } else {
        forMerged(a, b, excluded, take);
    }
}

} // namespace

Failure checkPattern(const Pattern& pattern)
{
    const bool fits = startsFit(pattern) && columnsFit(pattern);
    return fits ? Failure{} : Failure{Error::Reordering, kBadPattern};
}

Failure SymmetrizedPattern::count(const Pattern& pattern, std::span<const int> columnOfRow)
{
    if (const Failure failure = checkPattern(pattern)) return failure;
    pattern_ = pattern;
    ascending_ = rowsAscend(pattern);
    if (!columnOfRow.empty()) {
        rowOf_ = Scratch<int>::uninitialised(pattern.order());
        if (!rowOf_) return outOfMemory(BlockCode::Transient, missingBytes(rowOf_));
        for (int i = 0; i < pattern.order(); ++i) rowOf_[columnOfRow[i]] = i;
    }
    if (const Failure failure = transposePattern()) return failure;
    if (!WorkScope::goesOn()) return stopped();
    if (!ascending_) {
        if (const Failure failure = sortRows()) return failure;
        if (!WorkScope::goesOn()) return stopped();
    }
    countEntries();
    return entries_ > std::numeric_limits<int>::max() ? overflow() : Failure{};
}

// Row r of the matrix whose graph is made, as it stands in A.
std::span<const int> SymmetrizedPattern::row(int r) const noexcept
{
    const int i = rowOf_.get() ? rowOf_[r] : r;
    if (ascending_) return pattern_.row(i);
    return {&sortedColumns_[pattern_.ia[i]], pattern_.row(i).size()};
}

std::span<const int> SymmetrizedPattern::column(int r) const noexcept
{
    return {columnRows_.get() + columnStarts_[r],
            static_cast<std::size_t>(columnStarts_[r + 1] - columnStarts_[r])};
}

Failure SymmetrizedPattern::transposePattern()
{
    const int n = pattern_.order();
    columnStarts_ = Scratch<int>::zeroed(std::int64_t{n} + 2);
    columnRows_ = Scratch<int>::uninitialised(static_cast<std::int64_t>(pattern_.ja.size()));
    if (!columnStarts_ || !columnRows_)
        return outOfMemory(BlockCode::Transient, missingBytes(columnStarts_, columnRows_));
    // starts[c + 1] runs from the start of column c to its end while the column is filled.
    int* const next = columnStarts_.get() + 1;
    for (const int c : pattern_.ja) ++next[c + 1];
    for (int c = 0; c < n; ++c) next[c + 1] += next[c];
    for (int r = 0; r < n; ++r) {
        for (const int c : pattern_.row(rowOf_.get() ? rowOf_[r] : r)) columnRows_[next[c]++] = r;
    }
    return {};
}

// Transposing once more leaves the rows ascending.
Failure SymmetrizedPattern::sortRows()
{
    const int n = pattern_.order();
    sortedColumns_ = Scratch<int>::uninitialised(static_cast<std::int64_t>(pattern_.ja.size()));
    const auto next = Scratch<int>::uninitialised(n);
    if (!sortedColumns_ || !next)
        return outOfMemory(BlockCode::Transient, missingBytes(sortedColumns_, next));
    std::copy_n(pattern_.ia.begin(), n, next.get());
    for (int c = 0; c < n; ++c) {
        for (const int r : column(c)) sortedColumns_[next[rowOf_.get() ? rowOf_[r] : r]++] = c;
    }
    return {};
}

void SymmetrizedPattern::countEntries()
{
    entries_ = 0;
    for (int r = 0; r < pattern_.order(); ++r) {
        forUnion(row(r), column(r), r, [this](int) { ++entries_; });
    }
}

Graph SymmetrizedPattern::write(std::span<int> starts, std::span<int> neighbours) const
{
    int next = 0;
    for (int r = 0; r < pattern_.order(); ++r) {
        starts[r] = next;
        forUnion(row(r), column(r), r, [&](int neighbour) { neighbours[next++] = neighbour; });
    }
    starts[pattern_.order()] = next;
    return {starts, neighbours};
}

} // namespace Velmar::Lintrix::detail::engine
