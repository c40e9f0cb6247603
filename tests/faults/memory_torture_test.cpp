// Memory that runs out at each request in turn.

#include <tests/faults/memory_sweep.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

TEST(MemoryFaults, TheCommandEndsInItsOwnErrorWhereverMemoryRunsOut)
{
    sweepCommand(1);
}

TEST(MemoryFaults, TheClassesEndInTheirOwnErrorWhereverMemoryRunsOut)
{
    sweepClasses(1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
