#include <lintrix/engine/analysis/graph/adjacency.h>

#include <lintrix/services/work.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

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

// In one run over all entries, where rows are too short for runs of their own: none may fall but from a row
// to the next.
bool rowsAscend(const Pattern& pattern)
{
    std::ptrdiff_t falls = 0;
    for (std::size_t k = 1; k < pattern.ja.size(); ++k) falls += pattern.ja[k] < pattern.ja[k - 1];
    for (std::size_t i = 1; i + 1 < pattern.ia.size(); ++i) {
        const auto first = static_cast<std::size_t>(pattern.ia[i]);
        const bool joinsRows = pattern.ia[i - 1] < pattern.ia[i] && first < pattern.ja.size();
        falls -= joinsRows && pattern.ja[first] < pattern.ja[first - 1];
    }
    return falls == 0;
}

// Writes each member of an ascending list once from `end` on, but not `excluded`, and returns where they end;
// `last` is what has been written before. All are written, and those that are not wanted overwritten.
int* writeMembers(std::span<const int> list, int last, int excluded, int* end)
{
    for (const int next : list) {
        *end = next;
        end += next != last && next != excluded;
        last = next;
    }
    return end;
}

// The same of the union of two such lists.
int* writeMerged(std::span<const int> a, std::span<const int> b, int excluded, int* end)
{
    constexpr int kEnd = std::numeric_limits<int>::max(); // above any index
    std::size_t p = 0, q = 0;
    for (int last = excluded;;) {
        const int next = std::min(p < a.size() ? a[p] : kEnd, q < b.size() ? b[q] : kEnd);
        if (next == kEnd) return end;
        p += p < a.size() && a[p] == next;
        q += q < b.size() && b[q] == next;
        if (next == last || next == excluded) continue;
        *end++ = next;
        last = next;
    }
}

// The union of two ascending lists, ascending, but not `excluded`. One after the other where b ends before a
// begins, as in a symmetric matrix of which a triangle is stored, and one for both where they are equal, as
// with a symmetric pattern; by merging elsewhere.
int* writeUnion(std::span<const int> a, std::span<const int> b, int excluded, int* end)
{
    if (a.empty() || b.empty() || b.back() <= a.front()) {
        const int last = b.empty() ? excluded : b.back();
        return writeMembers(a, last, excluded, writeMembers(b, excluded, excluded, end));
    }
    if (std::ranges::equal(a, b)) return writeMembers(a, excluded, excluded, end);
    return writeMerged(a, b, excluded, end);
}

} // namespace

Failure checkPattern(const Pattern& pattern)
{
    const bool fits = startsFit(pattern) && columnsFit(pattern);
    return fits ? Failure{} : Failure{Error::Reordering, kBadPattern};
}

Failure SymmetrizedPattern::count(const Pattern& pattern, std::span<const int> columnOfRow)
{
    pattern_ = pattern;
    if (const Failure failure = takeRows(columnOfRow)) return failure;
    places_ = Scratch<int>::uninitialised(pattern.order());
    if (!places_) return outOfMemory(BlockCode::Transient, missingBytes(places_));
    if (rowOf_.get() == nullptr) {
        form_ = isUpperTriangle() ? Form::UpperTriangle : isSymmetric() ? Form::Symmetric : Form::General;
        if (!WorkScope::goesOn()) return stopped();
    }
    if (form_ == Form::General) {
        if (const Failure failure = joinWithTranspose()) return failure;
    }
    return entries_ > std::numeric_limits<int>::max() ? overflow() : Failure{};
}

Failure SymmetrizedPattern::takeRows(std::span<const int> columnOfRow)
{
    const int n = static_cast<int>(columnOfRow.size());
    int moved = 0;
    for (int i = 0; i < n; ++i) moved += columnOfRow[i] != i;
    if (moved == 0) return {};
    rowOf_ = Scratch<int>::uninitialised(n);
    if (!rowOf_) return outOfMemory(BlockCode::Transient, missingBytes(rowOf_));
    for (int i = 0; i < n; ++i) rowOf_[columnOfRow[i]] = i;
    return {};
}

// Leaves the entries above the diagonal counted by columns.
bool SymmetrizedPattern::isUpperTriangle()
{
    std::ranges::fill(places_.span(), 0);
    std::int64_t diagonals = 0;
    for (int r = 0; r < pattern_.order(); ++r) {
        int before = r - 1;
        bool fits = true;
        for (const int c : pattern_.row(r)) {
            fits &= c > before;
            before = c;
            ++places_[c];
        }
        if (!fits) return false;
        const bool hasDiagonal = !pattern_.row(r).empty() && pattern_.row(r).front() == r;
        places_[r] -= hasDiagonal;
        diagonals += hasDiagonal;
    }
    entries_ = 2 * (static_cast<std::int64_t>(pattern_.ja.size()) - diagonals);
    return true;
}

