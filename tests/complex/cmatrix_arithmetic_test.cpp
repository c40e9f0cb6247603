// Sums, element-wise operations and products of CMatrix.

#include "tests/complex/complex_support.h"
#include "tests/support/thread_setting.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kWrongC = "Incorrect size for matrix C.";

constexpr TransposeMode kModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                    TransposeMode::ConjugateTransposed};
constexpr auto N = TransposeMode::NotTransposed;
constexpr auto T = TransposeMode::Transposed;
constexpr auto H = TransposeMode::ConjugateTransposed;

struct Scalars {
    Complex alpha, beta;
};
const std::vector<Scalars> kScalars{{1, 0}, {1, 1}, {{-0.5, 2}, {0, 1}}, {kI, 0}, {0, {3, -1}},
                                    {0, 0}, {0, 1}};

// What stands in the factor's place when the kernel is told to read op(X) as `X`: each mode is its own
// inverse.
CMatrix stored(const CMatrix& X, TransposeMode mode)
{
    return applied(mode, X);
}

template <class Function>
CMatrix cellByCell(const CMatrix& A, const CMatrix& B, Function f)
{
    CMatrix result(A.Rows(), A.Cols());
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) result(r, c) = f(A(r, c), B(r, c));
    }
    return result;
}

// Each odd cell against each other.
std::pair<CMatrix, CMatrix> oddPair()
{
    const auto n = static_cast<std::int32_t>(kOddCells.size());
    CMatrix A(n, n), B(n, n);
    for (int i = 0; i < n; ++i) {
        A.SetRow(i, kOddCells[static_cast<std::size_t>(i)]);
        B.SetColumn(i, kOddCells[static_cast<std::size_t>(i)]);
    }
    return {A, B};
}

// ---- sums and element-wise operations

TEST(CMatrixArithmetic, SumDifferenceAndHadamardProductAreThoseOfTheSimpleLoop)
{
    std::mt19937_64 generator(1);
    std::vector<std::pair<CMatrix, CMatrix>> pairs{oddPair()};
    for (const Shape& shape : allShapes()) {
        pairs.emplace_back(randomComplex(shape, generator), randomComplex(shape, generator));
    }
    const auto sum = [](Complex x, Complex y) { return Complex(x.real() + y.real(), x.imag() + y.imag()); };
    const auto difference = [](Complex x, Complex y) {
        return Complex(x.real() - y.real(), x.imag() - y.imag());
    };
    const auto negative = [](Complex x, Complex) { return Complex(-x.real(), -x.imag()); };
    const auto conjugate = [](Complex x, Complex) { return Complex(x.real(), -x.imag()); };
    for (const auto& [A, B] : pairs) {
        EXPECT_TRUE(sameUpToNaN(A + B, cellByCell(A, B, sum)));
        EXPECT_TRUE(sameUpToNaN(CMatrix::Add(A, B), A + B));
        EXPECT_TRUE(sameUpToNaN(A - B, cellByCell(A, B, difference)));
        EXPECT_TRUE(sameUpToNaN(CMatrix::Subtract(A, B), A - B));
        EXPECT_TRUE(sameUpToNaN(CMatrix::HadamardProduct(A, B), cellByCell(A, B, plainProduct)));
        EXPECT_TRUE(sameUpToNaN(-A, cellByCell(A, B, negative)));
        EXPECT_TRUE(sameUpToNaN(CMatrix::Negate(A), -A));
        EXPECT_TRUE(sameUpToNaN(A.Conjugate(), cellByCell(A, B, conjugate)));
    }
}

TEST(CMatrixArithmetic, ShapesThatDifferAreRefusedBeforeAnythingIsAllocated)
{
    const CMatrix A = countedComplex(2, 3);
    for (const Shape& shape : {Shape{3, 3}, Shape{2, 2}, Shape{3, 2}, Shape{1, 6}, Shape{6, 1}}) {
        const CMatrix B = countedComplex(shape.rows, shape.cols);
        const std::vector<std::function<CMatrix()>> sums{
            [&] { return A + B; },
            [&] { return B + A; },
            [&] { return A - B; },
            [&] { return CMatrix::HadamardProduct(A, B); },
        };
        for (const auto& sum : sums) expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, sum);
    }
}

