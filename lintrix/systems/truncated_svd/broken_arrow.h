#pragma once
/// @file
/// The small matrix of a symmetric Lanczos process with thick restarts.

#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail {

/// T, real symmetric: what a restart has kept, as tips, all of which couple with the first row behind them,
/// and the rows of the steps since then, each of which couples with the next one:
///
///     theta            t
///           theta      t
///                theta t
///     t     t    t     alpha beta
///                      beta  alpha beta
///                            beta  alpha      and the last one's beta, with a row that is not there yet.
///
/// Eliminated from the tips and from the last row towards the row where they meet, T - s*I has no fill.
class LINTRIX_TESTABLE BrokenArrow {
public:
    std::int32_t order() const noexcept;
    /// One row more: its diagonal element, and its coupling with the next one.
    void append(double diagonal, double coupling);
    /// The last row, or all tips, no longer couple with the row that comes next.
    void uncouple();

    /// Eigenvalues and eigenvectors. O(order^3), mostly in products of matrices: the tips' part is made
    /// tridiagonal by reflections, the rest is so (Cuppen, Numer. Math. 36 (1981)). Tips that couple with
    /// nothing are left out. @pre a row stands behind the tips
    /// @throws OperationFailedException, std::bad_alloc
    void decompose();
    /// As of the last `decompose`, largest first.
    const std::vector<double>& values() const noexcept { return values_; }
    /// Column j of `order` cells belongs to values()[j].
    const std::vector<double>& vectors() const noexcept { return vectors_; }
    /// Of each eigenvector, what couples it with the next row.
    const std::vector<double>& reaches() const noexcept { return reaches_; }
    /// The `count` largest eigenvalues become all there is, as tips. @pre nothing was appended since
    /// `decompose`
    void keep(std::int32_t count);

    /// What the last rows have to do with the next one: one element, or after `keep` those of all tips.
    std::vector<double> couplingsOfNext() const;

    struct Estimate {
        double value, reach;
    };
    /// Of the k-th eigenpair, k from 1, by counts and one recurrence: O(order), without the others. The reach
    /// is wild where the eigenvalue is very close to another one. It is at least `atLeast`, as it was with
    /// fewer rows.
    Estimate estimateOf(std::int32_t k, double atLeast) const;
    /// Whether the rows behind tips that couple with none of them have an eigenvalue above the bound.
    bool hasBehindTips(double bound) const;

private:
    std::vector<double> decomposeCoupled(const std::vector<std::size_t>& coupled,
                                         std::vector<double>& values) const;
    double upperBound() const;
    void countAbove(const double* shifts, std::int32_t* counts) const;

    std::vector<double> tips_, tipCouplings_;  // theta, t
    std::vector<double> diagonal_, couplings_; // alpha, beta
    std::vector<double> values_, vectors_, reaches_;
};

} // namespace Velmar::Lintrix::detail
