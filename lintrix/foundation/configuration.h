#pragma once
/// @file
/// The configuration singleton: memory figures, size limit, thread count and scratch buffers; and the
/// process-wide lock object that guards its creation.

#include <lintrix/services/export.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Velmar::Lintrix {

namespace detail {
struct MemoryAccount;
}

/// Process-wide figures and settings. There is one instance, made when first asked for; it lives as long as
/// the process.
class LINTRIX_EXPORT TrellConfiguration {
public:
    TrellConfiguration(const TrellConfiguration&) = delete;
    TrellConfiguration& operator=(const TrellConfiguration&) = delete;

    /// The singleton. Safe from several threads at once: one instance is created.
    static TrellConfiguration& Instance();

    /// The limit on each single dimension, 2147483647; asks for the instance first.
    static std::int32_t MaxSize();

    /// Bytes currently counted as allocated, over all blocks of the process. May lag other threads by a
    /// moment.
    static std::int64_t TotalMemory() noexcept { return _totalMemory.load(std::memory_order_relaxed); }

    /// How many threads a numeric routine may use now; see `MKL_Get_Max_Threads`.
    static std::int32_t GetMaxThreads();
    /// Hands `threads` on unchecked to `MKL_Set_Num_Threads`, which ignores values below 1.
    static void SetNumThreads(std::int32_t threads);
    /// True when the count follows machine and surroundings; see `MKL_Get_Dynamic`.
    static bool DynamicThreads();
    static void DynamicThreads(bool value); ///< sets the flag; see `MKL_Set_Dynamic`

    /// Gives the idle scratch buffers of all threads back to the system.
    static void FreeBuffers();
    /// As `FreeBuffers`. The instance stays, and a further call does the same again.
    void Dispose();

private:
    friend struct detail::MemoryAccount;

    TrellConfiguration() = default;
    ~TrellConfiguration() = default;
    static void AddTotal(std::int64_t size) noexcept
    {
        _totalMemory.fetch_add(size, std::memory_order_relaxed);
    }
    static void SubtractTotal(std::int64_t size) noexcept { AddTotal(-size); }
    std::int32_t MaxSizeEx() const noexcept { return INT32_MAX; }

    static std::atomic<std::int64_t> _totalMemory;
    static std::atomic<TrellConfiguration*> _instance;
};

namespace detail {

/// The allocators' way to the running total; both are atomic.
struct MemoryAccount {
    static void add(std::int64_t bytes) noexcept { TrellConfiguration::AddTotal(bytes); }
    static void subtract(std::int64_t bytes) noexcept { TrellConfiguration::SubtractTotal(bytes); }
};

/// The process-wide lock object. It guards the creation of the singleton and nothing else, and no other lock
/// is ever taken while it is held.
class LocObject {
public:
    static std::mutex& Default();
};

} // namespace detail
} // namespace Velmar::Lintrix
