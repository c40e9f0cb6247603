// Products of SparseMatrix with vectors, dense and sparse matrices.

#include "tests/sparse/random_pattern.h"

#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/hardening.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;

constexpr auto N = TransposeMode::NotTransposed;
constexpr auto T = TransposeMode::Transposed;
constexpr auto C = TransposeMode::ConjugateTransposed;
constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kSymmetric = "Symmetrix matrices are not supported.";

struct Scalars {
    double alpha, beta;
};
constexpr Scalars kScalars[] = {{1, 0}, {1, 1}, {-0.5, 2}, {2.5, 0}, {0, 3}, {0, 0}};

// ||R - (alpha*op(A)*B + beta*R0)||_1 / (k*(|alpha|*||op(A)||_1*||B||_1 + |beta|*||R0||_1)*eps), k being the
// inner size: the rounding error of a product, whatever cancels in it.
double productRatio(const Matrix& R, double alpha, const Matrix& opA, const Matrix& B, double beta,
                    const Matrix& R0)
{
    const Matrix error = R - (alpha * naiveProduct(opA, B) + beta * R0);
    const double scale = std::abs(alpha) * oneNorm(opA) * oneNorm(B) + std::abs(beta) * oneNorm(R0);
    return oneNorm(error) == 0.0 ? 0.0 : oneNorm(error) / (opA.Cols() * scale * kEps);
}

SparseMatrix randomSymmetric(int n, double density, std::mt19937_64& generator)
{
    const SparseMatrix full = randomSparse({n, n}, density, Values::Uniform, generator);
    SparseMatrix S(n, true);
    for (const Element& e : elementsOf(full)) {
        if (e.col >= e.row) S(e.row, e.col) = e.value;
    }
    return S;
}

Vector randomVectorOf(int size, std::mt19937_64& generator)
{
    return randomVector(size, generator);
}

// ---- with vectors

TEST(SparseMatrixProducts, VectorsInEveryModeAreMultipliedAsByTheDenseMatrix)
{
    std::mt19937_64 generator(21);
    for (const Shape& shape : sparseShapes()) {
        for (const TransposeMode mode : kModes) {
            for (const Scalars& s : kScalars) {
                SCOPED_TRACE(::testing::Message() << shape << ", mode " << static_cast<int>(mode) << ", "
                                                  << s.alpha << ", " << s.beta);
                const SparseMatrix A = randomSparse(shape, 0.4, Values::Uniform, generator);
                const Matrix opA = denseOp(mode, A);
                const Vector x = randomVectorOf(opA.Cols(), generator),
                             y0 = randomVectorOf(opA.Rows(), generator);
                Vector y = y0;
                SparseMatrix::Multiply(s.alpha, mode, A, x, s.beta, y);
                EXPECT_LE(productRatio(y.ToMatrix(), s.alpha, opA, x.ToMatrix(), s.beta, y0.ToMatrix()),
                          kResidualLimit);
            }
        }
    }
}

TEST(SparseMatrixProducts, ARowTimesAMatrixIsItsTransposeTimesTheColumn)
{
    std::mt19937_64 generator(22);
    const SparseMatrix A = randomSparse({9, 6}, 0.5, Values::Integers, generator);
    const Vector x = counted(9);
    EXPECT_TRUE(identical(x * A, A.Transpose() * x));
    EXPECT_TRUE(identical(SparseMatrix::Multiply(x, A), x * A));
    EXPECT_TRUE(identical(SparseMatrix::Multiply(A, counted(6)), A * counted(6)));
    EXPECT_EQ((x * A).Length(), 6);
}

TEST(SparseMatrixProducts, ASymmetricMatrixStandsForItsFullForm)
{
    std::mt19937_64 generator(23);
    for (const int n : {1, 2, 5, 40, 301}) {
        const SparseMatrix S = randomSymmetric(n, 0.2, generator);
        const Vector x = randomVectorOf(n, generator);
        const Matrix B = randomMatrix({n, 4}, generator), full = S.ToDense();
        const Matrix zero(n, 1), zeros(n, 4);
        EXPECT_LE(productRatio((S * x).ToMatrix(), 1.0, full, x.ToMatrix(), 0.0, zero), kResidualLimit) << n;
        EXPECT_LE(productRatio((x * S).ToMatrix(), 1.0, full, x.ToMatrix(), 0.0, zero), kResidualLimit) << n;
        EXPECT_LE(productRatio(S * B, 1.0, full, B, 0.0, zeros), kResidualLimit) << n;
    }
}

