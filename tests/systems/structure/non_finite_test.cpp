#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/structure/non_finite.h>

#include <gtest/gtest.h>

#include <complex>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::AnyMatrix;
using detail::NonFinite;
using detail::nonFiniteElements;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void expectElements(const NonFinite& found, std::int64_t count, std::int32_t row, std::int32_t col)
{
    EXPECT_EQ(found.count, count);
    EXPECT_EQ(found.row, row);
    EXPECT_EQ(found.col, col);
}

template <class Cell, class Block>
void expectFoundInDense(Cell odd)
{
    Block A(3, 5, Cell(std::numeric_limits<double>::max()));
    expectElements(nonFiniteElements(AnyMatrix<Cell>(A)), 0, 0, 0);
    for (std::int32_t i = 0; i < 3; ++i)
        for (std::int32_t j = 0; j < 5; ++j) {
            Block B(A);
            B(i, j) = odd;
            expectElements(nonFiniteElements(AnyMatrix<Cell>(B)), 1, i, j);
        }
    A(2, 1) = A(0, 3) = odd;
    expectElements(nonFiniteElements(AnyMatrix<Cell>(A)), 2, 2, 1);
}

template <class Cell, class Sparse>
void expectFoundInSparse(Cell odd)
{
    Sparse A(6, 4);
    expectElements(nonFiniteElements(AnyMatrix<Cell>(A)), 0, 0, 0);
    A(0, 0) = Cell(std::numeric_limits<double>::denorm_min());
    A(4, 2) = odd;
    expectElements(nonFiniteElements(AnyMatrix<Cell>(A)), 1, 4, 2);
    A(3, 3) = A(5, 0) = odd;
    expectElements(nonFiniteElements(AnyMatrix<Cell>(A)), 3, 3, 3);
}

TEST(NonFinite, TheFirstElementIsNamedAndAllAreCounted)
{
    for (const double odd : {kNaN, kInfinity, -kInfinity}) {
        expectFoundInDense<double, Matrix>(odd);
        expectFoundInSparse<double, SparseMatrix>(odd);
        expectFoundInDense<Complex, CMatrix>({odd, 1.0});
        expectFoundInDense<Complex, CMatrix>({1.0, odd});
        expectFoundInSparse<Complex, CSparseMatrix>({odd, 0.0});
        expectFoundInSparse<Complex, CSparseMatrix>({0.0, odd});
    }
}

TEST(NonFinite, WhatLiesBelowTheDiagonalOfATriangleIsNoElement)
{
    SparseMatrix A(3, 3);
    A(0, 1) = A(1, 1) = A(2, 1) = kNaN;
    A.Symmetric(true);
    expectElements(nonFiniteElements(AnyMatrix<double>(A)), 2, 0, 1);
}

TEST(NonFinite, InWords)
{
    EXPECT_EQ(explain(NonFinite{1, 2, 16}), "The element in row 2, column 16 is not a finite number.");
    EXPECT_EQ(explain(NonFinite{2, 2, 16}, 1),
              "The element in row 3, column 17 is not a finite number, and another one is none.");
    EXPECT_EQ(explain(NonFinite{5000000001, 0, 0}, 1),
              "The element in row 1, column 1 is not a finite number, and 5000000000 others are none.");
}

} // namespace
} // namespace Velmar::Lintrix::testing
