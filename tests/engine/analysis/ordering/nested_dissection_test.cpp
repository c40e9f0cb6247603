#include <lintrix/engine/analysis/ordering/metis_ordering.h>
#include <lintrix/engine/analysis/ordering/nested_dissection.h>

#include "tests/engine/analysis/ordering/dissection_checks.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

OwnedGraph star(int n, int centres = 1)
{
    std::set<std::pair<int, int>> edges;
    for (int c = 0; c < centres; ++c) {
        for (int v = 0; v < n; ++v) edges.emplace(c, v);
    }
    return graphOf(n, edges);
}

OwnedGraph clique(int n)
{
    return star(n, n);
}

// A grid whose first vertices are joined with all others.
OwnedGraph gridWithDenseRows(int side, int dense)
{
    const int n = side * side;
    std::set<std::pair<int, int>> edges;
    const auto plain = grid(side, side);
    for (int v = 0; v < n; ++v) {
        for (const int u : plain.view().of(v)) edges.emplace(v, u);
        for (int d = 0; d < dense; ++d) edges.emplace(v, d);
    }
    return graphOf(n, edges);
}

std::int64_t fill(const Graph& graph, OwnedOrdering ordering)
{
    std::int64_t entries = 0;
    for (const auto& column : eliminated(graph, ordering.view()))
        entries += static_cast<std::int64_t>(column.size());
    return entries;
}

TEST(NestedDissection, OddGraphsAreOrderedForAnyNumberOfParts)
{
    std::vector<OwnedGraph> graphs{graphOf(1, {}), graphOf(2, {}), graphOf(2, {{0, 1}}),
                                   graphOf(3, {{0, 2}})};
    for (const int n : {3, 7, 8, 33, 150}) {
        graphs.push_back(graphOf(n, {}));
        graphs.push_back(graphOf(n, {{0, 1}}));
        graphs.push_back(star(n));
        graphs.push_back(clique(n));
        graphs.push_back(grid(1, n));
        graphs.push_back(copies(clique(3), n));
        graphs.push_back(copies(grid(1, 2), n));
        graphs.push_back(randomGraph(n, 2 * n, static_cast<unsigned>(n)));
    }
    for (std::size_t g = 0; g < graphs.size(); ++g) {
        for (const int parts : {-3, 0, 1, 2, 3, 4, 7, 16, 1000}) {
            SCOPED_TRACE("graph " + std::to_string(g) + ", parts " + std::to_string(parts));
            expectSound(graphs[g].view(), dissected(graphs[g].view(), parts));
        }
    }
}

TEST(NestedDissection, OnePartIsOneRange)
{
    const auto graph = grid(20, 20);
    const auto result = dissected(graph.view(), 1);
    expectSound(graph.view(), result);
    EXPECT_EQ(result.list.count, 1);
    EXPECT_EQ(result.list.independent, 1);
    EXPECT_TRUE(result.list.wellFormed());
}

TEST(NestedDissection, TwoVerticesAreOnePartForAnyNumberOfThreads)
{
    for (const auto& graph : {graphOf(2, {{0, 1}}), graphOf(2, {})}) {
        const auto result = dissected(graph.view(), 8);
        expectSound(graph.view(), result);
        EXPECT_EQ(result.list.count, 1);
    }
}

TEST(NestedDissection, PartsAreEvenAndSeparatorsSmall)
{
    const auto graph = grid(60, 60);
    for (const int parts : {2, 3, 4, 5, 6, 8}) {
        SCOPED_TRACE(parts);
        const auto result = dissected(graph.view(), parts);
        expectSound(graph.view(), result);
        EXPECT_EQ(result.list.count, 2 * parts - 1);
        EXPECT_EQ(result.list.independent, parts);
        EXPECT_TRUE(result.list.wellFormed());
        int largest = 0, all = 0;
        for (int p = 0; p < parts; ++p) {
            const auto [first, last] = result.list.ranges()[static_cast<std::size_t>(p)];
            largest = std::max(largest, last - first + 1);
            all += last - first + 1;
        }
        EXPECT_LE(largest * parts, 1.9 * all); // a fifth at each of three levels is 1.73
        EXPECT_LE(3600 - all, 100 * (parts - 1));
    }
}

