#pragma once
/// @file
/// Keeps the books on the system allocator slots, and makes requests fail.

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

/// While it lives, every request to the system goes through it. One at a time; any number of threads.
class SlotRecorder {
public:
    SlotRecorder();
    ~SlotRecorder();
    SlotRecorder(const SlotRecorder&) = delete;
    SlotRecorder& operator=(const SlotRecorder&) = delete;

    /// The calls since the last question, in order: "malloc 100", "calloc 64", "realloc 80", "free".
    std::vector<std::string> calls();

    /// Blocks that are out, and the size of one of them (0 if it is not a block that is out).
    std::size_t live() const;
    std::size_t sizeOf(const void* block) const;

    /// Request number k from now on (from 0) fails, alone or with all that follow. A negative k: none.
    void failOnly(int k);
    void failFrom(int k);

    /// Called before each malloc, outside all locks.
    void beforeMalloc(std::function<void()> action);

private:
    static void* recordedMalloc(std::size_t size);
    static void* recordedCalloc(std::size_t count, std::size_t size);
    static void* recordedRealloc(void* block, std::size_t size);
    static void recordedFree(void* block);

    bool refuses();
    void* took(const char* what, void* block, std::size_t size);

    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
    std::map<const void*, std::size_t> live_;
    std::function<void()> beforeMalloc_;
    int countdown_ = -1;
    bool failsOn_ = false;
    bool failing_ = false;
};

} // namespace Velmar::Lintrix::testing