TEST(CMatrixArithmetic, UnaryPlusIsTheOperandItselfAndPlusIsACopy)
{
    CMatrix A{{1, kI}};
    const CMatrix copy = CMatrix::Plus(A);
    (+A)(0, 0) = 9.0;
    EXPECT_EQ(A(0, 0), Complex(9));
    EXPECT_EQ(copy(0, 0), Complex(1));
    EXPECT_EQ(&+A, &A);
    EXPECT_EQ(&+std::as_const(A), &A);
    const std::intptr_t address = A.DataPtr();
    EXPECT_EQ((+std::move(A)).DataPtr(), address);
}

TEST(CMatrixArithmetic, ProductWithAScalarIsTheSameInEveryForm)
{
    std::mt19937_64 generator(2);
    for (const Shape& shape : allShapes()) {
        const CMatrix A = randomComplex(shape, generator);
        for (const Complex& alpha : {Complex(1), Complex(2.5, 0), kI, Complex(-0.3, 0.7)}) {
            const CMatrix scaled = A * alpha;
            double worst = 0.0;
            for (int c = 0; c < shape.cols; ++c) {
                for (int r = 0; r < shape.rows; ++r) {
                    worst = std::max(worst, ulps(scaled(r, c), Wide(A(r, c)) * Wide(alpha)));
                }
            }
            EXPECT_LT(worst, 8.0) << shape << alpha;
            EXPECT_TRUE(sameUpToNaN(alpha * A, scaled));
            EXPECT_TRUE(sameUpToNaN(CMatrix::Multiply(A, alpha), scaled));
            EXPECT_TRUE(sameUpToNaN(A.Times(alpha), scaled));
        }
    }
    EXPECT_EQ((CMatrix{{1, kI}} * 2), (CMatrix{{2, {0, 2}}}));
    EXPECT_EQ((0.5 * CMatrix{{1, kI}}), (CMatrix{{0.5, {0, 0.5}}}));
}

// Libraries differ in whether their routine multiplies by a zero or clears: here every cell is multiplied.
TEST(CMatrixArithmetic, ProductWithZeroMultipliesEveryCell)
{
    const CMatrix A(kOddCells, 1, static_cast<std::int32_t>(kOddCells.size()));
    for (const Complex& zero : {Complex(0.0, 0.0), Complex(-0.0, 0.0)}) {
        const CMatrix scaled = A * zero;
        for (int c = 0; c < A.Cols(); ++c) {
            const bool finite = std::isfinite(A(0, c).real()) && std::isfinite(A(0, c).imag());
            if (finite) {
                EXPECT_EQ(scaled(0, c), Complex());
            } else {
                EXPECT_TRUE(std::isnan(scaled(0, c).real()) || std::isnan(scaled(0, c).imag())) << A(0, c);
            }
        }
    }
}

// Some kernels take a NaN for a zero.
TEST(CMatrixArithmetic, NaNFactorSpoilsEveryCell)
{
    for (const Complex& alpha : {Complex(kNaN, 0), Complex(kNaN, 1), Complex(0, kNaN), Complex(2, kNaN)}) {
        const CMatrix scaled = countedComplex(5, 7) * alpha;
        for (const Complex& cell : blockOf(scaled)) {
            EXPECT_TRUE(std::isnan(cell.real()) && std::isnan(cell.imag())) << alpha;
        }
        CVector y = countedComplex(5);
        CVector::Add(alpha, countedComplex(5), y);
        for (const Complex& cell : blockOf(y))
            EXPECT_TRUE(std::isnan(cell.real()) && std::isnan(cell.imag()));
    }
}

TEST(CMatrixArithmetic, NaNInEitherPartComesThroughAScaling)
{
    for (const Complex& cell : {Complex(kNaN, 1), Complex(1, kNaN)}) {
        for (const Complex& alpha : {Complex(2), kI, Complex(1, 1)}) {
            EXPECT_TRUE((CMatrix(1, 1, cell) * alpha).HasNaNs());
            EXPECT_TRUE((CMatrix(1, 1, cell) / alpha).HasNaNs());
        }
    }
}

