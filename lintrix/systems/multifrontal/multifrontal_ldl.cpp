#include <lintrix/systems/multifrontal/multifrontal_ldl.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/multifrontal/little_fill.h>
#include <lintrix/systems/multifrontal/symmetric_plan.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

using sparse_lu::product;

namespace {

constexpr PivotRule kRule{};

/// What a pivot that waits costs its fronts, in the whole: measured on programs of quadratic optimization.
constexpr double kPriceOfWaiting = 2.5;

/// With partners, unless that makes much more fill than to let pivots wait.
template <class Cell>
FrontTree treeOf(const SparseEntries<Cell>& A, const std::vector<int>& exponents)
{
    const std::vector<std::int32_t> together = orderWithPartners(A, exponents, kRule.threshold),
                                    apart = orderWithPartners(A, exponents, 0.0);
    FrontTree paired = frontTreeOf(A, together), plain = together == apart ? paired : frontTreeOf(A, apart);
    const bool pays = forecastOf(paired).operations <= kPriceOfWaiting * forecastOf(plain).operations;
    return withLessWork(pays ? std::move(paired) : std::move(plain), [&] {
        constexpr auto kThorough = FillInReducingMethod::NestedDissection;
        return frontTreeOf(A, orderWithPartners(A, exponents, pays ? kRule.threshold : 0.0, kThorough));
    });
}

template <class Cell>
void conjugateAll(std::span<Cell> cells)
{
    for (Cell& cell : cells) cell = conjugate(cell);
}

} // namespace

template <class Cell>
MultifrontalLDL<Cell>::MultifrontalLDL(const SparseEntries<Cell>& A, bool conjugates)
    : symmetry_(conjugates ? Symmetry::Hermitian : Symmetry::Symmetric), exponents_(equilibrate(A)),
      tree_(treeOf(A, exponents_))
{
}

template <class Cell>
MultifrontalLDL<Cell>::MultifrontalLDL(LdlParts<Cell> parts, bool conjugates)
    : FrontFactor<Cell>(std::move(parts.panels)),
      symmetry_(conjugates ? Symmetry::Hermitian : Symmetry::Symmetric),
      exponents_(std::move(parts.exponents)), pivots_(std::move(parts.pivots))
{
    tree_.positionOf.resize(parts.vertexAt.size());
    for (std::size_t k = 0; k < parts.vertexAt.size(); ++k)
        tree_.positionOf[parts.vertexAt[k]] = static_cast<std::int32_t>(k);
    tree_.vertexAt = std::move(parts.vertexAt);
}

template <class Cell>
bool MultifrontalLDL<Cell>::factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds)
{
    PivotRule rule = kRule;
    rule.conjugates = isHermitian();
    FrontElimination<Cell> elimination(rule);
    FrontWalk<Cell> walk(tree_, symmetry_, bounds);
    Pivots<Cell> pivots;
    const bool isMade = walk.run(
        [&](std::int32_t f) { addElements(A, f, walk); },
        [&](const Front<Cell>& front, bool isRoot) { return elimination.run(front, isRoot, pivots); });
    if (!isMade) return false;
    this->take(walk.made());
    pivots_ = std::move(pivots);
    return true;
}

/// Those of its own columns that no front before has taken.
template <class Cell>
void MultifrontalLDL<Cell>::addElements(const SparseEntries<Cell>& A, std::int32_t f,
                                        const FrontWalk<Cell>& walk) const
{
    for (std::int32_t p = tree_.starts[f]; p < tree_.starts[f + 1]; ++p) {
        const std::int32_t vertex = tree_.vertexAt[p];
        for (std::int32_t k = A.starts[vertex]; k < A.starts[vertex + 1]; ++k) {
            const std::int32_t q = tree_.positionOf[A.columns[k]];
            if (q < p) continue; // by symmetry
            const int exponent = exponents_[vertex] + exponents_[A.columns[k]];
            walk.at(q, p) += timesPowerOfTwo(isHermitian() ? conjugate(A.values[k]) : A.values[k], exponent);
        }
    }
}

