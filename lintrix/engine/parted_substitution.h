#pragma once
/// @file
/// Substitution with one right-hand side on several threads: independent subgraphs side by side, separators
/// behind them.

#include <lintrix/engine/graph.h>
#include <lintrix/engine/substitution.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Which supernodes belong to which subgraph: the independent ones first, in the order of their columns, and
/// the separators after them. A subgraph without any has the range {first, first - 1}.
struct SupernodeParts {
    std::span<const PositionRange> supernodes;
    int independent = 0;

    /// Whether there is something to do side by side.
    bool canSplit() const noexcept { return independent > 1; }
};

/// Whether each of the ranges begins right behind the one before and none is empty: only then do the
/// supernodes fall into parts.
LINTRIX_TESTABLE bool areConsecutive(std::span<const PositionRange> subgraphs) noexcept;

/// Forward, each part adds up what it subtracts from the separators in a vector of its own; the sums join in
/// the order of the parts, so that the bits do not depend on who was first. Backward, the parts read what the
/// separators have left. The separators themselves are one thread's work.
template <class T>
class LINTRIX_TESTABLE PartedSubstitution {
public:
    /// `work` has workSize() elements.
    PartedSubstitution(const StoredFactor<T>& factor, const SupernodeParts& parts, int threads, T* y,
                       T* work) noexcept
        : factor_(factor), parts_(parts), threads_(threads), y_{y, 1},
          work_(work), separators_{parts.supernodes[parts.independent - 1].last + 1,
                                   factor.structure.supernodes() - 1},
          firstShared_(factor.structure.starts[separators_.first])
    {
    }
    static std::int64_t workSize(const StoredFactor<T>& factor, const SupernodeParts& parts) noexcept
    {
        return std::int64_t{factor.order()} * (parts.independent - 1);
    }

    void forward(bool transposed) const;
    void diagonal() const;
    void backward(bool transposed, BeforeTriangle before) const;

private:
    void forwardPart(int part, bool transposed) const;
    void joinShared() const;
    SupernodeRange part(int p) const { return {parts_.supernodes[p].first, parts_.supernodes[p].last}; }
    /// The vector of a part: that of the right-hand side for the first, whole vectors of the work space for
    /// the others, of which only the part's own positions and the shared ones are used.
    RightSides<T> vectorOf(int p) const
    {
        return p == 0 ? y_ : RightSides<T>{work_ + std::ptrdiff_t{factor_.order()} * (p - 1), 1};
    }

    const StoredFactor<T>& factor_;
    const SupernodeParts& parts_;
    int threads_;
    RightSides<T> y_;
    T* work_;
    SupernodeRange separators_;
    int firstShared_; ///< position: from here on the separators'
};

} // namespace Velmar::Lintrix::detail::engine
