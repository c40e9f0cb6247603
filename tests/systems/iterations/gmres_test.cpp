// GMRES on the factors of another matrix: what refinement cannot repair, and what nothing can.

#include <lintrix/systems/iterations/gmres.h>
#include <lintrix/systems/quality/residual.h>

#include "tests/systems/quality/dense_factor.h"
#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr double kEps = 0x1p-53;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <class T>
class Gmres : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(Gmres, CellTypes);

template <class Cell>
double normOf(const MatrixOf<Cell>& A)
{
    return infinityNorm(AnyMatrix<Cell>(A));
}

/// The normwise backward error in 113 bits.
template <class Cell>
double judged(const MatrixOf<Cell>& A, const std::vector<Cell>& b, const std::vector<Cell>& x)
{
    const QuadMatrix exact = quadOf(A);
    const long double left = largest(difference(quadOf(b), product(exact, quadOf(x))));
    const long double norm = columnNorm(quadOf(A, TransposeMode::Transposed));
    const long double size = norm * largest(quadOf(x)) + largest(quadOf(b));
    return left == 0.0L ? 0.0 : static_cast<double>(left / size);
}

/// A system, and the start that a factor of A + E gives.
template <class Cell>
struct System {
    MatrixOf<Cell> A;
    LinearMap<Cell> product, inverse;
    std::vector<Cell> b, x;

    System(MatrixOf<Cell> matrix, const MatrixOf<Cell>& factored, std::vector<Cell> right)
        : A(std::move(matrix)), product(mapOf(AnyMatrix<Cell>(A))), inverse(inverseMap<Cell>(factored)),
          b(std::move(right)), x(b.size())
    {
        inverse.times(1, b.data(), x.data());
    }
    System(const System&) = delete;

    GmresResult improve(const GmresOptions& options = {})
    {
        const GmresResult result = gmres(product, normOf<Cell>(A), inverse, b.data(), x.data(), options);
        // Whatever it claims, it is true, but for the rounding of the residual that it measured.
        const double slack = (A.Cols() + 2) * kEps;
        if (std::isfinite(result.backwardError)) {
            EXPECT_NEAR(judged<Cell>(A, b, x), result.backwardError, slack);
        }
        EXPECT_EQ(result.outcome == GmresOutcome::Converged, result.backwardError <= options.tolerance);
        return result;
    }

    /// The backward error after so many steps of x := x + M^-1*(b - A*x).
    double refined(int steps) const
    {
        std::vector<Cell> y = x, r(x.size()), d(x.size());
        for (int step = 0; step < steps; ++step) {
            residual(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, 1, b.data(), y.data(), r.data());
            inverse.times(1, r.data(), d.data());
            for (std::size_t i = 0; i < y.size(); ++i) y[i] += d[i];
        }
        return judged<Cell>(A, b, y);
    }
};

/// `size` * ||A|| in the norm, of rank k.
template <class Cell>
MatrixOf<Cell> perturbation(Cells& random, const MatrixOf<Cell>& A, int k, double size)
{
    const int n = A.Rows();
    const MatrixOf<Cell> E = random.matrix<Cell>(n, k) * random.matrix<Cell>(k, n);
    return E * Cell(size * normOf<Cell>(A) / normOf<Cell>(E));
}

TYPED_TEST(Gmres, RepairsReplacedPivotsOfAnySize)
{
    using Cell = TypeParam;
    Cells random(51);
    for (const bool flexible : {true, false}) {
        for (const int k : {1, 3, 10, 20}) {
            for (const double size : {0x1p-26, 1e-3, 1.0, 1e3}) {
                SCOPED_TRACE("rank " + std::to_string(k) + ", size " + std::to_string(size));
                const auto A = random.matrix<Cell>(60, 60);
                System<Cell> s(A, A + perturbation<Cell>(random, A, k, size), random.vector<Cell>(60));
                if (size > 1.0) {
                    EXPECT_GE(s.refined(50), 1e-6) << "then there is nothing to repair";
                }
                const GmresResult result = s.improve({.flexible = flexible});
                EXPECT_EQ(result.outcome, GmresOutcome::Converged);
                EXPECT_LE(result.steps, 3 * (k + 1));
            }
        }
    }
}