TEST(NestedDissection, UnconnectedGraphIsWellFormed)
{
    const auto graph = copies(grid(10, 10), 8);
    const auto result = dissected(graph.view(), 4);
    expectSound(graph.view(), result);
    EXPECT_TRUE(result.list.wellFormed());
}

TEST(NestedDissection, GraphWithoutSeparatorsIsNotWellFormed)
{
    const auto graph = clique(40);
    const auto result = dissected(graph.view(), 4);
    expectSound(graph.view(), result);
    EXPECT_FALSE(result.list.wellFormed());
}

TEST(NestedDissection, ListTakesNoMorePartsThanItHasRoomFor)
{
    const auto graph = grid(40, 40);
    const auto result = dissected(graph.view(), 64, 9);
    expectSound(graph.view(), result);
    EXPECT_EQ(result.list.independent, 5);
    EXPECT_EQ(result.list.count, 9);
}

TEST(NestedDissection, FillIsTheSameForAnyNumberOfParts)
{
    const auto graph = gridWithDenseRows(18, 0);
    const auto one = fill(graph.view(), dissected(graph.view(), 1).ordering);
    for (const int parts : {2, 3, 8})
        EXPECT_EQ(fill(graph.view(), dissected(graph.view(), parts).ordering), one);
}

TEST(NestedDissection, FillIsFarBelowThatOfTheGivenOrder)
{
    const auto graph = grid(30, 30);
    std::vector<int> natural(900);
    std::iota(natural.begin(), natural.end(), 0);
    EXPECT_LT(2 * fill(graph.view(), dissected(graph.view(), 1).ordering),
              fill(graph.view(), orderingOf(natural)));
}

// A row of at least n/8 entries takes the other options, by which much longer rows than the mean come last.
TEST(NestedDissection, DenseRowsAreOrderedLast)
{
    const auto graph = gridWithDenseRows(30, 3);
    const auto result = dissected(graph.view(), 1);
    expectSound(graph.view(), result);
    for (std::size_t dense = 0; dense < 3; ++dense) EXPECT_GE(result.ordering.positionOf[dense], 897);
}

TEST(NestedDissection, OrderDependsOnTheGraphAlone)
{
    const auto graph = randomGraph(600, 1800, 3), other = grid(13, 17);
    const auto first = dissected(graph.view(), 3).ordering.vertexAt;
    dissected(other.view(), 2);
    std::srand(99);
    std::rand();
    EXPECT_EQ(dissected(graph.view(), 3).ordering.vertexAt, first);
}

TEST(NestedDissection, RandomNumbersOfTheProgramGoOnAsIfNothingHadHappened)
{
    const auto graph = grid(20, 20);
    std::srand(4);
    std::vector<int> expected, seen;
    for (int k = 0; k < 20; ++k) expected.push_back(std::rand());
    std::srand(4);
    for (int k = 0; k < 20; ++k) {
        if (k % 7 == 3) dissected(graph.view(), 1);
        seen.push_back(std::rand());
    }
    EXPECT_EQ(seen, expected);
}

TEST(NestedDissection, SignalActionsOfTheProgramAreKept)
{
    struct sigaction mine {
    }, before{}, after{};
    mine.sa_sigaction = [](int, siginfo_t*, void*) {};
    mine.sa_flags = SA_SIGINFO | SA_RESTART;
    sigaction(SIGTERM, &mine, &before);
    const auto graph = grid(20, 20);
    dissected(graph.view(), 1);
    sigaction(SIGTERM, &before, &after);
    EXPECT_EQ(after.sa_sigaction, mine.sa_sigaction);
    EXPECT_EQ(after.sa_flags & (SA_SIGINFO | SA_RESTART), SA_SIGINFO | SA_RESTART);
}