// Row after row asks for its twins in the rows behind it, of which each is met entry by entry: when its turn
// comes, all before the diagonal must have been asked for.
bool SymmetrizedPattern::isSymmetric()
{
    const std::span<const int> ia = pattern_.ia, ja = pattern_.ja;
    const std::span<int> met = places_.span();
    std::copy_n(ia.begin(), met.size(), met.begin());
    std::int64_t diagonals = 0;
    for (int r = 0; r < pattern_.order(); ++r) {
        int k = met[r], before = r - 1;
        if (k < ia[r + 1] && ja[k] == r) {
            ++diagonals;
            ++k;
            before = r;
        }
        for (; k < ia[r + 1]; ++k) {
            const int c = ja[k];
            if (c <= before || met[c] == ia[c + 1] || ja[met[c]] != r) return false;
            ++met[c];
            before = c;
        }
    }
    entries_ = static_cast<std::int64_t>(ja.size()) - diagonals;
    return true;
}

Failure SymmetrizedPattern::joinWithTranspose()
{
    ascending_ = rowsAscend(pattern_);
    if (const Failure failure = transposePattern()) return failure;
    if (!WorkScope::goesOn()) return stopped();
    if (!ascending_) {
        if (const Failure failure = sortRows()) return failure;
        if (!WorkScope::goesOn()) return stopped();
    }
    return joinRows();
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

Failure SymmetrizedPattern::joinRows()
{
    const int n = pattern_.order();
    starts_ = Scratch<int>::uninitialised(std::int64_t{n} + 1);
    joined_ = Scratch<int>::uninitialised(2 * static_cast<std::int64_t>(pattern_.ja.size()));
    if (!starts_ || !joined_) return outOfMemory(BlockCode::Transient, missingBytes(starts_, joined_));
    int* end = joined_.get();
    for (int r = 0; r < n; ++r) {
        entries_ = end - joined_.get();
        starts_[r] = static_cast<int>(entries_);
        end = writeUnion(row(r), column(r), r, end);
    }
    entries_ = end - joined_.get();
    starts_[n] = static_cast<int>(entries_);
    return {};
}

Graph SymmetrizedPattern::write(std::span<int> starts, std::span<int> neighbours) const
{
    if (form_ == Form::UpperTriangle) return mirror(starts, neighbours);
    if (form_ == Form::Symmetric) return withoutDiagonal(starts, neighbours);
    std::ranges::copy(starts_.span(), starts.begin());
    std::copy_n(joined_.get(), entries_, neighbours.begin());
    return {starts, neighbours};
}

std::span<const int> SymmetrizedPattern::aboveDiagonal(int r) const noexcept
{
    const std::span<const int> row = pattern_.row(r);
    return row.subspan(!row.empty() && row.front() == r);
}

// When its own row comes to a list, all that stands before the diagonal is there.
Graph SymmetrizedPattern::mirror(std::span<int> starts, std::span<int> neighbours) const
{
    const std::span<int> next = places_.span();
    int start = 0;
    for (int r = 0; r < pattern_.order(); ++r) {
        starts[r] = start;
        start += std::exchange(next[r], start) + static_cast<int>(aboveDiagonal(r).size());
    }
    starts[pattern_.order()] = start;
    for (int r = 0; r < pattern_.order(); ++r) {
        int* end = neighbours.data() + next[r];
        for (const int c : aboveDiagonal(r)) {
            *end++ = c;
            neighbours[next[c]++] = r;
        }
    }
    return {starts, neighbours};
}

// Where a row's diagonal stands is nothing that a processor could foresee, so that it is written, too, as
// long as there is room for it behind.
Graph SymmetrizedPattern::withoutDiagonal(std::span<int> starts, std::span<int> neighbours) const
{
    int *end = neighbours.data(), *const behind = end + neighbours.size();
    for (int r = 0; r < pattern_.order(); ++r) {
        const std::span<const int> row = pattern_.row(r);
        starts[r] = static_cast<int>(end - neighbours.data());
        end = std::ssize(row) <= behind - end ? writeMembers(row, r, r, end)
                                              : std::ranges::remove_copy(row, end, r).out;
    }
    starts[pattern_.order()] = static_cast<int>(end - neighbours.data());
    return {starts, neighbours};
}

} // namespace Velmar::Lintrix::detail::engine