TYPED_TEST(Gmres, RepairsTheDiagonalThatStaticPivotingPutIn)
{
    using Cell = TypeParam;
    Cells random(52);
    for (const double put : {0x1p-26, 1.0, 100.0}) {
        // Pivots on the diagonal, of which fifteen are next to nothing.
        const int n = 50, k = 15;
        auto A = random.matrix<Cell>(n, n);
        auto factored = A;
        for (int i = 0; i < k; ++i) {
            A(3 * i, 3 * i) = 1e-14;
            factored(3 * i, 3 * i) = put * normOf<Cell>(A);
        }
        System<Cell> s(A, factored, random.vector<Cell>(n));
        EXPECT_EQ(s.improve().outcome, GmresOutcome::Converged);
    }
}

/// L*U without exchanges, pivots below `least` replaced by it.
template <class Cell>
class StaticFactor {
public:
    StaticFactor(const MatrixOf<Cell>& A, double least) : n_(A.Rows()), lu_(A)
    {
        for (int k = 0; k < n_; ++k) {
            if (std::abs(lu_(k, k)) < least) {
                lu_(k, k) = least;
                ++replaced;
            }
            for (int i = k + 1; i < n_; ++i) {
                lu_(i, k) /= lu_(k, k);
                for (int j = k + 1; j < n_; ++j) lu_(i, j) -= lu_(i, k) * lu_(k, j);
            }
        }
    }

    LinearMap<Cell> map() const
    {
        const auto solve = [n = n_, lu = lu_](std::int32_t, const Cell* b, Cell* x) {
            std::copy_n(b, n, x);
            for (int i = 0; i < n; ++i) {
                for (int j = 0; j < i; ++j) x[i] -= lu.Item(i, j) * x[j];
            }
            for (int i = n - 1; i >= 0; --i) {
                for (int j = i + 1; j < n; ++j) x[i] -= lu.Item(i, j) * x[j];
                x[i] /= lu.Item(i, i);
            }
        };
        return {n_, n_, solve, {}};
    }

    int replaced = 0;

private:
    int n_;
    MatrixOf<Cell> lu_;
};

TYPED_TEST(Gmres, RepairsAnEliminationWithStaticPivots)
{
    using Cell = TypeParam;
    Cells random(66);
    for (const int k : {1, 5, 20}) {
        for (const double least : {0x1p-26, 1e-3}) {
            for (const bool flexible : {true, false}) {
                // A block of zeros first, as of constraints: at least one of its pivots is 0.
                auto A = random.matrix<Cell>(60, 60);
                for (int j = 0; j < k; ++j) {
                    for (int i = 0; i < k; ++i) A(i, j) = 0.0;
                }
                const StaticFactor<Cell> factor(A, least * normOf<Cell>(A));
                ASSERT_GE(factor.replaced, 1);
                System<Cell> s(A, A, random.vector<Cell>(60));
                s.inverse = factor.map();
                s.inverse.times(1, s.b.data(), s.x.data());
                const GmresResult result = s.improve({.flexible = flexible});
                EXPECT_EQ(result.outcome, GmresOutcome::Converged);
                EXPECT_LE(result.steps, 3 * (factor.replaced + 1));
            }
        }
    }
}

TYPED_TEST(Gmres, IsHonestWhereItCannotRepair)
{
    using Cell = TypeParam;
    Cells random(67);
    for (int trial = 0; trial < 10; ++trial) {
        auto left = random.matrix<Cell>(40, 40);
        for (int j = 0; j < 40; ++j) {
            for (int i = 0; i < 40; ++i) left(i, j) *= std::pow(10.0, -12.0 * j / 40);
        }
        const MatrixOf<Cell> A = left * random.matrix<Cell>(40, 40);
        System<Cell> s(A, A + perturbation<Cell>(random, A, 20, 1.0), random.vector<Cell>(40));
        const double before = judged<Cell>(A, s.b, s.x);
        EXPECT_LE(s.improve().backwardError, before * (1.0 + 1e-6))
            << "and it is the true one: see improve()";
    }
}

TYPED_TEST(Gmres, RepairsWhereRefinementDiverges)
{
    using Cell = TypeParam;
    Cells random(62);
    for (const bool flexible : {true, false}) {
        // Ten columns at a quarter: M^-1*A takes them four times, and refinement leaves -3 times their error.
        const auto A = random.matrix<Cell>(40, 40);
        auto factored = A;
        for (int j = 0; j < 10; ++j) {
            for (int i = 0; i < 40; ++i) factored(i, j) *= 0.25;
        }
        System<Cell> s(A, factored, random.vector<Cell>(40));
        EXPECT_GE(s.refined(100), 1e-3);
        const GmresResult result = s.improve({.flexible = flexible});
        EXPECT_EQ(result.outcome, GmresOutcome::Converged);
        EXPECT_LE(result.steps, 20);
    }
}

