// The same bits of every answer with any number of threads in force: of the engine, and of whole systems.

#include <lintrix/lintrix.h>

#include "tests/engine/engine_call.h"
#include "tests/systems/grids.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;

constexpr int kThreadCounts[] = {1, 2, 3, 7, 16, 20};

bool sameBits(const std::vector<double>& x, const std::vector<double>& y)
{
    return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0;
}

std::vector<double> cellsOf(const Matrix& X)
{
    std::vector<double> cells;
    for (std::int32_t j = 0; j < X.Cols(); ++j)
        for (std::int32_t i = 0; i < X.Rows(); ++i) cells.push_back(X(i, j));
    return cells;
}

std::vector<double> cellsOf(const CMatrix& X)
{
    std::vector<double> cells;
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        for (std::int32_t i = 0; i < X.Rows(); ++i) {
            const Complex cell = X(i, j);
            cells.insert(cells.end(), {cell.real(), cell.imag()});
        }
    }
    return cells;
}

/// answer() with each number of threads: a vector of numbers that has to be the same every time.
template <class Answer>
void expectSameBits(const Answer& answer)
{
    std::vector<double> first;
    for (const int threads : kThreadCounts) {
        const ThreadSetting setting(threads);
        const std::vector<double> now = answer();
        if (first.empty()) first = now;
        ASSERT_FALSE(now.empty());
        EXPECT_TRUE(sameBits(first, now)) << threads << " threads";
    }
}

struct EngineCase {
    int mtype, ordering, sides;
};

class EngineSameBits : public ::testing::TestWithParam<EngineCase> {};

TEST_P(EngineSameBits, OfFactorAndSolve)
{
    const EngineCase& tested = GetParam();
    expectSameBits([&] {
        const SameBitsScope scope;
        EngineCall call(gridMatrix(tested.mtype, 70, 5), tested.mtype);
        call.set(2, tested.ordering);
        call.set(8, 2);
        call.nrhs = tested.sides;
        const std::size_t cells = static_cast<std::size_t>(call.n * tested.sides) *
                                  (detail::engine::isComplex(tested.mtype) ? 2 : 1);
        call.b.assign(cells, 1.0);
        call.x.assign(cells, 0.0);
        EXPECT_EQ(call.run(13), 0);
        return call.x;
    });
}

std::vector<EngineCase> engineCases()
{
    std::vector<EngineCase> cases;
    for (const int mtype : {1, 2, -2, 3, 4, -4, 6, 11, 13})
        for (const int ordering : {0, 2, 3}) cases.push_back({mtype, ordering, ordering == 2 ? 19 : 1});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Types, EngineSameBits, ::testing::ValuesIn(engineCases()), [](const auto& tested) {
    const EngineCase& c = tested.param;
    return (c.mtype < 0 ? "minus" : "type") + std::to_string(std::abs(c.mtype)) + "ordering" +
           std::to_string(c.ordering);
});

template <class Cell>
class SystemSameBits : public ::testing::Test {
};
using Cells = ::testing::Types<double, Complex>;
TYPED_TEST_SUITE(SystemSameBits, Cells, );

SystemOptions withSameBits()
{
    SystemOptions options;
    options.sameBits = true;
    return options;
}

template <class Cell>
using DenseFor = std::conditional_t<std::is_same_v<Cell, double>, Matrix, CMatrix>;

TYPED_TEST(SystemSameBits, OfSquareSystems)
{
    for (const GridKind kind : {GridKind::Positive, GridKind::Convective, GridKind::ZeroDiagonal}) {
        const SparseFor<TypeParam> A = grid<TypeParam>(60, kind);
        for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::Transposed}) {
            expectSameBits([&] {
                LinearSystem<TypeParam> system(A, withSameBits());
                return cellsOf(system.Solve(spread<DenseFor<TypeParam>>(A.Rows(), 3), op).x.value());
            });
        }
    }
}

TYPED_TEST(SystemSameBits, OfRectangularSystems)
{
    for (const bool isTall : {true, false}) {
        const SparseFor<TypeParam> A = isTall ? strip<TypeParam>(3000, 400) : strip<TypeParam>(400, 3000);
        expectSameBits([&] {
            LinearSystem<TypeParam> system(A, withSameBits());
            return cellsOf(system.Solve(spread<DenseFor<TypeParam>>(A.Rows(), 2)).x.value());
        });
    }
}

TYPED_TEST(SystemSameBits, OfDenseSystems)
{
    DenseFor<TypeParam> A = spread<DenseFor<TypeParam>>(300, 300);
    for (std::int32_t i = 0; i < A.Rows(); ++i) A(i, i) = TypeParam(20.0 + i);
    expectSameBits([&] {
        LinearSystem<TypeParam> system(A, withSameBits());
        return cellsOf(system.Solve(spread<DenseFor<TypeParam>>(A.Rows(), 2)).x.value());
    });
}

// What is told of an answer is computed, too.
TEST(SystemSameBits, OfTheVerdict)
{
    const SparseMatrix A = grid<double>(60, GridKind::Convective);
    expectSameBits([&] {
        LinearSystem<double> system(A, withSameBits());
        const auto answer = system.Solve(spread<Matrix>(A.Rows(), 1));
        const ColumnQuality& column = answer.columns.front();
        return std::vector<double>{column.backwardError, column.componentwiseError, column.errorBound.value(),
                                   answer.condition.value(), answer.probeError.value()};
    });
}

} // namespace
} // namespace Velmar::Lintrix::testing
