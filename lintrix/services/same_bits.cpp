#include <lintrix/services/same_bits.h>

#include <utility>

namespace Velmar::Lintrix {

namespace {

thread_local bool sameBits = false;

} // namespace

SameBitsScope::SameBitsScope() noexcept : outer_(std::exchange(sameBits, true))
{
}

SameBitsScope::~SameBitsScope()
{
    sameBits = outer_;
}

bool detail::keepsSameBits() noexcept
{
    return sameBits;
}

} // namespace Velmar::Lintrix
