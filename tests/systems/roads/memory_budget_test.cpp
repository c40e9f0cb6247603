// A system within a budget: what it holds at most, and what is said of one that is too small.

#include <tests/support/files.h>
#include <tests/support/memory_watch.h>
#include <tests/support/thread_setting.h>
#include <tests/systems/grids.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <complex>
#include <cstdlib>
#include <random>
#include <regex>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;

constexpr double kMegabyte = 1048576.0;

template <class Cell>
using Block = std::conditional_t<std::is_same_v<Cell, double>, Matrix, CMatrix>;

class MemoryBudget : public ::testing::Test {
protected:
    MemoryBudget() { setenv("MKL_PARDISO_OOC_PATH", folder_.at("factor").c_str(), 1); }
    ~MemoryBudget() override { unsetenv("MKL_PARDISO_OOC_PATH"); }

    static SystemOptions within(double megabytes)
    {
        SystemOptions options;
        options.memoryBudget = megabytes * kMegabyte;
        options.ordering = FillInReducingMethod::MinimumDegree;
        return options;
    }

    template <class A>
    static auto rightSideOf(const A& matrix)
    {
        using Cell = std::decay_t<decltype(matrix(0, 0))>;
        return spread<std::conditional_t<std::is_same_v<Cell, double>, Matrix, CMatrix>>(matrix.Rows(), 1);
    }

    /// What a solve says of the figures that it needs: in memory, and with files, in megabytes.
    template <class A>
    static std::pair<double, double> needed(const A& matrix)
    {
        try {
            LinearSystem(matrix, within(0.5)).Solve(rightSideOf(matrix));
        } catch (const OperationFailedException& failure) {
            const std::string text = failure.what();
            std::smatch found;
            const std::regex form(
                "The memory budget of 0 MB is too small: the system takes (\\d+) MB in memory"
                "(?:, (\\d+) MB with its factor in files)?\\.");
            if (std::regex_match(text, found, form))
                return {std::stod(found[1]), found[2].matched ? std::stod(found[2]) : 0.0};
            ADD_FAILURE() << text;
        }
        return {};
    }

    template <class Cell>
    static void expectWithin(const SparseFor<Cell>& A, double megabytes, FactorStore store)
    {
        const Block<Cell> B = spread<Block<Cell>>(A.Rows(), 1);
        const MemoryWatch watch;
        LinearSystem system(A, within(megabytes));
        for (int turn = 0; turn < 2; ++turn) {
            const auto answer = system.Solve(B);
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
            EXPECT_EQ(answer.store, store);
        }
        EXPECT_LE(static_cast<double>(watch.peak().bytes), megabytes * kMegabyte);
    }

    template <class Cell>
    static void expectFigures(std::int32_t side, GridKind kind)
    {
        const SparseFor<Cell> A = grid<Cell>(side, kind);
        const auto [inMemory, withFiles] = needed(A);
        ASSERT_GT(withFiles, 1.0);
        ASSERT_GT(inMemory, withFiles + 2.0);
        expectWithin<Cell>(A, inMemory, FactorStore::Memory);
        expectWithin<Cell>(A, inMemory - 2.0, FactorStore::Files);
        expectWithin<Cell>(A, withFiles, FactorStore::Files);
        EXPECT_THROW(LinearSystem(A, within(withFiles - 1.0)).Solve(rightSideOf(A)),
                     OperationFailedException);
    }

    Scratch folder_;
    ThreadSetting threads_{2, 0};
};

TEST_F(MemoryBudget, HoldsByItsFigures)
{
    expectFigures<double>(150, GridKind::Positive);
    expectFigures<double>(170, GridKind::Convective);
    expectFigures<Complex>(140, GridKind::Convective);
}

/// A grid whose diagonal is small, and dense rows and columns with a zero block at its border: pivots within
/// panels come to nothing by the dozen.
SparseMatrix borderedGrid(std::int32_t side, std::int32_t border)
{
    const std::int32_t n = side * side;
    std::mt19937 generator(7);
    const auto next = [&generator] { return generator() / 2147483648.0 - 1.0; };
    SparseAssembler entries(n + border, n + border);
    for (std::int32_t p = 0; p < n; ++p) {
        entries.Add(p, p, 0.4);
        for (const std::int32_t q : {(p + 1) % side != 0 ? p + 1 : n, p + side}) {
            if (q >= n) continue;
            entries.Add(p, q, -1.0);
            entries.Add(q, p, -1.0);
        }
        for (std::int32_t k = n; k < n + border; ++k) {
            const double value = next();
            entries.Add(p, k, value);
            entries.Add(k, p, 1.5 * value);
        }
    }
    return entries.Assemble();
}

// Pivots that wait need memory for their fronts; raised ones need no more than those that were not enough.
TEST_F(MemoryBudget, RaisedPivotsSolveWhereThoseThatWaitHaveNoRoom)
{
    const SparseMatrix A = borderedGrid(100, 20);
    const Matrix B = rightSideOf(A);
    SystemOptions options = within(1000.0);
    EXPECT_EQ(LinearSystem(A, options).Solve(B).road, "sparse LU with delayed pivots");
    const double least = needed(A).second;
    const SystemAnswer<double> answer = LinearSystem(A, within(least + 2.0)).Solve(B);
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_EQ(answer.road, "sparse LU with raised pivots");
    EXPECT_THAT(answer.tried, ::testing::Contains(::testing::StartsWith(
                                  "sparse LU with delayed pivots: its factors would have")));
}

TEST_F(MemoryBudget, IsRefusedBeforeAnyFactorization)
{
    const SparseMatrix A = grid<double>(100, GridKind::Positive);
    LinearSystem system(A, within(1.0));
    EXPECT_THROW(system.Factorize(), OperationFailedException);
    EXPECT_EQ(system.Factorizations(), 0);
    EXPECT_THAT(folder_.names(), ::testing::IsEmpty());
}

TEST_F(MemoryBudget, CountsRightHandSides)
{
    const SparseMatrix A = grid<double>(100, GridKind::Positive);
    LinearSystem system(A, within(needed(A).first));
    const SystemAnswer<double> one = system.Solve(spread<Matrix>(A.Rows(), 1));
    EXPECT_EQ(one.verdict, Verdict::Accurate);
    EXPECT_THROW(system.Solve(spread<Matrix>(A.Rows(), 200)), OperationFailedException);
    EXPECT_EQ(system.Solve(spread<Matrix>(A.Rows(), 1)).verdict, Verdict::Accurate);
    EXPECT_EQ(system.Factorizations(), 1) << "the factor is kept";
}

TEST_F(MemoryBudget, OfOtherShapes)
{
    const SparseMatrix tall = strip<double>(40000, 20000);
    EXPECT_GT(needed(tall).first, 5.0);
    expectWithin<double>(tall, needed(tall).first, FactorStore::Memory);
    const Matrix dense = spread<Matrix>(500, 500);
    EXPECT_EQ(needed(dense).second, 0.0);
    EXPECT_GE(needed(dense).first, 4.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
