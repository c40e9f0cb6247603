#pragma once
/// @file
/// The candidates of a front, panel by panel and pass by pass.

#include <lintrix/systems/multifrontal/fronts.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail::multifrontal {

/// What eliminations within a front have in common. Columns enter a window one by one; each becomes a pivot
/// there or waits in it. A panel ends when it is full or too much waits: then the rest of the front follows,
/// and what waits is set aside. Passes go on as long as they find pivots enough.
///
/// An `Elimination` takes the next column of the window, `takeNext()`; brings what is behind it up to date,
/// `updateRest()`; exchanges columns, `exchange(a, b)`; and hears of the end of a panel, `endPanel()`.
template <class Cell, class Elimination>
class PivotPasses {
protected:
    void begin(const Front<Cell>& front)
    {
        front_ = front;
        done_ = panel_ = 0;
        width_ = front.size < kLarge ? kPanel : kLargePanel;
    }

    /// In a root a pass that finds a single pivot is followed by another.
    void eliminateCandidates(bool isRoot)
    {
        const std::int32_t share = isRoot ? front_.candidates : kWorthwhile;
        for (std::int32_t left = front_.candidates; left > 0; left = front_.candidates - done_)
            if (runPass() * share < left) break;
    }

    Cell* column(std::int32_t j) const noexcept { return front_.column(j); }
    Cell& at(std::int32_t i, std::int32_t j) const noexcept { return column(j)[i]; }

    static constexpr std::int32_t kPanel = 32, kLargePanel = 64; ///< pivots after which the rest follows
    static constexpr std::int32_t kLarge = 512;                  ///< fronts whose panels are wide
    static constexpr std::int32_t kMostWaiting = 24; ///< columns in the window that were no pivots, likewise
    static constexpr std::int32_t kWorthwhile = 16;  ///< of so many candidates one is a pivot, or all wait

    Front<Cell> front_{};
    std::int32_t done_ = 0;  ///< eliminated
    std::int32_t panel_ = 0; ///< where the panel began
    std::int32_t width_ = kPanel;
    /// Columns done_ .. window_ - 1 are up to date, the others lack the panel's pivots.
    std::int32_t window_ = 0;
    std::int32_t aside_ = 0; ///< the last candidates, which have had their turn in this pass

private:
    Elimination& own() noexcept { return static_cast<Elimination&>(*this); }

    /// Each of the candidates has its turn. @return  how many were pivots
    std::int32_t runPass()
    {
        const std::int32_t before = done_;
        aside_ = 0;
        while (done_ + aside_ < front_.candidates) runPanel();
        return done_ - before;
    }

    void runPanel()
    {
        panel_ = window_ = done_;
        while (done_ - panel_ < width_ && window_ - done_ < kMostWaiting &&
               window_ + aside_ < front_.candidates)
            own().takeNext();
        if (done_ > panel_) own().updateRest();
        setAside();
        own().endPanel();
    }

    /// What waits goes behind the candidates that have not had their turn, and before those set aside before.
    void setAside()
    {
        const std::int32_t waiting = window_ - done_, end = front_.candidates - aside_;
        for (std::int32_t k = 0; k < std::min(waiting, end - window_); ++k)
            own().exchange(done_ + k, end - 1 - k);
        aside_ = std::min(aside_ + waiting, front_.candidates - done_);
    }
};

} // namespace Velmar::Lintrix::detail::multifrontal
