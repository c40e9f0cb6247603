#include <lintrix/systems/sparse_lu/elimination_plan.h>

#include <lintrix/engine/minimum_degree_order.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/structure/strong_components.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::sparse_lu {

namespace {

/// Where entries of a column stand, and how large they are.
struct SizedColumns {
    const SparsePattern& pattern;
    std::span<const double> sizes;

    struct Sizes {
        double largest, own; ///< own: on the diagonal, below any size where there is none
    };
    Sizes of(std::int32_t column) const
    {
        Sizes found{0.0, -1.0};
        for (std::int32_t k = pattern.starts[column]; k < pattern.starts[column + 1]; ++k) {
            found.largest = std::max(found.largest, sizes[k]);
            if (pattern.columns[k] == column) found.own = sizes[k];
        }
        return found;
    }
};

void join(BipartiteMatching& matching, std::int32_t column, std::int32_t row)
{
    matching.columnOf[column] = row;
    matching.rowOf[row] = column;
    ++matching.size;
}

/// The largest free row of the column, if it is large enough.
std::int32_t largestFreeRow(const SizedColumns& A, const BipartiteMatching& matching, std::int32_t column,
                            double least)
{
    std::int32_t found = kUnmatched;
    for (std::int32_t k = A.pattern.starts[column]; k < A.pattern.starts[column + 1]; ++k) {
        const std::int32_t row = A.pattern.columns[k];
        if (matching.rowOf[row] != kUnmatched || A.sizes[k] < least) continue;
        least = A.sizes[k];
        found = row;
    }
    return found;
}

/// Larger blocks are ordered; an order of two is as good as the other.
constexpr std::int32_t kSmallBlock = 2;

/// What is ordered: the blocks on the diagonal that are not small.
struct LargeBlocks {
    PatternArrays pattern{};             ///< a row goes by the name of its column
    std::vector<std::int32_t> columns{}; ///< of A, by vertex
};

LargeBlocks largeBlocks(const SparsePattern& columns, const BipartiteMatching& matching,
                        std::span<const std::int32_t> blockOfRow, std::span<const std::int32_t> sizes)
{
    LargeBlocks large;
    std::vector<std::int32_t> vertexOf(blockOfRow.size());
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        if (sizes[blockOfRow[matching.columnOf[j]]] <= kSmallBlock) continue;
        vertexOf[j] = static_cast<std::int32_t>(large.columns.size());
        large.columns.push_back(j);
    }
    PatternArrays& pattern = large.pattern;
    pattern.rows = pattern.cols = static_cast<std::int32_t>(large.columns.size());
    pattern.columns.reserve(columns.columns.size());
    pattern.starts.reserve(large.columns.size() + 1);
    for (const std::int32_t j : large.columns) {
        const std::int32_t own = blockOfRow[matching.columnOf[j]];
        for (const std::int32_t i : columns.row(j))
            if (blockOfRow[i] == own) pattern.columns.push_back(vertexOf[matching.rowOf[i]]);
        pattern.starts.push_back(static_cast<std::int32_t>(pattern.columns.size()));
    }
    return large;
}

/// Of A^H*A, each entry once; of more than `most` entries none: then it is as good as full.
PatternArrays normalPattern(const SparsePattern& columns, std::size_t most)
{
    const PatternArrays rows = transposed(columns);
    const double full = std::max(16.0, 10.0 * std::sqrt(static_cast<double>(columns.rows)));
    PatternArrays normal{columns.rows, columns.rows};
    normal.starts.reserve(columns.starts.size());
    std::vector<std::int32_t> metBy(static_cast<std::size_t>(columns.rows), -1);
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        for (const std::int32_t i : columns.row(j)) {
            const std::span<const std::int32_t> row = SparsePattern(rows).row(i);
            if (static_cast<double>(row.size()) > full) continue;
            for (const std::int32_t other : row)
                if (std::exchange(metBy[other], j) != j) normal.columns.push_back(other);
        }
        if (normal.columns.size() > most) return {};
        normal.starts.push_back(static_cast<std::int32_t>(normal.columns.size()));
    }
    return normal;
}

/// Entries of A^H*A, beside those of A, up to which it is worth being formed.
constexpr std::size_t kMostNormalEntries = 50;

