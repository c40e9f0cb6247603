// Residuals in both precisions, their scale, and the norms of a matrix, against 113 bits.

#include <lintrix/sparse/kernels/cell.h>
#include <lintrix/systems/quality/residual.h>

#include "tests/support/thread_setting.h"
#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr double kEps = 0x1p-53;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr TransposeMode kModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                    TransposeMode::ConjugateTransposed};

template <class T>
class Residual : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(Residual, CellTypes);

/// b = fl(op(A)*x), so that nothing is left but rounding.
template <class Cell>
struct Case {
    QuadMatrix A;
    int nz;
    std::vector<Cell> x, b;

    template <class Kind>
    Case(const Kind& matrix, TransposeMode op, Cells& random) : A(quadOf(matrix, op)), nz(A.cols)
    {
        x = random.vector<Cell>(A.cols);
        for (const QuadCell& value : product(A, quadOf(x))) {
            if constexpr (std::is_same_v<Cell, double>) {
                b.push_back(static_cast<double>(value.re));
            } else {
                b.emplace_back(static_cast<double>(value.re), static_cast<double>(value.im));
            }
        }
    }

    QuadVector residual() const { return difference(quadOf(b), product(A, quadOf(x))); }
    long double scale(int i) const
    {
        long double sum = sizeOf(b[i]);
        for (int j = 0; j < A.cols; ++j) sum += sizeOf(A(i, j)) * sizeOf(x[j]);
        return sum;
    }
};

/// Calls judge(matrix) for one of each way to store.
template <class Cell, class Judge>
void forEachKind(Cells& random, const Judge& judge)
{
    for (const auto& [rows, cols] : {std::pair{1, 1}, {7, 7}, {30, 12}, {5, 40}}) {
        SCOPED_TRACE(std::to_string(rows) + " x " + std::to_string(cols));
        judge(random.matrix<Cell>(rows, cols));
        judge(SparseOf<Cell>(random.matrix<Cell>(rows, cols, 0.3)));
    }
    judge(triangleOf<Cell>(random.matrix<Cell>(23, 23, 0.4)));
}

TYPED_TEST(Residual, IsWithinTheRoundingOfItsPrecision)
{
    using Cell = TypeParam;
    Cells random(3);
    forEachKind<Cell>(random, [&](const auto& matrix) {
        const AnyMatrix<Cell> A(matrix);
        for (const TransposeMode op : kModes) {
            const Case<Cell> c(matrix, op, random);
            std::vector<Cell> r(c.b.size()), fine(c.b.size());
            residual(A, op, 1, c.b.data(), c.x.data(), r.data());
            residualInTwicePrecision<Cell>(A, op, 1, c.b.data(), c.x.data(), nullptr, fine.data());
            const QuadVector exact = c.residual();
            for (std::size_t i = 0; i < r.size(); ++i) {
                const long double w = c.scale(static_cast<int>(i)), m = 2 * (c.nz + 1);
                EXPECT_LE(sizeOf(QuadCell(r[i]) - exact[i]), m * kEps * w);
                EXPECT_LE(sizeOf(QuadCell(fine[i]) - exact[i]),
                          2 * kEps * sizeOf(exact[i]) + m * m * kEps * kEps * w);
            }
        }
    });
}

TYPED_TEST(Residual, OfAPairSeesTheSecondPart)
{
    using Cell = TypeParam;
    Cells random(4);
    forEachKind<Cell>(random, [&](const auto& matrix) {
        for (const TransposeMode op : kModes) {
            const Case<Cell> c(matrix, op, random);
            std::vector<Cell> dx = random.vector<Cell>(c.x.size()), r(c.b.size());
            for (Cell& value : dx) value *= 1e-16;
            residualInTwicePrecision(AnyMatrix<Cell>(matrix), op, 1, c.b.data(), c.x.data(), dx.data(),
                                     r.data());
            const QuadVector exact = difference(c.residual(), product(c.A, quadOf(dx)));
            for (std::size_t i = 0; i < r.size(); ++i) {
                const long double w = c.scale(static_cast<int>(i)), m = 4 * (c.nz + 1);
                EXPECT_LE(sizeOf(QuadCell(r[i]) - exact[i]),
                          2 * kEps * sizeOf(exact[i]) + m * m * kEps * kEps * w);
            }
        }
    });
}

