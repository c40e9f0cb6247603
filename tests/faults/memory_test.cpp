// Memory that runs out at a few places of each run: the coarse dose of memory_torture_test.cpp.

#include <tests/faults/memory_sweep.h>
#include <tests/tools/command.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

TEST(MemoryFaults, TheCommandEndsInItsOwnErrorHereAndThere)
{
    for (const Swept& command : commands()) {
        SCOPED_TRACE(nameOf(command));
        sweep(command, 61);
    }
}

// The OpenMP runtime then ends the process, and the command answers in its place.
TEST(MemoryFaults, TheCommandAnswersWhereATeamCannotBeStarted)
{
    sweep({commandProgram(), {"solve", dataFile("sherman4.mtx")}, 2, {0, 1, 2}}, 61);
}

TEST(MemoryFaults, TheClassesEndInTheirOwnErrorHereAndThere)
{
    EXPECT_GE(operations().size(), 50U);
    for (const Swept& operation : operations()) {
        SCOPED_TRACE(nameOf(operation));
        sweep(operation, 23);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
