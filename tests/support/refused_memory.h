#pragma once
/// @file
/// Makes the k-th request for memory fail wherever it goes, to `operator new` or to the library's system
/// allocator, which are counted together. A program that links this replaces the global `operator new`.

#include "tests/support/failing_allocator.h"

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/buffer_pool.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <new>

namespace Velmar::Lintrix::testing {

/// Blocks of `operator new` that are in use.
std::int64_t liveNewBlocks();

/// Runs operation(object) on a fresh object of `make` with the first, second, ... request failing, alone and
/// with all that follow, until none fails. An operation may do without what it was refused; if it raises,
/// `raised` is called in the handler to look at the failure, and afterwards `look(object)` must be what it
/// was. When the object is gone, nothing is left: neither of the counted blocks nor of `operator new`.
/// Returns how many requests the operation makes.
template <class Make, class Operation, class Look, class Raised>
int refuseEachRequest(Make make, Operation operation, Look look, Raised raised)
{
    TrellConfiguration::Instance(); // made once, kept to the end
    int requests = 0;
    for (const Refused refused : {Refused::One, Refused::Rest}) {
        bool reached = true;
        for (int k = 0; reached; ++k) {
            if (k > 2000) {
                ADD_FAILURE() << "the operation never passes";
                return k;
            }
            const std::int64_t total = TrellConfiguration::TotalMemory(), live = liveNewBlocks();
            {
                auto object = make();
                const auto before = look(object);
                bool failed = false;
                {
                    const FailingAllocator memory(k, refused);
                    try {
                        operation(object);
                    } catch (...) {
                        failed = true;
                        raised();
                    }
                    reached = memory.hasFailed();
                }
                EXPECT_TRUE(reached || !failed) << "nothing was refused";
                EXPECT_TRUE(!failed || look(object) == before) << "request " << k;
            }
            MKL_FreeBuffers();
            EXPECT_EQ(TrellConfiguration::TotalMemory(), total) << "request " << k;
            EXPECT_EQ(liveNewBlocks(), live) << "request " << k;
            requests = k;
        }
    }
    return requests;
}

/// The same of an operation on nothing, which raises that there is no memory and nothing else.
template <class Operation>
int refuseEachRequestOf(Operation operation)
{
    const auto raised = [] {
        try {
            throw;
        } catch (const NotEnoughMemoryException&) {
        } catch (const std::bad_alloc&) {
        }
    };
    return refuseEachRequest([] { return 0; }, [&](int) { operation(); }, [](int none) { return none; },
                             raised);
}

} // namespace Velmar::Lintrix::testing
