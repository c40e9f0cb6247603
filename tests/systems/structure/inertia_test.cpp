#include <lintrix/systems/structure/inertia.h>

#include <lintrix/decompositions/sym_eigen.h>

#include "tests/support/matrices.h"
#include "tests/systems/structure/block_factorization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using Int = std::int32_t;
using C = std::complex<double>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

int signOf(double x)
{
    return x > 0 ? 1 : x < 0 ? -1 : 0;
}

/// Of a Hermitian 2 x 2 block of small integers, by its determinant and trace.
Inertia plainInertia(double a, double squareOfB, double c)
{
    const int product = signOf(a * c - squareOfB), sum = signOf(a + c);
    if (product < 0) return {1, 1, 0};
    if (product > 0) return {sum > 0 ? 2 : 0, sum < 0 ? 2 : 0, 0};
    return {sum > 0 ? 1 : 0, sum < 0 ? 1 : 0, sum == 0 ? 2 : 1};
}

TEST(Inertia, OfEveryBlockOfSmallIntegersIsExact)
{
    for (const double scale : {1.0, 1e300, 1e-310, 0x1p-1070})
        for (int a = -6; a <= 6; ++a)
            for (int c = -6; c <= 6; ++c)
                for (int b = -6; b <= 6; ++b) {
                    const std::vector<double> diagonal{scale * a, scale * c}, below{scale * b};
                    EXPECT_EQ(inertiaOf<double>(diagonal, below), plainInertia(a, b * b, c));
                    const std::vector<C> turned{C(0.0, scale * b)};
                    EXPECT_EQ(inertiaOf<C>(diagonal, turned), plainInertia(a, b * b, c));
                }
}

TEST(Inertia, SeesWhatADeterminantInRoundedArithmeticDoesNot)
{
    const double b = 1.0 + 0x1p-30, c = 1.0 + 0x1p-29; // b*b = c + 2^-60, which is c rounded
    ASSERT_EQ(b * b, c);
    EXPECT_EQ(inertiaOf<double>(std::vector{1.0, c}, std::vector{b}), (Inertia{1, 1, 0}));
    EXPECT_EQ(inertiaOf<double>(std::vector{1.0, std::nextafter(c, 2.0)}, std::vector{b}),
              (Inertia{2, 0, 0}));
}

TEST(Inertia, ReadsBlocksOfOneAndTwoInARow)
{
    // 5, (0 1; 1 0), -2, 0, (3 1; 1 3)
    const std::vector<double> diagonal{5, 0, 0, -2, 0, 3, 3}, below{0, 1, 0, 0, 0, 1, 0};
    EXPECT_EQ(inertiaOf<double>(diagonal, below), (Inertia{4, 2, 1}));
    EXPECT_EQ(inertiaOf<double>({}, {}), (Inertia{0, 0, 0}));
    EXPECT_EQ(inertiaOf<double>(std::vector{-0.0, kNaN, -kInfinity}, std::vector{0.0, 0.0}),
              (Inertia{0, 0, 3}));
}

TEST(Inertia, OfABlockThatIsNotFiniteIsZero)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        EXPECT_EQ(inertiaOf<double>(std::vector{bad, 1.0}, std::vector{1.0}), (Inertia{0, 0, 2}));
        EXPECT_EQ(inertiaOf<double>(std::vector{1.0, bad}, std::vector{1.0}), (Inertia{0, 0, 2}));
        EXPECT_EQ(inertiaOf<double>(std::vector{1.0, 1.0}, std::vector{bad}), (Inertia{0, 0, 2}));
        EXPECT_EQ(inertiaOf<C>(std::vector{1.0, 1.0}, std::vector{C(0, bad)}), (Inertia{0, 0, 2}));
    }
}

template <class Cell>
class CertainInertias : public ::testing::Test {
public:
    using Square = SquareMatrix<Cell>;
    using Dense = MatrixOf<Cell>;
    using Eigen = std::conditional_t<std::is_same_v<Cell, double>, SymEigen, CSymEigen>;

    std::mt19937_64 generator{1};

