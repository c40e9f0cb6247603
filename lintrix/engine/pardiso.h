#pragma once
/// @file
/// The entry of the supernodal sparse direct solver, and its parameters by name.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// The slots of `iparm` by name; their values count from 1, as the messages do. iparm(k) is element k - 1,
/// and `PardisoParameters` finds it. Slots that are not named are neither read nor written.
///
/// Each says which way it goes and at which step: *in* is read by the analysis (phases 11, 12, 13), the
/// factorization (12, 13, 22, 23) or the solve (13, 23, 33), and a change counts from the next such step on;
/// *out* holds after that step and until the next. A default is what phases 11, 12 and 13 store when iparm(1)
/// is 0; four numbers are those of mtype 1 and 3, of 2 and 4, of -2, -4 and 6, and of 11 and 13. A slot
/// without a default keeps what the caller stored.
enum class PardisoParameter : int {
    /// In, at each call: 0 stores the defaults when the call analyses, any other number leaves the caller's
    /// values. IterativePath counts only where this is exactly 1. Out: 23 after the enquiry of phase -2.
    CallersValues = 1,
    /// In, analysis: 0 multiple minimum degree, 1 the same in parts under constraints, 2 nested dissection, 3
    /// nested dissection in parts by the number of threads. Default 2. Other numbers are refused at every
    /// phase above 0.
    Ordering = 2,
    /// Out, each call: the threads it runs on. What the caller stores is never used: thread control
    /// (`MKL_Set_Num_Threads` and the like) decides, and a matrix of fewer than 50 rows a thread gets fewer.
    Threads = 3,
    /// In, solve: 10 L + K. K = 0 solves directly. With K = 1 (conjugate gradients squared) or 2 (conjugate
    /// gradients, which is for symmetric matrices; complex types take K = 1) an iteration follows that has
    /// the stored factor for preconditioner, down to 10^-L, or 1e-12 with L = 0, and is not refined. With a
    /// factor of the very values in `a` the direct solution, refined as with K = 0, is returned where the
    /// iteration fails, and in each column that it solves with a larger backward error. Phases 22 and 23
    /// replace a stored factor only after an iteration has failed or, K being positive, where a new one would
    /// be cheap beside the iterations. K below 0 iterates first: a factor is made only where none is stored
    /// or iparm(20) is negative, a failure is always told, and solutions are not compared. Default 0.
    IterativePath = 4,
    /// In, analysis: 0 computes the order of elimination, 1 takes it from `perm`, 2 computes it and copies it
    /// into `perm`. Default 0, in which `perm` is not touched.
    PermutationUse = 5,
    /// In, solve: 0 the solution goes to `x`, 1 to `b`, and `x` is work all the same. Default 0. Other
    /// numbers are refused at every phase above 0.
    SolutionPlace = 6,
    /// Out, solve: refinement steps done. Default 0.
    RefinementSteps = 7,
    /// In, solve: refinement steps at most, in magnitude; a negative number works residuals out in extended
    /// precision. 0 refines only where pivots were perturbed, by two steps. Default 0.
    RefinementLimit = 8,
    /// Zeroed by the defaults, otherwise neither read nor written.
    Unread9 = 9,
    /// In, factorization: p. A pivot of magnitude 10^-p or less is perturbed to that size, in mtype 11, 13
    /// and -2, -4, 6; for the latter 10^-p is divided by the square root of the largest entry, or multiplied
    /// by it where that is below 1. 0 stands for 13 and 8. The other types perturb nothing. Default 13, 0, 8,
    /// 13.
    PivotExponent = 10,
    /// In, analysis: not 0 scales rows and columns by what the matching found, so it needs Matching. Default
    /// 0, 0, 0, 1.
    Scaling = 11,
    /// In, solve: 1 solves with the transpose; types that store a triangle ignore it. Out: -1 when the matrix
    /// was taken for a diagonal one; while it reads -1, calls with another matrix return without work, phase
    /// -1 among them, so store 0 before. Default 0.
    Transpose = 12,
    /// In, analysis: 0 none; 1 and 2 two forms of the weighted matching, for mtype 11, 13, -2, -4 and 6; the
    /// analysis then reads `a`. Default 0, 0, 0, 1.
    Matching = 13,
    /// Out, factorization: pivots perturbed. Above 0 the factor is that of a matrix nearby, see `pardiso`.
    /// In, phase 33: a positive number replaces the count that decides on refinement, and one that is minus
    /// that count clears both. Default 0.
    PerturbedPivots = 14,
    /// Out, each call: kilobytes that the handle held at most while it was analysed, each block rounded up.
    /// What
    /// METIS takes for its own length is not among them. 0 after phase -1, as the next two.
    AnalysisPeak = 15,
    AnalysisKept = 16, ///< Out, each call: kilobytes that the handle holds after the analysis.
    /// Out, each call: kilobytes that one factor in memory takes beside those kept, with the larger of two
    /// peaks, that of the factorization and that of a solve after it, for the threads, the right-hand sides
    /// and the parameters of the analysis. Where pivots may be perturbed, a solve that refines is counted. A
    /// solve keeps its work in the handle, so a later factorization holds both.
    FactorMemory = 17,
    /// In, analysis: a negative number asks. Out: elements stored for L and U, whole diagonal blocks among
    /// them; types of the triangle count 1 for U. Default -1.
    FactorNonZeros = 18,
    /// In, analysis: a negative number asks, and so does `msglvl`. Out: floating-point operations of a
    /// factorization, in whole 10^9. Default -1.
    Gigaflops = 19,
    /// Out, solve: of the iteration of IterativePath its number of steps, or, negative, how it failed: the
    /// status minus ten times the steps, where -1 is divergence, -2 slow convergence, -3 the end of the
    /// budget, -4 a breakdown. -5 alone is a solve too fast for an iteration to pay; -34 alone says that two
    /// steps of refinement ran unasked. In, phases 22 and 23 with IterativePath: a negative number has a new
    /// factor made. Default 0.
    IterationResult = 20,
    /// In, factorization, mtype -2, -4, 6: 0 pivots of one column alone, else of one and two columns
    /// (Bunch-Kaufman), within a supernode. Default 0, 0, 1, 0.
    SymmetricPivoting = 21,
    /// Out, factorization of mtype 2, 4, -2, -4 or of a diagonal matrix: positive pivots. Default 0.
    PositivePivots = 22,
    NegativePivots = 23, ///< Out, likewise: negative ones. Default 0.
    Unread24 = 24,       ///< As Unread9.
    Unread25 = 25,       ///< As Unread9.
    RefinementOff = 26,  ///< In, solve: not 0 never refines, whatever RefinementLimit says. No default.
    /// In, phases above 0: not 0 checks row starts and columns first. Out: 0 once they have passed. No
    /// default; the hardened build always checks.
    MatrixCheck = 27,
    /// In, analysis: 1 has `a`, `b` and `x` hold single precision until the next analysis. No default.
    SinglePrecision = 28,
    /// Out, after error -4, or -2 where a factorization found no memory: see `error`. Stays otherwise.
    FailingEquation = 30,
    CheckFirst = 31,   ///< Out, after a failed MatrixCheck: the row or the position.
    CheckSecond = 32,  ///< Out, likewise: what stands there.
    CheckThird = 33,   ///< Out, likewise: what stands behind it, or the bound that is passed.
    PartExponent = 50, ///< Out, each call: 0. What the caller stores is never used. Default 0.
    CoreMode = 57,     ///< Out, analysis: 0 factors are held in memory, 1 in files.
    /// In, analysis: 0 holds factors in memory; 2, which 22 is changed into, in files; 1 in memory where the
    /// configured core has room for them, else in files. Default 0.
    OutOfCore = 60,
    /// Out, analysis: megabytes in all with one factor in memory, the larger of AnalysisPeak and of
    /// AnalysisKept and FactorMemory together.
    InCoreMegabytes = 61,
    InCoreKeptMegabytes = 62, ///< Out, analysis: of these, what the analysis keeps.
    /// Out, analysis: megabytes that factorization and solve take at least with factors in files: those kept,
    /// the largest panels twice, and the work.
    OutOfCoreMegabytes = 63,
    Version = 64, ///< Out, each call: the number of the engine's version, 102000114.
};

