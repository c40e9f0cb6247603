#include <lintrix/engine/solve_handle.h>

#include <lintrix/engine/call/handle.h>

namespace Velmar::Lintrix {

namespace {

using namespace detail::engine;

/// Whoever has only read the slots keeps it const.
const Handle hostOf(void* const* slots) noexcept
{
    return Handle(const_cast<void**>(slots));
}

/// Panels in files pass through buffers that one solve has to itself.
bool canBeShared(const Handle& host) noexcept
{
    return host.live() && host.holds(Slot::FactorStructure) && host.control()[Word::OutOfCore] == 0;
}

} // namespace

SolveHandle::SolveHandle(void* const pt[64]) noexcept
{
    if (const Handle host = hostOf(pt); canBeShared(host)) Handle(slots_.data()).createGuest(host);
}

SolveHandle::~SolveHandle()
{
    Handle handle(slots_.data());
    if (IsReady())
        handle.releaseGuest();
    else if (handle.live())
        handle.releaseAll();
}

bool SolveHandle::IsReady() const noexcept
{
    const Handle handle = hostOf(slots_.data());
    return handle.live() && handle.isGuest();
}

} // namespace Velmar::Lintrix
