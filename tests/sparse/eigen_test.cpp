// Matrices of Eigen and of this library in each other's terms: the same memory where none is copied.

#include "tests/support/refused_memory.h"

#include <lintrix/eigen.h>
#include <lintrix/lintrix.h>

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

template <class T>
concept HasMap = requires(T&& A)
{
    EigenMap(std::forward<T>(A));
};
template <class T>
concept HasView = requires(T&& A)
{
    ViewOf(std::forward<T>(A));
};
static_assert(HasMap<Matrix&> && HasMap<const CVector&> && !HasMap<Matrix> && !HasMap<const CMatrix>);
static_assert(HasView<::Eigen::MatrixXd&> && HasView<const ::Eigen::VectorXcd&> &&
              !HasView<::Eigen::MatrixXd>);

TEST(EigenBridge, MapsShowTheSameMemory)
{
    Matrix A(3, 4);
    EigenMap(A)(1, 2) = 5.0;
    EXPECT_EQ(A(1, 2), 5.0);
    EXPECT_EQ(EigenMap(A).data(), A.data());
    const CMatrix Z = CMatrix::Identity(2);
    EXPECT_EQ(EigenMap(Z).data(), Z.data());
    EXPECT_EQ(EigenMap(Z)(1, 1), Complex(1.0));
    static_assert(!std::is_assignable_v<decltype(EigenMap(Z)(0, 0)), Complex>);
    CVector z(4);
    EigenMap(z).setConstant(Complex(1, 2));
    EXPECT_EQ(z(3), Complex(1, 2));
    EigenMap(A.View(1, 1, 2, 2)).setOnes();
    EXPECT_EQ(A(2, 2), 1.0);
    EXPECT_EQ(A(0, 1), 0.0);
    EigenMap(A.RowView(0)).setConstant(-1.0);
    EXPECT_EQ(A(0, 3), -1.0);
    EXPECT_EQ(A(1, 3), 0.0);
}

TEST(EigenBridge, ViewsShowTheSameMemory)
{
    ::Eigen::MatrixXd E = ::Eigen::MatrixXd::Zero(3, 2);
    ViewOf(E).RowView(1).Fill(4.0);
    EXPECT_EQ(E(1, 1), 4.0);
    EXPECT_EQ(E(0, 1), 0.0);
    EXPECT_EQ(ViewOf(E).data(), E.data());
    const ::Eigen::VectorXcd v = ::Eigen::VectorXcd::Constant(3, Complex(0, 1));
    EXPECT_EQ(ViewOf(v)[2], Complex(0, 1));
    ::Eigen::Matrix3d fixed = ::Eigen::Matrix3d::Identity();
    EXPECT_EQ(Matrix(ViewOf(fixed)), Matrix::Identity(3));
    const ::Eigen::MatrixXd none(0, 4);
    EXPECT_EQ(ViewOf(none).Rows(), 0);
}

TEST(EigenBridge, ExpressionsAreCopied)
{
    ::Eigen::Matrix<double, ::Eigen::Dynamic, ::Eigen::Dynamic, ::Eigen::RowMajor> rows(2, 3);
    rows << 1, 2, 3, 4, 5, 6;
    EXPECT_EQ(FromEigen(rows), (Matrix{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(FromEigen(rows * rows.transpose()), (Matrix{{14, 32}, {32, 77}}));
    const Vector x = FromEigen(rows.col(1));
    EXPECT_EQ(x, (Vector{2, 5}));
    EXPECT_THROW(FromEigen(::Eigen::MatrixXd(0, 3)), InvalidSizeException);
}

template <class Cell>
void checkSparse(const detail::SparseOf<Cell>& A)
{
    const auto E = EigenSparse(A);
    EXPECT_EQ(E.rows(), A.Rows());
    EXPECT_EQ(E.nonZeros(), A.NumElements());
    const auto back = FromEigen(E);
    EXPECT_EQ(back.Cols(), A.Cols());
    ASSERT_EQ(back.NumElements(), A.NumElements());
    auto other = back.begin();
    for (const auto [row, col, value] : A) {
        EXPECT_TRUE((*other).row == row && (*other).col == col && (*other).value == value);
        ++other;
    }
}

TEST(EigenBridge, SparseMatricesGoThereAndBack)
{
    SparseMatrix A(4, 6); // trailing empty columns, an empty row, a stored zero
    A(0, 3) = 2.0;
    A(0, 0) = 0.0;
    A(3, 1) = -1.0;
    checkSparse<double>(A);
    CSparseMatrix Z(1, 2);
    Z(0, 1) = Complex(1, -1);
    checkSparse<Complex>(Z);
    checkSparse<double>(SparseMatrix(2, 2));

    ::Eigen::SparseMatrix<double> columns(3, 2); // by columns, not compressed
    columns.insert(2, 0) = 1.0;
    columns.insert(0, 1) = 2.0;
    const SparseMatrix B = FromEigen(columns);
    EXPECT_EQ(B(2, 0), 1.0);
    EXPECT_EQ(B(0, 1), 2.0);
    EXPECT_EQ(B.NumElements(), 2);
}

TEST(EigenBridge, ATriangleIsReadAsOne)
{
    CSparseMatrix A(2, true);
    A(0, 0) = 2.0;
    A(0, 1) = Complex(1, 1);
    A(1, 1) = 3.0;
    const ::Eigen::MatrixXcd full = ::Eigen::MatrixXcd(EigenSparse(A)).selfadjointView<::Eigen::Upper>();
    EXPECT_EQ(full(1, 0), Complex(1, -1));
}

// Whichever side refuses, the source is untouched, and nothing of a copy is left.
template <class Cell>
void refuseCopies()
{
    using Dense = ::Eigen::Matrix<Cell, ::Eigen::Dynamic, ::Eigen::Dynamic>;
    const Dense E = Dense::Constant(3, 4, Cell(2.0));
    const ::Eigen::SparseMatrix<Cell> columns = Dense::Identity(5, 4).sparseView();
    const auto A = FromEigen(columns);
    const auto storedIn = [](const auto& S) { return std::vector<Cell>(S.valuePtr(), S.valuePtr() + 4); };
    const auto before = storedIn(columns);
    EXPECT_GE(refuseEachRequestOf([&] { (void)FromEigen(E); }), 1);
    EXPECT_GE(refuseEachRequestOf([&] { (void)FromEigen(E.col(1)); }), 1);
    EXPECT_GE(refuseEachRequestOf([&] { (void)FromEigen(columns); }), 1);
    EXPECT_GE(refuseEachRequestOf([&] { (void)EigenSparse(A); }), 1);
    EXPECT_EQ(E, Dense::Constant(3, 4, Cell(2.0)));
    EXPECT_EQ(storedIn(columns), before);
    EXPECT_EQ(storedIn(EigenSparse(A)), before);
}

TEST(EigenBridge, CopiesWithoutMemoryLeaveNothingBehind)
{
    refuseCopies<double>();
    refuseCopies<Complex>();
}

// An assignment to one of ours is whole or not at all.
TEST(EigenBridge, AnAssignmentWithoutMemoryLeavesTheMatrix)
{
    const ::Eigen::MatrixXd E = ::Eigen::MatrixXd::Identity(5, 5);
    const auto raised = [] { EXPECT_THROW(throw, NotEnoughMemoryException); };
    const auto make = [] { return Matrix{{1, 2}, {3, 4}}; };
    const auto look = [](const Matrix& A) { return std::vector<double>(A.begin(), A.end()); };
    EXPECT_GE(refuseEachRequest(
                  make, [&](Matrix& A) { A = FromEigen(E); }, look, raised),
              1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
