#pragma once
/// @file
/// A factor in panels, and the way of right-hand sides through it.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/front_walk.h>
#include <lintrix/systems/multifrontal/fronts.h>

#include <complex>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// Of rows or of columns of A: scales in powers of two, and positions.
struct FactorSide {
    std::span<const int> exponents;
    std::span<const std::int32_t> positions;
};

/// A triangle of each panel with what is left below or beside it, as op(T) and op(R).
struct PanelHalf {
    bool isLower; ///< of L, whose diagonal is of ones; else of U
    char op;
};

/// Right-hand sides on their way: by positions of one side they come, by those of the other they are found.
template <class Cell>
class LINTRIX_TESTABLE FrontColumns {
public:
    /// S*B, each column in units of its largest element, which follow it to the end.
    FrontColumns(std::span<const Cell> B, const FactorSide& from);
    /// Where they belong.
    void store(std::span<Cell> X, const FactorSide& to) const;

    /// op(T)*Y = B for the panel's pivots, and B - op(R)*Y in what is left. `names`: rows of op(T).
    void down(const FrontPanel<Cell>& panel, PanelHalf half, std::span<const std::int32_t> names);
    /// op(T)*X = Y - op(R)*X, from Y as it came, by `from`, to what is found, by `to`.
    void up(const FrontPanel<Cell>& panel, PanelHalf half, std::span<const std::int32_t> from,
            std::span<const std::int32_t> to);

    std::int32_t count() const noexcept { return count_; }
    /// Row `position` of column `c`, as it came.
    Cell& given(std::int32_t position, std::int32_t c) noexcept
    {
        return given_[static_cast<std::size_t>(c * stride_ + position)];
    }

private:
    void gather(const std::vector<Cell>& from, std::span<const std::int32_t> positions,
                std::vector<Cell>& to);
    void scatter(std::vector<Cell>& to, std::span<const std::int32_t> positions) const;

    std::int64_t stride_;
    std::int32_t count_;
    std::vector<int> units_{};
    std::vector<Cell> given_, found_, work_{}, beside_{};
};

/// What is made of either kind. @tparam Cell  double or std::complex<double>
template <class Cell>
class FrontFactor {
public:
    /// Of the last factorization: entries, with the diagonal once; operations in cells; and candidates that
    /// waited, once for each front.
    std::int64_t entries() const noexcept { return made_.entries; }
    double operations() const noexcept { return made_.operations; }
    std::int64_t delayed() const noexcept { return made_.delayed; }
    std::span<const FrontPanel<Cell>> panels() const noexcept { return made_.panels; }

protected:
    FrontFactor() = default;
    explicit FrontFactor(std::vector<FrontPanel<Cell>> panels)
    {
        for (const FrontPanel<Cell>& panel : panels) made_.entries += panel.entries();
        made_.panels = std::move(panels);
    }
    void take(FrontPanels<Cell> made) noexcept { made_ = std::move(made); }

private:
    FrontPanels<Cell> made_{};
};

} // namespace Velmar::Lintrix::detail::multifrontal
