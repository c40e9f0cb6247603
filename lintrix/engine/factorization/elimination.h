#pragma once
/// @file
/// The elimination of supernodes by a team: what its threads share, and what one of them does.

#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/descendants.h>
#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/engine/factorization/supernode_update.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// There is no work for more threads than runs.
inline int busyThreads(const FactorPlan& plan, int runs) noexcept
{
    return std::min(plan.threads, runs);
}

/// Elements of the arrays that one thread works with.
struct EliminationSizes {
    explicit EliminationSizes(const FactorPlan& plan) noexcept
        : columns(kPanelsTogether * plan.sizes.widest),
          indices(static_cast<std::int64_t>(plan.structure.supernodeOf.size())), rows(plan.sizes.tallest),
          buffer(updateBufferSize(columns, plan.sizes.widest, kPanelsTogether)),
          scaled(std::int64_t{columns} * plan.sizes.widest)
    {
    }

    int columns; ///< of the panels worked at together, at most
    std::int64_t indices, rows, buffer, scaled;
};

/// Multiplications for the panels of J themselves, and for what J gives to k rows of its ancestors, of which
/// it has m and those below them, both as of a symmetric matrix.
inline double ownMultiplications(const FactorStructure& structure, int J) noexcept
{
    const double width = structure.width(J);
    return 0.5 * structure.height(J) * width * width;
}
inline double updateMultiplications(double width, double m, double k) noexcept
{
    return width * k * (m - 0.5 * (k - 1.0));
}

/// Of the whole factorization.
double multiplications(const FactorStructure& structure) noexcept;

/// What the whole of it takes on one thread, from few elements and from many measured: elements are brought
/// and written, supernodes entered.
template <class T>
double nanoseconds(const FactorPlan& plan) noexcept
{
    constexpr double kSupernode = 400.0, kElement = 2.0, kMultiplication = kIsComplex<T> ? 0.2 : 0.05;
    const double sides = plan.upperStarts.empty() ? 1.0 : 2.0;
    return kSupernode * plan.structure.supernodes() +
           sides * (kElement * static_cast<double>(plan.sizes.lower) +
                    kMultiplication * multiplications(plan.structure));
}

/// What the threads of one factorization share.
class EliminationTeam {
public:
    EliminationTeam(const FactorPlan& plan, const ProgressListener& listener)
        : progress(listener, std::max<std::int64_t>(1, plan.sizes.lower)),
          work(WorkScope::listener() == nullptr ? 0.0 : multiplications(plan.structure)),
          finished_(Scratch<std::atomic<unsigned char>>::zeroed(plan.structure.supernodes()))
    {
    }

    explicit operator bool() const { return static_cast<bool>(finished_); }
    std::int64_t missingBytes() const { return finished_.missingBytes(); }

    int takeRun() { return nextRun_.fetch_add(1, std::memory_order_relaxed); }
    /// The runs are dealt out anew, from the first.
    void restartRuns() { nextRun_.store(0, std::memory_order_relaxed); }

    void finish(int J) { finished_[J].store(1, std::memory_order_release); }
    bool isFinished(int J) const { return finished_[J].load(std::memory_order_acquire) != 0; }
    /// False when somebody has failed.
    bool waitFor(int J) const;

    /// The first failure stands.
    void fail(Failure failure)
    {
        if (!failing_.exchange(true)) {
            failure_ = failure;
            failed_.store(true, std::memory_order_release);
        }
    }
    bool hasFailed() const { return failed_.load(std::memory_order_acquire); }
    Failure failure() const { return failure_; }

    /// Asks whether the work goes on; if not, that is the failure.
    void heed()
    {
        if (!work.goesOn()) fail(stopped());
    }

    Progress progress;
    WorkMeter work;

private:
    Scratch<std::atomic<unsigned char>> finished_; // by supernode
    std::atomic<int> nextRun_{0};
    std::atomic<bool> failing_{false}, failed_{false};
    Failure failure_;
};

/// Whether the panels have A's entries when their elimination begins.
enum class Entries { ToBring, Brought };

/// One thread's work on the panels of `factor`, of which those of the supernodes at work have to be in
/// memory; the pointers may be set back so that the offsets of the plan hold.
template <class T>
class Eliminator {
public:
    /// `factor` may change between calls.
    Eliminator(const FactorPlan& plan, const FactorRules& rules, const T* values, const Factor<T>& factor,
               EliminationTeam& team);