TEST(SparseMatrixProducts, WithBetaZeroTheTargetIsNotRead)
{
    const SparseMatrix A({1, 2}, {0, 1, 2}, {0, 1});
    Vector y(2, kNaN);
    SparseMatrix::Multiply(2.0, N, A, Vector({1, 1}), 0.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(2.0, 4.0));
    Matrix R{{kNaN}, {kNaN}};
    SparseMatrix::Multiply(2.0, T, A, Matrix{{1}, {1}}, 0.0, R);
    EXPECT_THAT(blockOf(R), ElementsAre(2.0, 4.0));
}

TEST(SparseMatrixProducts, AnEmptyMatrixGivesZerosAndOnlyScalesTheTarget)
{
    EXPECT_THAT(blockOf(SparseMatrix(2, 3) * Vector({1, 2, 3})), ElementsAre(0.0, 0.0));
    Vector y{1, 2};
    SparseMatrix::Multiply(1.0, N, SparseMatrix(2, 3), Vector({1, 2, 3}), -2.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(-2.0, -4.0));
}

TEST(SparseMatrixProducts, VectorsOfWrongLengthAreRefusedAndTheTargetStays)
{
    const SparseMatrix A(2, 3);
    const Vector two{1, 2}, three{1, 2, 3};
    expectFailure<SizeMismatchException>([&] { return A * two; }, kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { three* A; }, kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { SparseMatrix::Multiply(A, two); }, kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { SparseMatrix::Multiply(three, A); }, kSizeMismatch);
    Vector y{7, 8, 9};
    for (const TransposeMode mode : {N, kNoMode}) {
        expectFailure<SizeMismatchException>([&] { SparseMatrix::Multiply(1.0, mode, A, three, 0.0, y); },
                                             kSizeMismatch);
    }
    for (const TransposeMode mode : {T, C}) {
        expectFailure<SizeMismatchException>([&] { SparseMatrix::Multiply(1.0, mode, A, three, 0.0, y); },
                                             kSizeMismatch);
    }
    EXPECT_THAT(blockOf(y), ElementsAre(7.0, 8.0, 9.0));
}

// ---- with dense matrices

TEST(SparseMatrixProducts, DenseMatricesInEveryModeAreMultipliedAsByTheDenseMatrix)
{
    std::mt19937_64 generator(24);
    for (const Shape& shape : sparseShapes()) {
        for (const TransposeMode mode : kModes) {
            if (mode != N && shape.rows != shape.cols) continue; // below
            for (const int columns : {1, 2, 7, 450}) {
                const SparseMatrix A = randomSparse(shape, 0.4, Values::Uniform, generator);
                const Matrix opA = denseOp(mode, A), B = randomMatrix({opA.Cols(), columns}, generator);
                const Matrix R0 = randomMatrix({opA.Rows(), columns}, generator);
                for (const Scalars& s : kScalars) {
                    SCOPED_TRACE(::testing::Message() << shape << ", mode " << static_cast<int>(mode) << ", "
                                                      << columns << ", " << s.alpha << ", " << s.beta);
                    Matrix R = R0;
                    SparseMatrix::Multiply(s.alpha, mode, A, B, s.beta, R);
                    EXPECT_LE(productRatio(R, s.alpha, opA, B, s.beta, R0), kResidualLimit);
                }
            }
        }
    }
}

TEST(SparseMatrixProducts, TheNamedFormTellsWhatTheOperatorDoesNot)
{
    const SparseMatrix A(2, 3);
    const Matrix B(2, 4);
    expectRefusedUnallocated<InvalidSizeException>("Invalid number of rows for matrix B",
                                                   [&] { SparseMatrix::Multiply(A, B); });
    expectRefusedAfterAllocation<InvalidSizeException>(kInvalidSize, [&] { A* B; });
    EXPECT_TRUE(identical(SparseMatrix::Multiply(A, counted(3, 4)), A * counted(3, 4)));
}

