// Run by mpirun: every rank runs every test, and all of them in the same order. What one machine finds of the
// same matrix is the measure.

#include <distributed/distributed_system.h>
#include <distributed/market_part.h>

#include <tests/support/files.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmar::Lintrix::Distributed {
namespace {

using Complex = std::complex<double>;

const Agreement& world()
{
    static const Agreement all(MPI_COMM_WORLD);
    return all;
}

template <class Work>
std::string failureOf(Work work)
try {
    work();
    return "";
} catch (const DistributedFailure& failure) {
    return failure.what();
}

template <class Cell>
OwnRows<Cell> rowsOf(const std::string& file, bool& symmetric)
{
    const MatrixMarketHeader header = headerOf(world(), file);
    symmetric = header.symmetry == MatrixMarketSymmetry::Symmetric;
    return rowsFrom(world(), RowLayout::even(header.rows, world().ranks()),
                    readEntries<Cell>(world(), header, isCompressed(world(), file)));
}

/// The answer for b = A*1.
template <class Cell>
DistributedAnswer<Cell> answerFor(const std::string& name)
{
    bool symmetric = false;
    OwnRows<Cell> rows = rowsOf<Cell>(testing::dataFile(name), symmetric);
    const std::vector<Cell> ones(static_cast<std::size_t>(rows.Count()), Cell(1.0));
    DistributedSystem<Cell> system(MPI_COMM_WORLD, std::move(rows), {.symmetric = symmetric});
    return system.SolveKnown(ones);
}

template <class Cell, class Block>
SystemAnswer<Cell> onOneMachine(const Block& A, std::int32_t n)
{
    LinearSystem<Cell> system(A);
    detail::MatrixOf<Cell> ones(n, 1);
    std::fill_n(reinterpret_cast<Cell*>(ones.DataPtr()), n, Cell(1.0));
    return system.SolveKnown(ones);
}

/// Of two estimates of a condition number each may be too small by a factor.
void expectSameSize(std::optional<double> found, std::optional<double> expected)
{
    ASSERT_TRUE(found && expected);
    EXPECT_LT(*found, 10.0 * *expected);
    EXPECT_GT(*found, 0.1 * *expected);
}

template <class Cell>
void expectAsOnOneMachine(const DistributedAnswer<Cell>& found, const SystemAnswer<Cell>& expected)
{
    EXPECT_EQ(found.told.verdict, expected.verdict);
    EXPECT_LE(*found.told.residual, 1e-14);
    EXPECT_LE(*found.told.knownError, 1e-6);
    for (const Cell& cell : found.x) EXPECT_LE(std::abs(cell - 1.0), 1e-6);
    expectSameSize(found.told.condition, expected.condition);
}

/// Of n equations 2*x_i + x_(i+1) = b_i, those of this rank.
OwnRows<double> bidiagonal(std::int32_t n, std::int32_t first, std::int32_t count)
{
    OwnRows<double> rows{n, first};
    for (std::int32_t i = first; i < first + count; ++i) {
        rows.columns.push_back(i);
        rows.values.push_back(2.0);
        if (i + 1 < n) {
            rows.columns.push_back(i + 1);
            rows.values.push_back(1.0);
        }
        rows.starts.push_back(static_cast<std::int64_t>(rows.values.size()));
    }
    return rows;
}

TEST(Agreement, TheFailureOfOneRankIsThatOfAll)
{
    const int last = world().ranks() - 1;
    const auto fail = [&] {
        world().reach([&] {
            if (world().rank() == last) throw std::runtime_error("no luck");
        });
    };
    EXPECT_EQ(failureOf(fail), "no luck");
    EXPECT_EQ(failureOf([] { world().reach([] {}); }), "");
}

TEST(Agreement, OfSeveralFailuresThatOfTheLowestRankIsTold)
{
    const auto fail = [] {
        world().reach([] { throw std::runtime_error("rank " + std::to_string(world().rank())); });
    };
    EXPECT_EQ(failureOf(fail), "rank 0");
}

TEST(Agreement, MissingMemoryIsToldWithItsRank)
{
    const int last = world().ranks() - 1;
    const auto fail = [&] {
        world().reach([&] {
            if (world().rank() == last) throw std::bad_alloc();
        });
    };
    EXPECT_EQ(failureOf(fail), "there is not enough memory on rank " + std::to_string(last));
}

TEST(RowLayout, EachRowHasOneOwnerAlsoOfFewerRowsThanRanks)
{
    for (const std::int32_t n : {1, 2, 3, 100}) {
        const RowLayout layout = RowLayout::even(n, 7);
        for (std::int32_t row = 0; row < n; ++row) {
            const int owner = layout.ownerOf(row);
            EXPECT_GE(row, layout.first(owner));
            EXPECT_LT(row, layout.first(owner) + layout.count(owner));
        }
    }
}

TEST(RowsFrom, EntriesAtOnePlaceAreAddedUp)
{
    const std::int32_t n = 5;
    const RowLayout layout = RowLayout::even(n, world().ranks());
    std::vector<Entry<double>> entries;
    for (std::int32_t i = n - 1; i >= 0; --i) entries.push_back({i, 4 - i, 1.0 + i});
    const OwnRows<double> rows = rowsFrom(world(), layout, entries);
    EXPECT_EQ(rows.Count(), layout.count(world().rank()));
    ASSERT_EQ(rows.values.size(), static_cast<std::size_t>(rows.Count()));
    for (std::int32_t i = 0; i < rows.Count(); ++i) {
        const auto at = static_cast<std::size_t>(i);
        EXPECT_EQ(rows.columns[at], 4 - (rows.first + i));
        EXPECT_EQ(rows.values[at], world().ranks() * (1.0 + rows.first + i));
    }
}

TEST(Residual, IsThatOfTwiceTheWorkingPrecision)
{
    const double big = 0x1p60;
    const OwnRows<double> A{3, 0, {0, 3}, {0, 1, 2}, {big, 1.0, -big}};
    const double b = 0.0, x[] = {1.0, 0x1p-30, 1.0};
    const OwnResidual<double> found = residualOf(A, 1, &b, x);
    EXPECT_EQ(found.r[0], -0x1p-30);
    EXPECT_EQ(found.w[0], 2.0 * big);
}

TEST(DistributedSystem, AnswersAsOneMachineDoesInRealNumbers)
{
    for (const std::string name : {"b1_ss.mtx", "lnsp_131.mtx", "west0156.mtx", "bcsstk04.mtx", "662_bus.mtx",
                                   "sherman4.mtx", "bfw782a.mtx.gz"}) {
        SCOPED_TRACE(name);
        const SparseMatrix A = ReadMatrixMarket(testing::dataFile(name));
        expectAsOnOneMachine(answerFor<double>(name), onOneMachine<double>(A, A.Rows()));
    }
}

TEST(DistributedSystem, AnswersAsOneMachineDoesInComplexNumbers)
{
    for (const std::string name :
         {"ybus_118.mtx", "qc324.mtx.gz", "young1c.mtx.gz", "yherm_1354pegase.mtx.gz"}) {
        SCOPED_TRACE(name);
        const CSparseMatrix A = ReadMatrixMarketComplex(testing::dataFile(name));
        expectAsOnOneMachine(answerFor<Complex>(name), onOneMachine<Complex>(A, A.Rows()));
    }
}

TEST(DistributedSystem, ASingularMatrixHasNoSolution)
{
    for (const std::string name : {"bcsstm01.mtx", "jgl011.mtx"}) {
        SCOPED_TRACE(name);
        const DistributedAnswer<double> answer = answerFor<double>(name);
        EXPECT_EQ(answer.told.verdict, Verdict::Failed);
        EXPECT_FALSE(answer.told.reason.empty());
        EXPECT_EQ(answer.told.complaint, "there is no good solution: " + answer.told.reason);
    }
}

TEST(DistributedSystem, AnySizeAndAnyLayoutWillDo)
{
    for (const std::int32_t n : {1, 2, 3, 7}) {
        for (const int owner : {0, world().ranks() - 1}) {
            SCOPED_TRACE(n);
            const bool mine = world().rank() == owner;
            const std::int32_t first = world().rank() <= owner ? 0 : n;
            DistributedSystem<double> system(MPI_COMM_WORLD, bidiagonal(n, first, mine ? n : 0));
            std::vector<double> b(mine ? static_cast<std::size_t>(2 * n) : 0, 3.0);
            if (mine) b[static_cast<std::size_t>(n) - 1] = b.back() = 2.0;
            const DistributedAnswer<double> answer = system.Solve(b, 2);
            EXPECT_EQ(answer.told.verdict, Verdict::Accurate) << answer.told.reason;
            EXPECT_EQ(answer.told.columns.size(), 2U);
            EXPECT_EQ(answer.x, std::vector<double>(b.size(), 1.0));
        }
    }
}

TEST(DistributedSystem, TheFactorServesOtherRightHandSides)
{
    const RowLayout layout = RowLayout::even(20, world().ranks());
    const std::int32_t first = layout.first(world().rank()), count = layout.count(world().rank());
    DistributedSystem<double> system(MPI_COMM_WORLD, bidiagonal(20, first, count));
    for (const double scale : {1.0, -3.0, 0.0}) {
        std::vector<double> b(static_cast<std::size_t>(count), 3.0 * scale);
        if (count > 0 && first + count == 20) b.back() = 2.0 * scale;
        const DistributedAnswer<double> answer = system.Solve(b);
        EXPECT_EQ(answer.told.verdict, Verdict::Accurate) << answer.told.reason;
        EXPECT_EQ(answer.x, std::vector<double>(b.size(), scale));
    }
}

TEST(DistributedSystem, ARightHandSideThatIsNotFiniteFailsAlone)
{
    const std::int32_t n = world().ranks();
    DistributedSystem<double> system(MPI_COMM_WORLD, bidiagonal(n, world().rank(), 1));
    std::vector<double> b{2.0, 2.0};
    if (world().rank() == n - 1) b[0] = std::numeric_limits<double>::quiet_NaN();
    const DistributedAnswer<double> answer = system.Solve(b, 2);
    EXPECT_EQ(answer.told.verdict, Verdict::Failed);
    EXPECT_EQ(answer.told.columns[0].reason, "the right-hand side is not finite");
    EXPECT_EQ(answer.told.columns[1].verdict, Verdict::Accurate);
}

TEST(DistributedSystem, BadRowsOfOneRankFailOnAll)
{
    const std::int32_t n = world().ranks(), rank = world().rank();
    const auto withLast = [&](auto spoil) {
        return failureOf([&] {
            OwnRows<double> rows = bidiagonal(n, rank, 1);
            if (rank == n - 1) spoil(rows);
            const DistributedSystem<double> system(MPI_COMM_WORLD, rows);
        });
    };
    EXPECT_EQ(withLast([](auto& rows) { rows.columns.back() = rows.size; }),
              "An entry lies outside the matrix");
    EXPECT_EQ(withLast([](auto& rows) { rows.columns.back() = -1; }), "An entry lies outside the matrix");
    EXPECT_EQ(withLast([](auto& rows) { rows.values.back() = NAN; }),
              "An element of the matrix is not finite");
    EXPECT_EQ(withLast([](auto& rows) { rows.starts.back() = 9; }),
              "The starts of the rows do not fit the entries");
    EXPECT_NE(withLast([](auto& rows) { rows.first += 1; }), "");
}

TEST(DistributedSystem, RightHandSidesOfAnotherLengthFailOnAll)
{
    DistributedSystem<double> system(MPI_COMM_WORLD, bidiagonal(world().ranks(), world().rank(), 1));
    const std::vector<double> b(world().rank() == 0 ? 2 : 1, 1.0);
    EXPECT_EQ(failureOf([&] { system.Solve(b); }),
              "A rank brings other rows of a right-hand side than of the matrix");
}

TEST(DistributedSystem, TellsTheVectorsOfASolve)
{
    const std::int32_t n = world().ranks();
    const DistributedSystem<double> system(MPI_COMM_WORLD, bidiagonal(n, world().rank(), 1));
    EXPECT_EQ(system.VectorBytes(), 8.0 * n * 4 * 2);
    EXPECT_EQ(system.VectorBytes(9), 8.0 * n * 4 * 10);
}

TEST(DistributedSystem, MoreThanTheMemoryAllowedIsNotBegun)
{
    DistributedSystem<double> system(MPI_COMM_WORLD, bidiagonal(world().ranks(), world().rank(), 1),
                                     {.memory = 10.0});
    ASSERT_TRUE(system.Forecast());
    EXPECT_GT(system.Forecast()->bytesLargest, 10.0);
    EXPECT_THAT(
        failureOf([&] { system.Solve(std::vector<double>(1, 1.0)); }),
        ::testing::MatchesRegex("the factorization takes .* MB on rank 0, and 0.0 MB are allowed there"));
}

TEST(EngineFault, IsToldInWords)
{
    EXPECT_EQ(engineFaultInWords(-10, 3), "the matrix is singular");
    EXPECT_EQ(engineFaultInWords(-13, 7),
              "there is not enough memory for the analysis or the factor on one of the ranks");
    EXPECT_EQ(engineFaultInWords(-90, 7), "the distributed solver failed with code -90, 7");
}

} // namespace
} // namespace Velmar::Lintrix::Distributed

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    ::testing::InitGoogleMock(&argc, argv);
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
    if (rank != 0) delete listeners.Release(listeners.default_result_printer());
    int failed = RUN_ALL_TESTS();
    MPI_Allreduce(MPI_IN_PLACE, &failed, 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    MPI_Finalize();
    return failed;
}