TYPED_TEST(Residual, ScaleAndNormsAreThoseOfTheModuli)
{
    using Cell = TypeParam;
    Cells random(5);
    forEachKind<Cell>(random, [&](const auto& matrix) {
        const AnyMatrix<Cell> A(matrix);
        for (const TransposeMode op : kModes) {
            const Case<Cell> c(matrix, op, random);
            std::vector<double> w(c.b.size()), sums(c.b.size());
            residualScale(A, op, 1, c.b.data(), c.x.data(), w.data());
            rowSums(A, op, sums.data());
            int most = 0;
            for (int i = 0; i < c.A.rows; ++i) {
                long double sum = 0.0L;
                int stored = 0;
                for (int j = 0; j < c.A.cols; ++j) {
                    sum += sizeOf(c.A(i, j));
                    stored += sizeOf(c.A(i, j)) > 0;
                }
                most = std::max(most, stored);
                EXPECT_NEAR(w[i], static_cast<double>(c.scale(i)), w[i] * (c.nz + 4) * kEps);
                EXPECT_NEAR(sums[i], static_cast<double>(sum), sums[i] * (c.nz + 2) * kEps);
            }
            EXPECT_EQ(longestRow(A, op), most) << "no element is 0 by chance";
        }
        const double one = oneNorm(A), infinity = infinityNorm(A);
        EXPECT_NEAR(one, static_cast<double>(columnNorm(quadOf(matrix))), one * 50 * kEps);
        EXPECT_NEAR(infinity, static_cast<double>(columnNorm(quadOf(matrix, TransposeMode::Transposed))),
                    infinity * 50 * kEps);
    });
}

TYPED_TEST(Residual, OfABlockIsThatOfEachColumn)
{
    using Cell = TypeParam;
    Cells random(6);
    const auto matrix = random.matrix<Cell>(4, 3);
    const AnyMatrix<Cell> A(matrix);
    const auto b = random.vector<Cell>(8), x = random.vector<Cell>(6), dx = random.vector<Cell>(6);
    std::vector<Cell> block(8), single(8), fineBlock(8), fineSingle(8);
    std::vector<double> scales(8), singleScales(8);
    residual(A, TransposeMode::NotTransposed, 2, b.data(), x.data(), block.data());
    residualInTwicePrecision(A, TransposeMode::NotTransposed, 2, b.data(), x.data(), dx.data(),
                             fineBlock.data());
    residualScale(A, TransposeMode::NotTransposed, 2, b.data(), x.data(), scales.data());
    for (int c = 0; c < 2; ++c) {
        residual(A, TransposeMode::NotTransposed, 1, &b[4 * c], &x[3 * c], &single[4 * c]);
        residualInTwicePrecision(A, TransposeMode::NotTransposed, 1, &b[4 * c], &x[3 * c], &dx[3 * c],
                                 &fineSingle[4 * c]);
        residualScale(A, TransposeMode::NotTransposed, 1, &b[4 * c], &x[3 * c], &singleScales[4 * c]);
    }
    EXPECT_EQ(block, single);
    EXPECT_EQ(fineBlock, fineSingle);
    EXPECT_EQ(scales, singleScales);
}

TYPED_TEST(Residual, OfNothingIsTheRightHandSide)
{
    using Cell = TypeParam;
    const EmptyRows<Cell> none(0, 0);
    const AnyMatrix<Cell> A(none);
    residual<Cell>(A, TransposeMode::NotTransposed, 1, nullptr, nullptr, nullptr);
    residualInTwicePrecision<Cell>(A, TransposeMode::Transposed, 1, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(oneNorm(A), 0.0);
    EXPECT_EQ(infinityNorm(A), 0.0);
    EXPECT_EQ(longestRow(A, TransposeMode::NotTransposed), 0);

    const EmptyRows<Cell> zero(2, 3);
    const std::vector<Cell> b{1.0, -2.0}, x{kInfinity, kNaN, 3.0};
    std::vector<Cell> r(2);
    residual(AnyMatrix<Cell>(zero), TransposeMode::NotTransposed, 1, b.data(), x.data(), r.data());
    EXPECT_EQ(r, b) << "an element that is not stored meets nothing";
}

TYPED_TEST(Residual, WhatIsNotFiniteStaysSo)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> ones({1.0, 1.0, 1.0, 1.0}, 2, 2);
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        const std::vector<Cell> b{1.0, bad}, x{1.0, bad}, fine{1.0, 1.0};
        std::vector<Cell> r(2), q(2);
        std::vector<double> w(2);
        const AnyMatrix<Cell> A(ones);
        residual(A, TransposeMode::NotTransposed, 1, b.data(), fine.data(), r.data());
        residualInTwicePrecision<Cell>(A, TransposeMode::Transposed, 1, b.data(), fine.data(), nullptr,
                                       q.data());
        EXPECT_EQ(std::isnan(std::real(r[1])), std::isnan(bad));
        EXPECT_EQ(std::isinf(std::real(r[1])), std::isinf(bad));
        EXPECT_EQ(std::isnan(std::real(q[1])), std::isnan(bad));
        EXPECT_EQ(std::isinf(std::real(q[1])), std::isinf(bad));
        EXPECT_EQ(r[0], Cell(-1.0)) << "the others are not touched";
        EXPECT_EQ(q[0], Cell(-1.0));
        residual(A, TransposeMode::NotTransposed, 1, fine.data(), x.data(), r.data());
        residualInTwicePrecision<Cell>(A, TransposeMode::Transposed, 1, fine.data(), x.data(), nullptr,
                                       q.data());
        residualScale(A, TransposeMode::NotTransposed, 1, b.data(), x.data(), w.data());
        EXPECT_FALSE(std::isfinite(std::abs(r[0])));
        EXPECT_FALSE(std::isfinite(std::abs(q[0])));
        EXPECT_EQ(std::isnan(w[0]), std::isnan(bad));
        EXPECT_EQ(std::isinf(w[0]), std::isinf(bad));
        const MatrixOf<Cell> holed({1.0, bad, 2.0, 3.0}, 2, 2);
        EXPECT_EQ(std::isnan(oneNorm(AnyMatrix<Cell>(holed))), std::isnan(bad));
        EXPECT_EQ(std::isinf(infinityNorm(AnyMatrix<Cell>(holed))), std::isinf(bad));
    }
}

