// Sums, element-wise operations and products of Matrix.

#include "tests/dense/dense_support.h"

#include <lintrix/foundation/configuration.h>

#include <array>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <type_traits>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kWrongC = "Incorrect size for matrix C.";
constexpr const char* kZeroDivision = "Division by zero error";

constexpr TransposeMode kModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                    TransposeMode::ConjugateTransposed};
constexpr auto N = TransposeMode::NotTransposed;
constexpr auto T = TransposeMode::Transposed;

// What stands in the factor's place when the kernel is told to read op(X) as `X`.
Matrix stored(const Matrix& X, TransposeMode mode)
{
    return mode == N ? X : naiveTranspose(X);
}

// The cell-by-cell result of `f`, by the plain definition.
template <class Function>
Matrix cellByCell(const Matrix& A, const Matrix& B, Function f)
{
    Matrix result(A.Rows(), A.Cols());
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) result(r, c) = f(A(r, c), B(r, c));
    }
    return result;
}

// ||C - (alpha*op(A)*op(B) + beta*C0)||_1 / (k*(|alpha|*||op(A)||_1*||op(B)||_1 + |beta|*||C0||_1)*eps):
// the rounding error of a product with inner size k, whatever cancels in it. `AB` is op(A)*op(B).
double productRatio(const Matrix& C, double alpha, const Matrix& opA, const Matrix& opB, const Matrix& AB,
                    double beta, const Matrix& C0)
{
    const Matrix error =
        cellByCell(C, cellByCell(AB, C0, [&](double p, double c) { return alpha * p + beta * c; }),
                   [](double x, double y) { return x - y; });
    const double scale = std::abs(alpha) * oneNorm(opA) * oneNorm(opB) + std::abs(beta) * oneNorm(C0);
    return oneNorm(error) == 0.0 ? 0.0 : oneNorm(error) / (opA.Cols() * scale * kEps);
}

struct Scalars {
    double alpha, beta;
};
constexpr Scalars kScalars[] = {{1, 0}, {1, 1}, {-0.5, 2}, {2.5, 0}, {0, 3}, {0, 0}, {0, 1}};

// ---- sums and element-wise operations

TEST(MatrixArithmetic, SumDifferenceAndHadamardProductAreThoseOfTheSimpleLoop)
{
    std::mt19937_64 generator(1);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomMatrix(shape, generator), B = randomMatrix(shape, generator);
        EXPECT_EQ(bitsOf(A + B), bitsOf(cellByCell(A, B, std::plus<>())));
        EXPECT_EQ(bitsOf(A - B), bitsOf(cellByCell(A, B, std::minus<>())));
        EXPECT_EQ(bitsOf(Matrix::HadamardProduct(A, B)), bitsOf(cellByCell(A, B, std::multiplies<>())));
        EXPECT_EQ((A + B).Rows(), shape.rows);
        EXPECT_EQ((A + B).Cols(), shape.cols);
    }
}

TEST(MatrixArithmetic, NamedTwinsOfTheSumsAreTheOperators)
{
    const Matrix A{{1, 2}, {3, 4}}, B{{5, 7}, {9, 11}};
    EXPECT_TRUE(identical(Matrix::Add(A, B), {{6, 9}, {12, 15}}));
    EXPECT_TRUE(identical(A + B, {{6, 9}, {12, 15}}));
    EXPECT_TRUE(identical(Matrix::Subtract(A, B), {{-4, -5}, {-6, -7}}));
    EXPECT_TRUE(identical(A - B, {{-4, -5}, {-6, -7}}));
    EXPECT_TRUE(identical(Matrix::HadamardProduct(A, B), {{5, 14}, {27, 44}}));
    EXPECT_TRUE(identical(Matrix::Negate(A), {{-1, -2}, {-3, -4}}));
    EXPECT_TRUE(identical(-A, {{-1, -2}, {-3, -4}}));
}

TEST(MatrixArithmetic, SumCommutes)
{
    std::mt19937_64 generator(2);
    for (const Shape& shape : allShapes()) {
        const Matrix A = randomMatrix(shape, generator), B = randomMatrix(shape, generator);
        EXPECT_EQ(bitsOf(A + B), bitsOf(B + A)) << shape;
        EXPECT_EQ(bitsOf(A - B), bitsOf(-(B - A))) << shape;
    }
}

TEST(MatrixArithmetic, AMatrixMayStandOnBothSidesOfASum)
{
    const Matrix A{{1, -2}, {kInf, 4}};
    EXPECT_TRUE(identical(A + A, {{2, -4}, {kInf, 8}}));
    EXPECT_TRUE(identical(A - A, {{0, 0}, {kNaN, 0}}));
    EXPECT_TRUE(identical(Matrix::HadamardProduct(A, A), {{1, 4}, {kInf, 16}}));
}

TEST(MatrixArithmetic, ShapesThatDifferAreRefusedBeforeAnythingIsAllocated)
{
    const Matrix A = counted(2, 3);
    for (const Shape& shape : {Shape{3, 3}, Shape{2, 2}, Shape{3, 2}, Shape{1, 6}, Shape{6, 1}}) {
        SCOPED_TRACE(shape);
        const Matrix B = counted(shape.rows, shape.cols);
        const std::vector<std::function<Matrix()>> sums{
            [&] { return A + B; },
            [&] { return B + A; },
            [&] { return Matrix::Add(A, B); },
            [&] { return A - B; },
            [&] { return Matrix::Subtract(A, B); },
            [&] { return Matrix::HadamardProduct(A, B); },
        };
        for (const auto& sum : sums) expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, sum);
        EXPECT_TRUE(identical(B, counted(shape.rows, shape.cols)));
    }
    EXPECT_TRUE(identical(A, counted(2, 3)));
}

