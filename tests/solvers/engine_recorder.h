#pragma once
/// @file
/// Stands in the place of the engine's entry, writes down each call and answers it, or hands it on.

#include <lintrix/engine/pardiso.h>
#include <lintrix/services/system_allocator.h>
#include <lintrix/solvers/detail/engine_session.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <vector>

namespace Velmar::Lintrix::testing {

/// The arguments of one call, and the parameters as they came.
struct EngineCall {
    void** pt;
    int maxfct, mnum, mtype, phase, n;
    const void* a;
    const int *ia, *ja, *perm;
    int nrhs, msglvl;
    const void *b, *x;
    std::array<int, 64> parameters;
    std::array<void*, 64> handle;

    /// Counted from 1.
    int iparm(int slot) const { return parameters[static_cast<std::size_t>(slot) - 1]; }
};

/// While it lives, all solvers call it. One at a time.
class EngineRecorder {
public:
    /// With `passOn` the engine does the work and gives the answer.
    explicit EngineRecorder(bool passOn = false) : passOn_(passOn)
    {
        current() = this;
        detail::engineEntry() = record;
    }
    ~EngineRecorder()
    {
        detail::engineEntry() = pardiso;
        current() = nullptr;
    }
    EngineRecorder(const EngineRecorder&) = delete;
    EngineRecorder& operator=(const EngineRecorder&) = delete;

    /// The error number of calls of `phase` from now on.
    void answer(int phase, int error) { errors_[phase] = error; }
    /// From now on call number `index` of `phase` (from 0) is answered so, the others with 0.
    void answerCall(int phase, int index, int error) { errorsByCall_[{phase, index}] = error; }

    std::vector<int> phases() const
    {
        std::vector<int> found;
        for (const EngineCall& call : calls) found.push_back(call.phase);
        return found;
    }

    std::vector<EngineCall> calls;

private:
    static EngineRecorder*& current()
    {
        static EngineRecorder* recorder = nullptr;
        return recorder;
    }

    static void record(void* pt[64], const int& maxfct, const int& mnum, const int& mtype, const int& phase,
                       const int& n, const void* a, int* ia, int* ja, int* perm, const int& nrhs, int* iparm,
                       const int& msglvl, void* b, void* x, int& error)
    {
        EngineRecorder& self = *current();
        const int index = static_cast<int>(std::ranges::count(self.calls, phase, &EngineCall::phase));
        EngineCall call{pt, maxfct, mnum, mtype, phase, n, a, ia, ja, perm, nrhs, msglvl, b, x, {}, {}};
        std::copy_n(iparm, 64, call.parameters.begin());
        std::copy_n(pt, 64, call.handle.begin());
        self.calls.push_back(call);
        if (self.passOn_) {
            pardiso(pt, maxfct, mnum, mtype, phase, n, a, ia, ja, perm, nrhs, iparm, msglvl, b, x, error);
            return;
        }
        const auto byCall = self.errorsByCall_.find({phase, index});
        error = byCall != self.errorsByCall_.end() ? byCall->second : self.errors_[phase];
    }

    bool passOn_;
    std::map<int, int> errors_;
    std::map<std::pair<int, int>, int> errorsByCall_;
};

} // namespace Velmar::Lintrix::testing
