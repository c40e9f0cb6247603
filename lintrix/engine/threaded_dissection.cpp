#include <lintrix/engine/threaded_dissection.h>

#include <utility>

namespace Velmar::Lintrix {

namespace {

thread_local bool inForce = false;

} // namespace

ThreadedDissectionScope::ThreadedDissectionScope() noexcept : outer_(std::exchange(inForce, true))
{
}

ThreadedDissectionScope::~ThreadedDissectionScope()
{
    inForce = outer_;
}

bool ThreadedDissectionScope::IsInForce() noexcept
{
    return inForce;
}

} // namespace Velmar::Lintrix
