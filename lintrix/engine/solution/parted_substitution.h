#pragma once
/// @file
/// Substitution on several threads with few right-hand sides: parts of the factor side by side, what they
/// share behind them.

#include <lintrix/engine/solution/substitution.h>
#include <lintrix/engine/solution/substitution_parts.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Each thread reads the panels of its part alone, for all right-hand sides. Forward, each part adds up what
/// it subtracts from the shared positions in vectors of its own; the sums join in the order of the parts, so
/// that the bits do not depend on who was first. Backward, the parts read what the shared supernodes have
/// left. These are one thread's work.
template <class T>
class LINTRIX_TESTABLE PartedSubstitution {
public:
    /// `parts` is split; `work` has workSize() elements.
    PartedSubstitution(const StoredFactor<T>& factor, const SubstitutionParts& parts, const RightSides<T>& y,
                       T* work) noexcept
        : factor_(factor), parts_(parts), y_(y), work_(work)
    {
    }
    /// For `sides` right-hand sides at each position.
    static std::int64_t workSize(const StoredFactor<T>& factor, const SubstitutionParts& parts,
                                 int sides) noexcept
    {
        return std::int64_t{factor.order()} * sides * (parts.count() - 1);
    }

    void forward(bool transposed) const;
    void diagonal() const;
    void backward(bool transposed, BeforeTriangle before) const;

private:
    int team() const; ///< the threads that go by parts
    void forwardPart(int part, bool transposed) const;
    void joinShared() const;

    /// The vectors of a part: those of the right-hand sides for the first, whole vectors of the work space
    /// for the others, of which only the part's own positions and the shared ones are used.
    RightSides<T> vectorsOf(int part) const
    {
        const std::ptrdiff_t cells = std::ptrdiff_t{factor_.order()} * y_.count;
        return part == 0 ? y_ : RightSides<T>{work_ + cells * (part - 1), y_.count};
    }
    /// Calls visit(first, behind) for the cells of each range.
    template <class Visit>
    void forEachStretch(std::span<const PositionRange> ranges, const Visit& visit) const
    {
        const std::span<const int> starts = factor_.structure.starts;
        for (const auto [first, last] : ranges)
            visit(std::ptrdiff_t{starts[first]} * y_.count, std::ptrdiff_t{starts[last + 1]} * y_.count);
    }

    const StoredFactor<T>& factor_;
    const SubstitutionParts& parts_;
    RightSides<T> y_;
    T* work_;
};

} // namespace Velmar::Lintrix::detail::engine
