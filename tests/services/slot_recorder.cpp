#include "tests/services/slot_recorder.h"

#include <lintrix/services/system_allocator.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

namespace Velmar::Lintrix::testing {

namespace {

SlotRecorder* current = nullptr;

} // namespace

SlotRecorder::SlotRecorder()
{
    current = this;
    SystemAllocatorSlots() = {recordedMalloc, recordedCalloc, recordedRealloc, recordedFree};
}

SlotRecorder::~SlotRecorder()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
    current = nullptr;
}

std::vector<std::string> SlotRecorder::calls()
{
    const std::lock_guard guard(mutex_);
    return std::exchange(calls_, {});
}

std::size_t SlotRecorder::live() const
{
    const std::lock_guard guard(mutex_);
    return live_.size();
}

std::size_t SlotRecorder::sizeOf(const void* block) const
{
    const std::lock_guard guard(mutex_);
    const auto place = live_.find(block);
    return place == live_.end() ? 0 : place->second;
}

void SlotRecorder::failOnly(int k)
{
    const std::lock_guard guard(mutex_);
    countdown_ = k;
    failsOn_ = failing_ = false;
}

void SlotRecorder::failFrom(int k)
{
    const std::lock_guard guard(mutex_);
    countdown_ = k;
    failsOn_ = true;
    failing_ = false;
}

void SlotRecorder::beforeMalloc(std::function<void()> action)
{
    beforeMalloc_ = std::move(action);
}

bool SlotRecorder::refuses()
{
    if (failing_) return true;
    if (countdown_ < 0 || countdown_-- > 0) return false;
    failing_ = failsOn_;
    return true;
}

void* SlotRecorder::took(const char* what, void* block, std::size_t size)
{
    calls_.push_back(std::string(what) + " " + std::to_string(size));
    if (block != nullptr) live_[block] = size;
    return block;
}

void* SlotRecorder::recordedMalloc(std::size_t size)
{
    if (current->beforeMalloc_) current->beforeMalloc_();
    const std::lock_guard guard(current->mutex_);
    return current->took("malloc", current->refuses() ? nullptr : std::malloc(size), size);
}

void* SlotRecorder::recordedCalloc(std::size_t count, std::size_t size)
{
    const std::lock_guard guard(current->mutex_);
    return current->took("calloc", current->refuses() ? nullptr : std::calloc(count, size), count * size);
}

void* SlotRecorder::recordedRealloc(void* block, std::size_t size)
{
    const std::lock_guard guard(current->mutex_);
    EXPECT_TRUE(current->live_.contains(block)) << "not a block that is out";
    if (current->refuses()) return current->took("realloc", nullptr, size);
    current->live_.erase(block);
    return current->took("realloc", std::realloc(block, size), size);
}

void SlotRecorder::recordedFree(void* block)
{
    const std::lock_guard guard(current->mutex_);
    EXPECT_EQ(current->live_.erase(block), 1U) << "not a block that is out";
    current->calls_.emplace_back("free");
    std::free(block);
}

} // namespace Velmar::Lintrix::testing
