#include <lintrix/systems/structure/structural_faults.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/structure/dulmage_mendelsohn.h>
#include <lintrix/systems/structure/index_text.h>
#include <lintrix/systems/structure/proportionality.h>

#include <numeric>
#include <span>
#include <string_view>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

using Indices = std::vector<std::int32_t>;

Indices emptyRowsOf(const SparsePattern& pattern)
{
    Indices empty;
    for (std::int32_t i = 0; i < pattern.rows; ++i)
        if (pattern.lengthOf(i) == 0) empty.push_back(i);
    return empty;
}

// --- uneven blocks ----------------------------------------------------------------------------------------

/// Some of the columns in disjoint sets, which rows unite (R. E. Tarjan, J. ACM 22 (1975)).
class ColumnSets {
public:
    ColumnSets(std::int32_t cols, const Indices& members) : parent_(static_cast<std::size_t>(cols), kOutside)
    {
        for (const std::int32_t j : members) parent_[j] = j;
    }

    /// The column that stands for the set of the first member among `columns`, or kOutside.
    std::int32_t unite(std::span<const std::int32_t> columns)
    {
        std::int32_t root = kOutside;
        for (const std::int32_t j : columns) {
            if (parent_[j] == kOutside) continue;
            if (root == kOutside)
                root = find(j);
            else
                parent_[find(j)] = root;
        }
        return root;
    }
    /// Halves the way for those who come after.
    std::int32_t find(std::int32_t j)
    {
        while (parent_[j] != j) j = parent_[j] = parent_[parent_[j]];
        return j;
    }

private:
    static constexpr std::int32_t kOutside = -1;
    std::vector<std::int32_t> parent_;
};

Indices sortedPart(const Indices& at, const std::array<std::int32_t, 4>& parts, int part)
{
    Indices members(at.begin() + parts[part], at.begin() + parts[part + 1]);
    std::ranges::sort(members);
    return members;
}

/// The connected parts of H (0) or V (2), by their first column; without empty rows and columns.
std::vector<UnevenBlock> connectedBlocks(const SparsePattern& pattern, const DulmageMendelsohn& dm, int part)
{
    const Indices rows = sortedPart(dm.rowAt, dm.rowParts, part),
                  columns = sortedPart(dm.columnAt, dm.columnParts, part);
    ColumnSets sets(pattern.cols, columns);
    for (const std::int32_t i : rows) sets.unite(pattern.row(i));

    std::vector<UnevenBlock> blocks;
    Indices blockOf(static_cast<std::size_t>(pattern.cols), -1);
    for (const std::int32_t j : columns) {
        std::int32_t& block = blockOf[sets.find(j)];
        if (block < 0) {
            block = static_cast<std::int32_t>(blocks.size());
            blocks.emplace_back();
        }
        blocks[block].columns.push_back(j);
    }
    for (const std::int32_t i : rows) {
        if (const auto list = pattern.row(i); !list.empty())
            blocks[blockOf[sets.unite(list)]].rows.push_back(i);
    }
    std::erase_if(blocks, [](const UnevenBlock& block) { return block.rows.empty(); });
    return blocks;
}

// --- duplicates -------------------------------------------------------------------------------------------

struct KeyedRow {
    std::uint64_t key;
    std::int32_t row;
};

template <class Cell>
std::vector<KeyedRow> keyedRows(const SparseEntries<Cell>& A)
{
    std::vector<KeyedRow> keyed;
    for (std::int32_t i = 0; i < A.rows; ++i) {
        const auto values = A.valuesOf(i);
        if (values.empty() || !std::ranges::all_of(values, [](const Cell& x) { return isFinite(x); }))
            continue;
        keyed.push_back({proportionKey(A.row(i), values), i});
    }
    std::ranges::sort(keyed, {}, [](const KeyedRow& one) { return std::pair(one.key, one.row); });
    return keyed;
}

template <class Cell>
bool areDuplicates(const SparseEntries<Cell>& A, std::int32_t i, std::int32_t k)
{
    return std::ranges::equal(A.row(i), A.row(k)) && areProportional(A.valuesOf(i), A.valuesOf(k));
}

