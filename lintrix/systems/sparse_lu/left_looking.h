#pragma once
/// @file
/// Sparse LU by columns, each computed from those before it.

#include <lintrix/services/export.h>
#include <lintrix/systems/sparse_lu/lu_arrays.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace Velmar::Lintrix::detail::sparse_lu {

/// How an elimination ended.
enum class LuOutcome {
    Done,
    NotFinite,            ///< an element of A is no number, or infinite
    StructurallySingular, ///< no permutation puts entries on the whole diagonal
    Singular,             ///< a column has no pivot other than zero
    TooMuchFill,          ///< a bound on entries or operations was passed
    PivotsSpoilt,         ///< the pivots of the values before do not serve these
};

/// What an elimination may make; it is left soon after it has passed one of them.
struct LuBounds {
    std::int64_t entries = INT64_MAX; ///< of L and U together
    double operations = 1e300;        ///< of real numbers
};

/// Eliminates block by block. In each the next column is solved for with the L so far, along the entries that
/// a depth-first search finds to be there (J. R. Gilbert and T. Peierls, "Sparse partial pivoting in time
/// proportional to arithmetic operations", SIAM J. Sci. Stat. Comput. 9 (1988)). A column of L is searched no
/// further than to the first row that made its pattern part of a later one's (S. C. Eisenstat and J. W. H.
/// Liu, "Exploiting structural symmetry in a sparse partial pivoting code", SIAM J. Sci. Comput. 14 (1993)).
/// Pivots go by T. A. Davis and E. Palamadai Natarajan, "Algorithm 907: KLU", ACM TOMS 37 (2010).
///
/// Where the elimination is not done, its arrays hold what came before and serve nobody.
template <class Cell>
class LeftLooking {
public:
    /// Rows of `arrays` stand where the plan puts them, and afterwards at those of their pivots. The matched
    /// element is the pivot if it is at least `threshold` times the largest.
    /// @throws NotEnoughMemoryException
    LeftLooking(LuArrays<Cell>& arrays, double threshold, const LuBounds& bounds);

    LuOutcome run();

    /// Where the pivot of the row is that the plan put at a position; after `run` was Done.
    std::int32_t positionOf(std::int32_t row) const noexcept { return rows_[row].position; }
    /// Position of the column that was to be eliminated next.
    std::int32_t column() const noexcept { return column_; }
    std::int32_t block() const noexcept { return block_; }

private:
    static constexpr std::int32_t kNone = -1;
    struct Row {
        std::int32_t position = kNone; ///< of its pivot
        std::int32_t metBy = kNone;    ///< the column that has met it last
    };
    /// Of a column of L, the entries that lead to all that can be reached from it.
    struct Search {
        std::int64_t begin, end;
        bool isPruned;
    };
    /// Of a search on its way: the entries of the column still to be followed.
    struct Step {
        std::int32_t column;
        std::int64_t next, end;
    };

    LuOutcome eliminateSingle(std::int32_t k);
    LuOutcome eliminate(std::int32_t k, std::int32_t blockEnd);
    double scatter(std::int32_t k);
    void searchFrom(std::int32_t row, std::int32_t k);
    double substitute();
    std::int32_t choosePivot(std::int32_t k) const;
    void divide(std::int32_t pivotRow);
    void prune(std::int32_t k, std::int32_t pivotRow);
    void prune(std::int32_t j, std::int32_t pivotRow, std::int64_t end);
    void nameRowsByPosition();
    bool isWithinBounds() const;
    void tellWork(double most);

    LuArrays<Cell>& arrays_;
    double threshold_;
    LuBounds bounds_;
    std::vector<Row> rows_;
    std::vector<std::int32_t> rowOf_; ///< of a position with a pivot
    std::vector<Cell> work_;          ///< a column by rows, zero between columns
    std::unique_ptr<Step[]> way_;
    std::vector<std::int32_t> order_;    ///< positions in an order to be computed in, from `first_`
    std::unique_ptr<Search[]> searches_; ///< of the columns of L that there are
    std::int32_t column_ = 0, block_ = 0;
    double told_ = 0.0;      ///< operations
    std::int32_t first_ = 0; ///< of `order_`
    std::int32_t below_ = 0; ///< entries of the new column of L, its pivot among them
};

/// The same pivots for other values in `arrays.A`, whose rows stand at their positions.
/// @return  Done; PivotsSpoilt: a pivot is zero or less than `threshold` of what is below it
template <class Cell>
LuOutcome eliminateAgain(LuArrays<Cell>& arrays, double threshold);

} // namespace Velmar::Lintrix::detail::sparse_lu
