#include <lintrix/engine/progress_scope.h>

#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

thread_local ProgressCallback inForce;

} // namespace

ProgressScope::ProgressScope(ProgressCallback callback) noexcept : before_(std::exchange(inForce, callback))
{
}

ProgressScope::~ProgressScope()
{
    inForce = before_;
}

ProgressCallback ProgressScope::current() noexcept
{
    return inForce;
}

} // namespace Velmar::Lintrix::detail::engine
