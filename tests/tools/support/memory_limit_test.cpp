// Limits of control groups, told by files of a machine that is not this one.

#include <tests/support/files.h>
#include <tools/support/memory_limit.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using tools::controlGroupLimit;

class FakeGroups {
public:
    explicit FakeGroups(const std::string& membership) { write("proc/self/cgroup", membership); }
    void write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(scratch_.at(name)).parent_path());
        scratch_.file(name, content);
    }
    double limit() const { return controlGroupLimit(scratch_.at("")); }

private:
    Scratch scratch_;
};

TEST(ControlGroupLimit, OfVersion2IsTheLeastOnTheWayUp)
{
    const FakeGroups groups("0::/user.slice/job 7\n");
    EXPECT_TRUE(std::isinf(groups.limit()));
    groups.write("sys/fs/cgroup/user.slice/job 7/memory.max", "max\n");
    EXPECT_TRUE(std::isinf(groups.limit()));
    groups.write("sys/fs/cgroup/user.slice/memory.max", "3000000000\n");
    EXPECT_EQ(groups.limit(), 3e9);
    groups.write("sys/fs/cgroup/user.slice/job 7/memory.max", "5000000000\n");
    EXPECT_EQ(groups.limit(), 3e9);
    groups.write("sys/fs/cgroup/user.slice/job 7/memory.max", "268435456\n");
    EXPECT_EQ(groups.limit(), 268435456.0);
    groups.write("sys/fs/cgroup/other/memory.max", "1\n");
    EXPECT_EQ(groups.limit(), 268435456.0);
}

TEST(ControlGroupLimit, OfVersion1StandsWithTheMemoryController)
{
    const FakeGroups groups("5:cpu,cpuacct:/docker/abc\n4:memory:/docker/abc\n0::/\n");
    groups.write("sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n");
    groups.write("sys/fs/cgroup/cpu,cpuacct/docker/abc/memory.limit_in_bytes", "1\n");
    EXPECT_EQ(groups.limit(), 9223372036854771712.0);
    groups.write("sys/fs/cgroup/memory/docker/abc/memory.limit_in_bytes", "1073741824\n");
    EXPECT_EQ(groups.limit(), 1073741824.0);
}

// The path is that outside of the container; within, the group's own folder is the root.
TEST(ControlGroupLimit, InAContainerTheRootCounts)
{
    const FakeGroups version1("4:memory:/docker/abc\n"), version2("0::/../../abc\n");
    version1.write("sys/fs/cgroup/memory/memory.limit_in_bytes", "1000\n");
    EXPECT_EQ(version1.limit(), 1000.0);
    version2.write("sys/fs/cgroup/memory.max", "2000\n");
    EXPECT_EQ(version2.limit(), 2000.0);
}

TEST(ControlGroupLimit, OfAMixedMachineIsTheLesser)
{
    const FakeGroups groups("4:memory:/a\n0::/b\n");
    groups.write("sys/fs/cgroup/memory/a/memory.limit_in_bytes", "2000\n");
    groups.write("sys/fs/cgroup/unified/b/memory.max", "3000\n");
    EXPECT_EQ(groups.limit(), 2000.0);
    groups.write("sys/fs/cgroup/unified/b/memory.max", "1500\n");
    EXPECT_EQ(groups.limit(), 1500.0);
}

TEST(ControlGroupLimit, NonsenseLimitsNothing)
{
    EXPECT_TRUE(std::isinf(controlGroupLimit("/nowhere")));
    for (const char* membership : {"", "\n", "x", "0::", "::", "4:memory:", "0::relative/path"}) {
        const FakeGroups groups(membership);
        EXPECT_TRUE(std::isinf(groups.limit())) << membership;
    }
    const FakeGroups groups("0::/a\n");
    groups.write("sys/fs/cgroup/a/memory.max", "plenty\n");
    EXPECT_TRUE(std::isinf(groups.limit()));
}

} // namespace
} // namespace Velmar::Lintrix::testing
