// Forward bounds: they hold, they are not much too large, and they admit what they cannot know.

#include <lintrix/systems/quality/forward_bound.h>
#include <lintrix/systems/quality/residual.h>

#include "tests/systems/quality/dense_factor.h"
#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr TransposeMode kModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                    TransposeMode::ConjugateTransposed};

template <class T>
class ForwardBound : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(ForwardBound, CellTypes);

/// Columns scaled to 1 .. 10^-spread and mixed by a second factor: condition numbers up to some 10^spread.
template <class Cell>
MatrixOf<Cell> illConditioned(Cells& random, int n, double spread)
{
    MatrixOf<Cell> left = random.matrix<Cell>(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) left(i, j) *= std::pow(10.0, -spread * j / n);
    }
    return left * random.matrix<Cell>(n, n);
}

/// op(A) as a dense matrix.
template <class Cell>
MatrixOf<Cell> opOf(const MatrixOf<Cell>& A, TransposeMode op)
{
    if (op == TransposeMode::NotTransposed) return A;
    MatrixOf<Cell> turned(A.Cols(), A.Rows());
    for (int i = 0; i < A.Cols(); ++i) {
        for (int j = 0; j < A.Rows(); ++j) {
            turned(i, j) = A.Item(j, i);
            if constexpr (!std::is_same_v<Cell, double>) {
                if (op == TransposeMode::ConjugateTransposed) turned(i, j) = std::conj(turned(i, j));
            }
        }
    }
    return turned;
}

template <class Cell>
struct Solved {
    std::vector<Cell> x, r;
    double bound, error;
};

/// Solves, refines `steps` times, and judges by elimination in 113 bits.
template <class Cell>
Solved<Cell> solveAndJudge(const MatrixOf<Cell>& A, TransposeMode op, const std::vector<Cell>& b, int steps,
                           ResidualPrecision precision)
{
    const AnyMatrix<Cell> view(A);
    const LinearMap<Cell> solves = inverseMap<Cell>(opOf<Cell>(A, op));
    Solved<Cell> s;
    s.x.resize(b.size());
    s.r.resize(b.size());
    std::vector<Cell> d(b.size());
    solves.times(1, b.data(), s.x.data());
    const auto measure = [&] {
        if (precision == ResidualPrecision::Working) {
            residual(view, op, 1, b.data(), s.x.data(), s.r.data());
        } else {
            residualInTwicePrecision<Cell>(view, op, 1, b.data(), s.x.data(), nullptr, s.r.data());
        }
    };
    measure();
    for (int step = 0; step < steps; ++step) {
        solves.times(1, s.r.data(), d.data());
        for (std::size_t i = 0; i < d.size(); ++i) s.x[i] += d[i];
        measure();
    }
    s.bound = forwardErrorBounds(view, op, solves, 1, b.data(), s.x.data(), s.r.data(), precision).front();
    const QuadVector exact = solution(quadOf(A, op), quadOf(b));
    s.error = static_cast<double>(largest(difference(quadOf(s.x), exact)) / largest(quadOf(s.x)));
    return s;
}

TYPED_TEST(ForwardBound, TakesNoSolveWhereCorrectionsAndTheNormTellAll)
{
    using Cell = TypeParam;
    constexpr int n = 12;
    Cells random(91);
    const MatrixOf<Cell> A = random.matrix<Cell>(n, n);
    const AnyMatrix<Cell> view(A);
    const std::vector<Cell> solution = random.vector<Cell>(n);
    std::vector<Cell> b(n), x(n), r(n), d(n);
    std::vector<double> w(n);
    mapOf(view).times(1, solution.data(), b.data());
    const LinearMap<Cell> solves = inverseMap<Cell>(A);
    solves.times(1, b.data(), x.data());
    x[3] += 1e-9;
    residualAndScale(view, TransposeMode::NotTransposed, 1, b.data(), x.data(), r.data(), w.data());
    solves.times(1, r.data(), d.data());
    LinearMap<Cell> none{n, n, {}, {}};
    none.times = none.adjointTimes = [](std::int32_t, const Cell*, Cell*) { ADD_FAILURE() << "a solve"; };
    const KnownBefore known{n + 1, estimateOneNorm(solves)};
    const double bound = forwardErrorBounds(view, TransposeMode::NotTransposed, none, 1, x.data(), r.data(),
                                            d.data(), w.data(), known, ResidualPrecision::Twice)
                             .front();
    double error = 0.0, size = 0.0;
    for (int i = 0; i < n; ++i) {
        error = std::max(error, std::abs(x[i] - solution[i]));
        size = std::max(size, std::abs(x[i]));
    }
    EXPECT_GE(bound, 0.999 * error / size);
    EXPECT_LE(bound, 1.1 * error / size);
}

