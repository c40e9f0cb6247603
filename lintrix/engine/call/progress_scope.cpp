#include <lintrix/engine/call/progress_scope.h>

#include <utility>

namespace Velmar::Lintrix {

namespace {

thread_local PardisoProgress inForce;

} // namespace

PardisoProgressScope::PardisoProgressScope(PardisoProgress callback) noexcept
    : before_(std::exchange(inForce, callback))
{
}

PardisoProgressScope::~PardisoProgressScope()
{
    inForce = before_;
}

PardisoProgress PardisoProgressScope::current() noexcept
{
    return inForce;
}

} // namespace Velmar::Lintrix
