#pragma once
/// @file
/// What a handle remembers between calls, in three runs of words with a name for each word in use.

#include <lintrix/engine/call/timers.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

/// What stands in a place that nobody has filled yet.
inline constexpr int kUnset = 777777777;

/// Words of the integer run.
enum class Word : int {
    // The call, as the last passed input check found it; phase, non-zeros and right-hand sides are 0 after a
    // failed one.
    Maxfct,
    Mnum,
    Mtype,
    Order,
    RightHandSides,
    Phase,
    NonZeros,
    // Settings of every call.
    Threads,
    ReportFlag,
    IterationKind, ///< K, with its sign: 0 for a direct solve
    // Settings of the analysis.
    SinglePrecision,
    SymmetricStorage,
    ElementWidth, ///< 1 for real, 2 for complex
    PanelWidth,
    PartTarget,
    TwoLevel,
    MinimumDegreeDelta,
    SeparatorMinimumDegree,
    // Results of the analysis.
    MappedEntries,        ///< entries of A
    StructureNonZeros,    ///< entries of the symmetrized pattern
    ListedSubgraphs,      ///< ranges as the ordering listed them, which is what is told
    Subgraphs,            ///< those that later steps work with: one where the list was not well formed
    IndependentSubgraphs, ///< of these
    Supernodes,
    LargestSupernode, ///< columns of the longest run, before it was cut
    TallestPanel,
    WidestPanel,
    TreeHeight,    ///< of the elimination tree, in columns
    UpdateTargets, ///< length of the lists of separators that subgraphs update
    ChunkSize,     ///< supernodes in one piece of the dynamic schedule
    AnalysisPeak,  ///< kilobytes, as the next two
    AnalysisKept,
    FactorMemory,
    OutOfCore, ///< whether the factors are in files
    // Results of factorization and solve.
    PerturbedPivots,
    PositivePivots,
    NegativePivots,
    FactorNeeded,
    IterationBudget,
    HalfBudget,
    ConsecutiveSubgraphs, ///< whether a solve may be split
    SolveParts,           ///< that the lists in pt[15] make, 0 as long as there are none
    SolveRanges,          ///< ranges in them, 0 where a solve is better not split
    Guest,                ///< whether analysis and factors are another handle's
    Last_
};

/// 64-bit numbers, each in two words of the integer run.
enum class WideWord : int {
    FactorRowIndices = 60,   ///< length of the row lists
    LowerElements = 62,      ///< of all L panels
    UpperElements = 64,      ///< of all U panels, 1 in symmetric storage
    LowerNonZeros = 66,      ///< entries of L
    LargestUpdate = 68,      ///< cells of the largest update of one supernode
    RealWorkBytes = 70,      ///< of the block in pt[9]
    IterationWorkBytes = 72, ///< of the block in pt[10]
    Updates = 74,            ///< that supernodes give to each other
};
static_assert(static_cast<int>(Word::Last_) <= static_cast<int>(WideWord::FactorRowIndices));

/// Words of the real run; the ten timers come first, in the order of Timer.
enum class Real : int {
    FirstTimer = 0,
    Tolerance = 10,  ///< of the iterative path
    Tiny = 11,       ///<
    Divergence = 12, ///< the bound at which the iterative path gives up
    Ten = 13,
    One = 14,
    Operations = 15,    ///< floating-point operations of the factorization
    Norm = 16,          ///< of A, 0 when none was computed
    FactorSeconds = 17, ///< of the last numeric factorization
};

/// Integer arrays, laid out by offset inside the blocks of the handle.
enum class Array : int {
    // pt[4]
    AdjacencyStarts,
    AdjacencyNeighbours,
    // pt[5]
    EarlierStarts,
    EarlierNeighbours,
    Parent,
    ColumnCounts,
    // pt[6]
    WorkStarts,
    WorkSupernodeOf,
    WorkRowStarts,
    // pt[7]
    VertexAt,
    PositionOf,
    SubgraphRanges,
    SubgraphSupernodes,
    SupernodeStarts,
    SupernodeOf,
    RowStarts,
    Rows,
    LowerStarts,
    UpperStarts,
    DescendantStarts,
    MapFirstEntry,
    MapSource,
    MapPlace,
    TargetStarts,
    Targets,
    // pt[8]
    WorkVertexAt,
    WorkPositionOf,
    WorkSubgraphs,
};

/// The block behind pt[1].
class ControlBlock {
public:
    int& operator[](Word word) noexcept { return words_[static_cast<int>(word)]; }
    int operator[](Word word) const noexcept { return words_[static_cast<int>(word)]; }
    double& operator[](Real word) noexcept { return reals_[static_cast<int>(word)]; }
    double operator[](Real word) const noexcept { return reals_[static_cast<int>(word)]; }
    /// In units of 4 bytes from the start of the block.
    int& operator[](Array array) noexcept { return offsets_[static_cast<int>(array)]; }
    int operator[](Array array) const noexcept { return offsets_[static_cast<int>(array)]; }

    std::int64_t operator[](WideWord word) const noexcept
    {
        std::int64_t value;
        std::memcpy(&value, words_ + static_cast<int>(word), sizeof value);
        return value;
    }
    void set(WideWord word, std::int64_t value) noexcept
    {
        std::memcpy(words_ + static_cast<int>(word), &value, sizeof value);
    }

    /// What an analysis and the steps behind it have found is gone, and no array has a place.
    void forgetAnalysis() noexcept
    {
        for (int word = static_cast<int>(Word::MappedEntries); word < kWords; ++word) words_[word] = 0;
        (*this)[Real::Operations] = 0.;
        (*this)[Real::Norm] = 0.;
        (*this)[Real::FactorSeconds] = 0.;
        for (int& offset : offsets_) offset = kUnset;
    }
    void store(const Timers& timers) noexcept
    {
        for (int k = 0; k < kTimers; ++k)
            reals_[placeOf(static_cast<Timer>(k + 1))] = timers.seconds(static_cast<Timer>(k + 1));
    }
    /// Of the last call.
    double seconds(Timer timer) const noexcept { return reals_[placeOf(timer)]; }

private:
    static constexpr int kWords = 100;
    static constexpr int kReals = 20;
    static constexpr int kOffsets = 100;

    static constexpr int placeOf(Timer timer) noexcept
    {
        return static_cast<int>(Real::FirstTimer) + static_cast<int>(timer) - 1;
    }

    int words_[kWords];
    double reals_[kReals];
    int offsets_[kOffsets];
};
static_assert(std::is_trivially_copyable_v<ControlBlock>);

} // namespace Velmar::Lintrix::detail::engine
