#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

thread_local BlockMeter* living = nullptr;

std::int64_t kilobytesOf(std::int64_t bytes)
{
    return BlockSum().addBytes(bytes).kilobytes();
}

} // namespace

BlockMeter::BlockMeter(const BlockSum& held) noexcept : sum_(held.kilobytes()), peak_(held.kilobytes())
{
    living = this;
}

BlockMeter::~BlockMeter()
{
    living = nullptr;
}

void BlockMeter::enterTaken(std::int64_t bytes) noexcept
{
    if (living != nullptr) living->enter(kilobytesOf(bytes));
}

void BlockMeter::enterGivenBack(std::int64_t bytes) noexcept
{
    if (living != nullptr) living->enter(-kilobytesOf(bytes));
}

} // namespace Velmar::Lintrix::detail::engine