/// A system whose equations are in units far apart: x with an error, r, w and d.
template <class Cell>
struct FarRows {
    explicit FarRows(Cells& random) : A(random.matrix<Cell>(n, n)), solution(random.vector<Cell>(n))
    {
        for (int i = 0; i < n; ++i) {
            const double unit = std::ldexp(1.0, random.whole(-150, 150));
            for (int j = 0; j < n; ++j) A(i, j) *= unit;
        }
        const AnyMatrix<Cell> view(A);
        mapOf(view).times(1, solution.data(), b.data());
        solves = inverseMap<Cell>(A);
        solves.times(1, b.data(), x.data());
        x[3] += 1e-9;
        residualAndScale(view, TransposeMode::NotTransposed, 1, b.data(), x.data(), r.data(), w.data());
        solves.times(1, r.data(), d.data());
        rowSums(view, TransposeMode::NotTransposed, sums.data());
    }

    /// || inverse*R ||_1
    double normByRows() const
    {
        double norm = 0.0;
        for (int j = 0; j < n; ++j) {
            std::vector<Cell> unit(n), column(n);
            unit[j] = sums[j];
            solves.times(1, unit.data(), column.data());
            double sum = 0.0;
            for (const Cell& cell : column) sum += std::abs(cell);
            norm = std::max(norm, sum);
        }
        return norm;
    }

    static constexpr int n = 12;
    MatrixOf<Cell> A;
    std::vector<Cell> solution, b = std::vector<Cell>(n), x = b, r = b, d = b;
    std::vector<double> w = std::vector<double>(n), sums = w;
    LinearMap<Cell> solves{};
};

TYPED_TEST(ForwardBound, TakesNoSolveWhereTheNormByRowsTellsAll)
{
    using Cell = TypeParam;
    Cells random(92);
    LinearMap<Cell> none{FarRows<Cell>::n, FarRows<Cell>::n, {}, {}};
    none.times = none.adjointTimes = [](std::int32_t, const Cell*, Cell*) { ADD_FAILURE() << "a solve"; };
    for (int trial = 0; trial < 50; ++trial) {
        const FarRows<Cell> far(random);
        const KnownBefore known{
            .terms = far.n + 1, .rowSums = far.sums, .inverseNormByRows = far.normByRows()};
        const double bound =
            forwardErrorBounds(AnyMatrix<Cell>(far.A), TransposeMode::NotTransposed, none, 1, far.x.data(),
                               far.r.data(), far.d.data(), far.w.data(), known, ResidualPrecision::Twice)
                .front();
        double error = 0.0, size = 0.0;
        for (int i = 0; i < far.n; ++i) {
            error = std::max(error, std::abs(far.x[i] - far.solution[i]));
            size = std::max(size, std::abs(far.x[i]));
        }
        EXPECT_GE(bound, 0.999 * error / size);
        EXPECT_LE(bound, 1.1 * error / size);
    }
}

/// What a correction leaves, beside what it leaves in 113 bits.
TYPED_TEST(ForwardBound, WhatACorrectionLeavesIsNoMoreThanItsSizes)
{
    using Cell = TypeParam;
    Cells random(93);
    int quick = 0;
    constexpr int kTrials = 300;
    for (int trial = 0; trial < kTrials; ++trial) {
        FarRows<Cell> far(random);
        if (trial % 3 == 0) far.d[3] *= 2.0; // leaves more than is little
        const AnyMatrix<Cell> view(far.A);
        const double norm = far.normByRows();
        const Remainder<Cell> left =
            remainderOf(view, TransposeMode::NotTransposed, far.r.data(), far.d.data(),
                        {.terms = far.n + 1, .rowSums = far.sums, .inverseNormByRows = norm});
        std::vector<Cell> twofold(far.n);
        residualInTwicePrecision<Cell>(view, TransposeMode::NotTransposed, 1, far.r.data(), far.d.data(),
                                       nullptr, twofold.data());
        const QuadVector exact = difference(quadOf(far.r), product(quadOf(far.A), quadOf(far.d)));
        double overRows = 0.0, size = 0.0;
        for (int i = 0; i < far.n; ++i) {
            const QuadCell& s = exact[i];
            EXPECT_LE(std::hypot(static_cast<double>(s.re), static_cast<double>(s.im)),
                      left.sizes[i] * (1.0 + 1e-12));
            overRows += left.sizes[i] / far.sums[i];
            size = std::max(size, std::abs(far.d[i]));
        }
        EXPECT_NEAR(left.next, norm * overRows, 1e-12 * left.next);
        EXPECT_NEAR(left.rate, left.next / size, 1e-12 * left.rate);
        quick += left.s != twofold;
        if (left.isLittle()) continue;
        EXPECT_EQ(left.s, twofold) << "its signs may tell more";
    }
    EXPECT_GE(quick, kTrials / 2);
    EXPECT_LE(quick, kTrials * 2 / 3);
}