TEST(CMatrixArithmetic, DivisionByAScalarMultipliesByTheReciprocal)
{
    EXPECT_TRUE(sameUpToNaN((CMatrix{{49}} / 49.0), CMatrix{{49}} * (1.0 / Complex(49.0))));
    EXPECT_NE((CMatrix{{49}} / 49.0)(0, 0), Complex(1)); // not the quotient
    const CMatrix A = countedComplex(3, 2);
    const Complex alpha(0.3, -4);
    EXPECT_TRUE(sameUpToNaN(A / alpha, A * (1.0 / alpha)));
    EXPECT_TRUE(sameUpToNaN(CMatrix::Divide(A, alpha), A / alpha));
    EXPECT_EQ(A / Complex(kInf, kInf), CMatrix(3, 2)); // the platform's reciprocal is 0, the routine's none
}

TEST(CMatrixArithmetic, DivisionByZeroIsRefusedBeforeAnythingIsAllocated)
{
    const CMatrix A = countedComplex(2, 2);
    for (const double re : {0.0, -0.0}) {
        for (const double im : {0.0, -0.0}) {
            const Complex zero(re, im);
            expectRefusedUnallocated<ArgumentException>("Division by zero error", [&] { A / zero; });
            expectRefusedUnallocated<ArgumentException>("Division by zero error",
                                                        [&] { CMatrix::Divide(A, zero); });
        }
    }
    EXPECT_THAT([&] { A / 0.0; }, ThrowsMessage<ArgumentException>("Division by zero error"));
    EXPECT_TRUE((A / Complex(kNaN, 0)).HasNaNs()); // a NaN passes the test
}

TEST(CMatrixArithmetic, ScalarDividedByAMatrixIsTheQuotientOfTheRoutineCellByCell)
{
    const auto [A, B] = oddPair();
    for (const Complex& alpha : kOddCells) {
        const auto quotient = [&](Complex x, Complex) { return quotientOfRoutine(alpha, x); };
        EXPECT_TRUE(sameUpToNaN(alpha / B, cellByCell(B, B, quotient)));
        EXPECT_TRUE(sameUpToNaN(CMatrix::Divide(alpha, B), alpha / B));
    }
    EXPECT_EQ((2.0 / CMatrix{{1, {0, 4}}}), (CMatrix{{2, {0, -0.5}}}));
}

// ---- transposition

TEST(CMatrixArithmetic, TransposeAdjointAndConjugateOfAnyShapeAreExact)
{
    std::mt19937_64 generator(3);
    std::vector<CMatrix> matrices{oddPair().first};
    for (const Shape& shape : allShapes()) matrices.push_back(randomComplex(shape, generator));
    for (const Shape& shape : {Shape{15, 17}, Shape{16, 16}, Shape{33, 48}, Shape{130, 70}}) {
        matrices.push_back(randomComplex(shape, generator));
    }
    for (const CMatrix& A : matrices) {
        EXPECT_EQ(bitsOf(A.Transpose()), bitsOf(applied(T, A)));
        EXPECT_EQ(bitsOf(A.Adjoint()), bitsOf(applied(H, A)));
        EXPECT_EQ(A.Transpose().Rows(), A.Cols());
        EXPECT_EQ(A.Adjoint().Cols(), A.Rows());
        EXPECT_EQ(bitsOf(A.Adjoint()), bitsOf(A.Transpose().Conjugate()));
        EXPECT_EQ(bitsOf(A.Adjoint().Adjoint()), bitsOf(A));
        EXPECT_EQ(bitsOf(A.Conjugate().Conjugate()), bitsOf(A));
    }
}

// ---- products

TEST(CMatrixArithmetic, ProductOfTwoMatricesIsThatOfTheTripleLoop)
{
    std::mt19937_64 generator(4);
    for (const Shape& shape : allShapes()) {
        for (const int n : {1, 7, 66}) {
            const CMatrix A = randomComplex(shape, generator), B = randomComplex({shape.cols, n}, generator);
            const CMatrix C = A * B;
            ASSERT_EQ(C.Rows(), shape.rows);
            ASSERT_EQ(C.Cols(), n);
            EXPECT_LT(productRatio(C, 1.0, A, B, 0.0, C), kResidualLimit) << shape << " by " << n;
            EXPECT_TRUE(sameUpToNaN(CMatrix::Multiply(A, B), C));
            EXPECT_TRUE(sameUpToNaN(A.Times(B), C));
        }
    }
    EXPECT_EQ((CMatrix{{1, kI}} * CMatrix{{kI}, {1}}), (CMatrix{{{0, 2}}}));
}