TEST(MatrixArithmetic, NegationFlipsEverySignBit)
{
    const Matrix A{{0.0, -0.0, kInf}, {1.5, -2.5, 0x1p-1074}};
    EXPECT_EQ(bitsOf(-A), bitsOf(Matrix{{-0.0, 0.0, -kInf}, {-1.5, 2.5, -0x1p-1074}}));
    EXPECT_EQ(bitsOf(Matrix::Negate(-A)), bitsOf(A));
    EXPECT_TRUE(std::isnan((-Matrix{{kNaN}})(0, 0)));
}

TEST(MatrixArithmetic, UnaryPlusIsTheOperandItselfAndPlusIsACopy)
{
    Matrix A{{1, 2}, {3, 4}};
    static_assert(std::is_same_v<decltype(+A), Matrix&>);
    static_assert(std::is_same_v<decltype(+std::as_const(A)), const Matrix&>);
    static_assert(std::is_same_v<decltype(+Matrix(A)), Matrix>);
    EXPECT_EQ(&+A, &A);
    EXPECT_EQ(&+std::as_const(A), &A);
    const Matrix plus = Matrix::Plus(A);
    (+A)(0, 0) = 9;
    EXPECT_EQ(A(0, 0), 9);
    EXPECT_EQ(plus(0, 0), 1);
    EXPECT_NE(plus.DataPtr(), A.DataPtr());
}

TEST(MatrixArithmetic, UnaryPlusOfATemporaryKeepsItsBlockAndItsCells)
{
    const Matrix A = counted(2, 2);
    expectAllocations(1, A, [&] { return +(A + A); });
    const Matrix& kept = +(A + A);
    EXPECT_TRUE(identical(kept, {{2, 6}, {4, 8}}));
}

// ---- scalars

TEST(MatrixArithmetic, ProductWithAScalarIsTheSameInEveryForm)
{
    std::mt19937_64 generator(3);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomMatrix(shape, generator);
        for (const double alpha : {1.0, -1.0, 3.7, 0x1p-600}) {
            const auto expected = bitsOf(cellByCell(A, A, [&](double x, double) { return x * alpha; }));
            EXPECT_EQ(bitsOf(A * alpha), expected);
            EXPECT_EQ(bitsOf(alpha * A), expected);
            EXPECT_EQ(bitsOf(Matrix::Multiply(A, alpha)), expected);
            EXPECT_EQ(bitsOf(A.Times(alpha)), expected);
        }
    }
}

TEST(MatrixArithmetic, ProductWithZeroIsZero)
{
    const Matrix A = counted(3, 5);
    EXPECT_TRUE(identical(A * 0.0, Matrix(3, 5)));
    EXPECT_TRUE(identical(0.0 * A, Matrix(3, 5)));
}

// 0*x is NaN for these, -0.0 for a negative x, also where a library's own routine would clear.
TEST(MatrixArithmetic, ProductWithZeroMultipliesEveryCell)
{
    const Matrix A(std::vector<double>{kNaN, kInf, -kInf, -2.0, 3.0, 0.0}, 2, 3);
    for (const Matrix& product : {A * 0.0, 0.0 * A, Matrix::Multiply(A, 0.0), A.Times(0.0), A / kInf}) {
        EXPECT_TRUE(std::isnan(product(0, 0)));
        EXPECT_TRUE(std::isnan(product(0, 1)));
        EXPECT_TRUE(std::isnan(product(0, 2)));
        EXPECT_TRUE(product(1, 0) == 0.0 && std::signbit(product(1, 0)));
        EXPECT_TRUE(product(1, 1) == 0.0 && !std::signbit(product(1, 1)));
        EXPECT_TRUE(product(1, 2) == 0.0 && !std::signbit(product(1, 2)));
    }
    EXPECT_TRUE(std::signbit((A * -0.0)(1, 1)));
}

TEST(MatrixArithmetic, WholeNumbersServeAsScalars)
{
    const Matrix A{{1, 2}, {4, 8}};
    EXPECT_TRUE(identical(2 * A, {{2, 4}, {8, 16}}));
    EXPECT_TRUE(identical(A * 2, {{2, 4}, {8, 16}}));
    EXPECT_TRUE(identical(A * 2u, {{2, 4}, {8, 16}}));
    EXPECT_TRUE(identical(A * 2.0f, {{2, 4}, {8, 16}}));
    EXPECT_TRUE(identical(A / 2, {{0.5, 1}, {2, 4}}));
    EXPECT_TRUE(identical(8 / A, {{8, 4}, {2, 1}}));
    EXPECT_TRUE(identical(Matrix::Multiply(A, 2), {{2, 4}, {8, 16}}));
    EXPECT_TRUE(identical(A.Times(2), {{2, 4}, {8, 16}}));
    EXPECT_TRUE(identical(Matrix::Divide(A, 2), {{0.5, 1}, {2, 4}}));
    EXPECT_TRUE(identical(Matrix::Divide(8, A), {{8, 4}, {2, 1}}));
}