TYPED_TEST(Gmres, RestartsUntilItIsDone)
{
    using Cell = TypeParam;
    Cells random(53);
    // Diagonally dominant, no factor at all.
    auto A = random.matrix<Cell>(50, 50);
    auto identity = MatrixOf<Cell>(50, 50, Cell(1.0));
    for (int i = 0; i < 50; ++i) A(i, i) += 20.0;
    System<Cell> s(A, identity, random.vector<Cell>(50));
    const GmresResult result = s.improve({.cycle = 5});
    EXPECT_EQ(result.outcome, GmresOutcome::Converged);
    EXPECT_GE(result.cycles, 3);
    EXPECT_LE(result.steps, 5 * result.cycles);
}

TYPED_TEST(Gmres, KeepsToItsLimits)
{
    using Cell = TypeParam;
    Cells random(54);
    auto A = random.matrix<Cell>(40, 40);
    const auto identity = MatrixOf<Cell>(40, 40, Cell(1.0));
    for (int i = 0; i < 40; ++i) A(i, i) += 15.0;
    const auto b = random.vector<Cell>(40);
    {
        System<Cell> s(A, identity, b);
        const GmresResult result = s.improve({.cycle = 4, .steps = 7});
        EXPECT_EQ(result.outcome, GmresOutcome::StepLimit);
        EXPECT_EQ(result.steps, 7);
        EXPECT_LT(result.backwardError, 1e-2) << "what was found is kept";
    }
    {
        System<Cell> s(A, identity, b);
        int asked = 0;
        const GmresResult result = s.improve({.mustEnd = [&] { return ++asked > 6; }});
        EXPECT_EQ(result.outcome, GmresOutcome::Ended);
        EXPECT_EQ(result.steps, 6);
        EXPECT_LT(result.backwardError, 1e-2);
    }
    {
        System<Cell> s(A, identity, b);
        EXPECT_EQ(s.improve({.mustEnd = [] { return true; }}).outcome, GmresOutcome::Ended);
    }
}

TYPED_TEST(Gmres, NeverTakesAWorthlessPreconditionerForASolution)
{
    using Cell = TypeParam;
    Cells random(55);
    const auto A = random.matrix<Cell>(30, 30);
    // All the same whatever is asked; zero; noise.
    for (int kind = 0; kind < 3; ++kind) {
        System<Cell> s(A, A, random.vector<Cell>(30));
        s.x.assign(30, Cell(0.0));
        s.inverse.times = [&](std::int32_t, const Cell*, Cell* y) {
            for (int i = 0; i < 30; ++i)
                y[i] = kind == 0 ? Cell(1.0) : kind == 1 ? Cell(0.0) : random.cell<Cell>();
        };
        const GmresResult result = s.improve({.cycle = 10});
        if (kind < 2) {
            EXPECT_EQ(result.outcome, GmresOutcome::Stagnated);
        }
        EXPECT_LE(result.backwardError, 1.0);
    }
}

TYPED_TEST(Gmres, EndsAtTheFirstNaNAndKeepsTheBest)
{
    using Cell = TypeParam;
    Cells random(56);
    for (const double bad : {kNaN, kInfinity}) {
        for (const int call : {1, 4, 9}) {
            auto A = random.matrix<Cell>(30, 30);
            for (int i = 0; i < 30; ++i) A(i, i) += 12.0;
            System<Cell> s(A, MatrixOf<Cell>(30, 30, Cell(1.0)), random.vector<Cell>(30));
            int calls = 0;
            s.inverse.times = [&](std::int32_t, const Cell* x, Cell* y) {
                std::copy_n(x, 30, y);
                if (++calls >= call) y[7] = bad;
            };
            const GmresResult result = s.improve({.cycle = 3});
            EXPECT_EQ(result.outcome, GmresOutcome::NotFinite);
            EXPECT_EQ(calls, call) << "not one more";
            EXPECT_LE(result.backwardError, 1.0);
            if (call > 3) {
                EXPECT_LT(result.backwardError, 0.5) << "the cycles before were good";
            }
        }
    }
}

TYPED_TEST(Gmres, SeesANaNThatTheMatrixDoesNotMeet)
{
    using Cell = TypeParam;
    Cells random(63);
    auto A = random.matrix<Cell>(9, 9);
    for (int i = 0; i < 9; ++i) A(i, 7) = 0.0;
    const SparseOf<Cell> sparse(A);
    System<Cell> s(A, MatrixOf<Cell>(9, 9, Cell(1.0)), random.vector<Cell>(9));
    s.product = mapOf(AnyMatrix<Cell>(sparse)); // column 7 is empty, and x_7 never read
    s.inverse.times = [](std::int32_t, const Cell* x, Cell* y) {
        std::copy_n(x, 9, y);
        y[7] = kNaN;
    };
    EXPECT_EQ(s.improve().outcome, GmresOutcome::NotFinite);
    for (const Cell& value : s.x) EXPECT_TRUE(std::isfinite(std::abs(value)));
}

