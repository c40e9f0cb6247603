#include <lintrix/services/service_lock.h>

namespace Velmar::Lintrix::detail {

SpinLock& serviceLock() noexcept
{
    static constinit SpinLock lock;
    return lock;
}

} // namespace Velmar::Lintrix::detail
