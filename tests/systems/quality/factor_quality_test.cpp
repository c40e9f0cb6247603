// What a factor is worth: by how few solves, and which of them may have been made before.

#include <lintrix/systems/quality/factor_quality.h>

#include "tests/systems/quality/dense_factor.h"
#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

template <class T>
class FactorWorth : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(FactorWorth, CellTypes);

/// Solves, and counts how often.
template <class Cell>
LinearMap<Cell> counted(const LinearMap<Cell>& map, int& solves)
{
    const auto counting = [&solves](const auto& apply) {
        return [apply, &solves](std::int32_t columns, const Cell* x, Cell* y) {
            ++solves;
            apply(columns, x, y);
        };
    };
    return {map.rows, map.cols, counting(map.times), counting(map.adjointTimes)};
}

template <class Cell>
double largestColumnSum(const LinearMap<Cell>& map)
{
    double largest = 0.0;
    std::vector<Cell> unit(map.cols), column(map.rows);
    for (int j = 0; j < map.cols; ++j) {
        std::fill(unit.begin(), unit.end(), Cell(0.0));
        unit[j] = 1.0;
        map.times(1, unit.data(), column.data());
        double sum = 0.0;
        for (const Cell& cell : column) sum += std::abs(cell);
        largest = std::max(largest, sum);
    }
    return largest;
}

TYPED_TEST(FactorWorth, TakesThreeSolvesAndSeldomFallsShort)
{
    using Cell = TypeParam;
    Cells random(61);
    int near = 0;
    constexpr int kTrials = 60;
    for (int trial = 0; trial < kTrials; ++trial) {
        const MatrixOf<Cell> A = random.matrix<Cell>(40, 40);
        const LinearMap<Cell> solves = inverseMap<Cell>(A);
        int count = 0;
        const FactorQuality quality = qualityOfFactor(MatrixView<Cell>(A), counted(solves, count));
        EXPECT_LE(count, 3);
        const double norm = largestColumnSum(solves);
        EXPECT_LE(quality.inverseNorm, norm * (1.0 + 1e-12));
        EXPECT_GE(quality.inverseNormAtMost(), norm);
        near += quality.inverseNorm >= norm / 3.0;
    }
    EXPECT_GE(near, kTrials - 1);
}

TYPED_TEST(FactorWorth, GoesOnFromTheFirstAnswerWithTwoSolves)
{
    using Cell = TypeParam;
    Cells random(62);
    for (const int n : {1, 4, 5, 30}) {
        const MatrixOf<Cell> A = random.matrix<Cell>(n, n);
        const MatrixView<Cell> view(A);
        const LinearMap<Cell> solves = inverseMap<Cell>(A);
        std::vector<Cell> first(n);
        solves.times(1, firstQuestion<Cell>(n).data(), first.data());
        int count = 0;
        const FactorQuality quality = qualityOfFactor(view, counted(solves, count), {}, first.data());
        EXPECT_LE(count, 2) << n;
        EXPECT_EQ(quality.inverseNorm, qualityOfFactor(view, solves).inverseNorm) << n;
    }
}

TYPED_TEST(FactorWorth, DriftCountsAnAnswerThatCameBefore)
{
    using Cell = TypeParam;
    MatrixOf<Cell> A(9, 9);
    for (int i = 0; i < 9; ++i) A(i, i) = 1.0;
    LinearMap<Cell> exact{9, 9, {}, {}};
    exact.times = exact.adjointTimes = [](std::int32_t columns, const Cell* x, Cell* y) {
        std::copy_n(x, 9 * columns, y);
    };
    std::vector<Cell> first = firstQuestion<Cell>(9);
    const auto drift = [&] {
        return qualityOfFactor(MatrixView<Cell>(A), exact, {.shift = 0.0}, first.data()).drift.value();
    };
    EXPECT_EQ(drift(), 0.0);
    first[3] += 1.0 / 9.0;
    EXPECT_NEAR(drift(), 1.0, 1e-12);
}

} // namespace
} // namespace Velmar::Lintrix::testing
