#pragma once
/// @file
/// The elimination within one front of an unsymmetric matrix, as far as its pivots allow.

#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::multifrontal {

/// What is a pivot. No element of L passes 1 / threshold, of complex cells sqrt(2) / threshold.
struct RowRule {
    double threshold = 0.1;  ///< in (0, 1]
    double least = 0x1p-200; ///< sizes up to which a column counts as zero
};

/// A square front, column-major in `cells`. Of its rows and of its columns the first `candidates` are fully
/// summed: all that is to be added to them is there.
template <class Cell>
struct SquareFront {
    Cell* cells;
    std::int32_t size, candidates;
    std::span<std::int32_t> rows, columns; ///< their names, which follow the exchanges
};

/// Works within one front after another.
///
/// The pivot of a column is its largest element among the candidate rows, if it is not too small beside all
/// of the column. Else the column waits for the changes that others make to it, and in the end for the
/// parent, with as many rows: nothing is replaced but in a root, whose rows are all candidates (I. S. Duff,
/// J. K. Reid, "The multifrontal solution of unsymmetric sets of linear equations", SIAM J. Sci. Stat.
/// Comput. 5 (1984)).
template <class Cell>
class LINTRIX_TESTABLE SquareElimination {
public:
    explicit SquareElimination(const RowRule& rule) : rule_(rule) {}

    /// Eliminates what it can. Behind it the first `result` columns hold L below the diagonal, whose own is
    /// of ones, and as many rows hold U; the rest is what is left for the parent, its candidates first.
    /// `isRoot`: none may be left; columns of zeros get a pivot of 1, and are counted in `replaced`.
    std::int32_t run(const SquareFront<Cell>& front, bool isRoot, std::int32_t& replaced);

private:
    Cell* column(std::int32_t j) const noexcept { return front_.cells + std::int64_t{j} * front_.size; }
    Cell& at(std::int32_t i, std::int32_t j) const noexcept { return column(j)[i]; }

    std::int32_t runPass();
    void runPanel();
    void enter(std::int32_t j);
    std::int32_t pivotRow(std::int32_t j) const;
    void eliminate(std::int32_t j, std::int32_t row);
    void updateRest();
    void setAside();
    std::int32_t replaceRest();
    void exchangeRows(std::int32_t a, std::int32_t b);
    void exchangeColumns(std::int32_t a, std::int32_t b);

    RowRule rule_;
    SquareFront<Cell> front_{};
    std::int32_t done_ = 0;  ///< eliminated
    std::int32_t panel_ = 0; ///< where the panel began
    /// Columns done_ .. window_ - 1 are up to date, the others lack the panel's pivots.
    std::int32_t window_ = 0;
    std::int32_t aside_ = 0; ///< the last candidates, which have had their turn in this pass
};

} // namespace Velmar::Lintrix::detail::multifrontal
