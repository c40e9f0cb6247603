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

} // namespace Velmar::Lintrix::detail
