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

    double largestOf(std::int32_t column) const
    {
        double largest = 0.0;
        for (std::int32_t k = pattern.starts[column]; k < pattern.starts[column + 1]; ++k)
            largest = std::max(largest, sizes[k]);
        return largest;
    }
    /// Of the entry (row, column); below any size where there is none.
    double sizeAt(std::int32_t row, std::int32_t column) const
    {
        for (std::int32_t k = pattern.starts[column]; k < pattern.starts[column + 1]; ++k)
            if (pattern.columns[k] == row) return sizes[k];
        return -1.0;
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

/// The pattern of the blocks on the diagonal. Vertices are columns; a row goes by the name of its column.
PatternArrays diagonalBlocks(const SparsePattern& columns, const BipartiteMatching& matching,
                             std::span<const std::int32_t> blockOfRow)
{
    PatternArrays blocks{columns.rows, columns.cols};
    blocks.starts.reserve(columns.starts.size());
    blocks.columns.reserve(columns.columns.size());
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        const std::int32_t own = blockOfRow[matching.columnOf[j]];
        for (const std::int32_t i : columns.row(j))
            if (blockOfRow[i] == own) blocks.columns.push_back(matching.rowOf[i]);
        blocks.starts.push_back(static_cast<std::int32_t>(blocks.columns.size()));
    }
    return blocks;
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
    plan.lowerNonZeros = forecast.lowerNonZeros;
    plan.operations = forecast.operations;
    return vertexAt;
}

/// Larger blocks are ordered; an order of two is as good as the other.
constexpr std::int32_t kSmallBlock = 2;

/// Columns in the order in which they are told, the blocks one behind the other.
void layOut(EliminationPlan& plan, const BipartiteMatching& matching,
            std::span<const std::int32_t> blockOfRow, std::span<const std::int32_t> vertexAt)
{
    plan.rowAt.resize(vertexAt.size());
    plan.columnAt.resize(vertexAt.size());
    std::vector<std::int32_t> next(plan.blockStarts.begin(), plan.blockStarts.end() - 1);
    for (const std::int32_t column : vertexAt) {
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
    std::vector<double> least(n);
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        least[j] = threshold * A.largestOf(j);
        if (A.sizeAt(j, j) >= least[j]) join(matching, j, j);
    }
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        if (matching.columnOf[j] != kUnmatched) continue;
        const std::int32_t row = largestFreeRow(A, matching, j, least[j]);
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
    EliminationPlan plan;
    plan.blockStarts.resize(static_cast<std::size_t>(blocks) + 1);
    for (const std::int32_t block : blockOfRow) ++plan.blockStarts[block + 1];
    const auto isSmall = [](std::int32_t size) { return size <= kSmallBlock; };
    const bool isOrdered = std::ranges::all_of(plan.blockStarts, isSmall);
    const auto pairs = std::ranges::count(plan.blockStarts, kSmallBlock);
    plan.lowerNonZeros = columns.rows + pairs;
    plan.operations = 3.0 * static_cast<double>(pairs);
    std::partial_sum(plan.blockStarts.begin(), plan.blockStarts.end(), plan.blockStarts.begin());
    std::vector<std::int32_t> vertexAt(blockOfRow.size());
    if (isOrdered)
        std::iota(vertexAt.begin(), vertexAt.end(), 0);
    else
        vertexAt = orderVertices(diagonalBlocks(columns, matching, blockOfRow), order, plan);
    WorkScope::tell();
    layOut(plan, matching, blockOfRow, vertexAt);
    return plan;
}

} // namespace Velmar::Lintrix::detail::sparse_lu
