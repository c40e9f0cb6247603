#include <lintrix/engine/shared_matching.h>

#include <new>
#include <utility>

namespace Velmar::Lintrix {

namespace {

thread_local SharedMatching* inUse = nullptr;

} // namespace

SharedMatching::Use::Use(SharedMatching& matching) noexcept : before_(std::exchange(inUse, &matching))
{
}

SharedMatching::Use::~Use()
{
    inUse = before_;
}

std::int64_t SharedMatching::Bytes() const noexcept
{
    return std::ssize(columnOfRow_) * std::int64_t{sizeof(std::int32_t)} +
           std::ssize(scales_) * std::int64_t{sizeof(double)};
}

SharedMatching* SharedMatching::InUse() noexcept
{
    return inUse;
}

bool SharedMatching::Serves(std::int32_t order, bool scaled) const noexcept
{
    return IsKnown() && scaled == scaled_ && std::ssize(columnOfRow_) == order;
}

void SharedMatching::Keep(bool scaled, std::span<const std::int32_t> columnOfRow,
                          std::span<const double> scales) noexcept
try {
    SharedMatching next;
    next.columnOfRow_.assign(columnOfRow.begin(), columnOfRow.end());
    next.scales_.assign(scales.begin(), scales.end());
    next.scaled_ = scaled;
    *this = std::move(next);
} catch (const std::bad_alloc&) {
    Forget();
}

} // namespace Velmar::Lintrix
