#include <lintrix/services/work.h>

namespace Velmar::Lintrix::detail {

namespace {

thread_local WorkListener* listenerInForce = nullptr;
thread_local double operationsOfStep = 0.0;

} // namespace

WorkListener::~WorkListener() = default;

WorkScope::WorkScope(WorkListener& listener) noexcept : before_(std::exchange(listenerInForce, &listener))
{
}

WorkScope::~WorkScope()
{
    listenerInForce = before_;
}

WorkListener* WorkScope::listener() noexcept
{
    return listenerInForce;
}

void WorkScope::expect(double operations) noexcept
{
    if (listenerInForce != nullptr) listenerInForce->expect(operations);
}

void WorkScope::tell(double operations)
{
    if (listenerInForce != nullptr && !listenerInForce->hear(operations)) listenerInForce->require();
}

bool WorkScope::goesOn() noexcept
{
    return listenerInForce == nullptr || listenerInForce->hear(0.0);
}

WorkStep::WorkStep(double operations) noexcept : before_(std::exchange(operationsOfStep, operations))
{
}

WorkStep::~WorkStep()
{
    operationsOfStep = before_;
}

double WorkStep::operations() noexcept
{
    return operationsOfStep;
}

} // namespace Velmar::Lintrix::detail