TEST(MatrixArithmetic, DivisionByAScalarMultipliesByTheReciprocal)
{
    const Matrix A{{49.0, 98.0}};
    EXPECT_EQ((A / 49.0)(0, 0), 0.9999999999999999);
    EXPECT_NE((A / 49.0)(0, 0), 49.0 / 49.0);
    std::mt19937_64 generator(4);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix B = randomMatrix(shape, generator);
        for (const double alpha : {49.0, -3.0, 0.1, 1e300}) {
            const double reciprocal = 1.0 / alpha;
            const auto expected = bitsOf(cellByCell(B, B, [&](double x, double) { return x * reciprocal; }));
            EXPECT_EQ(bitsOf(B / alpha), expected);
            EXPECT_EQ(bitsOf(Matrix::Divide(B, alpha)), expected);
        }
    }
}

TEST(MatrixArithmetic, DivisionByPlusOrMinusZeroIsRefusedBeforeAnythingIsAllocated)
{
    const Matrix A = counted(2, 2);
    for (const double zero : {0.0, -0.0}) {
        expectRefusedUnallocated<ArgumentException>(kZeroDivision, [&] { return A / zero; });
        expectRefusedUnallocated<ArgumentException>(kZeroDivision, [&] { return Matrix::Divide(A, zero); });
    }
    try {
        (void)(A / 0);
        ADD_FAILURE();
    } catch (const ArgumentException& e) {
        EXPECT_EQ(e.ParamName(), "");
    }
}

TEST(MatrixArithmetic, DivisionByNaNOrATinyScalarGivesWhatTheReciprocalGives)
{
    const Matrix A{{1, 2}, {0, -4}};
    EXPECT_TRUE(identical(A / kNaN, Matrix(Array2D<double>{{kNaN, kNaN}, {kNaN, kNaN}})));
    const Matrix tiny = A / 0x1p-1074; // the reciprocal overflows
    EXPECT_EQ(tiny(0, 0), kInf);
    EXPECT_EQ(tiny(1, 1), -kInf);
    EXPECT_TRUE(identical(A / kInf, {{0, 0}, {0, 0}}));
}

TEST(MatrixArithmetic, ScalarDividedByAMatrixIsElementWise)
{
    EXPECT_TRUE(identical(2.0 / Matrix{{1, 4}}, {{2, 0.5}}));
    EXPECT_TRUE(identical(Matrix::Divide(2.0, Matrix{{1, 4}}), {{2, 0.5}}));
    EXPECT_TRUE(identical(2.0 / Matrix{{0.0, -0.0}}, {{kInf, -kInf}}));
    EXPECT_TRUE(identical(0.0 / Matrix{{0.0, 5.0}}, {{kNaN, 0}}));
    std::mt19937_64 generator(5);
    for (const Shape& shape : allShapes()) {
        const Matrix A = randomMatrix(shape, generator);
        EXPECT_EQ(bitsOf(3.7 / A), bitsOf(cellByCell(A, A, [](double x, double) { return 3.7 / x; })))
            << shape;
    }
}

// ---- products of two matrices

TEST(MatrixArithmetic, ProductOfTwoMatricesIsThatOfTheTripleLoop)
{
    std::mt19937_64 generator(6);
    for (const Shape& shape : allShapes()) {
        for (const int n : {1, 7, 66}) {
            SCOPED_TRACE(shape);
            SCOPED_TRACE(n);
            const Matrix A = randomMatrix(shape, generator), B = randomMatrix({shape.cols, n}, generator);
            const Matrix C = A * B, AB = naiveProduct(A, B);
            EXPECT_EQ(C.Rows(), shape.rows);
            EXPECT_EQ(C.Cols(), n);
            EXPECT_LT(productRatio(C, 1.0, A, B, AB, 0.0, C), kResidualLimit);
            EXPECT_LT(productRatio(Matrix::Multiply(A, B), 1.0, A, B, AB, 0.0, C), kResidualLimit);
            EXPECT_LT(productRatio(A.Times(B), 1.0, A, B, AB, 0.0, C), kResidualLimit);
        }
    }
}

TEST(MatrixArithmetic, ProductKeepsTheOrderOfItsFactors)
{
    const Matrix A{{1, 2}, {3, 4}}, B{{0, 1}, {5, 0}};
    EXPECT_TRUE(identical(A * B, {{10, 1}, {20, 3}}));
    EXPECT_TRUE(identical(B * A, {{3, 4}, {5, 10}}));
    EXPECT_TRUE(identical(A.Times(B), {{10, 1}, {20, 3}}));
    EXPECT_TRUE(identical(Matrix::Multiply(A, B), {{10, 1}, {20, 3}}));
    EXPECT_TRUE(identical(A * A, {{7, 10}, {15, 22}}));
}

TEST(MatrixArithmetic, GeneralProductTakesEveryPairOfModesAndEveryScalar)
{
    std::mt19937_64 generator(7);
    for (const Shape& shape : allShapes()) {
        for (const int n : {1, 7, 66}) {
            const Matrix opA = randomMatrix(shape, generator), opB = randomMatrix({shape.cols, n}, generator);
            const Matrix C0 = randomMatrix({shape.rows, n}, generator), AB = naiveProduct(opA, opB);
            for (const TransposeMode transA : kModes) {
                const Matrix A = stored(opA, transA);
                for (const TransposeMode transB : kModes) {
                    const Matrix B = stored(opB, transB);
                    for (const auto& [alpha, beta] : kScalars) {
                        Matrix C = C0;
                        const std::intptr_t address = C.DataPtr();
                        Matrix::Multiply(alpha, transA, A, transB, B, beta, C);
                        ASSERT_LT(productRatio(C, alpha, opA, opB, AB, beta, C0), kResidualLimit)
                            << shape << " by " << n << ", modes " << static_cast<int>(transA)
                            << static_cast<int>(transB) << ", scalars " << alpha << ", " << beta;
                        ASSERT_EQ(C.DataPtr(), address);
                    }
                }
            }
        }
    }
}