/// A view of the caller's `iparm` by name.
class PardisoParameters {
public:
    /// How many slots `iparm` has.
    static constexpr int kSlots = 64;

    explicit PardisoParameters(int* iparm) noexcept : iparm_(iparm) {}
    int& operator[](PardisoParameter parameter) const noexcept
    {
        return iparm_[static_cast<int>(parameter) - 1];
    }

private:
    int* iparm_;
};

/// Solves A X = B for a sparse A, in three steps that `phase` asks for: analysis, numeric factorization,
/// solve with refinement. All state between calls is behind `pt`; handles are independent of each other, and
/// one serves one caller at a time. `examples/truss.cpp` shows all phases.
///
/// @param pt      the handle: 64 slots, all null before the first call; owned by the caller, its contents by
///                the engine until a call with phase -1, which is due after failures, too
/// @param maxfct  how many factorizations of the same structure may be held at once; the first call of a
///                handle decides, a larger number afterwards is refused (-1)
/// @param mnum    which of them, 1..maxfct, this call works on
/// @param mtype   1 real structurally symmetric, 2 real symmetric positive definite, -2 real symmetric
///                indefinite, 3 complex structurally symmetric, 4 Hermitian positive definite, -4 Hermitian
///                indefinite, 6 complex symmetric, 11 real unsymmetric, 13 complex unsymmetric. Even types
///                hold the upper triangle with the diagonal, odd ones all entries. -1, -3, -5, -6, -11 and 5
///                pass the input check, and the process then ends with status 9, since no method is theirs
/// @param phase   a step, or from the first to the last of two digits:
///                - 11 analysis; 12 and factorization; 13 and solve. What the handle held goes before
///                - 22 factorization; 23 and solve. Replaces the factor `mnum`, but see IterativePath
///                - 33 solve; without a factor as 23. 331, 332, 333: its forward substitution, diagonal step
///                  and backward substitution alone, without refinement
///                - 0 releases the factor `mnum`, -1 everything the handle holds; both read nothing but `pt`,
///                  `mnum`, `iparm` and `msglvl`, and `mtype` for the banner of a report
///                - -2 and -3 are enquiries, `error` being 16 and 300000
/// @param n       order of A
/// @param a       values of A: double, float (iparm(28) = 1) or std::complex of them, by mtype. Read by each
///                factorization, by a solve that refines or iterates, by an analysis with matching
/// @param ia, ja  row starts (n + 1) and column numbers, base 1, columns ascending within a row. An analysis
///                shifts both to base 0 in place and back before it returns, which saves it a copy: they must
///                not lie in read-only memory, and who reads them meanwhile sees them shifted
/// @param perm    n numbers, base 1, or null if iparm(5) is 0: perm(k) is the equation that is eliminated in
///                place k, that is, perm(new) = old. With iparm(5) = 1 one that is no permutation is refused
///                (-3); what iparm(5) = 2 has written can be read again
/// @param nrhs    number of right-hand sides; at least 1 for phase 33
/// @param iparm   64 parameters, in and out: PardisoParameter
/// @param msglvl  0 silent; else standard output is told of failures and of the percentage of each
///                factorization, if positive also of statistics, if exactly 2 also of the engine's version.
///                docs/message_catalogue.md tells how its texts are replaced
/// @param b, x    right-hand sides and solutions, column after column, n apart, elements as in `a`; with
///                iparm(6) = 1 the solution is in `b` and `x` is work. Only solves look at them
/// @param error   how the call ended:
///                -   0 success; see below what it does not say
///                -  -1 an argument, iparm(2) or iparm(6) is out of bounds or does not fit what is stored,
///                      the pattern has not passed its check, or a step is asked for before the analysis.
///                      Nothing was worked out; an analysis has by then given up what there was
///                -  -2 no memory. After a factorization iparm(30) is the code of the block
///                -  -3 the ordering or the symbolic factorization failed, as with a `perm` that is none
///                -  -4 numeric: iparm(30) is the column of the factor, from 1, whose pivot cannot be used
///                      (mtype 2 and 4: A is not positive definite); -1 the listener stopped the run; -112
///                      refinement does not converge; -2 and -3 an iteration failed, see iparm(20)
///                -  -5 unclassified; no step of this build ends so
///                -  -6 there is no perfect matching: A is singular whatever its values; `AnalysisView` tells
///                      how many rows can be matched
///                -  -7 a matrix with as many entries as rows is not diagonal, or has a zero value
///                -  -8 a size does not fit 32 bits
///                -  -9 out of core, with a core below iparm(63) megabytes
///                - -10 a file of the out-of-core mode could not be made or opened
///                - -11 one could not be read or written, or is not as it was written
///
/// After a failed analysis there is none, and only another analysis or phase -1 makes sense. After a failed
/// factorization there is no factor `mnum`; analysis and other factors stay, and the call may be repeated.
///
/// **What must stay.** Until phase -1: n, and whether `mtype` is a type of the triangle or of all entries;
/// another one is refused (-1). From an analysis to the next: the pattern (`ia`, `ja`) and whether A is real
/// or complex; only values may change. Of this no more is looked at than that a factorization finds no fewer
/// entries than were analysed (-1); what was analysed is factorized, whatever `ia` and `ja` say by then. That
/// they are a pattern at all is checked where iparm(27) asks for it, and always in the hardened build.
/// Between 2 and -2, or 4 and -4, `mtype` may change before a factorization.
///
/// **Factors in files.** With iparm(60) = 2, or 1 where the factor needs more than the configured core, the
/// factors of a handle stand in eleven files, and no more of them is in memory than the core has room for.
/// The core is what the handle keeps, the panels at work and all work space together, but no more right-hand
/// sides than iparm(63) was told for. The folder needs room for `maxfct` factors.
///
/// | Variable                        | Key of the file                 | Default  |
/// |---------------------------------|---------------------------------|----------|
/// | `MKL_PARDISO_OOC_PATH`          | `mkl_pardiso_ooc_path`          | ooc_temp |
/// | `MKL_PARDISO_OOC_MAX_CORE_SIZE` | `mkl_pardiso_ooc_max_core_size` | 2000     |
/// | `MKL_PARDISO_OOC_KEEP_FILE`     | `mkl_pardiso_ooc_keep_file`     | 1        |
///
/// The path is how the file names begin, the core is in megabytes of 2^20 bytes, and files that are not kept
/// (0) go with phase -1. Phase 0 leaves the files and gives the room of its factor back to the disk.
///
/// They are read when a handle is made and at each analysis. The file, `pardiso_ooc.cfg` in the current
/// folder unless `MKL_PARDISO_OOC_CFG_PATH` and `MKL_PARDISO_OOC_CFG_FILE_NAME` name another, has lines of
/// key, `=` or blank, and value; `#` begins a comment. Each solve and each step of refinement reads L
/// upwards and downwards and U once, for all right-hand sides. The factor is that which the same analysis has
/// in memory, bit for bit.
///
/// **An error of 0 is no promise of a solution.** Where iparm(14) counts perturbed pivots the factor belongs
/// to a matrix nearby; two steps of refinement follow unasked, but nobody looks at what they leave, and a
/// singular A ends so as well. Iterations stop by their own measure. A caller who must be sure works b - A x
/// out.
///
/// A matrix with as many entries as rows is taken for a diagonal one: no handle is made, each call that ends
/// in a solve divides row i by its only value, and `ja` is not looked at, so the caller answers for each
/// entry being on the diagonal. iparm(12) reads -1 afterwards and makes the calls that follow return without
/// work.
LINTRIX_EXPORT void pardiso(void* pt[64], const int& maxfct, const int& mnum, const int& mtype,
                            const int& phase, const int& n, const void* a, int* ia, int* ja, int* perm,
                            const int& nrhs, int* iparm, const int& msglvl, void* b, void* x, int& error);

/// Is told how far a numeric factorization has come: the thread's number, the percentage, rising from 0 to
/// 100, and the text of the phase with its length. An answer other than 0 stops the factorization: `error` is
/// -4, and the handle can be used again. Called by one thread at a time, which may be any of the team: it
/// must not raise.
struct PardisoProgress {
    int (*call)(void* context, int thread, int percent, const char* text, int length) = nullptr;
    void* context = nullptr; ///< handed on to `call`
};

/// While it lives, the calls of `pardiso` that this thread makes tell `callback`; afterwards the one before
/// it again. Without a scope nobody is told. The setting is the thread's own: two handles in two threads do
/// not meet.
class LINTRIX_EXPORT PardisoProgressScope {
public:
    explicit PardisoProgressScope(PardisoProgress callback) noexcept;
    ~PardisoProgressScope();
    PardisoProgressScope(const PardisoProgressScope&) = delete;
    PardisoProgressScope& operator=(const PardisoProgressScope&) = delete;

    /// The callback in force for this thread.
    static PardisoProgress current() noexcept;

private:
    PardisoProgress before_;
};

} // namespace Velmar::Lintrix
