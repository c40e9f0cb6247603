#include <lintrix/solvers/detail/engine_session.h>

#include <lintrix/dense/detail/kept.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/system_allocator.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr int kHandleSlots = 64;
constexpr int kRightHands = 1; // columns are solved one by one

void** newHandle()
{
    void** const slots =
        static_cast<void**>(requireBlock(SystemAllocatorSlots().malloc(kHandleSlots * sizeof(void*))));
    std::fill_n(slots, kHandleSlots, nullptr);
    return slots;
}

} // namespace

EngineEntry& engineEntry() noexcept
{
    static constinit EngineEntry entry = pardiso;
    return entry;
}

/// What the engine's listener needs to reach the solver's, and what came of it.
struct EngineSession::Hearing {
    const ProgressFunction& listener;
    bool stopped = false;
    std::exception_ptr thrown{};

    /// Called by one thread at a time, which may be one of the engine's: nothing may be thrown through it.
    static int hear(void* context, int, int percent, const char*, int) noexcept
    {
        Hearing& hearing = *static_cast<Hearing*>(context);
        if (hearing.stopped) return 1; // threads that were on their way are not told again
        try {
            hearing.stopped = !hearing.listener(percent);
        } catch (...) {
            hearing.thrown = std::current_exception();
            hearing.stopped = true;
        }
        return hearing.stopped ? 1 : 0;
    }
};

void EngineSession::FreeHandle::operator()(void** slots) const noexcept
{
    SystemAllocatorSlots().free(slots);
}

EngineSession::EngineSession(std::int32_t mtype, const EngineMatrix& matrix)
    : pt_(newHandle()), perm_(matrix.n), iparm_(Block<std::int32_t>::zeroed(PardisoParameters::kSlots))
{
    fixed_.mtype = mtype;
    fixed_.matrix = matrix;
}

EngineSession& EngineSession::operator=(EngineSession&& other) noexcept
{
    EngineSession taken(std::move(other));
    std::swap(fixed_, taken.fixed_);
    std::swap(pt_, taken.pt_);
    std::swap(perm_, taken.perm_);
    std::swap(iparm_, taken.iparm_);
    std::swap(listener_, taken.listener_);
    return *this;
}

std::int32_t& EngineSession::iparm(PardisoParameter slot)
{
    requireKept(iparm_);
    return PardisoParameters(iparm_.get())[slot];
}

std::int32_t EngineSession::call(std::int32_t phase, const void* b, void* x)
{
    requireKept(pt_);
    fixed_.stopped = false;
    fixed_.error = 0;
    // The engine notes a diagonal matrix here, and would then take any other matrix for settled.
    iparm(PardisoParameter::Transpose) = 0;
    if (!listener_) {
        enter(phase, b, x, fixed_.error);
        return fixed_.error;
    }
    Hearing hearing{listener_};
    {
        const PardisoProgressScope scope({Hearing::hear, &hearing});
        enter(phase, b, x, fixed_.error);
    }
    fixed_.stopped = hearing.stopped;
    if (hearing.thrown) std::rethrow_exception(hearing.thrown);
    return fixed_.error;
}

/// The engine gets copies of all scalars. It reads the right-hand sides only: iparm(6) is 0.
void EngineSession::enter(std::int32_t phase, const void* b, void* x, std::int32_t& error)
{
    const Fixed call = fixed_;
    engineEntry()(pt_.get(), call.maxfct, call.mnum, call.mtype, phase, call.matrix.n, call.matrix.a,
                  call.matrix.ia, call.matrix.ja, perm_.get(), kRightHands, iparm_.get(), call.msglvl,
                  const_cast<void*>(b), x, error);
}

void EngineSession::release() noexcept
{
    if (!pt_) return;
    double number[2] = {0.0, 0.0}; // a zero, real or complex
    std::int32_t index = 0, ignored = 0;
    iparm(PardisoParameter::Transpose) = 0;
    engineEntry()(pt_.get(), fixed_.maxfct, fixed_.mnum, fixed_.mtype, -1, fixed_.matrix.n, number, &index,
                  &index, &index, kRightHands, iparm_.get(), fixed_.msglvl, number, number, ignored);
    fixed_.matrix = {};
    pt_.reset();
    perm_.reset();
    iparm_.reset();
}

} // namespace Velmar::Lintrix::detail