TEST(NestedDissection, TwoThreadsOrderAsOneDoes)
{
    const auto a = randomGraph(500, 1500, 1), b = grid(25, 25);
    const auto expectedA = dissected(a.view(), 4).ordering.vertexAt;
    const auto expectedB = dissected(b.view(), 4).ordering.vertexAt;
    const auto repeat = [](const OwnedGraph& graph, const std::vector<int>& expected, int& wrong) {
        for (int k = 0; k < 20; ++k) wrong += dissected(graph.view(), 4).ordering.vertexAt != expected;
    };
    int wrongA = 0, wrongB = 0;
    std::thread threadA([&] { repeat(a, expectedA, wrongA); });
    std::thread threadB([&] { repeat(b, expectedB, wrongB); });
    threadA.join();
    threadB.join();
    EXPECT_EQ(wrongA, 0);
    EXPECT_EQ(wrongB, 0);
}

TEST(NestedDissection, NothingIsPrinted)
{
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    for (const int dense : {0, 2}) dissected(gridWithDenseRows(25, dense).view(), 4);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(NestedDissection, EachAllocationMayFail)
{
    const auto graph = grid(6, 6);
    int k = 0;
    for (bool failed = true; failed; ++k) {
        ASSERT_LT(k, 40);
        const FailingAllocator allocator(k);
        const auto result = dissected(graph.view(), 4);
        failed = static_cast<bool>(result.failure);
        EXPECT_EQ(failed, allocator.hasFailed());
        if (failed) {
            EXPECT_EQ(result.failure.error, Error::Memory);
            EXPECT_EQ(result.failure.internal, -900);
        }
    }
    EXPECT_EQ(k, 11); // ten blocks
}

// The sanitizers reserve terabytes of addresses and end the process where an allocation fails.
#ifdef __has_feature
#define LINTRIX_HAS_FEATURE(feature) __has_feature(feature)
#else
#define LINTRIX_HAS_FEATURE(feature) 0
#endif
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) &&                                       \
    !LINTRIX_HAS_FEATURE(address_sanitizer) && !LINTRIX_HAS_FEATURE(thread_sanitizer)

// Takes all memory that the process can still get, `more` bytes beyond what it has, in a list of blocks, the
// smallest first. None where the limit has no effect, as under an emulator: it would be all of the machine's.
struct Hoard {
    Hoard* next;
};

Hoard* takeAllMemory(rlim_t more)
{
    constexpr rlim_t kMostThatWasFree = rlim_t{1} << 30; // in arenas that the process has already
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + more;
    setrlimit(RLIMIT_AS, &limit);
    Hoard* hoard = nullptr;
    rlim_t taken = 0;
    for (std::size_t size = 1048576; size >= sizeof(Hoard); size /= 2) {
        while (void* block = std::malloc(size)) {
            hoard = new (block) Hoard{hoard};
            taken += size;
            if (taken > more + kMostThatWasFree) return nullptr;
        }
    }
    return hoard;
}

// METIS's own memory ends, at different depths, as block after block is given back, until it suffices.
int orderWithLittleMemory(const Graph& graph, Ordering ordering)
{
    int failures = 0;
    for (Hoard* hoard = takeAllMemory(16 * 1048576); hoard != nullptr;) {
        const Failure failure = orderByMetis(graph, ordering);
        if (!failure) return failures > 0 ? 0 : 1;
        if (failure.error != Error::Reordering || failure.internal != -3) return 2;
        ++failures;
        std::free(std::exchange(hoard, hoard->next));
    }
    return 3;
}

TEST(NestedDissection, EndOfMemoryWithinMetisIsAFailureAndNotTheEndOfTheProcess)
{
    const auto graph = grid(40, 40);
    OwnedOrdering ordering{std::vector<int>(1600), std::vector<int>(1600)};
    EXPECT_EXIT(std::_Exit(orderWithLittleMemory(graph.view(), ordering.view())),
                ::testing::ExitedWithCode(0), "");
}

#endif

} // namespace
} // namespace Velmar::Lintrix::testing
