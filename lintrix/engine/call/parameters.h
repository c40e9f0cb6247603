#pragma once
/// @file
/// The caller's parameter array by name. Numbers count from 1, as the interface and its messages do; this
/// header is the only place that knows them.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// `iparm(k)`. In: read from the caller; out: written for the caller.
enum class Parameter : int {
    CallersValues = 1,        ///< in: 0 applies the defaults; exactly 1 also allows the split of slot 4
    Ordering = 2,             ///< in: see OrderingChoice
    Threads = 3,              ///< out: the engine's thread count; what the caller stored is never used
    IterativePath = 4,        ///< in: 10 L + K, the hybrid path and its tolerance 10^-L
    PermutationUse = 5,       ///< in: 0 compute, 1 use `perm`, 2 compute and copy it into `perm`
    SolutionPlace = 6,        ///< in: 0 the solution goes to `x`, 1 to `b`
    RefinementSteps = 7,      ///< out: refinement steps done
    RefinementLimit = 8,      ///< in: steps asked for; negative: residuals in extended precision
    Unread9 = 9,              ///<
    PivotExponent = 10,       ///< in: pivots below 10^-p are perturbed
    Scaling = 11,             ///< in: 1 scales by the duals of the matching
    Transpose = 12,           ///< in: 1 solves with the transpose; out: -1 for a diagonal matrix
    Matching = 13,            ///< in: 0 none, 1 weighted matching, 2 its second form
    PerturbedPivots = 14,     ///< out: of the last factorization; in: at phase 33, see the driver
    AnalysisPeak = 15,        ///< out: kilobytes
    AnalysisKept = 16,        ///< out: kilobytes
    FactorMemory = 17,        ///< out: kilobytes for factors and solve work
    FactorNonZeros = 18,      ///< in: negative asks; out: nnz(L) + nnz(U)
    Gigaflops = 19,           ///< in: negative asks; out: operations of the factorization
    IterationResult = 20,     ///< out: of the iterative path
    SymmetricPivoting = 21,   ///< in: 0 diagonal pivots only, else Bunch-Kaufman within a supernode
    PositivePivots = 22,      ///< out
    NegativePivots = 23,      ///< out
    Unread24 = 24,            ///<
    Unread25 = 25,            ///<
    RefinementOff = 26,       ///< in: non-zero switches refinement off
    MatrixCheck = 27,         ///< in: non-zero checks the matrix once; cleared by a pass
    SinglePrecision = 28,     ///< in: 1 selects single precision, at phases 1x
    FailingEquation = 30,     ///< out: equation or code of a failed factorization or solve
    CheckFirst = 31,          ///< out: the three numbers of the matrix check's failure
    CheckSecond = 32,         ///<
    CheckThird = 33,          ///<
    PartExponent = 50,        ///< zeroed at the start of every call of the driver
    CoreMode = 57,            ///< out: 0 in core, 1 out of core
    OutOfCore = 60,           ///< in: 0 in core, 1 in core if there is room, 2 out of core
    InCoreMegabytes = 61,     ///< out
    InCoreKeptMegabytes = 62, ///< out
    OutOfCoreMegabytes = 63,  ///< out
    Version = 64,             ///< out
};

inline constexpr int kParameters = 64;
inline constexpr int kEngineVersion = 102000114;

/// `iparm(2)`.
enum class OrderingChoice : int {
    MinimumDegree = 0,
    ConstrainedMinimumDegree = 1,
    NestedDissection = 2,
    NestedDissectionByThreads = 3,
};

/// A view of the caller's array.
class Parameters {
public:
    explicit Parameters(int* raw) noexcept : raw_(raw) {}
    int& operator[](Parameter parameter) const noexcept { return raw_[static_cast<int>(parameter) - 1]; }

private:
    int* raw_;
};

/// What a caller gets who leaves `iparm(1)` at 0, by matrix type. Slots that have no default keep the
/// caller's value: among them the matrix check, the precision and the switch of refinement.
LINTRIX_TESTABLE void applyDefaults(int mtype, Parameters parameters) noexcept;

} // namespace Velmar::Lintrix::detail::engine