template <class Cell>
std::vector<Indices> duplicateRowsOf(const SparseEntries<Cell>& A)
{
    const std::vector<KeyedRow> keyed = keyedRows(A);
    std::vector<Indices> groups;
    for (auto first = keyed.begin(); first != keyed.end();) {
        const auto behind =
            std::find_if(first, keyed.end(), [&](const KeyedRow& one) { return one.key != first->key; });
        Indices group{first->row};
        for (auto other = first + 1; other != behind; ++other)
            if (areDuplicates(A, first->row, other->row)) group.push_back(other->row);
        if (group.size() > 1) groups.push_back(std::move(group));
        first = behind;
    }
    std::ranges::sort(groups, {}, [](const Indices& group) { return group.front(); });
    return groups;
}

// --- text -------------------------------------------------------------------------------------------------

constexpr std::size_t kToldOfEachKind = 3;

/// A sentence for each of the first members of a kind, and the number of the others.
template <class List, class Sentence>
std::string tell(const List& list, std::string_view kind, Sentence sentence)
{
    std::string text;
    for (std::size_t k = 0; k < std::min(list.size(), kToldOfEachKind); ++k)
        text += capitalized(sentence(list[k])) + " ";
    if (list.size() > kToldOfEachKind)
        text +=
            std::to_string(list.size() - kToldOfEachKind) + " more " + std::string(kind) + " like these. ";
    return text;
}

std::string tellEmpty(std::string_view noun, const Indices& indices, std::int32_t firstIndex)
{
    if (indices.empty()) return {};
    return capitalized(indexText(noun, indices, firstIndex) +
                       (indices.size() == 1 ? " is empty. " : " are empty. "));
}

std::string tellRank(const StructuralFaults& faults)
{
    if (faults.structuralRank == faults.fullRank()) return {};
    return "The structural rank is " + std::to_string(faults.structuralRank) + " of " +
           std::to_string(faults.fullRank()) +
           (faults.rows == faults.cols ? ": the matrix is singular" : ": the matrix has not full rank") +
           ", whatever its values. ";
}

} // namespace

template <class Cell>
StructuralFaults findStructuralFaults(const SparseEntries<Cell>& A)
{
    const EntryArrays<Cell> byRows = nonZerosOf(A), byColumns = transposed(SparseEntries<Cell>(byRows));
    const DulmageMendelsohn dm = dulmageMendelsohn(byRows.pattern);
    StructuralFaults faults{A.rows, A.cols, dm.structuralRank};
    faults.emptyRows = emptyRowsOf(byRows.pattern);
    faults.emptyColumns = emptyRowsOf(byColumns.pattern);
    faults.duplicateRows = duplicateRowsOf<Cell>(byRows);
    faults.duplicateColumns = duplicateRowsOf<Cell>(byColumns);
    faults.underDetermined = connectedBlocks(byRows.pattern, dm, 0);
    faults.overDetermined = connectedBlocks(byRows.pattern, dm, 2);
    return faults;
}

std::string explain(const StructuralFaults& faults, std::int32_t firstIndex)
{
    const auto named = [firstIndex](std::string_view noun, const Indices& indices) {
        return indexText(noun, indices, firstIndex);
    };
    std::string text = tellRank(faults) + tellEmpty("row", faults.emptyRows, firstIndex) +
                       tellEmpty("column", faults.emptyColumns, firstIndex);
    if (faults.structuralRank < faults.rows)
        text += tell(faults.underDetermined, "groups of columns", [&](const UnevenBlock& block) {
            return named("column", block.columns) + " are free: they share " + named("row", block.rows) +
                   " alone.";
        });
    if (faults.structuralRank < faults.cols)
        text += tell(faults.overDetermined, "groups of rows", [&](const UnevenBlock& block) {
            return named("row", block.rows) + " are over-determined: they share " +
                   named("column", block.columns) + " alone.";
        });
    const auto tellDuplicates = [&named](std::string_view noun, const std::vector<Indices>& groups) {
        return tell(groups, "groups of " + std::string(noun) + "s", [&](const Indices& group) {
            return named(noun, group) + " are the same up to a factor.";
        });
    };
    text += tellDuplicates("row", faults.duplicateRows) + tellDuplicates("column", faults.duplicateColumns);
    if (!text.empty()) text.pop_back();
    return text;
}

template LINTRIX_TESTABLE StructuralFaults findStructuralFaults(const SparseEntries<double>&);
template LINTRIX_TESTABLE StructuralFaults findStructuralFaults(const SparseEntries<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail
