// The basis of a Krylov space: orthonormal to the last bits, and a remainder that is the true one.

#include <lintrix/systems/iterations/arnoldi.h>
#include <lintrix/systems/quality/residual.h>

#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr double kEps = 0x1p-53;

template <class T>
class ArnoldiBasis : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(ArnoldiBasis, CellTypes);

/// v^H*x in 113 bits.
QuadCell innerProduct(const QuadVector& v, const QuadVector& x)
{
    QuadCell sum;
    for (std::size_t i = 0; i < v.size(); ++i) sum = sum + QuadCell(v[i].re, -v[i].im) * x[i];
    return sum;
}

long double lengthOf(const QuadVector& x)
{
    return std::sqrt(static_cast<long double>(innerProduct(x, x).re));
}

/// k steps with A from r, Z = V; the columns A*z_j are kept.
template <class Cell>
struct Run {
    Arnoldi<Cell> basis;
    std::vector<std::vector<Cell>> images;

    Run(const MatrixOf<Cell>& A, const std::vector<Cell>& r, int k) : basis(r)
    {
        const LinearMap<Cell> map = mapOf(AnyMatrix<Cell>(A));
        for (int j = 0; j < k && !basis.isComplete(); ++j) {
            std::vector<Cell> image(r.size());
            map.times(1, basis.last().data(), image.data());
            images.push_back(image);
            EXPECT_TRUE(basis.extend(image));
        }
    }

    /// r - A*Z*y
    QuadVector rest(const std::vector<Cell>& r, const std::vector<Cell>& y) const
    {
        QuadVector left = quadOf(r);
        for (std::size_t j = 0; j < y.size(); ++j) {
            for (std::size_t i = 0; i < r.size(); ++i) left[i] = left[i] - QuadCell(y[j]) * images[j][i];
        }
        return left;
    }
};

TYPED_TEST(ArnoldiBasis, IsOrthonormalWhateverTheMap)
{
    using Cell = TypeParam;
    Cells random(41);
    for (const double spread : {0.0, 6.0, 15.0}) {
        auto A = random.matrix<Cell>(40, 40);
        for (int j = 0; j < 40; ++j) {
            for (int i = 0; i < 40; ++i) A(i, j) *= std::pow(10.0, -spread * i / 40);
        }
        const Run<Cell> run(A, random.vector<Cell>(40), 25);
        const auto& v = run.basis.vectors();
        ASSERT_EQ(v.size(), 26U);
        for (std::size_t i = 0; i < v.size(); ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                const long double expected = i == j ? 1.0L : 0.0L;
                EXPECT_LE(std::abs(sizeOf(innerProduct(quadOf(v[i]), quadOf(v[j]))) - expected), 100 * kEps);
            }
        }
    }
}

TYPED_TEST(ArnoldiBasis, TheRemainderIsThatOfTheMinimizerAndNoOtherIsSmaller)
{
    using Cell = TypeParam;
    Cells random(42);
    const auto A = random.matrix<Cell>(30, 30);
    const auto r = random.vector<Cell>(30);
    double before = std::numeric_limits<double>::infinity();
    for (int k = 1; k <= 20; ++k) {
        const Run<Cell> run(A, r, k);
        const auto y = run.basis.minimizer();
        ASSERT_EQ(y.size(), static_cast<std::size_t>(k));
        const QuadVector rest = run.rest(r, y);
        EXPECT_NEAR(static_cast<double>(lengthOf(rest)), run.basis.remainder(), 1e-13);
        for (const auto& image : run.images) {
            EXPECT_LE(sizeOf(innerProduct(quadOf(image), rest)), 1e-12L)
                << "orthogonal to all that can be taken";
        }
        EXPECT_LE(run.basis.remainder(), before);
        before = run.basis.remainder();
    }
}

TYPED_TEST(ArnoldiBasis, EndsWhereTheSpaceDoes)
{
    using Cell = TypeParam;
    // Three eigenvalues: three steps, and nothing remains.
    MatrixOf<Cell> A(12, 12);
    for (int i = 0; i < 12; ++i) A(i, i) = 1.0 + i % 3;
    Cells random(43);
    const auto r = random.vector<Cell>(12);
    const Run<Cell> run(A, r, 12);
    EXPECT_TRUE(run.basis.isComplete());
    EXPECT_EQ(run.basis.steps(), 3);
    EXPECT_LE(lengthOf(run.rest(r, run.basis.minimizer())), 1e-13L);
    EXPECT_LE(run.basis.remainder(), 1e-13);
}

TYPED_TEST(ArnoldiBasis, OfASingularMapKeepsToWhatItReaches)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> zero(2, 2), shift({0.0, 1.0, 0.0, 0.0}, 2, 2);
    const std::vector<Cell> r{3.0, 4.0};
    const Run<Cell> nowhere(zero, r, 5);
    EXPECT_TRUE(nowhere.basis.isComplete());
    EXPECT_TRUE(nowhere.basis.minimizer().empty());
    EXPECT_EQ(nowhere.basis.remainder(), 5.0);

    const Run<Cell> half(shift, r, 5); // reaches (1, 0) alone
    EXPECT_NEAR(static_cast<double>(lengthOf(half.rest(r, half.basis.minimizer()))), 4.0, 1e-14);
    EXPECT_NEAR(half.basis.remainder(), 4.0, 1e-14);
}

TYPED_TEST(ArnoldiBasis, TakesNothingThatIsNotFinite)
{
    using Cell = TypeParam;
    Arnoldi<Cell> basis(std::vector<Cell>{1.0, 2.0});
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        EXPECT_FALSE(basis.extend({Cell(1.0), Cell(bad)}));
        EXPECT_EQ(basis.steps(), 0);
        EXPECT_EQ(basis.vectors().size(), 1U);
    }
    EXPECT_TRUE(basis.extend({Cell(1.0), Cell(0.0)}));
}

TYPED_TEST(ArnoldiBasis, LivesAtBothEndsOfTheRange)
{
    using Cell = TypeParam;
    Cells random(44);
    const auto A = random.matrix<Cell>(10, 10);
    const auto r = random.vector<Cell>(10);
    const Run<Cell> plain(A, r, 6);
    for (const double scale : {0x1p-900, 0x1p900}) {
        std::vector<Cell> scaled = r;
        for (Cell& value : scaled) value *= scale;
        const Run<Cell> run(A * Cell(scale), scaled, 6);
        EXPECT_NEAR(run.basis.remainder() / scale, plain.basis.remainder(), 1e-13);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
