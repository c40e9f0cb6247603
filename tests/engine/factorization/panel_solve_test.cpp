// The operations on the rows below a block, against plain sums, on both sides of each choice of a kernel.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/panel_solve.h>

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

template <class T>
T value(std::mt19937& random)
{
    std::uniform_real_distribution<RealOf<T>> uniform(-1, 1);
    const RealOf<T> re = uniform(random);
    if constexpr (kIsComplex<T>) {
        return {re, uniform(random)};
    } else {
        return re;
    }
}

/// A panel of `rows` by `columns` within more rows.
template <class T>
struct Panel {
    Panel(int m, int w, std::mt19937& random)
        : rows(m), columns(w), ld(m + 3), cells(static_cast<std::size_t>(ld) * static_cast<std::size_t>(w))
    {
        for (T& cell : cells) cell = value<T>(random);
    }
    T& operator()(int i, int j) { return cells[static_cast<std::size_t>(i + ld * j)]; }
    T operator()(int i, int j) const { return cells[static_cast<std::size_t>(i + ld * j)]; }

    int rows, columns, ld;
    std::vector<T> cells;
};

template <class T>
void expectEqual(const Panel<T>& found, const Panel<T>& expected, double limit)
{
    for (int j = 0; j < found.columns; ++j) {
        for (int i = 0; i < found.ld; ++i) {
            if (i < found.rows) {
                ASSERT_LE(std::abs(found(i, j) - expected(i, j)), limit) << i << ' ' << j;
            } else {
                ASSERT_EQ(found(i, j), expected(i, j)) << "behind the rows";
            }
        }
    }
}

template <class T>
class PanelSolve : public ::testing::Test {
protected:
    static constexpr double kUnit = std::numeric_limits<RealOf<T>>::epsilon();

    /// The matrix that stands on the right, in full; what is not of the triangle must not be read.
    static Panel<T> right(RightFactor factor, const Panel<T>& block)
    {
        Panel<T> R = block;
        const bool upper = factor == RightFactor::Upper;
        const bool unit =
            factor == RightFactor::LowerTransposedUnit || factor == RightFactor::LowerAdjointUnit;
        const bool adjoint = factor == RightFactor::LowerAdjointUnit || factor == RightFactor::LowerAdjoint;
        for (int j = 0; j < block.columns; ++j) {
            for (int i = 0; i < block.columns; ++i) {
                if (i > j)
                    R(i, j) = T(0);
                else if (i == j && unit)
                    R(i, j) = T(1);
                else
                    R(i, j) = upper ? block(i, j) : conjugate(block(j, i), adjoint);
            }
        }
        return R;
    }

    static Panel<T> times(const Panel<T>& X, const Panel<T>& R)
    {
        Panel<T> Y = X;
        for (int j = 0; j < X.columns; ++j) {
            for (int i = 0; i < X.rows; ++i) {
                Y(i, j) = T(0);
                for (int p = 0; p < X.columns; ++p) Y(i, j) += X(i, p) * R(p, j);
            }
        }
        return Y;
    }
};

using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(PanelSolve, Scalars);

TYPED_TEST(PanelSolve, EachFactorIsDividedBy)
{
    using T = TypeParam;
    std::mt19937 random(2);
    for (const RightFactor factor :
         {RightFactor::Upper, RightFactor::LowerTransposedUnit, RightFactor::LowerAdjointUnit,
          RightFactor::LowerTransposed, RightFactor::LowerAdjoint}) {
        for (const int w : {1, 2, 5, 11, 12, 13, 14, 40, 96}) {
            for (const int m : {0, 1, 7, 33}) {
                SCOPED_TRACE(::testing::Message() << static_cast<int>(factor) << ", w " << w << ", m " << m);
                Panel<T> block(w, w, random);
                for (T& cell : block.cells) cell /= static_cast<RealOf<T>>(w); // well-conditioned
                for (int j = 0; j < w; ++j) block(j, j) += T(2);
                const Panel<T> start(m, w, random);
                Panel<T> X = start;
                solveFromRight(factor, block.cells.data(), block.ld, w, X.cells.data(), X.ld, m);
                expectEqual(this->times(X, this->right(factor, block)), start, 50 * w * this->kUnit);
            }
        }
    }
}

