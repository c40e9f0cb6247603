#include <tests/tools/terminal.h>

#include <gtest/gtest.h>

#include <sys/resource.h>

namespace Velmar::Lintrix::testing {
namespace {

TEST(Terminal, ThatCannotBeHadTellsWhy)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const Terminal terminal;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(terminal.fault(), "no pseudo-terminal: Too many open files");
}

} // namespace
} // namespace Velmar::Lintrix::testing
