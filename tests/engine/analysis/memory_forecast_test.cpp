// What an analysis tells of memory, against what the allocators give.
//
// Told figures are never below the bytes that are held, and above the kilobytes of the blocks, each of which
// is rounded up by itself, by a twentieth and one unit at most.

#include <lintrix/sparse/matrix_market.h>

#include "tests/engine/solution/solve_case.h"
#include "tests/support/files.h"
#include "tests/support/memory_watch.h"
#include "tests/support/thread_setting.h"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::engine::classOf;
using detail::engine::MatrixClass;

/// Places of the entries of a square matrix.
struct SquarePattern {
    int n = 0;
    std::vector<std::pair<int, int>> entries;
};

/// A rectangle A becomes the square matrix with A and its transpose beside the diagonal. The entry in the
/// corner keeps a diagonal matrix from being taken for one.
SquarePattern patternOf(const std::string& path)
{
    const MatrixMarketTriplets read = ReadMatrixMarketTriplets(path);
    const bool square = read.rows == read.cols;
    SquarePattern pattern{square ? read.rows : read.rows + read.cols, {}};
    for (std::size_t k = 0; k < read.rowIndices.size(); ++k) {
        const int i = read.rowIndices[k], j = read.colIndices[k] + (square ? 0 : read.rows);
        pattern.entries.emplace_back(i, j);
        if (!square || read.symmetry != MatrixMarketSymmetry::General) pattern.entries.emplace_back(j, i);
    }
    pattern.entries.emplace_back(0, pattern.n - 1);
    return pattern;
}

/// Random values, of which that of row i in column `heavy(i)` outweighs its row and its column.
template <class T, class Heavy>
System<T> heavySystem(const SquarePattern& pattern, int mtype, const Heavy& heavy)
{
    std::mt19937 random(5);
    std::vector<std::map<int, T>> rows(static_cast<std::size_t>(pattern.n));
    std::vector<double> weight(rows.size(), 1.0);
    const auto put = [&](int i, int j) {
        const T value = rows[static_cast<std::size_t>(i)][j] = randomNumber<T>(random);
        for (const int k : {i, j}) weight[static_cast<std::size_t>(k)] += std::abs(value);
    };
    const bool bothTriangles = classOf(mtype) == MatrixClass::StructurallySymmetric;
    for (const auto& [i, j] : pattern.entries) {
        isSymmetricStorage(mtype) ? put(std::min(i, j), std::max(i, j)) : put(i, j);
        if (bothTriangles) put(j, i);
    }
    System<T> system{mtype, pattern.n, {1}, {}, {}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const int j = heavy(static_cast<int>(i));
        rows[i][j] = T(static_cast<RealOf<T>>(weight[i] + weight[static_cast<std::size_t>(j)]));
        for (const auto& [column, value] : rows[i]) system.put(column, value);
        system.endRow();
    }
    return system;
}

/// With a matching, rows of unsymmetric matrices change places in pairs.
template <class T>
System<T> systemFor(const SquarePattern& pattern, int mtype, bool matches)
{
    const bool rowsMove = matches && classOf(mtype) == MatrixClass::Unsymmetric;
    return heavySystem<T>(pattern, mtype, [&](int i) { return rowsMove && (i ^ 1) < pattern.n ? i ^ 1 : i; });
}

void expectTold(std::int64_t told, const HeldMemory& held, const HeldMemory& before = {})
{
    EXPECT_GE(1024 * told, held.bytes - before.bytes);
    EXPECT_LE(static_cast<double>(told), 1.05 * static_cast<double>(held.kilobytes - before.kilobytes) + 1.0);
}

constexpr std::int64_t megabytes(std::int64_t kilobytes)
{
    return (kilobytes + 1023) / 1024;
}

bool mayPerturbPivots(int mtype)
{
    return classOf(mtype) == MatrixClass::Unsymmetric || classOf(mtype) == MatrixClass::Indefinite;
}

