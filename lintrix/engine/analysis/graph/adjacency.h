#pragma once
/// @file
/// The graph of a matrix: its pattern together with its transpose, without the diagonal.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The pattern of A in compressed rows, counted from 0: row i has the columns ja[ia[i]] .. ja[ia[i + 1] - 1].
struct Pattern {
    std::span<const int> ia, ja;

    int order() const noexcept { return static_cast<int>(ia.size()) - 1; }
    std::span<const int> row(int i) const noexcept
    {
        return ja.subspan(static_cast<std::size_t>(ia[i]), static_cast<std::size_t>(ia[i + 1] - ia[i]));
    }
};

/// Internal code of a pattern that no graph can be made of.
inline constexpr int kBadPattern = -10;

/// {Reordering, kBadPattern}  `ia` does not ascend from 0 to the length of `ja`, or a column lies outside the
/// matrix. The matrix check is optional, and what no test has seen must not be walked along.
LINTRIX_TESTABLE Failure checkPattern(const Pattern& pattern);

/// The symmetrized pattern, in two steps, so that the caller takes the block for the graph in between:
///
///     if (const Failure failure = checkPattern(pattern)) return failure;
///     SymmetrizedPattern adjacency;
///     if (const Failure failure = adjacency.count(pattern, columnOfRow)) return failure;
///     ... room for order + 1 starts and adjacency.entries() neighbours ...
///     const Graph graph = adjacency.write(starts, neighbours);
///
/// One rule serves all types. The upper triangle that symmetric storage keeps, joined with its transpose, is
/// the whole pattern; for a matrix of symmetric structure the join changes nothing; an unsymmetric one is
/// symmetrized. Rows may stand in any order of columns and repeat them: the matrix check is optional.
///
/// Rows that ascend need no transpose where they make an upper triangle or have a symmetric pattern: row
/// after row puts itself into the lists of its columns, which leaves them ascending, or is a list already.
/// Elsewhere the transpose is made by counting (Gustavson, "Two fast algorithms for sparse matrices:
/// multiplication and permuted transposition", ACM TOMS 4 (1978)), which leaves its rows ascending, too; a
/// merge of each row with its transposed twin then meets both in storage order. Cost: O(order + entries).
/// Workspace: order for the first two, else 5 order + 3 entries of A at most, and as many entries once more
/// where rows are out of order.
class SymmetrizedPattern {
public:
    /// Counts the entries. With `columnOfRow` (order elements, a permutation) row i of A is taken as row
    /// columnOfRow[i], which puts the matched entries on the diagonal: the graph is then that of P*A plus its
    /// transpose. Empty, it stands for the identity. Both arguments must live until `write` has returned.
    /// The pattern is one that `checkPattern` has passed.
    /// @return  outOfMemory(Transient); overflow() where 32 bits do not hold the count
    LINTRIX_TESTABLE Failure count(const Pattern& pattern, std::span<const int> columnOfRow = {});
    /// Both directions of each edge counted, the diagonal not: the length of `neighbours`, and the
    /// structure's new count of non-zeros.
    std::int64_t entries() const noexcept { return entries_; }
    /// Fills `starts` (order + 1) and `neighbours` (entries()), after `count`.
    LINTRIX_TESTABLE Graph write(std::span<int> starts, std::span<int> neighbours) const;

private:
    enum class Form { General, UpperTriangle, Symmetric };

    Failure takeRows(std::span<const int> columnOfRow);
    bool isUpperTriangle();
    bool isSymmetric();
    Failure joinWithTranspose();
    std::span<const int> row(int r) const noexcept;
    std::span<const int> column(int r) const noexcept;
    Failure transposePattern();
    Failure sortRows();
    Failure joinRows();
    std::span<const int> aboveDiagonal(int r) const noexcept;
    Graph mirror(std::span<int> starts, std::span<int> neighbours) const;
    Graph withoutDiagonal(std::span<int> starts, std::span<int> neighbours) const;

    Pattern pattern_;
    Form form_ = Form::General;
    Scratch<int> rowOf_;  ///< rowOf_[r]: the row of A taken as row r; empty: r
    Scratch<int> places_; ///< by column: entries above the diagonal, or how far a row is met
    Scratch<int> columnStarts_, columnRows_; ///< the transpose
    Scratch<int> sortedColumns_;             ///< the rows in ascending order, if those of A are not
    Scratch<int> starts_, joined_;           ///< the graph, in more room than it needs
    bool ascending_ = true;
    std::int64_t entries_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
