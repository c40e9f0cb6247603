#pragma once
/// @file
/// The elimination within one front, as far as its pivots allow.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/pivot_passes.h>

#include <complex>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// What is a pivot. No element of L passes 1 / threshold, of complex cells sqrt(2) / threshold.
struct PivotRule {
    /// In (0, 1/2], of complex cells in (0, 0.3]: then a largest element makes a pivot, by itself or as a
    /// block.
    double threshold = 0.01;
    double least = 0x1p-46;  ///< sizes up to which a pivot counts as zero
    bool conjugates = false; ///< A = A^H, else A = A'
};

/// The pivots of P*A*P' = L*D*L^H (L*D*L'), D of blocks of one and of two, in their order.
template <class Cell>
struct Pivots {
    std::vector<Cell> diagonal{}, below{}; ///< of D; below[k] the element (k + 1, k) of a block of two, or 0
    std::int32_t replaced = 0;
};

/// Works within one front after another, with the memory of the largest.
///
/// Pivots are sought among the candidates, and held against whole columns of the front. A candidate that is
/// no pivot waits for the changes that others make to it, and in the end for the parent, where it meets more
/// of them: nothing is replaced but in a root, where nothing else is left (I. S. Duff, J. K. Reid, "The
/// multifrontal solution of indefinite sparse symmetric linear equations", ACM TOMS 9 (1983); the tests of
/// blocks are those of I. S. Duff and others, "Factorization of sparse symmetric indefinite matrices", IMA J.
/// Numer. Anal. 11 (1991)).
template <class Cell>
class LINTRIX_TESTABLE FrontElimination : private PivotPasses<Cell, FrontElimination<Cell>> {
public:
    explicit FrontElimination(const PivotRule& rule) : rule_(rule) {}

    /// Eliminates what it can. Behind it the first `result` columns hold L without its unit diagonal, zeros
    /// in its place and within blocks of two; the rest is what is left for the parent, its candidates first.
    /// The pivots are appended. `isRoot`: none may be left; those that are zero are replaced, and counted.
    /// @throws std::bad_alloc
    std::int32_t run(const Front<Cell>& front, bool isRoot, Pivots<Cell>& pivots);

private:
    using Passes = PivotPasses<Cell, FrontElimination<Cell>>;
    friend Passes;
    using Passes::at, Passes::column, Passes::front_, Passes::done_, Passes::panel_, Passes::window_;

    /// The order of the candidates when a panel was finished, by their first places.
    struct PlacesThen {
        std::int32_t first, pivots;
        std::vector<std::int32_t> places;
    };

    Cell* product(std::int32_t j) noexcept
    {
        return products_.data() + std::int64_t{j - panel_} * front_.size;
    }
    Cell mirrored(const Cell& x) const noexcept;
    Cell onDiagonal(const Cell& x) const noexcept;

    void takeNext();
    void updateRest();
    void endPanel() { placesThen_.push_back({panel_, done_ - panel_, places_}); }
    void exchange(std::int32_t a, std::int32_t b);
    void enter(std::int32_t j);
    std::int32_t partnerOf(std::int32_t j, double& size);
    bool isPivot(std::int32_t j, double largest) const;
    bool isPair(std::int32_t j, std::int32_t partner) const;
    // Of a pivot at the front of the window the width of its block; 0: there is none.
    std::int32_t choose(std::int32_t j);
    std::int32_t moveToFront(std::int32_t j);
    std::int32_t moveToFront(std::int32_t j, std::int32_t partner);
    void replaceRest();
    void bringRowsToPlace();
    void eliminate(std::int32_t width);
    void eliminateOne();
    void eliminateTwo();
    void updateWindow(std::int32_t width);
    void updateTriangle(std::int32_t begin, std::int32_t end);
    void updateBlock(std::int32_t row, std::int32_t rowEnd, std::int32_t j, std::int32_t end);
    double largestBeside(std::int32_t j, std::int32_t other) const;

    PivotRule rule_;
    Pivots<Cell>* pivots_ = nullptr;
    std::vector<Cell> products_{}; ///< L*D of the panel's columns
    std::vector<Cell> factors_{};
    std::vector<std::int32_t> places_{}; ///< of the candidates, before the exchanges
    std::vector<PlacesThen> placesThen_{};
};

} // namespace Velmar::Lintrix::detail::multifrontal
