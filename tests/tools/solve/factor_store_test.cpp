// Where factors go for which memory has no room.

#include <tests/support/sanitized.h>
#include <tools/solve/factor_files.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr double kMegabyte = 1048576.0;

/// Five points on a square.
SparseMatrix grid(std::int32_t side)
{
    const std::int32_t n = side * side;
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric});
    for (std::int32_t i = 0; i < n; ++i) {
        entries.Add(i, i, 4.5);
        if (i % side + 1 < side) entries.Add(i, i + 1, -1.0);
        if (i + side < n) entries.Add(i, i + side, -1.0);
    }
    return entries.Assemble();
}

/// Where the command puts factors that memory has no room for.
SystemOptions inFolders()
{
    SystemOptions options;
    options.ordering = FillInReducingMethod::MinimumDegree;
    options.openPlace = [](double left) { return std::make_unique<FactorFiles>(std::nullopt, left); };
    return options;
}

SystemForecast forecastOf(const SparseMatrix& A)
{
    return LinearSystem(A, inFolders()).Forecast();
}

SystemAnswer<double> solved(const SparseMatrix& A, const SystemOptions& options)
{
    Matrix ones(A.Rows(), 1);
    for (std::int32_t i = 0; i < A.Rows(); ++i) ones(i, 0) = 1.0;
    SystemAnswer<double> answer = LinearSystem(A, options).SolveKnown(ones);
    EXPECT_LT(answer.knownError.value_or(1.0), 1e-6) << answer.reason;
    return answer;
}

void expectAccurate(const SystemAnswer<double>& answer, std::string_view road)
{
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_EQ(answer.road, road);
}

struct Told {
    SystemOptions options = inFolders();
    std::vector<std::pair<double, double>> told{}; ///< what a factor needs, and what is left

    explicit Told(double left)
    {
        options.memoryLeft = [left] { return left; };
        options.goesToFiles = [this](double needed, double has) { told.emplace_back(needed, has); };
    }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;
};

TEST(FactorStore, IsMemoryAsLongAsThereIsRoom)
{
    const SparseMatrix A = grid(120);
    Told told(forecastOf(A).bytesInMemory);
    const SystemAnswer<double> answer = solved(A, told.options);
    expectAccurate(answer, "sparse Cholesky");
    EXPECT_EQ(answer.store, FactorStore::Memory);
    EXPECT_EQ(answer.coreMegabytes, 0);
    EXPECT_THAT(told.told, IsEmpty());
}

TEST(FactorStore, IsFilesWhereMemoryHasNoRoom)
{
    const SparseMatrix A = grid(240);
    const double left = forecastOf(A).bytesInMemory - 1.0;
    ASSERT_LE(forecastOf(A).bytesWithFiles, 0.75 * left - kMegabyte);
    Told told(left);
    const SystemAnswer<double> answer = solved(A, told.options);
    expectAccurate(answer, "sparse Cholesky");
    EXPECT_EQ(answer.store, FactorStore::Files);
    EXPECT_EQ(answer.coreMegabytes, static_cast<int>(0.75 * left / kMegabyte));
    EXPECT_THAT(told.told, ElementsAre(std::pair(left + 1.0, left)));
}

/// While it lives, the process may map so many bytes more.
class AddressSpace {
public:
    explicit AddressSpace(double bytes)
    {
        std::int64_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &before_);
        const rlimit limited{static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE)) + static_cast<rlim_t>(bytes),
                             before_.rlim_max};
        setrlimit(RLIMIT_AS, &limited);
    }
    ~AddressSpace() { setrlimit(RLIMIT_AS, &before_); }
    AddressSpace(const AddressSpace&) = delete;
    AddressSpace& operator=(const AddressSpace&) = delete;

private:
    rlimit before_{};
};

TEST(FactorStore, IsFilesWhereTheAddressSpaceIsLimited)
{
    if (LINTRIX_SANITIZED_MEMORY) return; // no limit leaves it any room
    const SparseMatrix A = grid(200);
    const SystemOptions options = inFolders();
    EXPECT_EQ(solved(A, options).store,
              FactorStore::Memory); // threads and BLAS have their buffers by now
    const double buffers = static_cast<double>(BlasBufferBytes) * (TrellConfiguration::GetMaxThreads() - 1);
    const AddressSpace space(buffers + 0.97 * forecastOf(A).bytesInMemory);
    const SystemAnswer<double> answer = solved(A, options);
    expectAccurate(answer, "sparse Cholesky");
    EXPECT_EQ(answer.store, FactorStore::Files);
}

TEST(FactorStore, ThatHasNoRoomAtAllIsRefused)
{
    const SparseMatrix A = grid(120);
    Told told(1000.0);
    EXPECT_THROW(solved(A, told.options), OperationFailedException);
}

// Every road is taken to files that needs them; the line is told of the first.
TEST(FactorStore, OfALaterRoadIsFilesAsWell)
{
    SparseMatrix A = grid(120);
    A(0, 0) = -4.5;
    Told told(forecastOf(A).bytesInMemory - 1.0);
    told.options.type = MatrixType::PositiveDefinite;
    const SystemAnswer<double> answer = solved(A, told.options);
    expectAccurate(answer, "sparse LDL'");
    EXPECT_EQ(answer.store, FactorStore::Files);
    EXPECT_THAT(answer.tried,
                ElementsAre(MatchesRegex("sparse Cholesky: not positive definite, pivot [0-9]+")));
    EXPECT_EQ(told.told.size(), 1U);
}

} // namespace
} // namespace Velmar::Lintrix::testing