    double uniform() { return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0; }
    int integer(int largest) { return static_cast<int>(generator() % (2 * largest + 1)) - largest; }
    Cell cell()
    {
        if constexpr (std::is_same_v<Cell, double>)
            return uniform();
        else
            return {uniform(), uniform()};
    }
    Cell integerCell(int largest)
    {
        if constexpr (std::is_same_v<Cell, double>)
            return integer(largest);
        else
            return {double(integer(largest)), double(integer(largest))};
    }
    Square random(Int n)
    {
        Square A{n};
        for (Int i = 0; i < n; ++i)
            for (Int j = 0; j <= i; ++j) {
                A(i, j) = i == j ? Cell(uniform()) : cell();
                A(j, i) = conjugated(A(i, j));
            }
        return A;
    }
    /// S*A*S with S = diag(10^(-6..0)).
    Square graded(Int n)
    {
        Square A = random(n);
        for (Int i = 0; i < n; ++i)
            for (Int j = 0; j < n; ++j) A(i, j) *= std::pow(10.0, -(i % 7)) * std::pow(10.0, -(j % 7));
        return A;
    }
    /// With eigenvalues of both signs, some of them tiny or, but for rounding, zero.
    Square nearlySingular(Int n)
    {
        std::vector<double> values;
        for (Int i = 0; i < n; ++i) {
            const double magnitude =
                integer(1) == 0 ? std::pow(10.0, -10.0 - static_cast<double>(generator() % 8)) : 1.0;
            values.push_back((integer(3) == 0 ? 0.0 : magnitude) * (uniform() > 0 ? 1.0 : -1.0));
        }
        const Dense D = symmetricWith<Dense>(values, generator());
        Square A{n};
        for (Int i = 0; i < n; ++i)
            for (Int j = 0; j < n; ++j) A(i, j) = D(i, j);
        return A;
    }
    static std::vector<double> eigenvaluesOf(const Square& A)
    {
        Dense D(A.order, A.order);
        for (Int i = 0; i < A.order; ++i)
            for (Int j = 0; j < A.order; ++j) D(i, j) = A(i, j);
        const Eigen eigen(D, false);
        std::vector<double> values;
        for (Int i = 0; i < A.order; ++i) values.push_back(eigen.Eigenvalue(i));
        return values;
    }
    /// Pivots below tiny*||A|| are replaced, as a sparse factorization does.
    static ShiftedInertia factorized(Square A, double shift, double tiny)
    {
        const double norm = rowSumNorm(A);
        for (Int i = 0; i < A.order; ++i) A(i, i) -= shift;
        const BlockFactorization<Cell> factors(A, tiny * norm);
        return {factors.inertia(), factorizationError<Cell>(A.order, norm + std::abs(shift), factors.growth(),
                                                            factors.replaced)};
    }
    static CertainInertia judged(const Square& A, double tiny = 0.0)
    {
        const double error = factorized(A, 0.0, tiny).error;
        return certainInertia(A.order, error, [&](double shift) { return factorized(A, shift, tiny); });
    }
    /// Against eigenvalues that are off by some roundings of the norm themselves.
    static void expectTrue(const Square& A, double tiny)
    {
        const CertainInertia judgement = judged(A, tiny);
        const double rounding = 10.0 * A.order * kEps * rowSumNorm(A);
        Int mayBePositive = 0, mayBeNegative = 0, mayBeWithin = 0;
        for (const double value : eigenvaluesOf(A)) {
            mayBePositive += value > -rounding ? 1 : 0;
            mayBeNegative += value < rounding ? 1 : 0;
            mayBeWithin += std::abs(value) <= judgement.bound + rounding ? 1 : 0;
        }
        EXPECT_EQ(judgement.positive + judgement.negative + judgement.uncertain, A.order);
        EXPECT_LE(judgement.positive, mayBePositive);
        EXPECT_LE(judgement.negative, mayBeNegative);
        EXPECT_LE(judgement.uncertain, mayBeWithin);
    }
};
using Cells = ::testing::Types<double, C>;
TYPED_TEST_SUITE(CertainInertias, Cells);

// In long double the product of the factors differs from A by what the bound allows.
TYPED_TEST(CertainInertias, RestOnABoundThatHolds)
{
    using Wide =
        std::conditional_t<std::is_same_v<TypeParam, double>, long double, std::complex<long double>>;
    for (int run = 0; run < 600; ++run) {
        const Int n = 1 + run % 30;
        const auto A = run % 3 == 0   ? this->random(n)
                       : run % 3 == 1 ? this->graded(n)
                                      : this->nearlySingular(n);
        const BlockFactorization<TypeParam> factors(A, run % 2 == 0 ? 0.0 : 1e-9 * rowSumNorm(A));
        long double squares = 0.0;
        for (Int i = 0; i < n; ++i)
            for (Int j = 0; j < n; ++j) {
                Wide sum = -Wide(A(factors.rowAt[i], factors.rowAt[j]));
                for (Int k = 0; k <= i; ++k)
                    for (Int l = std::max(0, k - 1); l <= std::min({j, k + 1, n - 1}); ++l)
                        sum +=
                            Wide(factors.L(i, k)) * Wide(factors.D(k, l)) * Wide(conjugated(factors.L(j, l)));
                squares += std::norm(sum);
            }
        const double bound =
            factorizationError<TypeParam>(n, rowSumNorm(A), factors.growth(), factors.replaced);
        // The norm of the replaced pivots is their largest, its Frobenius norm up to sqrt(n) times as much.
        EXPECT_LE(std::sqrt(static_cast<double>(squares)), bound + (std::sqrt(n) - 1.0) * factors.replaced);
    }
}