TEST(CMatrixArithmetic, ProductWithARealMatrixOnTheRight)
{
    std::mt19937_64 generator(5);
    for (const Shape& shape : allShapes()) {
        const CMatrix A = randomComplex(shape, generator);
        const Matrix B = randomMatrix({shape.cols, 5}, generator);
        const std::int64_t before = TrellConfiguration::TotalMemory();
        EXPECT_TRUE(sameUpToNaN(A * B, A * B.ToCMatrix()));
        EXPECT_TRUE(sameUpToNaN(CMatrix::Multiply(A, B), A * B));
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before); // nothing is left of the converted one
    }
    EXPECT_THAT([] { CMatrix(2, 3) * Matrix(2, 3); }, ThrowsMessage<SizeMismatchException>(kSizeMismatch));
}

TEST(CMatrixArithmetic, GeneralProductTakesEveryPairOfModesAndEveryScalar)
{
    std::mt19937_64 generator(6);
    for (const Shape& shape : {Shape{1, 1}, Shape{2, 3}, Shape{7, 7}, Shape{33, 5}, Shape{4, 65}}) {
        for (const int n : {1, 6, 66}) {
            const CMatrix opA = randomComplex(shape, generator),
                          opB = randomComplex({shape.cols, n}, generator);
            const CMatrix C0 = randomComplex({shape.rows, n}, generator);
            for (const TransposeMode transA : kModes) {
                for (const TransposeMode transB : kModes) {
                    const CMatrix A = stored(opA, transA), B = stored(opB, transB);
                    for (const auto& [alpha, beta] : kScalars) {
                        CMatrix C = C0;
                        const std::intptr_t address = C.DataPtr();
                        CMatrix::Multiply(alpha, transA, A, transB, B, beta, C);
                        ASSERT_LT(productRatio(C, alpha, opA, opB, beta, C0), kResidualLimit)
                            << shape << " by " << n << ", modes " << static_cast<int>(transA)
                            << static_cast<int>(transB) << ", scalars " << alpha << ", " << beta;
                        ASSERT_EQ(C.DataPtr(), address);
                    }
                }
            }
        }
    }
}

TEST(CMatrixArithmetic, GeneralProductsDoNotReadTheTargetWhenBetaIsZero)
{
    std::mt19937_64 generator(7);
    for (const Shape& shape : allShapes()) {
        const CMatrix opA = randomComplex(shape, generator), opB = randomComplex({shape.cols, 3}, generator);
        const CVector x = opB.ColVector(0);
        for (const TransposeMode mode : kModes) {
            for (const Complex& alpha : {Complex(1), Complex(0)}) {
                CMatrix C(shape.rows, 3);
                for (int c = 0; c < 3; ++c) C.SetColumn(c, Complex(kNaN, kNaN));
                CMatrix::Multiply(alpha, mode, stored(opA, mode), N, opB, 0.0, C);
                EXPECT_LT(productRatio(C, alpha, opA, opB, 0.0, C), kResidualLimit);
                CVector y(shape.rows, {kNaN, kNaN});
                CMatrix::Multiply(alpha, mode, stored(opA, mode), x, 0.0, y);
                EXPECT_LT(productRatio(y, alpha, opA, x, 0.0, y), kResidualLimit);
            }
        }
    }
}

TEST(CMatrixArithmetic, InnerSizesThenTheShapeOfCAreTested)
{
    const CMatrix A = countedComplex(2, 3), B = countedComplex(3, 4), wrongB = countedComplex(4, 3);
    const CMatrix before = countedComplex(3, 3);
    CMatrix C = before;
    const auto product = [&](TransposeMode a, TransposeMode b, const CMatrix& X) {
        return [&, a, b] { CMatrix::Multiply(1.0, a, A, b, X, 0.0, C); };
    };
    expectRefusedUnallocated<SizeMismatchException>(kWrongC, product(N, N, B));
    expectRefusedUnallocated<SizeMismatchException>(kWrongC, product(N, T, wrongB));
    expectRefusedUnallocated<SizeMismatchException>(kWrongC, product(N, H, wrongB));
    expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, product(N, N, wrongB));
    expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, product(T, N, B));
    expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, product(H, N, B));
    EXPECT_EQ(C, before);
    expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { A* wrongB; });
    expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { A.Times(wrongB); });
    expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { CMatrix::Multiply(A, wrongB); });
    expectRefusedAfterAllocation<SizeMismatchException>(kWrongC,
                                                        [&] { CMatrix::Multiply(1.0, A, B, 1.0, C); });
}