TYPED_TEST(ForwardBound, WhatACorrectionLeavesIsInTwiceThePrecisionWhereNoNormIsKnown)
{
    using Cell = TypeParam;
    Cells random(94);
    const FarRows<Cell> far(random);
    const AnyMatrix<Cell> view(far.A);
    std::vector<Cell> twofold(far.n);
    residualInTwicePrecision<Cell>(view, TransposeMode::NotTransposed, 1, far.r.data(), far.d.data(), nullptr,
                                   twofold.data());
    for (const KnownBefore& known :
         {KnownBefore{.terms = far.n + 1}, KnownBefore{.terms = far.n + 1, .rowSums = far.sums}}) {
        const Remainder<Cell> left =
            remainderOf(view, TransposeMode::NotTransposed, far.r.data(), far.d.data(), known);
        EXPECT_EQ(left.s, twofold);
        EXPECT_FALSE(left.isLittle());
    }
}

/// A correction that is wrong, though its own correction is right to the last place.
TYPED_TEST(ForwardBound, ACorrectionThatIsAllRoundingIsRefined)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> A{{1.0, 0.0}, {0.0, 1.0}};
    const std::vector<Cell> x{1.0, 1.0}, r{0x1p-60, -0x1p-61}, wrong{0x1p-10, 0.0};
    const std::vector<double> w{2.0, 2.0};
    const std::vector<double> bounds = forwardErrorBounds<Cell>(
        AnyMatrix<Cell>(A), TransposeMode::NotTransposed, inverseMap<Cell>(A), 1, x.data(), r.data(),
        wrong.data(), w.data(), KnownBefore{3}, ResidualPrecision::Twice);
    ASSERT_EQ(bounds.size(), 1u);
    EXPECT_GE(bounds[0], 0x1p-60);
    EXPECT_LE(bounds[0], 0x1p-59);
}

TYPED_TEST(ForwardBound, HoldsInEveryOneOfThousandsOfSystems)
{
    using Cell = TypeParam;
    Cells random(31);
    int close = 0;
    constexpr int kTrials = 1500;
    for (int trial = 0; trial < kTrials; ++trial) {
        const int n = random.whole(1, 14);
        const auto A = illConditioned<Cell>(random, n, random.real(0.0, 11.0));
        const auto precision = trial % 2 == 0 ? ResidualPrecision::Working : ResidualPrecision::Twice;
        const auto s =
            solveAndJudge<Cell>(A, kModes[trial % 3], random.vector<Cell>(n), trial % 4 / 2, precision);
        EXPECT_LE(s.error, s.bound) << "trial " << trial << ", size " << n;
        close += precision == ResidualPrecision::Twice && s.bound <= 2.0 * std::max(s.error, 0x1p-53);
    }
    EXPECT_GE(close, kTrials / 2 * 9 / 10) << "a bound of 1 would hold, too";
}

TYPED_TEST(ForwardBound, HoldsWhereTheMatrixIsBadlyScaled)
{
    using Cell = TypeParam;
    Cells random(32);
    for (int trial = 0; trial < 300; ++trial) {
        const int n = random.whole(2, 12);
        auto A = random.matrix<Cell>(n, n);
        auto b = random.vector<Cell>(n);
        for (int i = 0; i < n; ++i) {
            const double row = std::pow(2.0, random.whole(-300, 300));
            b[i] *= row;
            for (int j = 0; j < n; ++j) A(i, j) *= row;
        }
        const auto s = solveAndJudge<Cell>(A, TransposeMode::NotTransposed, b, 1, ResidualPrecision::Working);
        EXPECT_LE(s.error, s.bound);
        EXPECT_LE(s.bound, 1e-6) << "a scaling of rows is no ill condition";
    }
}