// 2^32 cells, which wrap to none.
TEST(SparseMatrixProducts, AResultOfMoreCellsThanAMatrixCountsIsRefused)
{
    const SparseMatrix A(65536, 1);
    const Matrix B(1, 65536);
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A* B; });
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { SparseMatrix::Multiply(A, B); });
}

TEST(SparseMatrixProducts, AMatrixWithoutRowsHasNoProduct)
{
    if (detail::kHardened) return; // a size of 0 is refused when it is set
    SparseMatrix A(2, 3);
    A.Rows(0);
    const Matrix B = counted(3, 2);
    const Vector x = counted(3);
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A* B; });
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A* x; });
}

TEST(SparseMatrixProducts, DenseOperandsOfWrongShapeAreRefusedAndTheTargetStays)
{
    const SparseMatrix A(2, 3);
    const auto refuses = [&](TransposeMode mode, const Shape& b, const Shape& c) {
        const Matrix B = counted(b.rows, b.cols);
        Matrix R = counted(c.rows, c.cols);
        expectFailure<InvalidSizeException>([&] { SparseMatrix::Multiply(1.0, mode, A, B, 0.0, R); },
                                            kInvalidSize);
        EXPECT_TRUE(identical(R, counted(c.rows, c.cols)));
    };
    refuses(N, {2, 4}, {2, 4});
    refuses(N, {3, 4}, {3, 4});
    refuses(N, {3, 4}, {2, 5});
    refuses(T, {3, 4}, {3, 4});
    refuses(C, {2, 4}, {2, 4});
    refuses(T, {2, 4}, {3, 5});
    refuses(kNoMode, {3, 4}, {2, 4});
}

// The addressing as it is told: columns of B A.Cols() apart, columns of C A.Rows() apart. What lies behind a
// block reads as zero, and a write there is lost.
Matrix toldTransposedProduct(double alpha, const SparseMatrix& A, const Matrix& B, double beta,
                             const Matrix& R0)
{
    const int rows = A.Rows(), cols = A.Cols(), n = B.Cols();
    std::vector<double> b = blockOf(B), c = blockOf(R0);
    b.resize(static_cast<std::size_t>((rows + cols) * n));
    c.resize(b.size());
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < cols; ++i) c[static_cast<std::size_t>(j * rows + i)] *= beta;
    }
    for (int j = 0; j < n; ++j) {
        for (const Element& e : elementsOf(A)) {
            c[static_cast<std::size_t>(j * rows + e.col)] +=
                alpha * e.value * b[static_cast<std::size_t>(j * cols + e.row)];
        }
    }
    c.resize(static_cast<std::size_t>(cols * n));
    return Matrix(c, cols, n, StorageOrder::ColumnMajor);
}

TEST(SparseMatrixProducts, ATransposedProductOfARectangularMatrixStaysInsideTheBlocks)
{
    std::mt19937_64 generator(25);
    for (const Shape& shape : {Shape{2, 3}, {3, 2}, {1, 7}, {7, 1}, {9, 8}, {40, 3}, {3, 40}}) {
        for (const TransposeMode mode : {T, C}) {
            for (const int columns : {1, 2, 5, 450}) {
                SCOPED_TRACE(::testing::Message() << shape << ", " << columns);
                const SparseMatrix A = randomSparse(shape, 0.6, Values::Integers, generator);
                const Matrix B = counted(shape.rows, columns), R0 = counted(shape.cols, columns);
                Matrix R = R0;
                const auto multiply = [&] { SparseMatrix::Multiply(2.0, mode, A, B, -1.0, R); };
                if (detail::kHardened) {
                    expectFailure<InvalidOperationException>(
                        multiply, "A transposed product with a dense matrix needs a square matrix.");
                    EXPECT_TRUE(identical(R, R0));
                    continue;
                }
                multiply();
                EXPECT_TRUE(identical(R, toldTransposedProduct(2.0, A, B, -1.0, R0)));
                if (columns == 1) {
                    EXPECT_TRUE(identical(R, 2.0 * naiveProduct(denseOp(T, A), B) - R0));
                }
            }
        }
    }
}

