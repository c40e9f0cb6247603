#include "tests/systems/least_squares/rectangles.h"

#include <lintrix/systems/least_squares/augmented_system.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::AugmentedSystem;
using detail::TallMatrix;

template <class Cell>
class AugmentedSystemOf : public ::testing::Test {
};
using Cells = ::testing::Types<Real, Complex16>;
TYPED_TEST_SUITE(AugmentedSystemOf, Cells);

/// ||t + M*w - f|| + ||M^H*t - g||, relative to f and g.
template <class Cell>
double residual(AugmentedSystem<Cell>& system, const Rectangle<Cell>& A, const std::vector<Cell>& f,
                const std::vector<Cell>& g)
{
    std::vector<Cell> t(f.size()), w(g.size());
    system.solve(f.data(), g.data(), t.data(), w.data());
    auto first = residualOf(A, f, w), second = residualOf(A.adjoint(), g, t);
    for (std::size_t i = 0; i < t.size(); ++i) first[i] -= Extended<Cell>(t[i]);
    return static_cast<double>((lengthOf(first) + lengthOf(second)) / (lengthOf(f) + lengthOf(g)));
}

TYPED_TEST(AugmentedSystemOf, BothBlocksAreSolvedWhateverAlpha)
{
    auto A = regular<TypeParam>(90, 30, 3, 1);
    const TallMatrix<TypeParam> M(A.view());
    AugmentedSystem<TypeParam> system(M);
    ASSERT_TRUE(system.analysed());
    EXPECT_GE(system.forecast().entries, 120);
    Draw<TypeParam> draw(2);
    const auto f = draw.cells(90), g = draw.cells(30);
    for (const double alpha : {1.0, 0x1p-10, 1e-4}) {
        ASSERT_TRUE(system.factorize(alpha));
        EXPECT_EQ(system.replacedPivots(), 0) << alpha;
        EXPECT_LE(residual(system, A, f, g), 1e-10) << alpha;
    }
}

TYPED_TEST(AugmentedSystemOf, ColumnsAreScaled)
{
    std::vector<double> sizes(30, 1.0);
    for (std::size_t j = 0; j < 30; ++j) sizes[j] = std::pow(10.0, 0.5 * static_cast<double>(j) - 8.0);
    auto A = scaledColumns(regular<TypeParam>(90, 30, 3, 3), sizes);
    const TallMatrix<TypeParam> M(A.view());
    AugmentedSystem<TypeParam> system(M);
    ASSERT_TRUE(system.factorize(0x1p-10));
    const std::vector<TypeParam> g(30);
    EXPECT_LE(residual(system, A, Draw<TypeParam>(4).cells(90), g), 1e-8);
}

} // namespace
} // namespace Velmar::Lintrix::testing