TEST(MatrixArithmetic, GeneralProductDoesNotReadTheTargetWhenBetaIsZero)
{
    std::mt19937_64 generator(8);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix opA = randomMatrix(shape, generator), opB = randomMatrix({shape.cols, 7}, generator);
        const Matrix AB = naiveProduct(opA, opB), zeros(shape.rows, 7);
        for (const TransposeMode transA : kModes) {
            for (const double alpha : {1.0, -2.0, 0.0}) {
                Matrix C = Matrix(shape.rows, 7).ApplyFunction([](double) { return kNaN; });
                Matrix::Multiply(alpha, transA, stored(opA, transA), N, opB, 0.0, C);
                EXPECT_LT(productRatio(C, alpha, opA, opB, AB, 1.0, zeros), kResidualLimit);
            }
        }
    }
}

TEST(MatrixArithmetic, GeneralProductCarriesNaNThroughWhenBetaIsNotZero)
{
    Matrix C(2, 2, kNaN);
    Matrix::Multiply(1.0, N, identity(2), N, identity(2), 1.0, C);
    EXPECT_TRUE(std::isnan(C(0, 0)) && std::isnan(C(1, 1)));
    EXPECT_EQ(C(0, 1), 0.0);
    EXPECT_TRUE(std::isnan((Matrix{{kNaN, 1}} * Matrix{{1}, {1}})(0, 0)));
}

TEST(MatrixArithmetic, InnerSizesThatDifferAreRefusedAfterTheResultWasAllocated)
{
    const Matrix A = counted(2, 3), B = counted(2, 3);
    const std::vector<std::function<Matrix()>> products{
        [&] { return A * B; },
        [&] { return Matrix::Multiply(A, B); },
        [&] { return A.Times(B); },
        [&] { return Matrix::Multiply(1.0, A, B, 1.0, A); },
    };
    for (const auto& product : products) {
        expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, product);
    }
    Matrix C(2, 2);
    Matrix::Multiply(1.0, N, A, T, B, 0.0, C); // transposed it fits
    EXPECT_TRUE(identical(C, naiveProduct(A, naiveTranspose(B))));
}

TEST(MatrixArithmetic, GeneralProductTestsInnerSizesBeforeTheShapeOfC)
{
    const Matrix A = counted(2, 3), B = counted(3, 4), wrongB = counted(4, 3);
    const Shape wrongShapes[] = {{2, 3}, {3, 4}, {4, 2}, {1, 4}, {2, 5}, {1, 8}};
    for (const Shape& shape : wrongShapes) {
        SCOPED_TRACE(shape);
        Matrix C = counted(shape.rows, shape.cols);
        const auto modes = [&](TransposeMode a, TransposeMode b, const Matrix& X, const Matrix& Y) {
            return [&, a, b] { Matrix::Multiply(1.0, a, X, b, Y, 0.0, C); };
        };
        expectRefusedUnallocated<SizeMismatchException>(kWrongC, modes(N, N, A, B));
        expectRefusedUnallocated<SizeMismatchException>(kWrongC, modes(N, T, A, wrongB));
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, modes(N, N, A, wrongB));
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, modes(N, T, A, B));
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, modes(T, N, A, B));
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch,
                                                        modes(TransposeMode::ConjugateTransposed, N, A, B));
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch,
                                                        modes(N, TransposeMode::ConjugateTransposed, A, B));
        EXPECT_TRUE(identical(C, counted(shape.rows, shape.cols)));
    }
}

TEST(MatrixArithmetic, ProductWithAnAddendReturnsANewMatrixAndLeavesC)
{
    std::mt19937_64 generator(9);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomMatrix(shape, generator), B = randomMatrix({shape.cols, 7}, generator);
        const Matrix C = randomMatrix({shape.rows, 7}, generator), AB = naiveProduct(A, B);
        const auto bits = bitsOf(C);
        for (const auto& [alpha, beta] : kScalars) {
            const Matrix R = Matrix::Multiply(alpha, A, B, beta, C);
            EXPECT_LT(productRatio(R, alpha, A, B, AB, beta, C), kResidualLimit);
        }
        EXPECT_EQ(bitsOf(C), bits);
    }
}