TEST(SparseMatrixProducts, ATransposedProductOfARectangularMatrixClearsWithBetaZero)
{
    if (detail::kHardened) return; // refused there
    Matrix R{{kNaN, kNaN}, {kNaN, kNaN}};
    SparseMatrix::Multiply(1.0, T, SparseMatrix(3, 2), counted(3, 2), 0.0, R);
    EXPECT_EQ(R(0, 0), 0.0);
    EXPECT_EQ(R(1, 0), 0.0);
    EXPECT_TRUE(std::isnan(R(0, 1))) << "cell 2 lies between the columns that are 3 apart";
    EXPECT_EQ(R(1, 1), 0.0);
}

// The flag is only a reading of the arrays and may be set on any matrix.
TEST(SparseMatrixProducts, AMatrixMarkedSymmetricThatLeavesAnOperandIsRefusedAndTheTargetStays)
{
    constexpr const char* text = "Matrix is not square.";
    SparseMatrix wide(2, 3), tall(3, 2);
    wide(0, 2) = 1.0; // its mirror image stands in row 2
    for (SparseMatrix* A : {&wide, &tall}) {
        A->Symmetric(true);
        const int m = A->Rows(), k = A->Cols();
        Vector y = counted(m), z = counted(k);
        Matrix R = counted(m, 2);
        expectFailure<NotSquareMatrixException>(
            [&] { SparseMatrix::Multiply(1.0, N, *A, counted(k), 0.0, y); }, text);
        expectFailure<NotSquareMatrixException>(
            [&] { SparseMatrix::Multiply(1.0, T, *A, counted(m), 0.0, z); }, text);
        expectFailure<NotSquareMatrixException>(
            [&] { SparseMatrix::Multiply(1.0, N, *A, counted(k, 2), 0.0, R); }, text);
        expectFailure<NotSquareMatrixException>([&] { return *A * counted(k); }, text);
        EXPECT_TRUE(identical(y, counted(m)));
        EXPECT_TRUE(identical(z, counted(k)));
        EXPECT_TRUE(identical(R, counted(m, 2)));
    }
}

//     [ 2 1 . ]
// A = [   3 . ], marked symmetric: what is stored keeps to the rows, and so does its mirror image.
TEST(SparseMatrixProducts, AWideMatrixMarkedSymmetricThatStoresASquareTriangleIsMultiplied)
{
    SparseMatrix A(2, 3);
    A(0, 0) = 2.0;
    A(0, 1) = 1.0;
    A(1, 1) = 3.0;
    A.Symmetric(true);
    EXPECT_TRUE(identical(A * Vector{1, 10, 100}, Vector{12, 31}));
    EXPECT_TRUE(identical(Vector{1, 10} * A, Vector{12, 31, 0}));
    EXPECT_TRUE(identical(A * Matrix{{1, 0}, {10, 1}, {100, 7}}, Matrix{{12, 1}, {31, 3}}));
    Vector y{5, 6};
    SparseMatrix::Multiply(2.0, N, A, Vector{1, 10, 100}, 10.0, y);
    EXPECT_TRUE(identical(y, Vector{74, 122}));
    for (const TransposeMode mode : {T, C}) {
        Vector z{kNaN, kNaN, kNaN};
        SparseMatrix::Multiply(1.0, mode, A, Vector{1, 10}, 0.0, z);
        EXPECT_TRUE(identical(z, Vector{12, 31, 0}));
        SparseMatrix::Multiply(1.0, mode, A, Vector{1, 10}, 3.0, z);
        EXPECT_TRUE(identical(z, Vector{48, 124, 0}));
        if (detail::kHardened) continue;
        Matrix R{{kNaN}, {kNaN}, {kNaN}};
        SparseMatrix::Multiply(1.0, mode, A, Matrix{{1}, {10}}, 0.0, R);
        EXPECT_TRUE(identical(R, Matrix{{12}, {31}, {0}}));
    }
}

TEST(SparseMatrixProducts, AnOperandAsTargetIsRefusedInTheHardenedBuild)
{
    if (!detail::kHardened) return; // the result is not settled there
    constexpr const char* text = "The target of the product is one of its operands.";
    const SparseMatrix A(2, 2);
    Vector x = counted(2);
    Matrix B = counted(2, 2);
    expectFailure<InvalidOperationException>([&] { SparseMatrix::Multiply(1.0, N, A, x, 0.0, x); }, text);
    expectFailure<InvalidOperationException>([&] { SparseMatrix::Multiply(1.0, N, A, B, 0.0, B); }, text);
    EXPECT_TRUE(identical(x, counted(2)));
}