TYPED_TEST(Gmres, NeverMakesXWorse)
{
    using Cell = TypeParam;
    Cells random(64);
    for (int trial = 0; trial < 20; ++trial) {
        const auto A = random.matrix<Cell>(20, 20);
        System<Cell> s(A, A, random.vector<Cell>(20));
        for (Cell& value : s.x) value *= 1.0 + 1e-6 * random.real();
        const double before = judged<Cell>(A, s.b, s.x);
        // Another solve for the basis than for the sum: what is not flexible cannot know it.
        s.inverse.times = [&](std::int32_t, const Cell*, Cell* y) {
            for (int i = 0; i < 20; ++i) y[i] = random.cell<Cell>();
        };
        EXPECT_LE(s.improve({.cycle = 3, .flexible = false}).backwardError, before * (1.0 + 1e-6));
    }
}

TYPED_TEST(Gmres, EndsWhereItGainsTooLittle)
{
    using Cell = TypeParam;
    Cells random(65);
    MatrixOf<Cell> A(60, 60);
    for (int i = 0; i < 60; ++i) A(i, i) = 1.0 + 10.0 * i; // two steps a cycle hardly halve anything
    System<Cell> s(A, MatrixOf<Cell>(60, 60, Cell(1.0)), random.vector<Cell>(60));
    s.x.assign(60, Cell(0.0));
    const GmresResult result = s.improve({.cycle = 2, .patience = 4});
    EXPECT_EQ(result.outcome, GmresOutcome::Stagnated);
    EXPECT_GE(result.cycles, 4);
    EXPECT_LT(result.steps, 200);
    EXPECT_EQ(s.improve({.cycle = 2, .steps = 5000, .patience = 5000}).outcome, GmresOutcome::Converged);
}

TYPED_TEST(Gmres, SaysSoWhereNothingCanBeMeasured)
{
    using Cell = TypeParam;
    for (const double bad : {kNaN, kInfinity}) {
        for (const bool inMatrix : {true, false}) {
            MatrixOf<Cell> A({2.0, 1.0, 0.0, 3.0}, 2, 2);
            std::vector<Cell> b{1.0, 2.0};
            if (inMatrix) A(0, 0) = bad;
            if (!inMatrix) b[1] = bad;
            System<Cell> s(A, MatrixOf<Cell>(2, 2, Cell(1.0)), b);
            s.x = {5.0, 6.0};
            const GmresResult result = s.improve();
            EXPECT_EQ(result.outcome, GmresOutcome::NotFinite);
            EXPECT_TRUE(std::isnan(result.backwardError));
            EXPECT_EQ(s.x, (std::vector<Cell>{5.0, 6.0}));
        }
    }
}

TYPED_TEST(Gmres, ABadStartIsReplaced)
{
    using Cell = TypeParam;
    Cells random(57);
    const auto A = random.matrix<Cell>(20, 20);
    for (const double start : {kNaN, kInfinity, 1e300}) {
        System<Cell> s(A, A + perturbation<Cell>(random, A, 2, 1.0), random.vector<Cell>(20));
        s.x.assign(20, Cell(start));
        EXPECT_EQ(s.improve().outcome, GmresOutcome::Converged);
    }
}

TYPED_TEST(Gmres, AStartThatWasBetterComesBack)
{
    using Cell = TypeParam;
    // Nearly singular, and x long: its residual is larger than b, its backward error is not.
    const MatrixOf<Cell> A({1.0, 0.0, 0.0, 1e-10}, 2, 2);
    System<Cell> s(A, A, {1e-3, 1.0});
    s.x = {1e-3, 0.9e10 + 3.1e10};
    s.inverse.times = [](std::int32_t, const Cell*, Cell* y) { y[0] = y[1] = 0.0; };
    const auto before = s.x;
    const GmresResult result = s.improve();
    EXPECT_EQ(result.outcome, GmresOutcome::Stagnated);
    EXPECT_EQ(s.x, before);
    EXPECT_LE(result.backwardError, 1e-9);
}

