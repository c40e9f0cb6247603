#pragma once
/// @file
/// Brings the thread count of this library to the OpenMP runtime for the length of one native call.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail {

/// While it lives, parallel regions opened by the calling thread (those of BLAS and LAPACK) get as many
/// threads as thread control answers for domain BLAS at that moment; afterwards the caller's own setting
/// stands again. Inside an active parallel region the answer is 1, so that no second team starts. Where the
/// memory of a team is missing it is smaller. Cost: a few loads when the runtime's setting already agrees.
class LINTRIX_TESTABLE BlasThreadScope {
public:
    BlasThreadScope() noexcept;
    ~BlasThreadScope();
    BlasThreadScope(const BlasThreadScope&) = delete;
    BlasThreadScope& operator=(const BlasThreadScope&) = delete;

private:
    int callersCount_; ///< 0: the runtime's setting agreed and was left alone
};

/// While it lives, BLAS and LAPACK run on the calling thread alone, as they do in a team: for work that has
/// been dealt out and whose bits must not hang on how many parts there were, and for work that repays no
/// team.
class LINTRIX_TESTABLE SequentialBlasScope {
public:
    SequentialBlasScope() noexcept;
    /// Of no effect on work of so many real multiplications that several threads have it done sooner, though
    /// they be started for it. How much has been done before does not count: the bits may hang on the answer.
    explicit SequentialBlasScope(double multiplications) noexcept;
    ~SequentialBlasScope();
    SequentialBlasScope(const SequentialBlasScope&) = delete;
    SequentialBlasScope& operator=(const SequentialBlasScope&) = delete;

private:
    bool outer_; ///< another one lives around it
};

} // namespace Velmar::Lintrix::detail