TYPED_TEST(CertainInertias, AgreeWithTheEigenvaluesOfRandomMatrices)
{
    for (int run = 0; run < 500; ++run) {
        const Int n = 1 + run % 25;
        this->expectTrue(this->random(n), 0.0);
        this->expectTrue(this->graded(n), run % 2 == 0 ? 0.0 : 1e-10);
        this->expectTrue(this->nearlySingular(n), run % 2 == 0 ? 0.0 : 1e-12);
        if (this->HasFailure()) FAIL() << "run " << run;
    }
}

/// G*diag(signs)*G^H with a unit lower triangular G of integers: the inertia is that of the signs, exactly.
TYPED_TEST(CertainInertias, NeverExceedTheExactInertia)
{
    Int certain = 0, told = 0;
    for (int run = 0; run < 2000; ++run) {
        const Int n = 1 + run % 12;
        SquareMatrix<TypeParam> G{n}, A{n};
        std::vector<int> signs;
        Inertia exact;
        for (Int i = 0; i < n; ++i) {
            signs.push_back(this->integer(1));
            ++(signs[i] > 0 ? exact.positive : signs[i] < 0 ? exact.negative : exact.zero);
            for (Int j = 0; j < i; ++j) G(i, j) = this->integerCell(3);
            G(i, i) = 1.0;
        }
        for (Int i = 0; i < n; ++i)
            for (Int j = 0; j < n; ++j)
                for (Int k = 0; k < n; ++k) A(i, j) += G(i, k) * double(signs[k]) * conjugated(G(j, k));
        for (const double tiny : {0.0, 1e-10}) {
            const CertainInertia judgement = this->judged(A, tiny);
            EXPECT_LE(judgement.positive, exact.positive);
            EXPECT_LE(judgement.negative, exact.negative);
            EXPECT_GE(judgement.uncertain, exact.zero);
        }
        const CertainInertia judgement = this->judged(A);
        certain += judgement.positive + judgement.negative;
        told += exact.positive + exact.negative;
    }
    EXPECT_GT(certain, told / 2); // most are large enough to be told
}

/// (H B^H; B -C) with H and C positive definite has as many positive eigenvalues as H has rows, and as many
/// negative ones as C; with C = 0 and B of full rank, too.
TYPED_TEST(CertainInertias, OfSaddlePointMatricesAreAllCertain)
{
    for (int run = 0; run < 500; ++run) {
        const Int n = 2 + run % 15,
                  m = 1 + static_cast<Int>(this->generator() % static_cast<unsigned>(n - 1));
        SquareMatrix<TypeParam> A{n + m};
        for (Int i = 0; i < n; ++i) A(i, i) = 3.0 + std::abs(this->uniform());
        for (Int i = 0; i + 1 < n; ++i) {
            A(i + 1, i) = this->cell();
            A(i, i + 1) = conjugated(A(i + 1, i));
        }
        for (Int i = 0; i < m; ++i) {
            for (Int j = 0; j <= i; ++j) {
                A(n + i, j) = i == j ? TypeParam(2.0) : 0.1 * this->cell();
                A(j, n + i) = conjugated(A(n + i, j));
            }
            A(n + i, n + i) = run % 2 == 0 ? 0.0 : -1e-3;
        }
        const CertainInertia judgement = this->judged(A);
        EXPECT_EQ(judgement.positive, n);
        EXPECT_EQ(judgement.negative, m);
        EXPECT_EQ(judgement.uncertain, 0);
        this->expectTrue(A, 1e-11);
    }
}

