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

} // namespace
} // namespace Velmar::Lintrix::testing
