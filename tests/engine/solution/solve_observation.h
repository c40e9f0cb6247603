#pragma once
/// @file
/// Looks behind a call that solves: its control block, and how often it factorized.

#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/progress_scope.h>

#include "tests/engine/solution/solve_case.h"

namespace Velmar::Lintrix::testing {

inline detail::engine::ControlBlock& controlOf(SolveCall<double>& call)
{
    return detail::engine::Handle(call.pt.data()).control();
}

/// Counts the factorizations while it lives.
class FactorizationCount {
public:
    int count() const { return count_; }

private:
    static int listen(void* self, int, int percent, const char*, int)
    {
        if (percent == 0) ++static_cast<FactorizationCount*>(self)->count_;
        return 0;
    }
    int count_ = 0;
    detail::engine::ProgressScope scope_{{listen, this}};
};

} // namespace Velmar::Lintrix::testing
