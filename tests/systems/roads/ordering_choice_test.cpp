// The look at a graph that tells bodies from planes and networks, and the choice that follows from it.

#include <lintrix/systems/roads/ordering_choice.h>

#include <lintrix/systems/roads/node_graph.h>

#include <lintrix/sparse/sparse_assembler.h>

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A matrix in both of the storages that the solver takes.
class Stored {
public:
    explicit Stored(const SparseAssembler& entries) : system_(entries.Assemble()) {}

    EngineMatrix triangle() { return system_.As(MatrixType::Indefinite); }
    EngineMatrix whole() { return system_.As(MatrixType::Unsymmetric); }

private:
    SystemMatrix<double> system_;
};

/// Points of a grid joined to those around them, of which `reach` tells: the sum of the differences is at
/// most that. With `unknowns` at each of them.
Stored grid(int nx, int ny, int nz, int reach, int unknowns = 1)
{
    SparseAssembler entries(unknowns * nx * ny * nz, unknowns * nx * ny * nz);
    const auto inside = [](int i, int n) { return i >= 0 && i < n; };
    for (int p = 0; p < nx * ny * nz; ++p) {
        for (int k = 0; k < 27; ++k) {
            const int dx = k % 3 - 1, dy = k / 3 % 3 - 1, dz = k / 9 - 1;
            const int x = p % nx + dx, y = p / nx % ny + dy, z = p / nx / ny + dz;
            if (std::abs(dx) + std::abs(dy) + std::abs(dz) > reach) continue;
            if (!inside(x, nx) || !inside(y, ny) || !inside(z, nz)) continue;
            for (int m = 0; m < unknowns * unknowns; ++m)
                entries.Add(unknowns * p + m / unknowns, unknowns * (x + nx * (y + ny * z)) + m % unknowns,
                            1.0);
        }
    }
    return Stored(entries);
}

Stored network(std::int32_t size, std::int32_t edges)
{
    std::mt19937_64 generator(5);
    const auto any = [&] {
        return static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(size));
    };
    SparseAssembler entries(size, size);
    for (std::int32_t i = 0; i < size; ++i) entries.Add(i, i, 1.0);
    for (std::int32_t k = 0; k < edges; ++k) {
        const std::int32_t i = any(), j = any();
        entries.Add(i, j, 1.0);
        entries.Add(j, i, 1.0);
    }
    return Stored(entries);
}

TEST(NodeGraph, LevelsStopBeforeTheLimitIsPassed)
{
    Stored plane = grid(5, 5, 1, 1);
    for (const EngineMatrix& matrix : {plane.triangle(), plane.whole()}) {
        const NodeGraph graph(matrix);
        EXPECT_THAT(graph.levelsFrom(12, 12), ElementsAre(1, 4)) << "the next level has 8";
        EXPECT_THAT(graph.levelsFrom(12, 13), ElementsAre(1, 4, 8));
        EXPECT_THAT(graph.levelsFrom(12, 22), ElementsAre(1, 4, 8, 8));
        EXPECT_THAT(graph.levelsFrom(12, 25), IsEmpty()) << "there are no more than 25";
    }
}

TEST(NodeGraph, UnknownsWithTheSameNeighboursAreOneNode)
{
    Stored chain = grid(50, 1, 1, 1, 2);
    EXPECT_EQ(nodesOf(chain.whole()), 50);
    EXPECT_EQ(NodeGraph(chain.whole()).nodes(), 50);
    EXPECT_EQ(nodesOf(chain.triangle()), 49) << "the last one is taken for a part of the one before";
    EXPECT_THAT(NodeGraph(chain.whole()).levelsFrom(0, 3), ElementsAre(1, 1, 1));
}