// A panel of L*L^H has L for its factor, block and rows below, on both sides of the choice of a kernel.
TYPED_TEST(PanelSolve, CholeskyPanelIsTheFactorItWasMadeFrom)
{
    using T = TypeParam;
    std::mt19937 random(5);
    for (const int w : {1, 2, 5, 11, 12, 13, 14, 40}) {
        for (const int below : {0, 1, 7, 33}) {
            SCOPED_TRACE(::testing::Message() << "w " << w << ", below " << below);
            Panel<T> L(w + below - 3, w, random); // the panel's leading dimension is its height
            L.rows = L.ld;
            for (T& cell : L.cells) cell /= static_cast<RealOf<T>>(w);
            for (int j = 0; j < w; ++j) L(j, j) = T(2);
            Panel<T> A = L;
            for (int j = 0; j < w; ++j) {
                for (int i = j; i < L.rows; ++i) {
                    A(i, j) = T(0);
                    for (int p = 0; p <= j; ++p) A(i, j) += L(i, p) * conjugate(L(j, p));
                }
            }
            ASSERT_EQ(factorCholeskyPanel(A.cells.data(), A.ld, w), 0);
            for (int j = 0; j < w; ++j) {
                for (int i = j; i < L.rows; ++i)
                    ASSERT_LE(std::abs(A(i, j) - L(i, j)), 50 * w * this->kUnit) << i << ' ' << j;
            }
        }
    }
}

TYPED_TEST(PanelSolve, CholeskyPanelTellsItsFirstPivotThatIsNotPositive)
{
    using T = TypeParam;
    for (const RealOf<T> bad : {RealOf<T>(0), RealOf<T>(-1)}) {
        for (const int w : {4, 20}) {
            std::vector<T> panel(static_cast<std::size_t>(w) * static_cast<std::size_t>(w + 1));
            for (int j = 0; j < w; ++j) panel[static_cast<std::size_t>(j + (w + 1) * j)] = T(j < 2 ? 4 : bad);
            EXPECT_EQ(factorCholeskyPanel(panel.data(), w + 1, w), 3) << w << ' ' << bad;
        }
    }
}

TYPED_TEST(PanelSolve, ExchangesAreDoneInTheirOrder)
{
    using T = TypeParam;
    std::mt19937 random(3);
    const std::vector<int> exchange{3, -2, -4, 4, 5}; // counted from 1; a pair's are negative
    Panel<T> X(4, 5, random), expected = X;
    const auto swapColumns = [&](int a, int b) {
        for (int i = 0; i < 4; ++i) std::swap(expected(i, a), expected(i, b));
    };
    swapColumns(0, 2);
    swapColumns(2, 3);
    exchangeColumns(exchange.data(), 5, X.cells.data(), X.ld, 4);
    EXPECT_EQ(X.cells, expected.cells);
}

// D with pivots of one and of two columns; a pair's off-diagonal stands above its diagonal.
TYPED_TEST(PanelSolve, DivisionAndProductWithPivotsFitTogether)
{
    using T = TypeParam;
    std::mt19937 random(4);
    const int w = 6, m = 9;
    const std::vector<int> exchange{1, -2, -3, 4, -5, -6};
    for (const bool hermitian : {false, true}) {
        Panel<T> block(w, w, random), D(w, w, random);
        for (int j = 0; j < w; ++j) {
            for (int i = 0; i < w; ++i) D(i, j) = T(0);
        }
        for (int j = 0; j < w; ++j) {
            block(j, j) = hermitian ? T(realPart(block(j, j))) : block(j, j);
            D(j, j) = block(j, j);
        }
        for (const int j : {1, 4}) {
            block(j, j + 1) *= RealOf<T>(5);
            D(j + 1, j) = block(j, j + 1);
            D(j, j + 1) = conjugate(block(j, j + 1), hermitian);
        }
        const Panel<T> start(m, w, random);
        Panel<T> X = start;
        divideByPivots(block.cells.data(), block.ld, w, exchange.data(), hermitian, X.cells.data(), X.ld, m);
        expectEqual(this->times(X, D), start, 300 * this->kUnit);

        // k rows of D*conj(x)', row by row of the product's transpose.
        Panel<T> y(m, w, random);
        const Panel<T> before = y;
        multiplyByPivots(block.cells.data(), block.ld, w, exchange.data(), hermitian, start.cells.data(),
                         start.ld, m, y.cells.data(), y.ld);
        Panel<T> expected = before;
        for (int i = 0; i < m; ++i) {
            for (int j = 0; j < w; ++j) {
                expected(i, j) = T(0);
                for (int p = 0; p < w; ++p) expected(i, j) += D(j, p) * conjugate(start(i, p), hermitian);
            }
        }
        expectEqual(y, expected, 50 * this->kUnit);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
