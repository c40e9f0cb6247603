// Limits of control groups, told by files of a machine that is not this one.

#include <tests/support/files.h>
#include <tests/support/thread_setting.h>

#include <lintrix/services/memory_limit.h>
#include <lintrix/services/same_bits.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

class FakeGroups {
public:
    explicit FakeGroups(const std::string& membership) { write("proc/self/cgroup", membership); }
    void write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(scratch_.at(name)).parent_path());
        scratch_.file(name, content);
    }
    double limit() const { return ControlGroupLimit(scratch_.at("")); }
    double left(int threads = 1) const { return MemoryLeft(threads, scratch_.at("")); }

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
    EXPECT_TRUE(std::isinf(ControlGroupLimit("/nowhere")));
    for (const char* membership : {"", "\n", "x", "0::", "::", "4:memory:", "0::relative/path"}) {
        const FakeGroups groups(membership);
        EXPECT_TRUE(std::isinf(groups.limit())) << membership;
    }
    const FakeGroups groups("0::/a\n");
    groups.write("sys/fs/cgroup/a/memory.max", "plenty\n");
    EXPECT_TRUE(std::isinf(groups.limit()));
}

TEST(MemoryLeft, IsWhatTheSystemHasAvailable)
{
    const FakeGroups machine("");
    EXPECT_EQ(machine.left(), MemoryLimit()) << "where nothing is told, what there is at all";
    machine.write("proc/meminfo", "MemTotal:  4096 kB\nMemFree:   17 kB\nMemAvailable:  1000 kB\n");
    EXPECT_EQ(machine.left(), 1024e3);
}

TEST(MemoryLeft, IsNotWhatTheGroupsUse)
{
    const FakeGroups version2("0::/a/b\n"), version1("4:memory:/a\n");
    version2.write("sys/fs/cgroup/a/memory.max", "9000000\n");
    version2.write("sys/fs/cgroup/a/memory.current", "2000000\n");
    EXPECT_EQ(version2.left(), 7e6);
    version2.write("sys/fs/cgroup/a/memory.stat", "anon 5\ninactive_file 500000\ntotal_inactive_file 1\n");
    EXPECT_EQ(version2.left(), 7.5e6) << "pages of files are given up";
    version2.write("sys/fs/cgroup/a/b/memory.max", "8000000\n");
    version2.write("sys/fs/cgroup/a/b/memory.current", "6000000\n");
    EXPECT_EQ(version2.left(), 2e6);
    version2.write("sys/fs/cgroup/a/b/memory.current", "8000001\n");
    EXPECT_EQ(version2.left(), 0.0);
    version1.write("sys/fs/cgroup/memory/a/memory.limit_in_bytes", "3000000\n");
    version1.write("sys/fs/cgroup/memory/a/memory.usage_in_bytes", "2500000\n");
    version1.write("sys/fs/cgroup/memory/a/memory.stat", "inactive_file 1\ntotal_inactive_file 100000\n");
    EXPECT_EQ(version1.left(), 6e5);
}

TEST(MemoryLeft, OfAGroupWithoutALimitIsNotAskedFor)
{
    const FakeGroups groups("4:memory:/a\n");
    groups.write("proc/meminfo", "MemAvailable:  1000 kB\n");
    groups.write("sys/fs/cgroup/memory/a/memory.limit_in_bytes", "9223372036854771712\n");
    groups.write("sys/fs/cgroup/memory/a/memory.usage_in_bytes", "9223372036854771712\n");
    EXPECT_EQ(groups.left(), 1024e3);
}

TEST(MemoryLeft, IsNotTheAddressSpaceInUse)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    const FakeGroups machine("");
    const rlim_t space = std::min(before.rlim_cur, rlim_t{1} << 50);
    const rlimit limited{space, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limited), 0);
    const double page = static_cast<double>(sysconf(_SC_PAGESIZE)), pages = static_cast<double>(space) / page;
    machine.write("proc/self/statm", std::to_string(static_cast<long>(pages) - 10) + " 5 4 1 0 3 0\n");
    EXPECT_EQ(machine.left(), 10.0 * page);
    EXPECT_EQ(machine.left(2), 0.0) << "BLAS takes it for the second thread";
    setrlimit(RLIMIT_AS, &before);
}

TEST(MemoryLeft, WhereWorkIsCutForManyThreadsIsThatOfTheThreadsThatRun)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t space = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (1U << 30);
    const rlimit limited{std::min(before.rlim_cur, space), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limited), 0);
    const ThreadSetting one(1);
    const SameBitsScope scope;
    EXPECT_GT(MemoryLeft(), 0.0);
    EXPECT_EQ(MemoryLeft(detail::kThreadsOfSameBits), 0.0) << "so many have no room";
    setrlimit(RLIMIT_AS, &before);
}

TEST(MemoryLeft, OfThisProcessIsLessThanItsLimit)
{
    EXPECT_GT(MemoryLeft(1), 0.0);
    EXPECT_LT(MemoryLeft(1), MemoryLimit());
}

} // namespace
} // namespace Velmar::Lintrix::testing
