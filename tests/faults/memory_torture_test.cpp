// Memory that runs out at each request in turn.

#include <tests/faults/memory_sweep.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

class MemoryTorture : public ::testing::TestWithParam<Swept> {};

TEST_P(MemoryTorture, EndsInAnOwnErrorWhereverMemoryRunsOut)
{
    sweep(GetParam(), 1);
}

INSTANTIATE_TEST_SUITE_P(Commands, MemoryTorture, ::testing::ValuesIn(commands()),
                         [](const auto& swept) { return nameOf(swept.param); });
INSTANTIATE_TEST_SUITE_P(Classes, MemoryTorture, ::testing::ValuesIn(operations()),
                         [](const auto& swept) { return nameOf(swept.param); });

} // namespace
} // namespace Velmar::Lintrix::testing