TEST(MatrixArithmetic, AddendOfAnotherShapeIsCutOrZeroFilledWhereTheFormWithTargetRefusesIt)
{
    const Matrix A{{1, 0}, {0, 1}}, B{{1, 2, 3}, {4, 5, 6}};
    for (const Shape& shape : {Shape{1, 1}, Shape{4, 4}, Shape{1, 5}, Shape{5, 1}, Shape{3, 2}}) {
        SCOPED_TRACE(shape);
        Matrix C = counted(shape.rows, shape.cols);
        const Matrix R = Matrix::Multiply(1.0, A, B, 10.0, C);
        ASSERT_EQ(R.Rows(), 2);
        ASSERT_EQ(R.Cols(), 3);
        for (int r = 0; r < 2; ++r) {
            for (int c = 0; c < 3; ++c) {
                const double addend = r < shape.rows && c < shape.cols ? C(r, c) : 0.0;
                EXPECT_EQ(R(r, c), B(r, c) + 10.0 * addend);
            }
        }
        EXPECT_TRUE(identical(C, counted(shape.rows, shape.cols)));
        EXPECT_THAT([&] { Matrix::Multiply(1.0, N, A, N, B, 10.0, C); },
                    ThrowsMessage<SizeMismatchException>(kWrongC));
    }
}

TEST(MatrixArithmetic, AddendMayBeAFactor)
{
    const Matrix A{{1, 2}, {3, 4}};
    EXPECT_TRUE(identical(Matrix::Multiply(1.0, A, A, 1.0, A), {{8, 12}, {18, 26}}));
    EXPECT_TRUE(identical(A, {{1, 2}, {3, 4}}));
}

TEST(MatrixArithmetic, TransposeOfAProductIsTheProductOfTheTransposesReversed)
{
    std::mt19937_64 generator(10);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomMatrix(shape, generator), B = randomMatrix({shape.cols, 33}, generator);
        const Matrix At = A.Transpose(), Bt = B.Transpose(), left = (A * B).Transpose();
        EXPECT_LT(productRatio(Bt * At, 1.0, Bt, At, left, 0.0, left), kResidualLimit);
    }
}

TEST(MatrixArithmetic, OneThreadAndSeveralGiveTheSameProductUpToRounding)
{
    const int threads = TrellConfiguration::GetMaxThreads();
    std::mt19937_64 generator(11);
    for (const Shape& shape : {Shape{300, 257}, Shape{1000, 31}, Shape{17, 900}}) {
        SCOPED_TRACE(shape);
        const Matrix A = randomMatrix(shape, generator), B = randomMatrix({shape.cols, 211}, generator);
        const Vector x = randomVector(shape.cols, generator);
        TrellConfiguration::SetNumThreads(1);
        const Matrix one = A * B;
        const Vector oneVector = A * x;
        TrellConfiguration::SetNumThreads(4);
        const Matrix several = A * B;
        const Vector severalVector = A * x;
        EXPECT_LT(productRatio(several, 1.0, A, B, one, 0.0, one), kResidualLimit);
        EXPECT_LT(productRatio(severalVector, 1.0, A, x, oneVector, 0.0, oneVector), kResidualLimit);
        EXPECT_LT(productRatio(one, 1.0, A, B, naiveProduct(A, B), 0.0, one), kResidualLimit);
    }
    TrellConfiguration::SetNumThreads(threads);
}

// ---- products with a vector

TEST(MatrixArithmetic, MatrixTimesVectorAndVectorTimesMatrix)
{
    std::mt19937_64 generator(12);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomMatrix(shape, generator), At = naiveTranspose(A);
        const Vector x = randomVector(shape.cols, generator), w = randomVector(shape.rows, generator);
        const Matrix Ax = naiveProduct(A, x), wA = naiveProduct(At, w);
        for (const Vector& y : {A * x, Matrix::Multiply(A, x)}) {
            ASSERT_EQ(y.Length(), shape.rows);
            EXPECT_LT(productRatio(y, 1.0, A, x, Ax, 0.0, y), kResidualLimit);
        }
        for (const Vector& y : {w * A, Matrix::Multiply(w, A)}) {
            ASSERT_EQ(y.Length(), shape.cols);
            EXPECT_LT(productRatio(y, 1.0, At, w, wA, 0.0, y), kResidualLimit);
        }
    }
}

TEST(MatrixArithmetic, TimesAVectorIsAMatrixOfOneColumn)
{
    const Matrix A{{1, 2}, {3, 4}, {5, 6}};
    const Vector x{1, 10};
    static_assert(std::is_same_v<decltype(A.Times(x)), Matrix>);
    static_assert(std::is_same_v<decltype(A * x), Vector>);
    static_assert(std::is_same_v<decltype(Vector(3) * A), Vector>);
    EXPECT_TRUE(identical(A.Times(x), {{21}, {43}, {65}}));
    EXPECT_THAT(blockOf(A * x), ElementsAre(21, 43, 65));
    EXPECT_THAT(blockOf(Vector{1, 10, 100} * A), ElementsAre(531, 642));
}

TEST(MatrixArithmetic, VectorOfTheWrongLengthIsRefusedAfterTheResultWasAllocated)
{
    const Matrix A = counted(2, 3);
    const Vector two = counted(2), three = counted(3);
    const std::vector<std::function<void()>> products{
        [&] { return A * two; },   [&] { return Matrix::Multiply(A, two); },   [&] { return A.Times(two); },
        [&] { return three * A; }, [&] { return Matrix::Multiply(three, A); },
    };
    for (const auto& product : products) {
        expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, product);
    }
}