    explicit operator bool() const { return indexOf_ && rows_ && buffer_ && scaled_; }
    std::int64_t missingBytes() const { return engine::missingBytes(indexOf_, rows_, buffer_, scaled_); }
    PivotCounts pivots() const { return pivots_; }

    /// Zeroes the panels of J and brings A's entries.
    void gather(int J);
    /// The panels first .. last, worked at together, lose what the descendants among `sources`, which are
    /// finished, give them; these are read from `from`.
    void takeUpdates(int first, int last, PositionRange sources, const Factor<T>& from);
    /// Eliminates the supernodes of `within` that fall to this thread, in the order of the runs. Descendants
    /// before them have given their updates.
    void work(int thread, PositionRange within, Entries entries);

private:
    static constexpr bool kComplex = kIsComplex<T>;

    // What one descendant updates: of L's panels the rows from its own columns on, of U's panels, which have
    // no rows for those columns, the rows behind them. Row 0 of the first panel is the origin of all.
    struct Target {
        std::array<UpdatePanel<T>, kPanelsTogether> lower, upper;
        std::size_t panels = 0;
        int columns = 0;

        std::span<const UpdatePanel<T>> lowerPanels() const { return std::span(lower).first(panels); }
        std::span<const UpdatePanel<T>> upperPanels() const { return std::span(upper).first(panels); }
    };

    // Where the panels of a supernode lie; those of U only in unsymmetric storage.
    struct Panel {
        T *lower, *upper;
        std::ptrdiff_t height, width;
    };
    Panel panelOf(int J) const
    {
        return {lower(J), unsymmetric() ? upper(J) : nullptr, structure_.height(J), structure_.width(J)};
    }

    bool unsymmetric() const { return isUnsymmetric(rules_.method); }
    T* lower(int J) const { return lowerOf(factor_, J); }
    T* upper(int J) const { return upperOf(factor_, J); }
    T* lowerOf(const Factor<T>& factor, int J) const { return factor.lower + plan_.lowerStarts[J]; }
    T* upperOf(const Factor<T>& factor, int J) const { return factor.upper + plan_.upperStarts[J]; }
    int* exchangesOf(int J) const { return factor_.rowExchange + structure_.starts[J]; }

    bool eliminate(int thread, int first, int last, int firstSource, Entries entries);
    bool eliminateTogether(int thread, int first, int last, int firstSource);
    bool eliminateAlone(int thread, int J, int firstSource);
    bool complete(int thread, int J);
    void indexRowsOf(int J);
    T entryAt(int k) const;
    void bringEntries(int J, T* l, T* u) const;
    void bringColumn(int J, T* l, T* u) const;
    void update(int first, int last, const MergedDescendants& descendant, const Factor<T>& from);
    void updateAlone(int J, const Panel& panel, const Descendant& descendant);
    void updateColumn(const Panel& panel, int K, int from, int m);
    int placeRows(int K, int from);
    bool hasDone(double multiplications);
    Target targetFor(int first, int last, const MergedDescendants& descendant) const;
    void addPanel(Target& target, int first, int J, int columns) const;
    void subtract(int K, int from, int m, const Target& target, const Factor<T>& factor);
    void prepareRight(int K, const T* block, const T* l, int ld, int k);
    bool factorBlock(int J);
    bool failAt(int J, int info);
    bool factorLu(int J);
    bool factorColumn(int J);
    bool factorCholesky(int J);
    bool factorSymmetric(int J);

    const FactorPlan& plan_;
    const FactorStructure& structure_;
    const FactorRules& rules_;
    const T* values_;
    const Factor<T>& factor_;
    EliminationTeam& team_;
    const ColumnUpdate<T> subtractColumn_;
    ProgressShare progress_;
    WorkShare work_;
    Scratch<int> indexOf_; // row -> its place in the list of the first panel at work
    Scratch<int> rows_;    // the descendant's rows, as places in the list of the first panel at work
    Scratch<T> buffer_;    // products on their way
    Scratch<T> scaled_;    // rows times D
    PivotCounts pivots_;
};

} // namespace Velmar::Lintrix::detail::engine
