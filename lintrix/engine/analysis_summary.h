#pragma once
/// @file
/// What an analysis found, read from the handle of `pardiso`.

#include <lintrix/services/export.h>

#include <cstdint>
#include <optional>
#include <span>

namespace Velmar::Lintrix {

/// The matching of rows and columns, where matrix type and parameters asked for one.
struct MatchingSummary {
    std::int32_t matched = 0; ///< rows that have a column; below the order: the pattern is singular
    std::int32_t moved = 0;   ///< of these, rows whose column is not the diagonal's
};

/// Sizes of the factor that an analysis has laid out, and where its time went.
struct AnalysisSummary {
    std::int64_t lowerNonZeros = 0;    ///< entries of L, diagonal included
    std::int64_t storedElements = 0;   ///< of L, and of U where the type has one, with whole diagonal blocks
    std::int32_t supernodes = 0;       ///<
    std::int32_t largestSupernode = 0; ///< columns, before supernodes were cut to the panel width
    std::int32_t panelWidth = 0;       ///< columns that one supernode may have
    std::int32_t treeHeight = 0;       ///< columns on the longest way from a leaf of the elimination tree up
    std::int32_t subgraphs = 0;        ///< independent subgraphs and the separators between them
    std::int32_t independentSubgraphs = 0; ///<
    double operations = 0.0;               ///< floating-point operations of the factorization
    double adjacencySeconds = 0.0;         ///< this and the times below: of the last call with the handle
    double orderingSeconds = 0.0;          ///<
    double symbolicSeconds = 0.0;          ///<
    double listsSeconds = 0.0;             ///< maps from A into the factor, and task lists
    double totalSeconds = 0.0;             ///< with matching and allocation
};

/// Columns of the factor with the same rows below them. Numbers count from 0, in elimination order.
struct Supernode {
    std::int32_t firstColumn = 0;
    std::int32_t columns = 0;
    std::span<const std::int32_t> rows; ///< those of the columns first, then the rows below, ascending
};

/// Reads a handle that `pardiso` has filled; 64 slots that it has not are null and tell nothing. The answers
/// are those of the last analysis, and good until the next call with the handle. One thread at a time.
class LINTRIX_EXPORT AnalysisView {
public:
    explicit AnalysisView(void* const pt[64]) noexcept : slots_(pt) {}

    /// Also after an analysis that failed because the matching was not perfect. Nothing when there is none.
    /// Cost: O(n).
    std::optional<MatchingSummary> Matching() const noexcept;
    /// Nothing without an analysis that passed. Cost: O(supernodes).
    std::optional<AnalysisSummary> Summary() const noexcept;
    /// How many supernodes there are; 0 without an analysis.
    std::int32_t Supernodes() const noexcept;
    /// Supernode `number`, 0 .. Supernodes() - 1. Its rows are the handle's.
    Supernode SupernodeAt(std::int32_t number) const noexcept;

private:
    void* const* slots_;
};

} // namespace Velmar::Lintrix