/// Analysis, factorization and solve, watched, with the parameters that `prepare` sets. Where pivots might
/// have been perturbed, the solve is one with a factor in which some were.
template <class T, class Prepare>
void expectHonestFigures(const System<T>& system, int sides, const Prepare& prepare)
{
    MemoryWatch watch;
    SolveCall<T> call(system, sides);
    prepare(call);
    ASSERT_EQ(call.run(11), 0);
    const HeldMemory kept = watch.held(), analysis = watch.peak();
    watch.restartPeak();
    ASSERT_EQ(call.run(22), 0);
    if (mayPerturbPivots(system.mtype)) call.set(14, 1);
    call.run(33); // how an iteration or a refinement ends is not the question
    const HeldMemory numeric = watch.peak();
    {
        SCOPED_TRACE("iparm(15)");
        expectTold(call.iparm(15), analysis);
    }
    {
        SCOPED_TRACE("iparm(16)");
        expectTold(call.iparm(16), kept);
    }
    {
        SCOPED_TRACE("iparm(17)");
        expectTold(call.iparm(17), numeric, kept);
    }
    const std::int64_t inCore = std::int64_t{call.iparm(16)} + call.iparm(17);
    EXPECT_EQ(call.iparm(61), megabytes(std::max<std::int64_t>(call.iparm(15), inCore)));
    EXPECT_EQ(call.iparm(62), megabytes(call.iparm(16)));
    EXPECT_GE(call.iparm(63), call.iparm(62));
}

/// All orderings, one thread and two, one right-hand side and several.
template <class T>
void expectHonestFigures(const SquarePattern& pattern, const std::vector<int>& orderings)
{
    for (const int mtype : typesFor<T>()) {
        for (const bool matches : {false, true}) {
            if (matches && !mayPerturbPivots(mtype)) continue;
            const System<T> system = systemFor<T>(pattern, mtype, matches);
            for (const int ordering : orderings) {
                for (const int threads : {1, 2}) {
                    std::ostringstream trace;
                    trace << "type " << mtype << (matches ? ", matched" : "") << ", ordering " << ordering
                          << ", threads " << threads << ", bytes of an element " << sizeof(T);
                    SCOPED_TRACE(trace.str());
                    const ThreadSetting setting(threads);
                    const int sides = std::vector{1, 3, 20}[static_cast<std::size_t>(ordering + threads) % 3];
                    expectHonestFigures(system, sides, [&](SolveCall<T>& call) {
                        call.set(2, ordering);
                        call.set(11, matches ? 1 : 0);
                        call.set(13, matches ? 1 : 0);
                    });
                }
            }
        }
    }
}

class MemoryForecastOfRealMatrices : public ::testing::TestWithParam<std::string> {};

TEST_P(MemoryForecastOfRealMatrices, IsWhatTheAllocatorsGive)
{
    const SquarePattern pattern = patternOf(dataFile(GetParam()));
    expectHonestFigures<double>(pattern, {0, 1, 2, 3});
    expectHonestFigures<std::complex<double>>(pattern, {0, 1, 2, 3});
    expectHonestFigures<float>(pattern, {2});
    expectHonestFigures<std::complex<float>>(pattern, {3});
}

/// All that there are.
std::vector<std::string> matrixFiles()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dataFile(""))) {
        const std::string name = entry.path().filename().string();
        if (name.find(".mtx") != std::string::npos) names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Data, MemoryForecastOfRealMatrices, ::testing::ValuesIn(matrixFiles()));

/// What a solve does after the substitution, by the parameters of the analysis.
struct Road {
    std::string name;
    std::vector<std::pair<int, int>> parameters;
};