TEST(CMatrixArithmetic, ProductWithAnAddendReturnsANewMatrixAndLeavesC)
{
    std::mt19937_64 generator(8);
    for (const Shape& shape : allShapes()) {
        const CMatrix A = randomComplex(shape, generator), B = randomComplex({shape.cols, 7}, generator);
        const CMatrix C = randomComplex({shape.rows, 7}, generator), before = C;
        for (const auto& [alpha, beta] : kScalars) {
            const CMatrix R = CMatrix::Multiply(alpha, A, B, beta, C);
            EXPECT_LT(productRatio(R, alpha, A, B, beta, C), kResidualLimit) << shape;
        }
        EXPECT_EQ(C, before);
    }
    const CMatrix A{{1, kI}, {0, 1}};
    EXPECT_EQ(CMatrix::Multiply(1.0, A, A, 1.0, A), (CMatrix{{2, {0, 3}}, {0, 2}})); // C may be a factor
}

TEST(CMatrixArithmetic, ProductsWithAVectorAreThoseOfTheLoop)
{
    std::mt19937_64 generator(9);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const CMatrix A = randomComplex(shape, generator), At = applied(T, A);
        const CVector x = randomComplex(shape.cols, generator), w = randomComplex(shape.rows, generator);
        const CVector Ax = A * x, wA = CMatrix::Multiply(w, A);
        ASSERT_EQ(Ax.Length(), shape.rows);
        ASSERT_EQ(wA.Length(), shape.cols);
        EXPECT_LT(productRatio(Ax, 1.0, A, x, 0.0, Ax), kResidualLimit);
        EXPECT_LT(productRatio(wA, 1.0, At, w, 0.0, wA), kResidualLimit);
        EXPECT_TRUE(sameUpToNaN(A.Times(x), Ax.ToCMatrix()));
        if (A.IsSquare()) {
            EXPECT_TRUE(sameUpToNaN(CMatrix::Multiply(A, x), Ax));
            EXPECT_TRUE(sameUpToNaN(w * A, wA));
        }
    }
    const CMatrix A(2, 2);
    const CVector x(2);
    static_assert(std::is_same_v<decltype(A.Times(x)), CMatrix>);
    static_assert(std::is_same_v<decltype(A * x), CVector> && std::is_same_v<decltype(x * A), CVector>);
}

TEST(CMatrixArithmetic, GeneralMatrixVectorProductTakesEveryModeAndEveryScalar)
{
    std::mt19937_64 generator(10);
    for (const Shape& shape : allShapes()) {
        for (const TransposeMode mode : kModes) {
            const CMatrix opA = randomComplex(shape, generator), A = stored(opA, mode);
            const CVector x = randomComplex(shape.cols, generator), y0 = randomComplex(shape.rows, generator);
            for (const auto& [alpha, beta] : kScalars) {
                CVector y = y0;
                const std::intptr_t address = y.DataPtr();
                CMatrix::Multiply(alpha, mode, A, x, beta, y);
                EXPECT_LT(productRatio(y, alpha, opA, x, beta, y0), kResidualLimit)
                    << shape << ", mode " << static_cast<int>(mode) << ", " << alpha << beta;
                EXPECT_EQ(y.DataPtr(), address);
            }
        }
    }
}

TEST(CMatrixArithmetic, GeneralMatrixVectorProductRefusesWrongLengthsAndLeavesY)
{
    const CMatrix A = countedComplex(2, 3);
    struct Case {
        TransposeMode mode;
        int x, y;
    };
    for (const Case& c : {Case{N, 2, 2}, Case{N, 3, 3}, Case{N, 3, 1}, Case{T, 3, 3}, Case{T, 2, 2},
                          Case{H, 3, 2}, Case{H, 2, 4}}) {
        const CVector x = countedComplex(c.x);
        CVector y = countedComplex(c.y);
        expectRefusedUnallocated<SizeMismatchException>(
            kSizeMismatch, [&] { CMatrix::Multiply(1.0, c.mode, A, x, 0.0, y); });
        EXPECT_EQ(y, countedComplex(c.y));
    }
    for (const CVector& x : {CVector(2), CVector(4)}) {
        expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { A* x; });
        expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { A.Times(x); });
    }
    const CVector three(3);
    expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { CMatrix::Multiply(three, A); });
}

