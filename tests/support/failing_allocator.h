#pragma once
/// @file
/// Makes the k-th request to the system allocator fail, or those that are too large, and watches that nothing
/// leaks; counts requested bytes.

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::testing {

enum class Refused {
    One,  ///< request number k alone
    Rest, ///< request number k and every later one
};

/// While it lives, request number `k` (from 0) to the system allocator answers null, alone or with all after
/// it.
class FailingAllocator {
public:
    explicit FailingAllocator(int k, Refused refused = Refused::Rest);
    ~FailingAllocator();
    FailingAllocator(const FailingAllocator&) = delete;
    FailingAllocator& operator=(const FailingAllocator&) = delete;

    /// Whether a request has failed.
    bool hasFailed() const;
};

/// Counts one more request, and tells whether the FailingAllocator that lives now, if one does, refuses it.
bool refusesRequest();

/// While it lives, adds up the bytes that the library asks the system allocator for. What is given back is
/// not taken off: the sum bounds every peak from above.
class AllocationMeter {
public:
    AllocationMeter();
    ~AllocationMeter();
    AllocationMeter(const AllocationMeter&) = delete;
    AllocationMeter& operator=(const AllocationMeter&) = delete;

    std::int64_t bytes() const;
};

/// While it lives, a request for more than `limit` bytes answers null, as on a machine without that memory.
class CappedAllocator {
public:
    explicit CappedAllocator(std::size_t limit);
    ~CappedAllocator();
    CappedAllocator(const CappedAllocator&) = delete;
    CappedAllocator& operator=(const CappedAllocator&) = delete;

    /// The largest request that was refused, 0 if none was. In bytes, with the header of the block.
    std::size_t largestRefused() const;
};

/// Runs `operation` with the first, second, ... request failing, until it passes. Each failure must be a
/// NotEnoughMemoryException, must leave the memory total as it was, and `isUntouched` must hold after it.
/// Returns how many requests the operation makes.
template <class Operation, class Check>
int failEachAllocation(Operation operation, Check isUntouched)
{
    for (int k = 0;; ++k) {
        const std::int64_t before = TrellConfiguration::TotalMemory();
        bool failed = false;
        {
            const FailingAllocator allocator(k);
            try {
                operation();
            } catch (const NotEnoughMemoryException& e) {
                EXPECT_STREQ(e.what(), "There is not enough memory to continue the execution.");
                failed = true;
            }
            EXPECT_EQ(failed, allocator.hasFailed()) << "request " << k;
        }
        if (!failed) return k;
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before) << "request " << k;
        EXPECT_TRUE(isUntouched()) << "request " << k;
        if (k > 1000) {
            ADD_FAILURE() << "the operation never passes";
            return k;
        }
    }
}

} // namespace Velmar::Lintrix::testing