/// By position; adds to the plan's forecast.
std::vector<std::int32_t> orderVertices(const PatternArrays& blocks, ColumnOrder order, EliminationPlan& plan)
{
    WorkScope::tell();
    PatternArrays normal;
    if (order == ColumnOrder::AnyRows)
        normal = normalPattern(blocks, kMostNormalEntries * blocks.columns.size());
    const PatternArrays& graph = normal.rows > 0 ? normal : blocks;
    std::vector<std::int32_t> vertexAt(static_cast<std::size_t>(blocks.rows));
    EliminationForecast forecast;
    const int error = MinimumDegreeOrder(graph.starts, graph.columns, vertexAt, &forecast);
    WorkScope::tell();
    if (error != 0) throw NotEnoughMemoryException(); // 32-bit sizes are passed by what has no room either
    plan.lowerNonZeros += forecast.lowerNonZeros;
    plan.operations += forecast.operations;
    return vertexAt;
}

/// Columns of small blocks as they come, then the others by minimum degree.
std::vector<std::int32_t> orderColumns(const SparsePattern& columns, const BipartiteMatching& matching,
                                       std::span<const std::int32_t> blockOfRow,
                                       std::span<const std::int32_t> sizes, ColumnOrder order,
                                       EliminationPlan& plan)
{
    const LargeBlocks large = largeBlocks(columns, matching, blockOfRow, sizes);
    std::vector<std::int32_t> columnAt;
    columnAt.reserve(blockOfRow.size());
    for (std::int32_t j = 0; j < columns.rows; ++j)
        if (sizes[blockOfRow[matching.columnOf[j]]] <= kSmallBlock) columnAt.push_back(j);
    if (large.columns.empty()) return columnAt;
    for (const std::int32_t vertex : orderVertices(large.pattern, order, plan))
        columnAt.push_back(large.columns[vertex]);
    return columnAt;
}

/// Columns in the order in which they are told, the blocks one behind the other.
void layOut(EliminationPlan& plan, const BipartiteMatching& matching,
            std::span<const std::int32_t> blockOfRow, std::span<const std::int32_t> columnAt)
{
    plan.rowAt.resize(columnAt.size());
    plan.columnAt.resize(columnAt.size());
    std::vector<std::int32_t> next(plan.blockStarts.begin(), plan.blockStarts.end() - 1);
    for (const std::int32_t column : columnAt) {
        const std::int32_t row = matching.columnOf[column], position = next[blockOfRow[row]]++;
        plan.columnAt[position] = column;
        plan.rowAt[position] = row;
    }
}

} // namespace

BipartiteMatching strongMatching(const SparsePattern& columns, std::span<const double> sizes,
                                 double threshold)
{
    const auto n = static_cast<std::size_t>(columns.rows);
    const SizedColumns A{columns, sizes};
    BipartiteMatching matching{std::vector<std::int32_t>(n, kUnmatched),
                               std::vector<std::int32_t>(n, kUnmatched), 0};
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        const auto [largest, own] = A.of(j);
        if (own >= threshold * largest) join(matching, j, j);
    }
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        if (matching.columnOf[j] != kUnmatched) continue;
        const std::int32_t row = largestFreeRow(A, matching, j, threshold * A.of(j).largest);
        if (row != kUnmatched) join(matching, j, row);
    }
    return maximumMatching(columns, std::move(matching));
}

EliminationPlan planElimination(const SparsePattern& columns, const BipartiteMatching& matching,
                                ColumnOrder order)
{
    std::vector<std::int32_t> blockOfRow(static_cast<std::size_t>(columns.rows));
    const std::int32_t blocks = numberStrongComponents(columns, matching, blockOfRow);
    WorkScope::tell();
    std::vector<std::int32_t> sizes(static_cast<std::size_t>(blocks));
    for (const std::int32_t block : blockOfRow) ++sizes[block];
    EliminationPlan plan;
    plan.blockStarts.resize(sizes.size() + 1);
    std::partial_sum(sizes.begin(), sizes.end(), plan.blockStarts.begin() + 1);
    const auto singles = std::ranges::count(sizes, 1), pairs = std::ranges::count(sizes, kSmallBlock);
    plan.lowerNonZeros = singles + 3 * pairs;
    plan.operations = 3.0 * static_cast<double>(pairs);
    const std::vector<std::int32_t> columnAt =
        orderColumns(columns, matching, blockOfRow, sizes, order, plan);
    WorkScope::tell();
    layOut(plan, matching, blockOfRow, columnAt);
    return plan;
}

} // namespace Velmar::Lintrix::detail::sparse_lu