TEST(MatrixArithmetic, GeneralMatrixVectorProductTakesEveryModeAndEveryScalar)
{
    std::mt19937_64 generator(13);
    for (const Shape& shape : allShapes()) {
        for (const TransposeMode mode : kModes) {
            const Matrix opA = randomMatrix(shape, generator), A = stored(opA, mode);
            const Vector x = randomVector(shape.cols, generator), y0 = randomVector(shape.rows, generator);
            const Matrix Ax = naiveProduct(opA, x);
            for (const auto& [alpha, beta] : kScalars) {
                Vector y = y0;
                const std::intptr_t address = y.DataPtr();
                Matrix::Multiply(alpha, mode, A, x, beta, y);
                EXPECT_LT(productRatio(y, alpha, opA, x, Ax, beta, y0), kResidualLimit)
                    << shape << ", mode " << static_cast<int>(mode) << ", scalars " << alpha << ", " << beta;
                EXPECT_EQ(y.DataPtr(), address);
            }
        }
    }
}

TEST(MatrixArithmetic, GeneralMatrixVectorProductDoesNotReadTheTargetWhenBetaIsZero)
{
    std::mt19937_64 generator(14);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix opA = randomMatrix(shape, generator);
        const Vector x = randomVector(shape.cols, generator), zeros(shape.rows);
        const Matrix Ax = naiveProduct(opA, x);
        for (const TransposeMode mode : kModes) {
            for (const double alpha : {1.0, -2.0, 0.0}) {
                Vector y(shape.rows, kNaN);
                Matrix::Multiply(alpha, mode, stored(opA, mode), x, 0.0, y);
                EXPECT_LT(productRatio(y, alpha, opA, x, Ax, 1.0, zeros), kResidualLimit);
            }
        }
    }
}

TEST(MatrixArithmetic, EveryModeButNotTransposedMeansTransposedForAVector)
{
    const Matrix A = counted(2, 3);
    const Vector x{1, 10};
    for (const int mode : {1, 2, 3, -1}) {
        Vector y(3);
        Matrix::Multiply(1.0, static_cast<TransposeMode>(mode), A, x, 0.0, y);
        EXPECT_THAT(blockOf(y), ElementsAre(21, 43, 65)) << mode;
    }
}

TEST(MatrixArithmetic, GeneralMatrixVectorProductRefusesWrongLengthsAndLeavesY)
{
    const Matrix A = counted(2, 3);
    struct Case {
        TransposeMode mode;
        int x, y;
    };
    for (const Case& c : {Case{N, 2, 2}, Case{N, 3, 3}, Case{N, 2, 3}, Case{N, 4, 2}, Case{N, 3, 1},
                          Case{T, 3, 3}, Case{T, 2, 2}, Case{T, 3, 2}, Case{T, 1, 3}, Case{T, 2, 4},
                          Case{TransposeMode::ConjugateTransposed, 3, 2}}) {
        SCOPED_TRACE(std::to_string(c.x) + ", " + std::to_string(c.y));
        const Vector x = counted(c.x);
        Vector y = counted(c.y);
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch,
                                                        [&] { Matrix::Multiply(1.0, c.mode, A, x, 0.0, y); });
        EXPECT_TRUE(identical(y, counted(c.y)));
    }
}

// ---- duties of the caller

TEST(MatrixArithmetic, HardenedBuildRefusesATargetThatIsAnOperandAndAnUnknownMode)
{
    Matrix A{{1, 2}, {3, 4}};
    const Matrix I = identity(2);
    Vector x{1, 2};
    const auto unknown = static_cast<TransposeMode>(3);
    Matrix C(2, 2);
    if constexpr (detail::kHardened) {
        constexpr const char* overlap = "The target of the product is one of its operands.";
        constexpr const char* mode = "The transposition mode is none of its three members.";
        EXPECT_THAT([&] { Matrix::Multiply(1.0, N, A, N, I, 0.0, A); },
                    ThrowsMessage<InvalidOperationException>(overlap));
        EXPECT_THAT([&] { Matrix::Multiply(1.0, N, I, N, A, 0.0, A); },
                    ThrowsMessage<InvalidOperationException>(overlap));
        EXPECT_THAT([&] { Matrix::Multiply(1.0, N, A, x, 0.0, x); },
                    ThrowsMessage<InvalidOperationException>(overlap));
        EXPECT_THAT([&] { Matrix::Multiply(1.0, unknown, A, N, I, 0.0, C); },
                    ThrowsMessage<InvalidOperationException>(mode));
        EXPECT_THAT([&] { Matrix::Multiply(1.0, N, A, unknown, I, 0.0, C); },
                    ThrowsMessage<InvalidOperationException>(mode));
        Matrix released(2, 2);
        released.Dispose();
        EXPECT_THAT([&] { Matrix::Multiply(1.0, N, released, N, released, 0.0, released); },
                    ThrowsMessage<InvalidOperationException>("The object was used after its release."));
        EXPECT_THAT(blockOf(C), Each(0.0));
    } else {
        EXPECT_NO_THROW(Matrix::Multiply(1.0, unknown, A, unknown, I, 0.0, C)); // reads as some mode
    }
    EXPECT_TRUE(identical(A, {{1, 2}, {3, 4}}));
    EXPECT_TRUE(identical(x, {1, 2}));
}

// ---- transposition

TEST(MatrixArithmetic, TransposeExchangesRowsAndColumns)
{
    const Matrix A{{1, 2, 3}, {4, 5, 6}};
    EXPECT_TRUE(identical(A.Transpose(), {{1, 4}, {2, 5}, {3, 6}}));
    EXPECT_TRUE(identical(A, {{1, 2, 3}, {4, 5, 6}}));
}