/// An eigenvalue of zero is never told, one beyond the bound always.
TYPED_TEST(CertainInertias, LeaveOutWhatLiesWithinTheBound)
{
    SquareMatrix<TypeParam> A{4};
    A(0, 0) = 1.0;
    A(1, 1) = -1.0;
    A(2, 2) = 1e-8;
    const auto withError = [&](double error) {
        return certainInertia(4, error, [&](double shift) {
            return ShiftedInertia{this->factorized(A, shift, 0.0).inertia, error};
        });
    };
    const CertainInertia fine = withError(1e-9), coarse = withError(1e-7), useless = withError(1.0);
    EXPECT_EQ((Inertia{fine.positive, fine.negative, fine.uncertain}), (Inertia{2, 1, 1}));
    EXPECT_DOUBLE_EQ(fine.bound, 3e-9);
    EXPECT_EQ((Inertia{coarse.positive, coarse.negative, coarse.uncertain}), (Inertia{1, 1, 2}));
    EXPECT_EQ((Inertia{useless.positive, useless.negative, useless.uncertain}), (Inertia{0, 0, 4}));
    EXPECT_DOUBLE_EQ(useless.bound, 3.0);
}

TEST(CertainInertia, LooksForAShiftAboveItsErrors)
{
    std::vector<double> shifts;
    const CertainInertia judgement = certainInertia(3, 1e-12, [&](double shift) {
        shifts.push_back(shift);
        return ShiftedInertia{shift > 0 ? Inertia{1, 2, 0} : Inertia{2, 1, 0}, shift > 0 ? 1e-6 : 1e-9};
    });
    EXPECT_EQ(shifts, (std::vector<double>{2e-12, -2e-12, 2e-6, -2e-6}));
    EXPECT_EQ(judgement.positive, 1);
    EXPECT_EQ(judgement.negative, 1);
    EXPECT_EQ(judgement.uncertain, 1);
    EXPECT_DOUBLE_EQ(judgement.bound, 3e-6);
}

TEST(CertainInertia, IsNothingWhereNoBoundHolds)
{
    const auto expectNothing = [](const CertainInertia& judgement) {
        EXPECT_EQ(judgement.positive, 0);
        EXPECT_EQ(judgement.negative, 0);
        EXPECT_EQ(judgement.uncertain, 3);
        EXPECT_EQ(judgement.bound, kInfinity);
    };
    for (const double bad : {kInfinity, kNaN}) {
        expectNothing(certainInertia(3, 1e-12, [&](double) { return ShiftedInertia{{3, 0, 0}, bad}; }));
        expectNothing(certainInertia(3, 1e-12, [&](double shift) {
            return ShiftedInertia{{3, 0, 0}, shift < 0 ? bad : 1e-15};
        }));
        expectNothing(certainInertia(3, bad, [&](double) { return ShiftedInertia{{3, 0, 0}, 0.0}; }));
    }
    // Errors that run ahead of every shift, and counts that cannot both be right.
    expectNothing(certainInertia(3, 1.0, [](double shift) {
        return ShiftedInertia{{3, 0, 0}, 2 * std::abs(shift)};
    }));
    expectNothing(certainInertia(3, 1.0, [](double shift) {
        return ShiftedInertia{shift > 0 ? Inertia{2, 1, 0} : Inertia{1, 2, 0}, 0.0};
    }));
}

TEST(CertainInertia, OfNothingIsNothing)
{
    const CertainInertia judgement = certainInertia(0, 0.0, [](double) { return ShiftedInertia{}; });
    EXPECT_EQ(judgement.uncertain, 0);
    EXPECT_EQ(judgement.bound, 0.0);
}

TEST(CertainInertia, FollowsFromEstimatesOfTheSmallestEigenvalues)
{
    const ShiftedInertia atZero{{5, 3, 0}, 1e-9};
    const auto from = [&](const std::vector<double>& smallest) {
        const CertainInertia judgement = certainInertia(atZero, smallest);
        return Inertia{judgement.positive, judgement.negative, judgement.uncertain};
    };
    EXPECT_EQ(from({1e-8}), (Inertia{5, 3, 0}));
    EXPECT_EQ(from({1e-10, 1e-8}), (Inertia{4, 2, 2}));
    EXPECT_EQ(from({1e-12, 1e-11, 1e-10, 1e-9, 1e-3}), (Inertia{1, 0, 7}));
    EXPECT_EQ(from({1e-10}), (Inertia{0, 0, 8}));
    EXPECT_EQ(from({kNaN}), (Inertia{0, 0, 8}));
    EXPECT_EQ(from({}), (Inertia{0, 0, 8}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