TEST(CMatrixArithmetic, OneThreadAndSeveralGiveTheSameProductUpToRounding)
{
    std::mt19937_64 generator(11);
    for (const Shape& shape : {Shape{150, 129}, Shape{700, 31}, Shape{17, 600}}) {
        SCOPED_TRACE(shape);
        const CMatrix A = randomComplex(shape, generator), B = randomComplex({shape.cols, 67}, generator);
        const CVector x = randomComplex(shape.cols, generator);
        for (const int count : {1, 4}) {
            const ThreadSetting setting(count);
            const CMatrix C = A * B;
            const CVector y = A * x;
            EXPECT_LT(productRatio(C, 1.0, A, B, 0.0, C), kResidualLimit);
            EXPECT_LT(productRatio(y, 1.0, A, x, 0.0, y), kResidualLimit);
        }
    }
}

TEST(CMatrixArithmetic, NaNAndInfinityComeThroughProducts)
{
    for (const Complex& bad : {Complex(kNaN, 0), Complex(0, kNaN), Complex(kInf, 0), Complex(0, kInf)}) {
        CMatrix A = countedComplex(3, 3);
        A(1, 1) = bad;
        const CVector ones(3, 1.0);
        const CVector y = A * ones;
        EXPECT_FALSE(y.IsFinite()) << bad;
        EXPECT_EQ(y[0], Complex(1 + 4 + 7, 10 + 40 + 70));
        EXPECT_FALSE((A * countedComplex(3, 3)).IsFinite()) << bad;
    }
}

// Some kernels take a NaN beta for a zero, and forget the target.
TEST(CMatrixArithmetic, NaNScalarSpoilsEveryCellOfATarget)
{
    const auto spoilt = [](const auto& target) {
        return std::ranges::all_of(blockOf(target), [](const Complex& cell) {
            return std::isnan(cell.real()) && std::isnan(cell.imag());
        });
    };
    for (const int n : {1, 3, 8, 33}) {
        const CMatrix A = countedComplex(n, n);
        const CVector x = countedComplex(n);
        for (const Complex& nan : {Complex(kNaN, 0), Complex(kNaN, 1), Complex(0, kNaN), Complex(2, kNaN)}) {
            for (const auto& [alpha, beta] : {std::pair{nan, Complex(1)}, std::pair{Complex(1), nan}}) {
                for (const TransposeMode mode : kModes) {
                    CMatrix C = A;
                    CMatrix::Multiply(alpha, mode, A, N, A, beta, C);
                    EXPECT_TRUE(spoilt(C)) << n << alpha << beta;
                    CVector y = x;
                    CMatrix::Multiply(alpha, mode, A, x, beta, y);
                    EXPECT_TRUE(spoilt(y)) << n << alpha << beta;
                }
                EXPECT_TRUE(spoilt(CMatrix::Multiply(alpha, A, A, beta, A))) << n << alpha << beta;
            }
        }
    }
}

TEST(CMatrixArithmetic, HardenedBuildRefusesATargetThatIsAnOperandAndAnUnknownMode)
{
    const auto unknown = static_cast<TransposeMode>(3);
    CMatrix A = countedComplex(2, 2), C(2, 2);
    CVector x = countedComplex(2);
    if constexpr (detail::kHardened) {
        constexpr const char* overlap = "The target of the product is one of its operands.";
        constexpr const char* mode = "The transposition mode is none of its three members.";
        EXPECT_THAT([&] { CMatrix::Multiply(1.0, N, A, N, C, 0.0, A); },
                    ThrowsMessage<InvalidOperationException>(overlap));
        EXPECT_THAT([&] { CMatrix::Multiply(1.0, N, C, N, A, 0.0, A); },
                    ThrowsMessage<InvalidOperationException>(overlap));
        EXPECT_THAT([&] { CMatrix::Multiply(1.0, N, A, x, 0.0, x); },
                    ThrowsMessage<InvalidOperationException>(overlap));
        EXPECT_THAT([&] { CMatrix::Multiply(1.0, unknown, A, N, A, 0.0, C); },
                    ThrowsMessage<InvalidOperationException>(mode));
    } else {
        EXPECT_NO_THROW(CMatrix::Multiply(1.0, unknown, A, unknown, A, 0.0, C)); // reads as some mode
    }
    EXPECT_EQ(A, countedComplex(2, 2));
}