TEST(MatrixArithmetic, TransposeOfAnyShapeIsExactAndTwiceIsTheIdentity)
{
    std::vector<Shape> shapes = allShapes();
    for (const Shape& odd : {Shape{1000, 7}, Shape{7, 1000}, Shape{513, 1025}, Shape{1025, 513},
                             Shape{257, 255}, Shape{8, 256}, Shape{9, 257}, Shape{1, 1000}, Shape{1000, 1}}) {
        shapes.push_back(odd);
    }
    std::mt19937_64 generator(15);
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape);
        Matrix A = randomMatrix(shape, generator);
        A(0, 0) = -0.0;
        const Matrix At = A.Transpose();
        ASSERT_EQ(At.Rows(), shape.cols);
        ASSERT_EQ(At.Cols(), shape.rows);
        EXPECT_EQ(bitsOf(At), bitsOf(naiveTranspose(A)));
        EXPECT_EQ(bitsOf(At.Transpose()), bitsOf(A));
    }
}

// ---- functions of the caller

TEST(MatrixArithmetic, EachFormOfApplyFunctionPassesItsArguments)
{
    const Matrix A{{1, 2, 3}, {4, 5, 6}};
    EXPECT_TRUE(identical(A.ApplyFunction(DoubleFunction1Dbl(twice)), {{2, 4, 6}, {8, 10, 12}}));
    EXPECT_TRUE(identical(A.ApplyFunction(DoubleFunction2Dbl(scaled), 0.5), {{0.5, 1, 1.5}, {2, 2.5, 3}}));
    EXPECT_TRUE(identical(A.ApplyFunction(DoubleFunction1Dbl1Int(shifted), 7), {{8, 9, 10}, {11, 12, 13}}));
    EXPECT_TRUE(identical(A.ApplyFunction(DoubleFunction1Dbl2Int(placed)), //
                          {{100, 210, 320}, {401, 511, 621}}));
    EXPECT_TRUE(identical(A.ApplyFunction(DoubleFunction2Dbl2Int(placedAndScaled), 1000.0),
                          {{1000, 2010, 3020}, {4001, 5011, 6021}}));
    EXPECT_TRUE(identical(A, {{1, 2, 3}, {4, 5, 6}}));
}

