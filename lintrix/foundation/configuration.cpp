#include <lintrix/foundation/configuration.h>

#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/threads.h>

namespace Velmar::Lintrix {

std::atomic<std::int64_t> TrellConfiguration::_totalMemory{0};
std::atomic<TrellConfiguration*> TrellConfiguration::_instance{nullptr};

std::mutex& detail::LocObject::Default()
{
    static std::mutex lock;
    return lock;
}

TrellConfiguration& TrellConfiguration::Instance()
{
    TrellConfiguration* instance = _instance.load(std::memory_order_acquire);
    if (instance) return *instance;
    const std::lock_guard guard(detail::LocObject::Default());
    instance = _instance.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new TrellConfiguration; // nothing disposes it: blocks are counted until the process ends
        _instance.store(instance, std::memory_order_release);
    }
    return *instance;
}

std::int32_t TrellConfiguration::MaxSize()
{
    return Instance().MaxSizeEx();
}

std::int32_t TrellConfiguration::GetMaxThreads()
{
    return MKL_Get_Max_Threads();
}

void TrellConfiguration::SetNumThreads(std::int32_t threads)
{
    MKL_Set_Num_Threads(threads);
}

bool TrellConfiguration::DynamicThreads()
{
    return MKL_Get_Dynamic() == 1;
}

void TrellConfiguration::DynamicThreads(bool value)
{
    MKL_Set_Dynamic(value ? 1 : 0);
}

void TrellConfiguration::FreeBuffers()
{
    MKL_FreeBuffers();
}

void TrellConfiguration::Dispose()
{
    MKL_FreeBuffers();
}

} // namespace Velmar::Lintrix
