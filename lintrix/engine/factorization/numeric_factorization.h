#pragma once
/// @file
/// Numeric factorization: left-looking, supernode by supernode.

#include <lintrix/engine/analysis/symbolic/entry_maps.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/call/progress.h>
#include <lintrix/engine/factorization/descendants.h>
#include <lintrix/engine/factorization/pivoting.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// How a diagonal block is factored.
enum class Method {
    RowPivoting,      ///< LU with row exchanges
    CompletePivoting, ///< LU with row and column exchanges
    Cholesky,         ///< L*L'
    DiagonalPivoting, ///< L*D*L', pivots from the diagonal
    BunchKaufman      ///< L*D*L', pivots of one and two columns
};

inline constexpr bool isUnsymmetric(Method method) noexcept
{
    return method == Method::RowPivoting || method == Method::CompletePivoting;
}

/// Factors of rows and columns by position of the elimination order: entry (i, j) enters as
/// row[i]*a*column[j]. Both empty: entries enter as they are.
struct EntryScaling {
    std::span<const double> row, column;
};

/// What analysis has left for the factorization.
struct FactorPlan {
    FactorStructure structure;
    std::span<const std::int64_t> lowerStarts; ///< offsets of the L panels
    std::span<const std::int64_t> upperStarts; ///< of the U panels; empty in symmetric storage
    EntryMaps maps;
    DescendantLists descendants;
    std::span<const PositionRange> runs; ///< of supernodes, in the order in which threads take them
    FactorSizes sizes;
    int threads;
    EntryScaling scaling;
};

struct FactorRules {
    Method method;
    bool hermitian; ///< complex L*D*L^H or L*L^H
    double eps;     ///< below which pivots are perturbed; 0 leaves it to the kernel
};

/// Where the factor stands: its panels, and the exchanges of each column's block (counted from 1 within it).
template <class T>
struct Factor {
    T* lower;
    T* upper;            ///< null in symmetric storage
    int* rowExchange;    ///< n; unused by Cholesky
    int* columnExchange; ///< n; used by CompletePivoting
};

struct FactorResult {
    Failure failure;
    PivotCounts pivots;
};

/// Fills the factor from `values`, the entries of A in their order.
///
/// Each supernode J: zero its panels; bring A's entries; take the update of each descendant, in the fixed
/// order of the lists; factor the diagonal block; solve the panels. Panels cut from one supernode of the
/// matrix take a descendant together, in one pass over its rows. Threads take runs of supernodes from a
/// shared counter; one thread owns J from start to end, and waits before it reads a descendant that is not
/// finished.
///
/// @return  {Numeric, column}  Cholesky or LU met a pivot it cannot use, at that column (from 1)
/// @return  {Numeric, -1}      the listener wanted to stop
/// @return  {Memory, -1200}    no work space
template <class T>
LINTRIX_TESTABLE FactorResult factorize(const FactorPlan& plan, const FactorRules& rules, const T* values,
                                        const Factor<T>& factor, const ProgressListener& listener);

/// The blocks that a factorization by this many runs takes, and gives back at its end.
template <class T>
LINTRIX_TESTABLE BlockSum factorizationBlocks(const FactorPlan& plan, int runs) noexcept;

} // namespace Velmar::Lintrix::detail::engine