// ---- functions

TEST(CMatrixArithmetic, EachFormOfApplyFunctionPassesItsArguments)
{
    const CMatrix A{{1, kI}};
    EXPECT_EQ(A.ApplyFunction([](Complex z) { return 2.0 * z; }), (CMatrix{{2, {0, 2}}}));
    EXPECT_EQ(A.ApplyFunction([](Complex z, Complex w) { return z + w; }, kI), (CMatrix{{{1, 1}, {0, 2}}}));
    const ComplexFunction1Cmp1Int shifted = [](Complex z, int k) { return z + static_cast<double>(k); };
    EXPECT_EQ(A.ApplyFunction(shifted, 7), (CMatrix{{8, {7, 1}}}));
    const ComplexFunction2Cmp2Int placed = [](Complex z, Complex w, int column, int row) {
        return z * w + 10.0 * column + static_cast<double>(row);
    };
    EXPECT_EQ((CMatrix{{1}, {kI}}.ApplyFunction(placed, Complex(2))), (CMatrix{{2}, {{1, 2}}}));
}

TEST(CMatrixArithmetic, IndexedFormsSeeColumnThenRowInBlockOrder)
{
    std::vector<std::pair<int, int>> seen;
    const ComplexFunction1Cmp2Int look = [&](Complex z, int index1, int index2) {
        seen.emplace_back(index1, index2);
        return z;
    };
    countedComplex(2, 3).ApplyFunction(look);
    EXPECT_THAT(seen, ElementsAre(std::pair(0, 0), std::pair(0, 1), std::pair(1, 0), std::pair(1, 1),
                                  std::pair(2, 0), std::pair(2, 1)));
}

TEST(CMatrixArithmetic, ApplyFunctionGoesByTheCopyAndAFailureTravelsOut)
{
    CMatrix A = countedComplex(2, 2);
    const CMatrix result = A.ApplyFunction([&](Complex z) {
        A.Clear();
        return 2.0 * z;
    });
    EXPECT_EQ(result, countedComplex(2, 2) * 2.0);
    A = countedComplex(2, 2);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    EXPECT_THROW(A.ApplyFunction([](Complex) -> Complex { throw std::domain_error("no"); }),
                 std::domain_error);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(A, countedComplex(2, 2));
}

// ---- memory

TEST(CMatrixArithmetic, EachOperationTakesItsBlocksAndLeaksNoneWhenOneIsRefused)
{
    const CMatrix A = countedComplex(3, 3), copy = A;
    const Matrix R = counted(3, 3);
    const CVector x = countedComplex(3);
    const std::vector<std::function<void()>> oneBlock{
        [&] { A + A; },
        [&] { A - A; },
        [&] { -A; },
        [&] { CMatrix::HadamardProduct(A, A); },
        [&] { CMatrix::Plus(A); },
        [&] { kI / A; },
        [&] { A* kI; },
        [&] { A / kI; },
        [&] { A.ApplyFunction([](Complex z) { return z; }); },
        [&] { A* A; },
        [&] { A* x; },
        [&] { CMatrix::Multiply(A, x); },
        [&] { x* A; },
        [&] { CMatrix::Multiply(x, A); },
        [&] { CMatrix::Multiply(1.0, A, A, 1.0, A); },
        [&] { A.Transpose(); },
        [&] { A.Adjoint(); },
        [&] { A.Conjugate(); },
    };
    for (const auto& operation : oneBlock) expectAllocations(1, A, operation);
    expectAllocations(2, A, [&] { A.Times(x); }); // the vector, then the column
    expectAllocations(2, A, [&] { A* R; });       // the converted matrix, then the product
    CMatrix C(3, 3);
    CVector y(3);
    expectAllocations(0, A, [&] { CMatrix::Multiply(1.0, N, A, H, A, 0.0, C); });
    expectAllocations(0, A, [&] { CMatrix::Multiply(1.0, H, A, x, 0.0, y); });
}

TEST(CMatrixArithmetic, ProductsOfMoreCellsThanABlockHoldsAreRefused)
{
    const CMatrix column(65536, 1), row(1, 65536), tall(65537, 1);
    expectRefusedByTheAllocator([&] { column* row; });
    expectRefusedByTheAllocator([&] { tall.Times(row); });
}

} // namespace
} // namespace Velmar::Lintrix
