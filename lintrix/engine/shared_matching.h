#pragma once
/// @file
/// One matching for several analyses of a matrix.

#include <lintrix/services/export.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix {

/// The matching of an unsymmetric matrix (types 11 and 13) and the scales that come with it. They do not
/// depend on the order of elimination, and may take longer than all else in an analysis: one that finds them
/// here does not look for them.
///
///     SharedMatching matching;
///     const SharedMatching::Use use(matching);          // by what this thread analyses
///     pardiso(pt, maxfct, mnum, mtype, 11, ...);        // leaves its matching here
///     pardiso(other, maxfct, mnum, mtype, 11, ...);     // by another order: takes it
///
/// What is here counts as the matching of every matrix of its order that asks for the same scaling, so call
/// `Forget` before values or pattern change. The factors are the same to the bit with it and without it.
/// Memory: 20 bytes a row; where there is none, nothing is kept. One thread at a time.
class LINTRIX_EXPORT SharedMatching {
public:
    /// While it lives, the analyses of this thread take the matching from there or leave theirs. The one that
    /// was made last counts.
    class LINTRIX_EXPORT Use {
    public:
        explicit Use(SharedMatching& matching) noexcept;
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

    private:
        SharedMatching* before_;
    };

    bool IsKnown() const noexcept { return !columnOfRow_.empty(); }
    void Forget() noexcept { *this = {}; }
    std::int64_t Bytes() const noexcept;

    // Of the engine's:
    /// What the analyses of this thread use; null if nothing.
    static SharedMatching* InUse() noexcept;
    /// Whether it is that of a matrix of this order, with scales from the matching or with all of them 1.
    bool Serves(std::int32_t order, bool scaled) const noexcept;
    /// The column of each row, counted from 0, and the scales of rows and of columns.
    std::span<const std::int32_t> ColumnOfRow() const noexcept { return columnOfRow_; }
    std::span<const double> Scales() const noexcept { return scales_; }
    void Keep(bool scaled, std::span<const std::int32_t> columnOfRow,
              std::span<const double> scales) noexcept;

private:
    std::vector<std::int32_t> columnOfRow_{};
    std::vector<double> scales_{};
    bool scaled_ = false;
};

} // namespace Velmar::Lintrix
