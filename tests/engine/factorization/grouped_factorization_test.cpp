// Factors in files: bit for bit those of the factorization in memory, whatever room there is.

#include <lintrix/engine/factorization/grouped_factorization.h>
#include <lintrix/engine/out_of_core/out_of_core_settings.h>
#include <lintrix/engine/solution/panel_stream.h>

#include "tests/engine/factorization/factorization_case.h"
#include "tests/engine/out_of_core/out_of_core_handle.h"

namespace Velmar::Lintrix::testing {
namespace {

// A handle with its files in a folder of their own.
class HandleWithFiles {
public:
    HandleWithFiles()
    {
        environment_.set("PATH", folder_.at("factor"));
        environment_.set("KEEP_FILE", "0");
        owner_.configure();
        EXPECT_FALSE(createFactorFiles(owner_.handle));
    }
    ~HandleWithFiles() { removeFactorFiles(owner_.handle); }
    const Handle& handle() const { return owner_.handle; }

private:
    testing::Scratch folder_;
    OutOfCoreEnvironment environment_;
    OutOfCoreHandle owner_;
};

template <class T>
class GroupedFactorizations : public ::testing::Test {
protected:
    static void expectSameBits(Method method, Kind kind, RealOf<T> diagonal)
    {
        const FactorRules rules{method, kind == Kind::Hermitian && kIsComplex<T>, 0.0};
        const std::vector<OwnedGraph> graphs{grid(1, 1), grid(1, 40), grid(9, 11), randomGraph(70, 240, 3),
                                             randomGraph(60, 20000, 3)}; // the last one complete
        for (const OwnedGraph& graph : graphs) {
            const TestMatrix<T> A(graph.view(), kind, diagonal, 17);
            for (const int width : {1, 4, 128}) {
                FactorizationCase<T> inMemory(graph.view(), A, rules, width, 1);
                const FactorResult expected = inMemory.factorizeIt();
                ASSERT_FALSE(expected.failure);
                // Threads and the part of the factor that there is room for, the least included.
                for (const auto& [threads, share] :
                     {std::pair{1, 1}, {1, 3}, {1, 1 << 30}, {2, 3}, {3, 11}}) {
                    FactorizationCase<T> c(graph.view(), A, rules, width, threads);
                    const FactorResult result = throughFiles(c, share);
                    ASSERT_FALSE(result.failure) << result.failure.internal;
                    EXPECT_EQ(result.pivots.positive, expected.pivots.positive);
                    EXPECT_EQ(result.pivots.negative, expected.pivots.negative);
                    EXPECT_EQ(result.pivots.perturbed, expected.pivots.perturbed);
                    EXPECT_TRUE(c.hasBitsOf(inMemory))
                        << "n " << graph.view().vertices() << ", width " << width << ", threads " << threads
                        << ", share " << share;
                }
            }
        }
    }

    // Factorizes with the panels in files, in a part of the room that they need together, and reads them all
    // back into the vectors of the case.
    static FactorResult throughFiles(FactorizationCase<T>& c, int share)
    {
        const HandleWithFiles files;
        const FactorPlan plan = c.plan();
        const std::int64_t all = static_cast<std::int64_t>(c.lower.size() + c.upper.size());
        OpenFactorFiles open;
        EXPECT_FALSE(open.open(files.handle(), FileStep::Factorization));
        FactorStore<T> store(plan, open, 1);
        EXPECT_FALSE(store.allocate());
        const PanelSchedule schedule = PanelSchedule::ofFactorization(plan, all / share);
        const auto room = detail::engine::Scratch<T>::uninitialised(roomOf<T>(schedule));
        const FactorResult result = factorizeInGroups<T>(plan, c.rules, c.A.values.data(), c.factor(), store,
                                                         schedule, room.get(), {});
        if (result.failure) return result;
        EXPECT_FALSE(store.writeTables(c.factor()));
        readBack(c, files.handle());
        return result;
    }

    static void readBack(FactorizationCase<T>& c, const Handle& handle)
    {
        const FactorPlan plan = c.plan();
        std::fill(c.rowExchange.begin(), c.rowExchange.end(), 0);
        std::fill(c.columnExchange.begin(), c.columnExchange.end(), 0);
        OpenFactorFiles open;
        EXPECT_FALSE(open.open(handle, FileStep::Solve));
        FactorStore<T> store(plan, open, 1);
        EXPECT_FALSE(store.allocate());
        EXPECT_FALSE(store.readTables(c.factor()));
        const PanelPiece all{{0, plan.structure.supernodes() - 1}};
        for (const Halves halves : {Halves::Both, Halves::Block}) {
            SumBalance balance;
            EXPECT_FALSE(store.read(all, c.factor(), halves, balance));
            EXPECT_FALSE(store.judge(balance));
        }
    }
};

using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(GroupedFactorizations, Scalars);

TYPED_TEST(GroupedFactorizations, CompletePivotingHasTheBitsOfMemory)
{
    this->expectSameBits(Method::CompletePivoting, Kind::Unsymmetric, 3);
}
TYPED_TEST(GroupedFactorizations, RowPivotingHasTheBitsOfMemory)
{
    this->expectSameBits(Method::RowPivoting, Kind::Unsymmetric, 30);
}
TYPED_TEST(GroupedFactorizations, CholeskyHasTheBitsOfMemory)
{
    this->expectSameBits(Method::Cholesky, Kind::Hermitian, 100);
}
TYPED_TEST(GroupedFactorizations, DiagonalPivotingHasTheBitsOfMemory)
{
    this->expectSameBits(Method::DiagonalPivoting, Kind::Symmetric, -30);
    this->expectSameBits(Method::DiagonalPivoting, Kind::Hermitian, 30);
}
TYPED_TEST(GroupedFactorizations, BunchKaufmanHasTheBitsOfMemory)
{
    this->expectSameBits(Method::BunchKaufman, Kind::Symmetric, 3);
    this->expectSameBits(Method::BunchKaufman, Kind::Hermitian, -3);
}

} // namespace
} // namespace Velmar::Lintrix::testing
