#pragma once
/// @file
/// The elimination within one front of an unsymmetric matrix, as far as its pivots allow.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/pivot_passes.h>

#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail::multifrontal {

/// What is a pivot. No element of L passes 1 / threshold, of complex cells sqrt(2) / threshold.
struct RowRule {
    double threshold = 0.1;  ///< in (0, 1]
    double least = 0x1p-200; ///< sizes up to which a column counts as zero
};

/// Works within one front after another.
///
/// The pivot of a column is its largest element among the candidate rows, if it is not too small beside all
/// of the column. Else the column waits for the changes that others make to it, and in the end for the
/// parent, with as many rows: nothing is replaced but in a root, whose rows are all candidates (I. S. Duff,
/// J. K. Reid, "The multifrontal solution of unsymmetric sets of linear equations", SIAM J. Sci. Stat.
/// Comput. 5 (1984)).
template <class Cell>
class LINTRIX_TESTABLE SquareElimination : private PivotPasses<Cell, SquareElimination<Cell>> {
public:
    explicit SquareElimination(const RowRule& rule) : rule_(rule) {}

    /// Eliminates what it can. Behind it the first `result` columns hold L below the diagonal, whose own is
    /// of ones, and as many rows hold U; the rest is what is left for the parent, its candidates first.
    /// `isRoot`: none may be left; columns of zeros get a pivot of 1, and are counted in `replaced`.
    std::int32_t run(const Front<Cell>& front, bool isRoot, std::int32_t& replaced);

private:
    using Passes = PivotPasses<Cell, SquareElimination<Cell>>;
    friend Passes;
    using Passes::at, Passes::column, Passes::front_, Passes::done_, Passes::panel_, Passes::window_;

    void takeNext();
    void updateRest();
    void endPanel() noexcept {}
    void exchange(std::int32_t a, std::int32_t b); ///< of columns
    void enter(std::int32_t j);
    std::int32_t pivotRow(std::int32_t j) const;
    void eliminate(std::int32_t j, std::int32_t row);
    std::int32_t replaceRest();
    void exchangeRows(std::int32_t a, std::int32_t b);

    RowRule rule_;
};

} // namespace Velmar::Lintrix::detail::multifrontal
