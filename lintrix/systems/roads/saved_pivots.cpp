// A sparse LU with partial pivoting in the sections of a file.

#include <lintrix/systems/roads/pivoted_factor.h>
#include <lintrix/systems/roads/saved_cells.h>
#include <lintrix/systems/saved_system.h>

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

using namespace sparse_lu;

namespace {

/// Section "plu".
struct KeptLu {
    double threshold = 0.0, operations = 0.0, growth = 0.0, foreseen = 0.0;
    std::int64_t placed = 0, lower = 0, upper = 0, foreseenEntries = 0;
    std::int32_t blocks = 0, unused = 0;
};
static_assert(sizeof(KeptLu) == 72);

template <class T>
bool ascend(const std::vector<T>& starts, T last)
{
    return !starts.empty() && starts.front() == 0 && starts.back() == last && std::ranges::is_sorted(starts);
}

/// Whether all of the rows from entry `begin` to before `end` lie in `first` .. `behind` - 1.
bool lieWithin(const std::int32_t* rows, std::int64_t begin, std::int64_t end, std::int32_t first,
               std::int32_t behind)
{
    return std::all_of(rows + begin, rows + end,
                       [&](std::int32_t row) { return row >= first && row < behind; });
}

/// Every walk of a solve stays within the arrays.
template <class Cell>
bool holdsTogether(const SparseLuParts<Cell>& parts, std::int64_t elements)
{
    const LuArrays<Cell>& lu = parts.arrays;
    const auto& starts = parts.plan.blockStarts;
    if (!isPermutation(parts.plan.rowAt) || !isPermutation(parts.plan.columnAt)) return false;
    for (std::size_t b = 0; b + 1 < starts.size(); ++b) {
        for (std::int32_t k = starts[b]; k < starts[b + 1]; ++k) {
            const std::int32_t begin = lu.A.starts[k], own = lu.A.ownStarts[k], end = lu.A.starts[k + 1];
            if (own < begin || own > end) return false;
            if (!lieWithin(lu.A.rows.data(), begin, own, 0, starts[b]) ||
                !lieWithin(lu.A.rows.data(), own, end, starts[b], starts[b + 1]) ||
                !lieWithin(lu.L.rows(), lu.L.begin(k), lu.L.end(k), k + 1, starts[b + 1]) ||
                !lieWithin(lu.U.rows(), lu.U.begin(k), lu.U.end(k), starts[b], k))
                return false;
        }
    }
    return std::ranges::all_of(lu.A.slots, [&](auto slot) { return slot >= 0 && slot < elements; });
}

template <class Cell>
void addTriangle(SectionWriter& file, const GrowingColumns<Cell>& T, std::string_view starts,
                 std::string_view rows, std::string_view values)
{
    const auto entries = static_cast<std::size_t>(T.entries());
    file.Add(starts, T.starts());
    file.Add(rows, std::span<const std::int32_t>(T.rows(), entries));
    file.Add(values, std::span<const Cell>(T.values(), entries));
}

template <class Cell>
GrowingColumns<Cell> takenTriangle(SectionReader& file, std::int64_t n, std::int64_t entries,
                                   std::string_view starts, std::string_view rows, std::string_view values)
{
    auto begins = taken<std::int64_t>(file, starts, n + 1);
    if (!ascend(begins, entries)) requireWhole(file.Contradiction());
    auto rowBlock = takenBlock<std::int32_t>(file, rows, entries);
    return {std::move(begins), std::move(rowBlock), takenBlock<Cell>(file, values, entries)};
}

template <class T>
std::span<const T> all(const std::vector<T>& cells)
{
    return cells;
}

} // namespace

template <class Cell>
void PivotedFactor<Cell>::save(SectionWriter& file) const
{
    const LuArrays<Cell>& lu = lu_->arrays();
    const EliminationPlan& plan = lu_->plan();
    file.AddOne("plu", KeptLu{.threshold = threshold_,
                              .operations = lu.operations,
                              .growth = lu.growth,
                              .foreseen = plan.operations,
                              .placed = std::ssize(lu.A.rows),
                              .lower = lu.L.entries(),
                              .upper = lu.U.entries(),
                              .foreseenEntries = plan.lowerNonZeros,
                              .blocks = plan.blocks()});
    file.Add("plurows", all(plan.rowAt));
    file.Add("plucols", all(plan.columnAt));
    file.Add("plublock", all(plan.blockStarts));
    file.Add("pluscale", lu_->rowScales());
    file.Add("plua", all(lu.A.starts));
    file.Add("pluown", all(lu.A.ownStarts));
    file.Add("pluarows", all(lu.A.rows));
    file.Add("pluslots", all(lu.A.slots));
    file.Add("pluavals", all(lu.A.values));
    addTriangle(file, lu.L, "plul", "plulrows", "plulvals");
    addTriangle(file, lu.U, "pluu", "pluurows", "pluuvals");
    file.Add("pluvots", all(lu.pivots));
}

template <class Cell>
std::unique_ptr<PivotedFactor<Cell>> PivotedFactor<Cell>::load(const SparseOf<Cell>& A, UnitsBy units,
                                                               SectionReader& file)
{
    const std::int64_t n = A.Rows();
    KeptLu kept{};
    requireWhole(file.TakeOne("plu", kept));
    if (!(kept.threshold > 0.0 && kept.threshold <= 1.0) || kept.placed > A.NumElements() || kept.blocks < 0)
        requireWhole(file.Contradiction());
    SparseLuParts<Cell> parts;
    parts.plan.lowerNonZeros = kept.foreseenEntries;
    parts.plan.operations = kept.foreseen;
    parts.plan.rowAt = taken<std::int32_t>(file, "plurows", n);
    parts.plan.columnAt = taken<std::int32_t>(file, "plucols", n);
    parts.plan.blockStarts = taken<std::int32_t>(file, "plublock", kept.blocks + std::int64_t{1});
    parts.scales = taken<double>(file, "pluscale", n);
    LuArrays<Cell>& lu = parts.arrays;
    lu.operations = kept.operations;
    lu.growth = kept.growth;
    lu.A.starts = taken<std::int32_t>(file, "plua", n + 1);
    lu.A.ownStarts = taken<std::int32_t>(file, "pluown", n);
    if (!ascend(parts.plan.blockStarts, A.Rows()) ||
        !ascend(lu.A.starts, static_cast<std::int32_t>(kept.placed)))
        requireWhole(file.Contradiction());
    lu.A.rows = taken<std::int32_t>(file, "pluarows", kept.placed);
    lu.A.slots = taken<std::int32_t>(file, "pluslots", kept.placed);
    lu.A.values = taken<Cell>(file, "pluavals", kept.placed);
    lu.L = takenTriangle<Cell>(file, n, kept.lower, "plul", "plulrows", "plulvals");
    lu.U = takenTriangle<Cell>(file, n, kept.upper, "pluu", "pluurows", "pluuvals");
    lu.pivots = taken<Cell>(file, "pluvots", n);
    if (!holdsTogether(parts, A.NumElements())) requireWhole(file.Contradiction());
    return std::unique_ptr<PivotedFactor>(
        new PivotedFactor(A, kept.threshold, units, SparseLU<Cell>(std::move(parts), kept.threshold)));
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void PivotedFactor<Cell>::save(SectionWriter&) const;                                           \
    template std::unique_ptr<PivotedFactor<Cell>> PivotedFactor<Cell>::load(const SparseOf<Cell>&, UnitsBy,  \
                                                                            SectionReader&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(Complex)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::roads