TYPED_TEST(Gmres, OfASingularMatrixFindsASolutionIfThereIsOne)
{
    using Cell = TypeParam;
    Cells random(58);
    auto A = random.matrix<Cell>(20, 20);
    for (int i = 0; i < 20; ++i) A(i, 19) = A(i, 0) + A(i, 1); // a column too many
    auto factored = A;
    factored(19, 19) += normOf<Cell>(A);
    std::vector<Cell> solvable(20);
    const auto some = random.vector<Cell>(20);
    mapOf(AnyMatrix<Cell>(A)).times(1, some.data(), solvable.data());
    {
        System<Cell> s(A, factored, solvable);
        EXPECT_EQ(s.improve().outcome, GmresOutcome::Converged);
    }
    {
        // Of a zero matrix no x is better than another.
        System<Cell> s(MatrixOf<Cell>(3, 3), MatrixOf<Cell>(3, 3, Cell(1.0)), {1.0, 2.0, 3.0});
        const GmresResult result = s.improve();
        EXPECT_EQ(result.outcome, GmresOutcome::Stagnated);
        EXPECT_EQ(result.backwardError, 1.0);
    }
}

TYPED_TEST(Gmres, HasNothingToDoWhereNothingIsLeft)
{
    using Cell = TypeParam;
    const EmptyRows<Cell> none(0, 0);
    const LinearMap<Cell> nothing = mapOf(AnyMatrix<Cell>(none));
    const GmresResult empty = gmres<Cell>(nothing, 0.0, nothing, nullptr, nullptr);
    EXPECT_EQ(empty.outcome, GmresOutcome::Converged);
    EXPECT_EQ(empty.backwardError, 0.0);

    const MatrixOf<Cell> one({Cell(4.0)}, 1, 1), wrong({Cell(-3.0)}, 1, 1);
    System<Cell> single(one, wrong, {Cell(2.0)});
    EXPECT_EQ(single.improve().outcome, GmresOutcome::Converged);
    EXPECT_LE(std::abs(single.x[0] - 0.5), 1e-15);

    System<Cell> homogeneous(one, wrong, {Cell(0.0)});
    homogeneous.x = {Cell(17.0)};
    EXPECT_EQ(homogeneous.improve().outcome, GmresOutcome::Converged);

    System<Cell> solved(one, one, {Cell(2.0)});
    EXPECT_EQ(solved.improve().steps, 0);
}

TYPED_TEST(Gmres, DoesNotDependOnTheScale)
{
    using Cell = TypeParam;
    for (const double scale : {0x1p-900, 0x1p900}) {
        Cells random(59);
        const auto A = random.matrix<Cell>(30, 30);
        const auto E = perturbation<Cell>(random, A, 4, 1.0);
        const auto b = random.vector<Cell>(30);
        System<Cell> plain(A, A + E, b), scaled(A * Cell(scale), (A + E) * Cell(scale), b);
        const GmresResult first = plain.improve(), second = scaled.improve();
        EXPECT_EQ(second.outcome, GmresOutcome::Converged);
        EXPECT_EQ(first.steps, second.steps);
        auto larger = b;
        for (Cell& value : larger) value *= scale;
        System<Cell> right(A, A + E, larger);
        EXPECT_EQ(right.improve().outcome, GmresOutcome::Converged);
    }
}

TYPED_TEST(Gmres, AFailureOfTheSolverLeavesXAsItWas)
{
    using Cell = TypeParam;
    Cells random(60);
    const auto A = random.matrix<Cell>(10, 10);
    System<Cell> s(A, A + perturbation<Cell>(random, A, 3, 1.0), random.vector<Cell>(10));
    const auto before = s.x;
    const auto solve = s.inverse.times;
    int calls = 0;
    s.inverse.times = [&](std::int32_t columns, const Cell* x, Cell* y) {
        if (++calls == 4) throw std::runtime_error("no more");
        solve(columns, x, y);
    };
    EXPECT_THROW(s.improve({.cycle = 2}), std::runtime_error);
    EXPECT_EQ(s.x, before);
}

TEST(GmresOfRealValues, TakesTheSameStepsInComplexCells)
{
    Cells random(61);
    const Matrix A = random.matrix<double>(40, 40), F = A + perturbation<double>(random, A, 6, 1.0);
    const auto b = random.vector<double>(40);
    System<double> real(A, F, b);
    System<ComplexCell> complex(A.ToCMatrix(), F.ToCMatrix(), {b.begin(), b.end()});
    const GmresResult first = real.improve(), second = complex.improve();
    EXPECT_EQ(first.outcome, second.outcome);
    EXPECT_EQ(first.steps, second.steps);
    for (int i = 0; i < 40; ++i) EXPECT_NEAR(std::abs(complex.x[i] - real.x[i]), 0.0, 1e-11);
}

} // namespace
} // namespace Velmar::Lintrix::testing