// ---- with sparse matrices

TEST(SparseMatrixProducts, SparseMatricesInEveryModeAreMultipliedAsTheDenseMatrices)
{
    std::mt19937_64 generator(26);
    for (const Shape& shape : sparseShapes()) {
        for (const TransposeMode mode : kModes) {
            for (const int columns : {1, 5, 30}) {
                for (const double density : {0.0, 0.1, 0.6}) {
                    SCOPED_TRACE(::testing::Message() << shape << ", mode " << static_cast<int>(mode) << ", "
                                                      << columns << ", " << density);
                    const SparseMatrix A =
                        randomSparse(storedShape(mode, shape), density, Values::Uniform, generator);
                    const SparseMatrix B =
                        randomSparse({shape.cols, columns}, 0.4, Values::Uniform, generator);
                    const SparseMatrix product = SparseMatrix::Multiply(mode, A, B);
                    expectFreshResult(product, {shape.rows, columns});
                    EXPECT_LE(productRatio(product.ToDense(), 1.0, denseOp(mode, A), B.ToDense(), 0.0,
                                           Matrix(shape.rows, columns)),
                              kResidualLimit);
                }
            }
        }
    }
}

TEST(SparseMatrixProducts, WhatCancelsStaysStoredAndIsDroppedWhenTransposed)
{
    const SparseMatrix A({1, 1, 1}, {0, 2, 3}, {0, 1, 1});  // [1 1; . 1]
    const SparseMatrix B({1, -1, 2}, {0, 1, 3}, {0, 0, 1}); // [1 .; -1 2]
    const SparseMatrix plain = A * B, turned = SparseMatrix::Multiply(T, A.Transpose(), B);
    EXPECT_THAT(elementsOf(plain),
                ElementsAre(Element{0, 0, 0.0}, Element{0, 1, 2.0}, Element{1, 0, -1.0}, Element{1, 1, 2.0}));
    EXPECT_THAT(elementsOf(turned), ElementsAre(Element{0, 1, 2.0}, Element{1, 0, -1.0}, Element{1, 1, 2.0}));
    expectFreshResult(turned, {2, 2});
}

TEST(SparseMatrixProducts, AResultWithDroppedElementsTakesInsertions)
{
    const SparseMatrix A({1, 1, 1}, {0, 2, 3}, {0, 1, 1}), B({1, -1, 2}, {0, 1, 3}, {0, 0, 1});
    SparseMatrix product = SparseMatrix::Multiply(C, A.Transpose(), B);
    product(0, 0) = 5.0;
    EXPECT_THAT(elementsOf(product),
                ElementsAre(Element{0, 0, 5.0}, Element{0, 1, 2.0}, Element{1, 0, -1.0}, Element{1, 1, 2.0}));
}

TEST(SparseMatrixProducts, TheTransposeOfAProductIsTheProductOfTheTransposesTurned)
{
    std::mt19937_64 generator(27);
    for (const Shape& shape : sparseShapes()) {
        const SparseMatrix A = randomSparse(shape, 0.4, Values::Integers, generator);
        const SparseMatrix B = randomSparse({shape.cols, 11}, 0.4, Values::Integers, generator);
        EXPECT_EQ(elementsOf((A * B).Transpose()), elementsOf(B.Transpose() * A.Transpose())) << shape;
    }
}

TEST(SparseMatrixProducts, AProductAppliedToAVectorIsItsFactorsInTurn)
{
    std::mt19937_64 generator(28);
    const SparseMatrix A = randomSparse({20, 30}, 0.3, Values::Integers, generator);
    const SparseMatrix B = randomSparse({30, 10}, 0.3, Values::Integers, generator);
    EXPECT_TRUE(identical((A * B) * counted(10), A * (B * counted(10))));
    EXPECT_TRUE(identical(SparseMatrix::Multiply(T, A, A) * counted(30), A.Transpose() * (A * counted(30))));
    EXPECT_EQ(elementsOf(SparseMatrix::Multiply(A, B)), elementsOf(A * B));
}