TEST(MatrixArithmetic, IndexedFormsSeeColumnThenRowInBlockOrder)
{
    using Pair = std::array<int, 2>;
    const Matrix A = counted(2, 3);
    std::vector<Pair> seen, seenWithConstant;
    std::vector<double> cells;
    A.ApplyFunction([&](double x, int index1, int index2) {
        seen.push_back({index1, index2});
        cells.push_back(x);
        return x;
    });
    A.ApplyFunction(
        [&](double x, double, int index1, int index2) {
            seenWithConstant.push_back({index1, index2});
            return x;
        },
        0.0);
    EXPECT_THAT(seen, ElementsAre(Pair{0, 0}, Pair{0, 1}, Pair{1, 0}, Pair{1, 1}, Pair{2, 0}, Pair{2, 1}));
    EXPECT_EQ(seenWithConstant, seen);
    EXPECT_THAT(cells, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(MatrixArithmetic, FormsWithoutIndicesGoInBlockOrderToo)
{
    const Matrix A = counted(3, 2);
    std::vector<double> cells;
    const auto note = [&](double x) {
        cells.push_back(x);
        return x;
    };
    A.ApplyFunction([&](double x) { return note(x); });
    A.ApplyFunction([&](double x, double) { return note(x); }, 1.0);
    A.ApplyFunction([&](double x, int) { return note(x); }, 1);
    EXPECT_THAT(cells, ElementsAre(1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 6));
}

TEST(MatrixArithmetic, ApplyFunctionTakesLambdasPointersAndOverloadedNames)
{
    const Matrix A{{1, 4}, {9, 16}};
    double (*const pointer)(double) = twice;
    const std::function<double(double)> function = twice;
    EXPECT_TRUE(identical(A.ApplyFunction(twice), {{2, 8}, {18, 32}}));
    EXPECT_TRUE(identical(A.ApplyFunction(&twice), {{2, 8}, {18, 32}}));
    EXPECT_TRUE(identical(A.ApplyFunction(pointer), {{2, 8}, {18, 32}}));
    EXPECT_TRUE(identical(A.ApplyFunction(function), {{2, 8}, {18, 32}}));
    EXPECT_TRUE(identical(A.ApplyFunction([](double x) { return x - 1; }), {{0, 3}, {8, 15}}));
    EXPECT_TRUE(identical(A.ApplyFunction([](auto x) { return x - 1; }), {{0, 3}, {8, 15}}));
    EXPECT_TRUE(identical(A.ApplyFunction(std::sqrt), {{1, 2}, {3, 4}}));
    EXPECT_TRUE(identical(A.ApplyFunction(std::fmax, 5.5), {{5.5, 5.5}, {9, 16}}));
    EXPECT_TRUE(identical(A.ApplyFunction(placed), {{100, 410}, {901, 1611}}));
}

TEST(MatrixArithmetic, TypeOfTheConstantChoosesTheFormButNotTheResult)
{
    const Matrix A{{1, 2}};
    EXPECT_TRUE(identical(A.ApplyFunction(scaled, 2), {{2, 4}}));
    EXPECT_TRUE(identical(A.ApplyFunction(scaled, 2.5), {{2.5, 5}}));
    EXPECT_TRUE(identical(A.ApplyFunction(scaled, 2.5f), {{2.5, 5}}));
    EXPECT_TRUE(identical(A.ApplyFunction([](double x, double y) { return x / y; }, 2), {{0.5, 1}}));
    EXPECT_TRUE(identical(A.ApplyFunction(shifted, 2), {{3, 4}}));
    EXPECT_TRUE(identical(A.ApplyFunction([](double x, int k) { return x + k / 2; }, 3), {{2, 3}}));
    EXPECT_TRUE(identical(A.ApplyFunction(placedAndScaled, 2), {{2, 14}}));
}

// The copy stands from the start: what the function makes of the operand neither adds cells nor moves
// indices.
TEST(MatrixArithmetic, ApplyFunctionGoesByTheCopyWhateverTheFunctionMakesOfTheOperand)
{
    for (const std::int32_t size : {1, 300}) {
        SCOPED_TRACE(size);
        Matrix A{{1, 2, 3}, {4, 5, 6}};
        const auto resizing = [&](double x) {
            A.Resize(size, size);
            return 2 * x;
        };
        EXPECT_TRUE(identical(A.ApplyFunction(resizing), {{2, 4, 6}, {8, 10, 12}}));
        Matrix B{{1, 2, 3}, {4, 5, 6}};
        const auto placing = [&](double x, int index1, int index2) {
            B.Resize(size, size);
            return placed(x, index1, index2);
        };
        EXPECT_TRUE(identical(B.ApplyFunction(placing), {{100, 210, 320}, {401, 511, 621}}));
        Matrix C{{1, 2, 3}, {4, 5, 6}};
        const auto placingAndScaling = [&](double x, double factor, int index1, int index2) {
            C.Resize(size, size);
            return placedAndScaled(x, factor, index1, index2);
        };
        EXPECT_TRUE(identical(C.ApplyFunction(placingAndScaling, 100.0), {{100, 210, 320}, {401, 511, 621}}));
    }
}

TEST(MatrixArithmetic, FailureOfTheFunctionTravelsOutAndNothingIsLost)
{
    const Matrix A = counted(2, 3);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const auto failing = [](double x) {
        if (x > 3) throw std::domain_error("not here");
        return -x;
    };
    EXPECT_THAT([&] { A.ApplyFunction(failing); }, ThrowsMessage<std::domain_error>("not here"));
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_TRUE(identical(A, counted(2, 3)));
    double (*const null)(double) = nullptr;
    EXPECT_THAT([&] { A.ApplyFunction(null); }, ThrowsMessage<NullReferenceException>(
                                                    "Object reference not set to an instance of an object."));
}

// ---- memory

TEST(MatrixArithmetic, EachOperationTakesItsBlocksAndLeaksNoneWhenOneIsRefused)
{
    const Matrix A = counted(3, 3);
    const Vector x = counted(3);
    expectAllocations(1, A, [&] { return A + A; });
    expectAllocations(1, A, [&] { return A - A; });
    expectAllocations(1, A, [&] { return -A; });
    expectAllocations(1, A, [&] { return Matrix::Plus(A); });
    expectAllocations(0, A, [&]() -> const Matrix& { return +A; });
    expectAllocations(1, A, [&] { return Matrix::HadamardProduct(A, A); });
    expectAllocations(1, A, [&] { return A * 2.0; });
    expectAllocations(1, A, [&] { return A / 2.0; });
    expectAllocations(1, A, [&] { return 2.0 / A; });
    expectAllocations(1, A, [&] { return A * A; });
    expectAllocations(1, A, [&] { return A * x; });
    expectAllocations(1, A, [&] { return x * A; });
    expectAllocations(2, A, [&] { return A.Times(x); });
    expectAllocations(1, A, [&] { return Matrix::Multiply(1.0, A, A, 1.0, A); });
    expectAllocations(2, A, [&] { return Matrix::Multiply(1.0, A, A, 1.0, Matrix::Plus(A)); });
    expectAllocations(1, A, [&] { return A.Transpose(); });
    expectAllocations(1, A, [&] { return A.ApplyFunction(twice); });
    expectAllocations(1, A, [&] { return A.ApplyFunction(placed); });
    const Matrix wide = counted(3, 5);
    expectAllocations(2, A,
                      [&] { return Matrix::Multiply(1.0, A, wide, 1.0, A); }); // a copy of C, then its size
    Matrix C = counted(3, 3);
    expectAllocations(0, A, [&] { Matrix::Multiply(1.0, N, A, N, A, 0.0, C); });
    Vector y = counted(3);
    expectAllocations(0, A, [&] { Matrix::Multiply(1.0, N, A, x, 0.0, y); });
}

// ---- results that no block holds

TEST(MatrixArithmetic, ProductsOfMoreCellsThanABlockHoldsAreRefused)
{
    const Matrix column(65536, 1), row(1, 65536), tall(65537, 1), smallest(1, 1);
    expectRefusedByTheAllocator([&] { column* row; });
    expectRefusedByTheAllocator([&] { tall* row; });
    expectRefusedByTheAllocator([&] { column.Times(row); });
    expectRefusedByTheAllocator([&] { Matrix::Multiply(1.0, column, row, 0.0, smallest); });
    expectRefusedByTheAllocator([&] { Matrix::Multiply(1.0, tall, row, 1.0, smallest); });
}

} // namespace
} // namespace Velmar::Lintrix
