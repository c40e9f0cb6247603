#include <lintrix/engine/progress_scope.h>

#include <utility>

namespace Velmar::Lintrix {

namespace {

thread_local PardisoProgress threadsListener;

} // namespace

PardisoProgress detail::engine::currentListener() noexcept
{
    return threadsListener;
}

PardisoProgressScope::PardisoProgressScope(PardisoProgress listener) noexcept
    : previous_(std::exchange(threadsListener, listener))
{
}

PardisoProgressScope::~PardisoProgressScope()
{
    threadsListener = previous_;
}

} // namespace Velmar::Lintrix