TEST(SparseMatrixProducts, SymmetricOperandsAreRefusedBeforeTheSizes)
{
    const SparseMatrix S(3, true), G(3, 3), other(2, 2);
    expectFailure<NotSupportedException>([&] { S* G; }, kSymmetric);
    expectFailure<NotSupportedException>([&] { G* S; }, kSymmetric);
    expectFailure<NotSupportedException>([&] { return S * other; }, kSymmetric);
    expectFailure<NotSupportedException>([&] { SparseMatrix::Multiply(kNoMode, other, S); }, kSymmetric);
}

TEST(SparseMatrixProducts, InnerSizesThatDifferAreRefused)
{
    const SparseMatrix A(2, 3), B(2, 4);
    expectFailure<InvalidSizeException>([&] { A* B; }, kInvalidSize);
    expectFailure<InvalidSizeException>([&] { SparseMatrix::Multiply(T, A, A.Transpose()); }, kInvalidSize);
    expectFailure<InvalidSizeException>([&] { SparseMatrix::Multiply(C, A, A.Transpose()); }, kInvalidSize);
    expectFailure<InvalidSizeException>([&] { SparseMatrix::Multiply(kNoMode, A, B); }, kInvalidSize);
    EXPECT_EQ(SparseMatrix::Multiply(T, A, B).Rows(), 3);
}

// Each request of `operation` for memory fails in turn: for an array with NotEnoughMemoryException, for the
// scratch of a kernel with OperationFailedException. Nothing leaks. Returns how many of the latter there
// were.
template <class Operation, class Check>
int failEachRequest(Operation operation, Check isUntouched)
{
    int withoutScratch = 0;
    for (int k = 0; k < 100; ++k) {
        MKL_FreeBuffers(); // so that the pool has to ask, too
        const std::int64_t before = TrellConfiguration::TotalMemory();
        const FailingAllocator allocator(k);
        try {
            operation();
            if (!allocator.hasFailed()) return withoutScratch;
        } catch (const NotEnoughMemoryException&) {
        } catch (const OperationFailedException& e) {
            EXPECT_STREQ(e.what(), "Operation has failed to complete.");
            ++withoutScratch;
        }
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before) << "request " << k;
        EXPECT_TRUE(isUntouched()) << "request " << k;
    }
    ADD_FAILURE() << "the operation never passes";
    return withoutScratch;
}

TEST(SparseMatrixProducts, WhicheverAllocationFailsNothingLeaksAndTheOperandsStay)
{
    std::mt19937_64 generator(29);
    const SparseMatrix A = randomSparse({6, 6}, 0.5, Values::Integers, generator);
    const SparseMatrix B = randomSparse({6, 6}, 0.5, Values::Integers, generator);
    const std::vector<Element> a = elementsOf(A), b = elementsOf(B);
    const auto untouched = [&] { return elementsOf(A) == a && elementsOf(B) == b; };
    const Vector x = counted(6);
    const Matrix D = counted(6, 2);
    EXPECT_EQ(failEachAllocation([&] { return A * x; }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { return x * A; }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { return A * D; }, untouched), 1);
    for (const TransposeMode mode : kModes) {
        EXPECT_GE(failEachRequest([&] { SparseMatrix::Multiply(mode, A, B); }, untouched), 2)
            << "both passes";
        EXPECT_EQ(failEachRequest([&] { SparseMatrix::Add(A, 2.0, mode, B); }, untouched) > 0, mode != N);
        EXPECT_TRUE(identical(SparseMatrix::Multiply(mode, A, B).ToDense(),
                              naiveProduct(denseOp(mode, A), B.ToDense())));
    }
}

TEST(SparseMatrixProducts, TheRectangularTransposedProductLeavesTheTargetWhenMemoryIsShort)
{
    if (detail::kHardened) return; // refused there
    std::mt19937_64 generator(30);
    const SparseMatrix A = randomSparse({6, 4}, 0.5, Values::Integers, generator);
    const Matrix B = counted(6, 3), R0 = counted(4, 3);
    Matrix R = R0;
    EXPECT_EQ(failEachAllocation([&] { SparseMatrix::Multiply(1.0, T, A, B, 2.0, R); },
                                 [&] { return identical(R, R0); }),
              2);
}

} // namespace
} // namespace Velmar::Lintrix