TEST(NodeGraph, GrowthIsTheDimension)
{
    const auto growthOf = [](Stored matrix) {
        const double growth = NodeGraph(matrix.triangle()).growth();
        EXPECT_NEAR(NodeGraph(matrix.whole()).growth(), growth, 0.1);
        return growth;
    };
    EXPECT_NEAR(growthOf(grid(2000, 1, 1, 1)), 1.0, 0.01);
    EXPECT_NEAR(growthOf(grid(80, 80, 1, 1)), 2.0, 0.25);
    EXPECT_NEAR(growthOf(grid(80, 80, 1, 3)), 2.0, 0.25);
    EXPECT_NEAR(growthOf(grid(20, 20, 20, 1)), 2.75, 0.25);
    EXPECT_NEAR(growthOf(grid(15, 15, 15, 3)), 2.75, 0.25);
    EXPECT_NEAR(growthOf(grid(12, 12, 12, 3, 3)), 2.75, 0.25);
    EXPECT_LT(growthOf(grid(50, 50, 4, 1)), 2.4) << "a plate";
    EXPECT_LT(growthOf(grid(200, 6, 6, 1)), 1.6) << "a bar";
    EXPECT_GT(growthOf(network(5000, 12000)), 4.0);
}

TEST(NodeGraph, GrowthWithoutNeighboursOrWithAllOfThem)
{
    SparseAssembler star(300, 300), scattered(300, 300);
    for (int i = 0; i < 300; ++i) {
        scattered.Add(i, i, 1.0);
        star.Add(i, i, 1.0);
        star.Add(0, i, 1.0);
        star.Add(i, 0, 1.0);
    }
    scattered.Add(0, 1, 1.0);
    EXPECT_TRUE(std::isinf(NodeGraph(Stored(star).whole()).growth()));
    EXPECT_EQ(NodeGraph(Stored(scattered).whole()).growth(), 0.0);
}

bool isLargeBody(Stored matrix, int threads = 1)
{
    const bool whole = OrderingChoice(matrix.whole(), threads).isLargeBody();
    EXPECT_EQ(OrderingChoice(matrix.triangle(), threads).isLargeBody(), whole);
    return whole;
}

TEST(OrderingChoice, LargeBodiesAreDissectedAtOnce)
{
    EXPECT_TRUE(isLargeBody(grid(15, 15, 15, 3, 3)));
    EXPECT_TRUE(isLargeBody(grid(15, 15, 15, 3, 3), 100))
        << "threads share the order as well as the operations";
    EXPECT_FALSE(isLargeBody(grid(8, 8, 8, 3))) << "small";
    EXPECT_FALSE(isLargeBody(grid(40, 40, 3, 3, 3))) << "a plate";
    EXPECT_FALSE(isLargeBody(grid(70, 70, 1, 3, 3))) << "a plane";
    EXPECT_FALSE(isLargeBody(network(30000, 100000)));
}

TEST(OrderingChoice, UnsymmetricAndComplexEliminationsTakeMoreOperations)
{
    Stored cube = grid(22, 22, 22, 1);
    EngineMatrix matrix = cube.whole();
    const auto isBody = [&matrix](int mtype) {
        matrix.mtype = mtype;
        return OrderingChoice(matrix, 1).isLargeBody();
    };
    EXPECT_FALSE(isBody(11));
    EXPECT_FALSE(isBody(1));
    EXPECT_TRUE(isBody(13));
    EXPECT_TRUE(isBody(3));
}

TEST(OrderingChoice, DissectionPaysWhereOperationsAreManyBesideTheGraph)
{
    Stored chain = grid(100, 1, 1, 1); // the tridiagonal matrix
    const OrderingChoice one(chain.whole(), 1), two(chain.whole(), 2);
    EXPECT_EQ(one.nodes(), 100.0);
    EXPECT_EQ(one.elements(), 298.0);
    // 80000 operations a node and 12000 an element, against a third of those by minimum degree. A tenth of
    // the order is the work of one thread.
    EXPECT_FALSE(one.dissectionPays(0.0));
    EXPECT_FALSE(one.dissectionPays(0.0347));
    EXPECT_TRUE(one.dissectionPays(0.0348));
    EXPECT_FALSE(two.dissectionPays(0.0382));
    EXPECT_TRUE(two.dissectionPays(0.0383));
}

TEST(OrderingChoice, UnknownsOfOneNodeCountOnce)
{
    // Two unknowns a node, 50 nodes in a chain: 148 elements of nodes, in either storage.
    Stored chain = grid(50, 1, 1, 1, 2);
    EXPECT_EQ(OrderingChoice(chain.whole(), 1).elements(), 148.0);
    EXPECT_NEAR(OrderingChoice(chain.triangle(), 1).elements(), 148.0, 6.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
