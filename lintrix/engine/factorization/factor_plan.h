#pragma once
/// @file
/// From the handle to what the numeric steps take: the plan of the factorization and the stored factor.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The structure as analysis left it, and the threads of this call. Lists of descendants, runs and scaling
/// are empty: a solve needs none of them.
LINTRIX_TESTABLE FactorPlan planOf(Handle handle);

/// What the lists of a factorization will take.
struct ListForecast {
    BlockSum lists;   ///< of descendants and runs
    BlockSum dealing; ///< beside them, while runs are dealt out
    BlockSum scaling; ///< beside them, afterwards
    int runs = 0;     ///< that were dealt out
};

/// What a factorization needs beside the plan and makes for its own length.
class LINTRIX_TESTABLE FactorLists {
public:
    /// Fills the plan's descendants, runs and scaling with views of this object.
    /// @return  {Memory, -1200}
    Failure make(const Handle& handle, FactorPlan& plan);
    std::int64_t bytes() const noexcept;
    /// What that will take. Linear in the row lists.
    /// @return  outOfMemory(Transient)
    static Failure forecast(const Handle& handle, const FactorPlan& plan, ListForecast& forecast);

private:
    Failure makeDescendants(const Handle& handle, FactorPlan& plan);
    Failure makeRuns(const Handle& handle, FactorPlan& plan);
    Failure makeScaling(const Handle& handle, FactorPlan& plan);

    Scratch<std::int64_t> descendantStarts_;
    Scratch<Descendant> descendants_;
    Scratch<PositionRange> runs_;
    Scratch<double> factors_;
};

/// By which method a type is factored; `symmetricPivoting` is `iparm(21)`.
LINTRIX_TESTABLE Method methodFor(int mtype, int symmetricPivoting) noexcept;

/// Element of a factor: real and complex by the type, double and single by the choice of the analysis.
template <class T>
inline constexpr int kElementKind = (kIsComplex<T> ? 2 : 0) + (sizeof(RealOf<T>) == sizeof(float) ? 1 : 0);
LINTRIX_TESTABLE int elementKind(int mtype, bool singlePrecision) noexcept;

/// Whether `mnum` holds a finished factor of this kind of element.
LINTRIX_TESTABLE bool holdsFactor(const Handle& handle, int mnum, int kind) noexcept;

/// Brings the block of `mnum` to the size that a factor of T needs, forgetting what is in it; a block that is
/// large enough stays. Out of core there is room for the exchanges alone.
/// @return  {Memory, -1100}, with no block
template <class T>
LINTRIX_TESTABLE Failure reserveFactor(Handle handle, int mnum);

/// Elements of the L panels, and of the U panels behind them.
LINTRIX_TESTABLE std::int64_t elementsOfFactor(const ControlBlock& control) noexcept;

/// The blocks of one factor: elements of L and U, and exchanges.
template <class T>
LINTRIX_TESTABLE BlockSum factorBlocks(const ControlBlock& control) noexcept;

/// Of the exchanges alone.
LINTRIX_TESTABLE BlockSum exchangeBlocks(const ControlBlock& control) noexcept;

/// The arrays in the block of `mnum`.
template <class T>
LINTRIX_TESTABLE Factor<T> factorIn(Handle handle, int mnum);

/// What the configured core leaves for panels out of core, beside what the handle keeps and `taken` bytes;
/// below 0 when it leaves nothing.
LINTRIX_TESTABLE std::int64_t bytesForPanels(const Handle& handle, std::int64_t taken);

/// Marks the factor of the call as finished, made by these rules from the values of the call.
LINTRIX_TESTABLE void keepFactor(const Arguments& call, Handle handle, const FactorRules& rules);

/// Whether the stored factor was made from the values of the call, bit for bit, and with the same triangle
/// below them: another made now, by the same rules, would be the same. Different values pass for equal by an
/// accident of 64 bits only. Cost: O(entries of A).
LINTRIX_TESTABLE bool isFactorOfCall(const Arguments& call, const Handle& handle);

/// The rules by which the stored factor was made (eps is not among what is kept, and is 0).
LINTRIX_TESTABLE FactorRules rulesOfFactor(const Handle& handle, int mnum);

/// Calls `work.template operator()<T>()` for the element that the kind names.
template <class Work>
Failure withElement(int kind, Work work)
{
    switch (kind) {
    case kElementKind<float>:
        return work.template operator()<float>();
    case kElementKind<std::complex<double>>:
        return work.template operator()<std::complex<double>>();
    case kElementKind<std::complex<float>>:
        return work.template operator()<std::complex<float>>();
    default:
        return work.template operator()<double>();
    }
}

} // namespace Velmar::Lintrix::detail::engine