TEST(MemoryForecast, FollowsTheRoadOfTheSolve)
{
    const SquarePattern pattern = patternOf(dataFile("sherman4.mtx"));
    const std::vector<Road> roads{
        {"refined", {{8, 2}}},
        {"in extended precision", {{8, -2}}},
        {"never refined", {{8, 2}, {26, 1}}},
        {"transposed", {{8, 2}, {12, 1}}},
        {"iterated, squared", {{4, 61}}},
        {"iterated", {{4, 62}}},
        {"diagonal pivots", {{21, 0}}},
    };
    for (const int mtype : typesFor<double>()) {
        const System<double> system = systemFor<double>(pattern, mtype, false);
        for (const Road& road : roads) {
            for (const int threads : {1, 2}) {
                SCOPED_TRACE(road.name + ", type " + std::to_string(mtype) + ", threads " +
                             std::to_string(threads));
                const ThreadSetting setting(threads);
                expectHonestFigures(system, 5, [&](SolveCall<double>& call) {
                    for (const auto& [slot, value] : road.parameters) call.set(slot, value);
                });
            }
        }
    }
}

TEST(MemoryForecast, GrowsWithTheMatrix)
{
    const auto path = [](int n) {
        SquarePattern pattern{n, {}};
        for (int i = 0; i + 1 < n; ++i) pattern.entries.emplace_back(i, i + 1);
        return heavySystem<double>(pattern, 1, [](int i) { return i; });
    };
    SolveCall<double> small(path(3000)), large(path(300000));
    ASSERT_EQ(small.run(11), 0);
    ASSERT_EQ(large.run(11), 0);
    for (const int figure : {15, 16, 17})
        EXPECT_NEAR(static_cast<double>(large.iparm(figure)) / small.iparm(figure), 100.0, 10.0) << figure;
}

TEST(MemoryForecast, CountsTheTableOfFactors)
{
    const MemoryWatch watch;
    SolveCall<double> call(systemFor<double>(patternOf(dataFile("west0479.mtx")), 11, false));
    call.maxfct = 5000;
    ASSERT_EQ(call.run(11), 0);
    EXPECT_GT(call.iparm(16), 48 * 5000 / 1024);
    expectTold(call.iparm(16), watch.held());
}

TEST(MemoryForecast, OfALiveHandleIsThatOfAFreshOne)
{
    SolveCall<double> call(systemFor<double>(patternOf(dataFile("west0479.mtx")), 11, false));
    ASSERT_EQ(call.run(13), 0);
    const std::vector<int> first{call.iparm(15), call.iparm(16), call.iparm(17)};
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ((std::vector<int>{call.iparm(15), call.iparm(16), call.iparm(17)}), first);
}

/// A full matrix: panels of 128 columns, that of the first column the largest.
TEST(MemoryForecast, LeastOutOfCoreIsTwoPanelsAndTheWork)
{
    constexpr int n = 800;
    SquarePattern full{n, {}};
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) full.entries.emplace_back(i, j);
    }
    const ThreadSetting setting(1);
    SolveCall<double> call(heavySystem<double>(full, 1, [](int i) { return i; }));
    ASSERT_EQ(call.run(11), 0);
    const double panels = 8.0 * 128 * (n + (n - 128)); // L and, without the diagonal block, U
    const double exchanges = 4.0 * 2 * n;
    const double rows = 4.0 * n * 2; // indices of a panel's and of an update's
    const double update = 8.0 * 128 * ((4 * 128 + 4 * 8 + 48) + 4 * 128); // packed products, and scaled rows
    const double least = 1024.0 * call.iparm(16) + 2 * panels + exchanges + rows + update;
    EXPECT_GE(call.iparm(63), least / (1 << 20));
    EXPECT_LE(call.iparm(63), 1.05 * least / (1 << 20) + 1.0);
    EXPECT_LT(call.iparm(63), call.iparm(61));
}

TEST(MemoryForecast, IsTheLargestNumberWhereNoneIsLargeEnough)
{
    constexpr int most = std::numeric_limits<int>::max();
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        SolveCall<double> call(systemFor<double>(patternOf(dataFile("west0479.mtx")), 11, false));
        call.nrhs = most;
        ASSERT_EQ(call.run(11), 0);
        EXPECT_EQ(call.iparm(17), most);
        const std::int64_t vectors = std::int64_t{8} * call.A.n * most;
        EXPECT_GE(call.iparm(61), vectors >> 20);
        EXPECT_GE(call.iparm(63), vectors >> 20);
        call.nrhs = 1;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