TYPED_TEST(ForwardBound, InTwiceThePrecisionIsBelowConditionTimesEpsWhereXWasRefined)
{
    using Cell = TypeParam;
    Cells random(33);
    const auto A = illConditioned<Cell>(random, 12, 9.0);
    const auto b = random.vector<Cell>(12);
    const auto coarse =
        solveAndJudge<Cell>(A, TransposeMode::NotTransposed, b, 3, ResidualPrecision::Working);
    const auto fine = solveAndJudge<Cell>(A, TransposeMode::NotTransposed, b, 3, ResidualPrecision::Twice);
    EXPECT_LE(fine.error, fine.bound);
    EXPECT_LE(fine.bound, coarse.bound / 1e4);
}

TYPED_TEST(ForwardBound, HoldsOrIsInfiniteWhereTheSolvesAreThoseOfAnotherMatrix)
{
    using Cell = TypeParam;
    Cells random(35);
    int infinite = 0, finite = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const int n = random.whole(2, 10);
        const auto A = random.matrix<Cell>(n, n);
        auto perturbed = A;
        perturbed(random.whole(0, n - 1), random.whole(0, n - 1)) += std::pow(10.0, random.whole(-4, 2));
        const LinearMap<Cell> solves = inverseMap<Cell>(perturbed);
        const auto b = random.vector<Cell>(n);
        std::vector<Cell> x(n), r(n);
        solves.times(1, b.data(), x.data());
        residualInTwicePrecision<Cell>(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, 1, b.data(),
                                       x.data(), nullptr, r.data());
        const QuadVector exact = solution(quadOf(A), quadOf(b));
        const auto error = static_cast<double>(largest(difference(quadOf(x), exact)) / largest(quadOf(x)));
        for (const auto precision : {ResidualPrecision::Working, ResidualPrecision::Twice}) {
            const double bound = forwardErrorBounds(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, solves,
                                                    1, b.data(), x.data(), r.data(), precision)
                                     .front();
            EXPECT_LE(error, bound) << trial;
            ++(std::isinf(bound) ? infinite : finite);
        }
    }
    EXPECT_GE(infinite, 50);
    EXPECT_GE(finite, 100);
}

TYPED_TEST(ForwardBound, OfEachColumnOfABlock)
{
    using Cell = TypeParam;
    Cells random(34);
    const auto A = random.matrix<Cell>(6, 6);
    const auto b = random.vector<Cell>(12), x = random.vector<Cell>(12);
    std::vector<Cell> r(12);
    const AnyMatrix<Cell> view(A);
    const LinearMap<Cell> solves = inverseMap<Cell>(A);
    residual(view, TransposeMode::NotTransposed, 2, b.data(), x.data(), r.data());
    const auto boundsOf = [&](int columns, int first) {
        return forwardErrorBounds(view, TransposeMode::NotTransposed, solves, columns, &b[first], &x[first],
                                  &r[first], ResidualPrecision::Working);
    };
    const auto both = boundsOf(2, 0);
    EXPECT_EQ(both, (std::vector<double>{boundsOf(1, 0).front(), boundsOf(1, 6).front()}));
}

TYPED_TEST(ForwardBound, KnowsNothingAndSaysSo)
{
    using Cell = TypeParam;
    const EmptyRows<Cell> none(0, 0);
    const LinearMap<Cell> nothing = mapOf(AnyMatrix<Cell>(none));
    EXPECT_EQ(forwardErrorBounds<Cell>(AnyMatrix<Cell>(none), TransposeMode::NotTransposed, nothing, 1,
                                       nullptr, nullptr, nullptr, ResidualPrecision::Working),
              std::vector<double>{0.0});

    const MatrixOf<Cell> one({Cell(2.0)}, 1, 1), zero({Cell(0.0)}, 1, 1);
    const auto boundOf = [](const MatrixOf<Cell>& A, Cell b, Cell x, Cell r) {
        return forwardErrorBounds(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, inverseMap<Cell>(A), 1,
                                  &b, &x, &r, ResidualPrecision::Working)
            .front();
    };
    EXPECT_EQ(boundOf(one, 4.0, 0.0, 4.0), kInfinity) << "0 is no approximation of 2";
    EXPECT_GE(boundOf(one, 4.0, 1.0, 2.0), 1.0);
    EXPECT_LE(boundOf(one, 4.0, 1.0, 2.0), 1.0 + 1e-14);
    EXPECT_FALSE(std::isfinite(boundOf(zero, 1.0, 1.0, 1.0))) << "singular";
    for (const double bad : {kNaN, kInfinity}) {
        EXPECT_FALSE(boundOf(one, 1.0, bad, 1.0) <= 1.0);
        EXPECT_FALSE(boundOf(one, 1.0, 1.0, bad) <= 1.0);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
