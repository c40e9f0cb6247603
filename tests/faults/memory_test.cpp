// Memory that runs out at a few places of each run: the coarse dose of memory_torture_test.cpp.

#include <tests/faults/memory_sweep.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

TEST(MemoryFaults, TheCommandEndsInItsOwnErrorHereAndThere)
{
    sweepCommand(61);
}

TEST(MemoryFaults, TheClassesEndInTheirOwnErrorHereAndThere)
{
    sweepClasses(23);
}

} // namespace
} // namespace Velmar::Lintrix::testing