TYPED_TEST(Residual, LivesAtBothEndsOfTheRange)
{
    using Cell = TypeParam;
    const double tiny = std::numeric_limits<double>::denorm_min();
    const MatrixOf<Cell> A({1e-300, 1e300}, 1, 2);
    const std::vector<Cell> x{Cell(1e300), Cell(-1e-300)}, b{Cell(0.0)};
    std::vector<Cell> r(1);
    residualInTwicePrecision<Cell>(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, 1, b.data(), x.data(),
                                   nullptr, r.data());
    EXPECT_EQ(r[0], Cell(static_cast<double>(Quad(1e300) * Quad(1e-300) - Quad(1e-300) * Quad(1e300))));

    const MatrixOf<Cell> small({Cell(tiny)}, 1, 1);
    const std::vector<Cell> two{Cell(2.0)}, three{Cell(3 * tiny)};
    residual(AnyMatrix<Cell>(small), TransposeMode::NotTransposed, 1, three.data(), two.data(), r.data());
    EXPECT_EQ(r[0], Cell(tiny));
    residualInTwicePrecision<Cell>(AnyMatrix<Cell>(small), TransposeMode::NotTransposed, 1, three.data(),
                                   two.data(), nullptr, r.data());
    EXPECT_EQ(r[0], Cell(tiny));
}

TYPED_TEST(Residual, ATriangleMarkedStandsForTheWholeWhateverIsStoredBelow)
{
    using Cell = TypeParam;
    SparseOf<Cell> A{{1.0, 2.0, 7.0, 3.0}, {0, 2, 4}, {0, 1, 0, 1}};
    SparseAccess::mark(A, true);
    const std::vector<Cell> x{1.0, 10.0}, b{0.0, 0.0};
    std::vector<Cell> r(2);
    residual(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, 1, b.data(), x.data(), r.data());
    EXPECT_EQ(r, (std::vector<Cell>{-21.0, -32.0})) << "Item(1, 0) is 2";
}

TEST(ResidualOfRealValues, IsTheSameInComplexCells)
{
    Cells random(7);
    const Matrix A = random.matrix<double>(20, 20, 0.5);
    const CMatrix C = A.ToCMatrix();
    const std::vector<double> x = random.vector<double>(20), b = random.vector<double>(20);
    const std::vector<ComplexCell> cx(x.begin(), x.end()), cb(b.begin(), b.end());
    for (const TransposeMode op : kModes) {
        std::vector<double> r(20), w(20), cw(20);
        std::vector<ComplexCell> cr(20);
        const auto expectSame = [&] {
            for (int i = 0; i < 20; ++i) EXPECT_EQ(cr[i], ComplexCell(r[i]));
        };
        residual(AnyMatrix<double>(A), op, 1, b.data(), x.data(), r.data());
        residual(AnyMatrix<ComplexCell>(C), op, 1, cb.data(), cx.data(), cr.data());
        expectSame();
        residualInTwicePrecision<double>(AnyMatrix<double>(A), op, 1, b.data(), x.data(), nullptr, r.data());
        residualInTwicePrecision<ComplexCell>(AnyMatrix<ComplexCell>(C), op, 1, cb.data(), cx.data(), nullptr,
                                              cr.data());
        expectSame();
        residualScale(AnyMatrix<double>(A), op, 1, b.data(), x.data(), w.data());
        residualScale(AnyMatrix<ComplexCell>(C), op, 1, cb.data(), cx.data(), cw.data());
        EXPECT_EQ(w, cw);
    }
}

