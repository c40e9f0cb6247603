#pragma once
/// @file
/// The entry of the supernodal sparse direct solver.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// Solves A X = B for a sparse A, in three steps that `phase` asks for: analysis, numeric factorization,
/// solve with refinement. All state between calls is behind `pt`; handles are independent of each other, and
/// one serves one caller at a time.
///
/// @param pt      the handle: 64 slots, all null before the first call; owned by the caller, its contents by
///                the engine until a call with phase -1
/// @param maxfct  how many factorizations of the same structure may be held at once
/// @param mnum    which of them, 1..maxfct, this call works on
/// @param mtype   1 real structurally symmetric, 2 real symmetric positive definite, -2 real symmetric
///                indefinite, 3 complex structurally symmetric, 4 Hermitian positive definite, -4 Hermitian
///                indefinite, 6 complex symmetric, 11 real unsymmetric, 13 complex unsymmetric. Even types
///                hold the upper triangle with the diagonal, odd ones all entries
/// @param phase   11 analysis, 12 and factorization, 13 and solve; 22 factorization, 23 and solve; 33 solve,
///                331, 332, 333 its forward substitution, diagonal step, backward substitution; 0 releases
///                the factor `mnum`, -1 everything; -2 and -3 are enquiries
/// @param n       order of A
/// @param a       values of A: double, float (iparm(28) = 1) or std::complex of them, by mtype
/// @param ia, ja  row starts (n + 1) and column numbers, base 1, columns ascending within a row. By contract
///                both are shifted to base 0 in place during a call and back before it returns: a concurrent
///                reader sees them shifted, and they must not lie in read-only memory
/// @param perm    n numbers: an elimination order, read with iparm(5) = 1, written with iparm(5) = 2
/// @param nrhs    number of right-hand sides
/// @param iparm   64 parameters, in and out; all defaults apply when the first is 0
/// @param msglvl  0 silent; else failures are reported on standard output, positive also statistics; 2 and no
///                other value also the engine's version
/// @param b, x    right-hand sides and solutions, column after column, n apart, elements as in `a`; with
///                iparm(6) = 1 the solution is in `b` and `x` is work
/// @param error   0 success; -1 input or phase order; -2 memory; -3 ordering or symbolic factorization;
///                -4 numeric: iparm(30) is the column of the factor, from 1, whose pivot cannot be used, -1
///                for a stop by the listener, or the code of a refinement or an iteration that failed; -5
///                unclassified; -6 no perfect matching; -7 diagonal
///                matrix; -8 32-bit overflow; -9 not enough memory for the out-of-core mode, which this build
///                answers to iparm(60) = 2; -10, -11 its files
///
/// A matrix with as many entries as rows is taken for a diagonal one and solved at once; iparm(12) reads -1
/// afterwards and makes the calls that follow return without work.
///
/// Nothing looks at the pattern unless iparm(27) asks for it; the hardened build always checks it.
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