template <class Cell>
Inertia MultifrontalLDL<Cell>::inertia() const
{
    std::vector<double> diagonal(pivots_.diagonal.size());
    std::ranges::transform(pivots_.diagonal, diagonal.begin(), [](const Cell& x) { return std::real(x); });
    Inertia inertia = inertiaOf<Cell>(diagonal, pivots_.below);
    inertia.positive -= replaced(); // which they look
    inertia.zero += replaced();
    return inertia;
}

/// The column of L is a unit vector, so that a pivot is added where it stands.
template <class Cell>
std::vector<double> MultifrontalLDL<Cell>::raisedBy(double size) const
{
    std::vector<double> added(tree_.vertexAt.size());
    for (const FrontPanel<Cell>& panel : this->panels()) {
        for (std::int32_t k = 0; k < panel.pivots; ++k) {
            const std::int32_t vertex = tree_.vertexAt[panel.rows[k]];
            if (isReplaced(panel.firstPivot + k)) added[vertex] = std::ldexp(size, -2 * exponents_[vertex]);
        }
    }
    return added;
}

/// By the blocks of D, as in the elimination.
template <class Cell>
void MultifrontalLDL<Cell>::divide(const FrontPanel<Cell>& panel, FrontColumns<Cell>& X,
                                   std::optional<double> sizeOfZeros) const
{
    for (std::int32_t k = 0; k < panel.pivots; ++k) {
        const std::int32_t p = panel.firstPivot + k;
        const bool isRaised = sizeOfZeros && isReplaced(p);
        const Cell a = isRaised ? Cell(*sizeOfZeros) : pivots_.diagonal[p], b = pivots_.below[p];
        if (b == Cell()) {
            const sparse_lu::Divisor<Cell> divisor(a);
            for (std::int32_t c = 0; c < X.count(); ++c) {
                Cell& x = X.given(panel.rows[k], c);
                x = divisor.of(x);
            }
            continue;
        }
        const Cell byB = Cell(1.0) / b, byM = Cell(1.0) / (isHermitian() ? conjugate(b) : b);
        const Cell alpha = product(a, byB), gamma = product(pivots_.diagonal[p + 1], byM);
        const Cell scale = Cell(1.0) / (product(alpha, gamma) - Cell(1.0));
        for (std::int32_t c = 0; c < X.count(); ++c) {
            Cell &first = X.given(panel.rows[k], c), &second = X.given(panel.rows[k + 1], c);
            const Cell one = first, two = second;
            first = product(scale, product(gamma, product(one, byB)) - product(two, byB));
            second = product(scale, product(alpha, product(two, byM)) - product(one, byM));
        }
        ++k;
    }
}

/// A^H*x = b of A = A' is A*conj(x) = conj(b), and so is A'*x = b of A = A^H.
template <class Cell>
void MultifrontalLDL<Cell>::solve(TransposeMode op, std::span<Cell> X,
                                  std::optional<double> sizeOfZeros) const
{
    if (tree_.order() == 0) return;
    const bool isMirrored =
        op == (isHermitian() ? TransposeMode::Transposed : TransposeMode::ConjugateTransposed);
    if (isMirrored) conjugateAll(X);
    const FactorSide side{exponents_, tree_.positionOf};
    FrontColumns<Cell> columns(X, side);
    for (const FrontPanel<Cell>& panel : this->panels()) {
        columns.down(panel, {.isLower = true, .op = 'N'}, panel.rows);
        divide(panel, columns, sizeOfZeros);
        WorkScope::tell();
    }
    const std::span<const FrontPanel<Cell>> panels = this->panels();
    for (auto panel = panels.rbegin(); panel != panels.rend(); ++panel) {
        columns.up(*panel, {.isLower = true, .op = isHermitian() ? 'C' : 'T'}, panel->rows, panel->rows);
        WorkScope::tell();
    }
    columns.store(X, side);
    if (isMirrored) conjugateAll(X);
}

template class MultifrontalLDL<double>;
template class MultifrontalLDL<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