double conjugated(double a, TransposeMode)
{
    return a;
}
ComplexCell conjugated(const ComplexCell& a, TransposeMode op)
{
    return op == TransposeMode::ConjugateTransposed ? std::conj(a) : a;
}

/// Each row in index order, every operation rounded by itself.
template <class Cell>
std::vector<Cell> rowByRow(const MatrixOf<Cell>& A, TransposeMode op, const std::vector<Cell>& b,
                           const std::vector<Cell>& x)
{
    std::vector<Cell> r(b);
    for (std::size_t i = 0; i < b.size(); ++i) {
        for (std::size_t j = 0; j < x.size(); ++j) {
            const auto row = static_cast<int>(i), col = static_cast<int>(j);
            const Cell a = op == TransposeMode::NotTransposed ? A(row, col) : A(col, row);
            if (a != Cell(0.0)) r[i] -= times(conjugated(a, op), x[j]);
        }
    }
    return r;
}

TYPED_TEST(Residual, HasTheBitsOfThePlainFormulaOnEveryProcessor)
{
    using Cell = TypeParam;
    Cells random(10);
    const auto expectBits = [&](const auto& stored, const MatrixOf<Cell>& whole) {
        for (const TransposeMode op : kModes) {
            const auto b = random.vector<Cell>(37), x = random.vector<Cell>(37);
            std::vector<Cell> r(37);
            residual(AnyMatrix<Cell>(stored), op, 1, b.data(), x.data(), r.data());
            EXPECT_EQ(r, rowByRow<Cell>(whole, op, b, x));
            if (op == TransposeMode::Transposed) continue; // a map has no such product
            const LinearMap<Cell> map = mapOf(AnyMatrix<Cell>(stored));
            (op == TransposeMode::NotTransposed ? map.times : map.adjointTimes)(1, x.data(), r.data());
            std::vector<Cell> negative = rowByRow<Cell>(whole, op, std::vector<Cell>(37), x);
            for (Cell& value : negative) value = -value;
            EXPECT_EQ(r, negative);
        }
    };
    const auto dense = random.matrix<Cell>(37, 37), thin = random.matrix<Cell>(37, 37, 0.3);
    expectBits(dense, dense);
    expectBits(SparseOf<Cell>(thin), thin);
    const auto triangle = triangleOf<Cell>(random.matrix<Cell>(37, 37, 0.4));
    expectBits(triangle, triangle.ToDense());
}

TYPED_TEST(Residual, HasTheSameBitsOnSeveralThreads)
{
    using Cell = TypeParam;
    Cells random(8);
    const auto dense = random.matrix<Cell>(400, 300);
    const SparseOf<Cell> sparse(dense);
    for (const AnyMatrix<Cell>& A : {AnyMatrix<Cell>(dense), AnyMatrix<Cell>(sparse)}) {
        for (const TransposeMode op : kModes) {
            const auto b = random.vector<Cell>(400), x = random.vector<Cell>(400);
            std::vector<Cell> alone(400), together(400);
            {
                const ThreadSetting one(1);
                residualInTwicePrecision<Cell>(A, op, 1, b.data(), x.data(), nullptr, alone.data());
            }
            {
                const ThreadSetting three(3);
                residualInTwicePrecision<Cell>(A, op, 1, b.data(), x.data(), nullptr, together.data());
            }
            EXPECT_EQ(std::memcmp(alone.data(), together.data(), sizeof(Cell) * alone.size()), 0);
        }
    }
}

TYPED_TEST(Residual, TheMapOfAMatrixMultipliesByItAndByItsAdjoint)
{
    using Cell = TypeParam;
    Cells random(9);
    forEachKind<Cell>(random, [&](const auto& matrix) {
        const LinearMap<Cell> map = mapOf(AnyMatrix<Cell>(matrix));
        EXPECT_EQ(map.rows, matrix.Rows());
        EXPECT_EQ(map.cols, matrix.Cols());
        const auto judge = [&](TransposeMode op, const typename LinearMap<Cell>::Apply& times) {
            const QuadMatrix A = quadOf(matrix, op);
            const auto x = random.vector<Cell>(2 * static_cast<std::size_t>(A.cols));
            std::vector<Cell> y(2 * static_cast<std::size_t>(A.rows));
            times(2, x.data(), y.data());
            for (int c = 0; c < 2; ++c) {
                const QuadVector exact = product(A, QuadVector(x.begin() + c * A.cols, x.end()));
                for (int i = 0; i < A.rows; ++i) {
                    EXPECT_LE(sizeOf(exact[i] - y[i + c * A.rows]), A.cols * 2 * A.cols * kEps);
                }
            }
        };
        judge(TransposeMode::NotTransposed, map.times);
        judge(TransposeMode::ConjugateTransposed, map.adjointTimes);
    });
}

} // namespace
} // namespace Velmar::Lintrix::testing
