#include <lintrix/systems/sparse_lu/sparse_lu.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>
#include <lintrix/systems/sparse_lu/lu_substitution.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numeric>

namespace Velmar::Lintrix::detail::sparse_lu {

namespace {

// No scale passes 2^1000, so that a row of the smallest numbers stays finite.
constexpr int kLargestExponent = 1000;

double scaleOf(int exponent)
{
    return powerOfTwo(std::clamp(exponent, -kLargestExponent, kLargestExponent));
}

// Operations above those foretold for pivots on the diagonal from which on the columns are ordered anew; and
// those of which nothing is said.
constexpr double kExcess = 4.0, kFewOperations = 1e6;

// Entries of L, and of U, for each of A that there is room for from the start, if they are foretold: little
// beside what a later growth copies.
constexpr std::int64_t kModestRoom = 8;

std::vector<std::int32_t> inverseOf(std::span<const std::int32_t> at)
{
    std::vector<std::int32_t> positions(at.size());
    for (std::size_t k = 0; k < at.size(); ++k) positions[at[k]] = static_cast<std::int32_t>(k);
    return positions;
}

} // namespace

/// Column by column the rows and slots of what is not zero.
template <class Cell>
struct SparseLU<Cell>::Columns {
    PatternArrays pattern;
    std::vector<std::int32_t> slots{};
};

template <class Cell>
SparseLU<Cell>::SparseLU(const SparseOf<Cell>& A, double threshold, std::span<const int> rowExponents)
    : order_(A.Rows()), threshold_(threshold), scales_(static_cast<std::size_t>(A.Rows()))
{
    if (!scaleRows(A, rowExponents)) {
        analysed_ = LuOutcome::NotFinite;
        return;
    }
    WorkScope::tell();
    const Columns columns = columnsOf(A);
    WorkScope::tell();
    matching_ = strongMatching(columns.pattern, sizesOf(columns, A), threshold_);
    if (matching_.size < order_) {
        analysed_ = LuOutcome::StructurallySingular;
        return;
    }
    plan(A, columns, ColumnOrder::AlongDiagonal);
}

template <class Cell>
SparseLU<Cell>::SparseLU(SparseLuParts<Cell> parts, double threshold)
    : order_(static_cast<std::int32_t>(parts.scales.size())), threshold_(threshold),
      scales_(std::move(parts.scales)), plan_(std::move(parts.plan)), arrays_(std::move(parts.arrays))
{
    arrays_.blockStarts = plan_.blockStarts;
}

/// @return false  there is an element that is not finite
template <class Cell>
bool SparseLU<Cell>::scaleRows(const SparseOf<Cell>& A, std::span<const int> exponents)
{
    const auto starts = A.RowPointers();
    const auto values = A.Values();
    for (std::int32_t i = 0; i < order_; ++i) {
        double largest = 0.0;
        for (std::int32_t k = starts[i] - 1; k < starts[i + 1] - 1; ++k) {
            const Cell value = values[k];
            if (!isFinite(value)) return false;
            largest = std::max(largest, std::max(std::abs(std::real(value)), std::abs(std::imag(value))));
        }
        scales_[i] = scaleOf(exponents.empty() ? -exponentOf(largest) : exponents[i]); // to [1/2, 1)
    }
    return true;
}

template <class Cell>
auto SparseLU<Cell>::columnsOf(const SparseOf<Cell>& A) const -> Columns
{
    const auto starts = A.RowPointers(), cols = A.ColumnIndices();
    const auto values = A.Values();
    Columns result{{order_, order_, std::vector<std::int32_t>(static_cast<std::size_t>(order_) + 1)}};
    std::vector<std::int32_t>& ends = result.pattern.starts;
    for (std::size_t k = 0; k < cols.size(); ++k) ends[cols[k]] += values[k] != 0.0;
    std::partial_sum(ends.begin(), ends.end(), ends.begin());
    const auto entries = static_cast<std::size_t>(ends.back());
    result.pattern.columns.resize(entries);
    result.slots.resize(entries);
    std::vector<std::int32_t> next(ends.begin(), ends.end() - 1);
    for (std::int32_t i = 0; i < order_; ++i) {
        for (std::int32_t k = starts[i] - 1; k < starts[i + 1] - 1; ++k) {
            if (values[k] == 0.0) continue;
            const std::int32_t place = next[cols[k] - 1]++;
            result.pattern.columns[place] = i;
            result.slots[place] = k;
        }
    }
    return result;
}

/// Of the scaled elements.
template <class Cell>
std::vector<double> SparseLU<Cell>::sizesOf(const Columns& columns, const SparseOf<Cell>& A) const
{
    const auto values = A.Values();
    std::vector<double> sizes(columns.slots.size());
    for (std::size_t e = 0; e < sizes.size(); ++e)
        sizes[e] = sizeOf(values[columns.slots[e]] * scales_[columns.pattern.columns[e]]);
    return sizes;
}

template <class Cell>
void SparseLU<Cell>::plan(const SparseOf<Cell>& A, const Columns& columns, ColumnOrder order)
{
    plan_ = planElimination(columns.pattern, matching_, order);
    WorkScope::tell();
    place(A, columns);
    arrays_.blockStarts = plan_.blockStarts;
}

/// A by positions, what is above a block before what is in it.
template <class Cell>
void SparseLU<Cell>::place(const SparseOf<Cell>& matrix, const Columns& columns)
{
    const auto values = matrix.Values();
    const std::vector<std::int32_t> positionOf = inverseOf(plan_.rowAt);
    PlacedColumns<Cell>& A = arrays_.A;
    const std::size_t entries = columns.slots.size();
    A.starts.resize(static_cast<std::size_t>(order_) + 1);
    A.ownStarts.resize(static_cast<std::size_t>(order_));
    A.rows.resize(entries);
    A.slots.resize(entries);
    A.values.resize(entries);
    std::int32_t next = 0;
    for (std::int32_t block = 0; block < plan_.blocks(); ++block) {
        const std::int32_t blockStart = plan_.blockStarts[block];
        for (std::int32_t k = blockStart; k < plan_.blockStarts[block + 1]; ++k) {
            const std::int32_t begin = columns.pattern.starts[plan_.columnAt[k]],
                               end = columns.pattern.starts[plan_.columnAt[k] + 1];
            A.starts[k] = next;
            std::int32_t back = next + end - begin;
            A.starts[k + 1] = back;
            for (std::int32_t e = begin; e < end; ++e) {
                const std::int32_t slot = columns.slots[e], rowOfA = columns.pattern.columns[e];
                const std::int32_t row = positionOf[rowOfA];
                const std::int32_t to = row < blockStart ? next++ : --back;
                A.rows[to] = row;
                A.slots[to] = slot;
                A.values[to] = values[slot] * scales_[rowOfA];
            }
            A.ownStarts[k] = next;
            next = A.starts[k + 1];
        }
    }
}

template <class Cell>
LuOutcome SparseLU<Cell>::factorize(const SparseOf<Cell>& A, const LuBounds& bounds)
{
    if (analysed_ != LuOutcome::Done) return analysed_;
    const double foretold = std::max(kExcess * operationsOf(Cell()) / 2.0 * plan_.operations, kFewOperations);
    LuBounds first = bounds;
    first.operations = std::min(bounds.operations, foretold);
    const LuOutcome outcome = eliminate(first);
    if (outcome != LuOutcome::TooMuchFill || first.operations == bounds.operations) return outcome;
    plan(A, columnsOf(A), ColumnOrder::AnyRows);
    return eliminate(bounds);
}

template <class Cell>
LuOutcome SparseLU<Cell>::eliminate(const LuBounds& bounds)
{
    const std::int64_t foretold = plan_.lowerNonZeros + plan_.lowerNonZeros / 8,
                       modest = kModestRoom * static_cast<std::int64_t>(arrays_.A.values.size());
    const std::int64_t room = std::min({foretold, modest, bounds.entries});
    arrays_.L = GrowingColumns<Cell>(order_, room);
    arrays_.U = GrowingColumns<Cell>(order_, room);
    arrays_.pivots.assign(static_cast<std::size_t>(order_), Cell());
    arrays_.operations = arrays_.growth = 0.0;
    LeftLooking<Cell> elimination(arrays_, threshold_, bounds);
    const LuOutcome outcome = elimination.run();
    if (outcome == LuOutcome::Singular) {
        singularColumn_ = plan_.columnAt[elimination.column()];
        singularBlock_ = elimination.block();
    }
    if (outcome != LuOutcome::Done) return outcome;
    std::vector<std::int32_t> rowAt(plan_.rowAt.size());
    for (std::size_t k = 0; k < rowAt.size(); ++k)
        rowAt[elimination.positionOf(static_cast<std::int32_t>(k))] = plan_.rowAt[k];
    plan_.rowAt = std::move(rowAt);
    return outcome;
}

template <class Cell>
LuOutcome SparseLU<Cell>::refactorize(const SparseOf<Cell>& A, std::span<const int> rowExponents)
{
    if (!scaleRows(A, rowExponents)) return LuOutcome::NotFinite;
    PlacedColumns<Cell>& placed = arrays_.A;
    const auto values = A.Values();
    std::int64_t zeros = static_cast<std::int64_t>(values.size());
    for (std::size_t e = 0; e < placed.slots.size(); ++e) {
        const Cell value = values[placed.slots[e]];
        zeros -= value != 0.0;
        placed.values[e] = value * scales_[plan_.rowAt[placed.rows[e]]];
    }
    // What was zero before has no place, and must still be zero.
    if (zeros != std::ranges::count(values, Cell())) return LuOutcome::PivotsSpoilt;
    constexpr double kLeastPart = 1e-3; // of a threshold
    return eliminateAgain(arrays_, kLeastPart * threshold_);
}

template <class Cell>
void SparseLU<Cell>::solve(TransposeMode op, std::span<const Cell> B, std::span<Cell> X) const
{
    const auto n = static_cast<std::size_t>(order_);
    const std::size_t all = X.size() / n;
    const auto y = std::make_unique_for_overwrite<Cell[]>(n * (all <= 2 ? all : kMostColumns));
    for (std::size_t done = 0; done < all; done += kMostColumns) {
        const Cell* const b = B.data() + done * n;
        Cell* const x = X.data() + done * n;
        switch (all - done) {
        case 1:
            solveWide<1, 1>(op, b, x, y.get());
            break;
        case 2:
            solveWide<2, 2>(op, b, x, y.get());
            break;
        case 3:
            solveWide<kMostColumns, 3>(op, b, x, y.get());
            break;
        default:
            solveWide<kMostColumns, kMostColumns>(op, b, x, y.get());
            break;
        }
    }
}

/// `C` columns by way of y, where the sides that they leave of W are 0; x may be b.
template <class Cell>
template <int W, int C>
void SparseLU<Cell>::solveWide(TransposeMode op, const Cell* b, Cell* x, Cell* y) const
{
    const bool transposed = op != TransposeMode::NotTransposed;
    const std::span<const std::int32_t> from = transposed ? columnAt() : rowAt(),
                                        to = transposed ? rowAt() : columnAt();
    const auto n = static_cast<std::size_t>(order_);
    for (std::size_t k = 0; k < n; ++k) {
        const double scale = transposed ? 1.0 : scales_[from[k]];
        for (std::size_t c = 0; c < C; ++c) y[k * W + c] = b[c * n + from[k]] * scale;
        for (std::size_t c = C; c < W; ++c) y[k * W + c] = Cell();
    }
    substitute(arrays_, W, op, y);
    for (std::size_t k = 0; k < n; ++k) {
        const double scale = transposed ? scales_[to[k]] : 1.0;
        for (std::size_t c = 0; c < C; ++c) x[c * n + to[k]] = y[k * W + c] * scale;
    }
}

template <class Cell>
std::int64_t SparseLU<Cell>::entries() const noexcept
{
    std::int64_t above = 0;
    for (std::size_t k = 0; k < arrays_.A.ownStarts.size(); ++k)
        above += arrays_.A.ownStarts[k] - arrays_.A.starts[k];
    return arrays_.L.entries() + arrays_.U.entries() + order_ + above;
}

template class SparseLU<double>;
template class SparseLU<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::sparse_lu
