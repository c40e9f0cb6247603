// LAPACK by overload: each routine of the decompositions called for real and for complex cells, judged by
// what it says of its result.

#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {
std::vector<std::string> complaints; // of the routines about their arguments
}

// Stands before that of the library of routines, which prints.
extern "C" __attribute__((visibility("default"))) void xerbla_(const char* routine, const int* argument,
                                                               std::size_t length)
{
    complaints.push_back(std::string(routine, length) + ' ' + std::to_string(*argument));
}

namespace Velmar::Lintrix::testing {
namespace {

namespace lapack = detail::lapack;
using Complex = std::complex<double>;

constexpr double kEps = 0x1p-53;
constexpr double kLimit = 30.0;
constexpr int kWork = 64 * 16; // cells, enough for every routine here

double conjugate(double x)
{
    return x;
}
Complex conjugate(const Complex& z)
{
    return std::conj(z);
}

// A column-major block and its sizes.
template <class T>
struct Cells {
    Cells(int m, int n) : rows(m), cols(n), cells(static_cast<std::size_t>(m) * static_cast<std::size_t>(n))
    {
    }
    T& operator()(int i, int j) { return cells[static_cast<std::size_t>(i + rows * j)]; }
    const T& operator()(int i, int j) const { return cells[static_cast<std::size_t>(i + rows * j)]; }
    T* get() { return cells.data(); }
    const T* get() const { return cells.data(); }

    int rows, cols;
    std::vector<T> cells;
};

template <class T>
Cells<T> random(int m, int n)
{
    std::mt19937_64 generator(4711);
    const auto uniform = [&] { return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0; };
    Cells<T> A(m, n);
    for (T& cell : A.cells) {
        if constexpr (std::is_same_v<T, double>) cell = uniform();
        if constexpr (!std::is_same_v<T, double>) cell = T(uniform(), uniform());
    }
    return A;
}

template <class T>
Cells<T> identity(int n)
{
    Cells<T> I(n, n);
    for (int i = 0; i < n; ++i) I(i, i) = 1.0;
    return I;
}

template <class T>
Cells<T> operator*(const Cells<T>& A, const Cells<T>& B)
{
    Cells<T> C(A.rows, B.cols);
    for (int j = 0; j < B.cols; ++j) {
        for (int k = 0; k < A.cols; ++k) {
            for (int i = 0; i < A.rows; ++i) C(i, j) += A(i, k) * B(k, j);
        }
    }
    return C;
}

template <class T>
Cells<T> adjoint(const Cells<T>& A)
{
    Cells<T> B(A.cols, A.rows);
    for (int j = 0; j < A.cols; ++j) {
        for (int i = 0; i < A.rows; ++i) B(j, i) = conjugate(A(i, j));
    }
    return B;
}

template <class T>
Cells<T> diagonal(const std::vector<T>& values)
{
    Cells<T> D(static_cast<int>(values.size()), static_cast<int>(values.size()));
    for (int i = 0; i < D.rows; ++i) D(i, i) = values[static_cast<std::size_t>(i)];
    return D;
}

// The diagonal and what is below it (lower) or above it; the rest zero.
template <class T>
Cells<T> triangle(const Cells<T>& A, bool lower)
{
    Cells<T> B(A.rows, A.cols);
    for (int j = 0; j < A.cols; ++j) {
        for (int i = 0; i < A.rows; ++i) B(i, j) = (lower ? i >= j : i <= j) ? A(i, j) : T(0);
    }
    return B;
}

template <class T>
double norm(const Cells<T>& A)
{
    double sum = 0.0;
    for (const T& cell : A.cells) sum += std::norm(cell);
    return std::sqrt(sum);
}

// ||A - B|| / (max(m, n)*||A||*eps)
template <class T>
void expectSame(const Cells<T>& A, const Cells<T>& B)
{
    ASSERT_EQ(A.rows, B.rows);
    ASSERT_EQ(A.cols, B.cols);
    Cells<T> D(A);
    for (std::size_t k = 0; k < D.cells.size(); ++k) D.cells[k] -= B.cells[k];
    EXPECT_LT(norm(D) / (std::max(A.rows, A.cols) * norm(A) * kEps), kLimit);
}

template <class T>
class Lapack : public ::testing::Test {
protected:
    static constexpr char kAdjoint = std::is_same_v<T, double> ? 'T' : 'C';

    std::vector<T> work = std::vector<T>(kWork);
    std::vector<double> rwork = std::vector<double>(kWork);
    std::vector<int> iwork = std::vector<int>(kWork);
    int info = -99;
};
using CellTypes = ::testing::Types<double, Complex>;
TYPED_TEST_SUITE(Lapack, CellTypes);

TYPED_TEST(Lapack, SolvesAndInvertsByLU)
{
    const auto A = random<TypeParam>(7, 7), B = random<TypeParam>(7, 3);
    auto lu = A, X = B;
    std::vector<int> ipiv(7);
    lapack::getrf(7, 7, lu.get(), 7, ipiv.data(), this->info);
    ASSERT_EQ(this->info, 0);
    lapack::getrs('N', 7, 3, lu.get(), 7, ipiv.data(), X.get(), 7, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(B, A * X);
    lapack::getri(7, lu.get(), 7, ipiv.data(), this->work.data(), kWork, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(identity<TypeParam>(7), lu * A);
}

TYPED_TEST(Lapack, FormsAndAppliesQ)
{
    const auto A = random<TypeParam>(7, 4);
    auto qr = A;
    std::vector<TypeParam> tau(4);
    lapack::geqrf(7, 4, qr.get(), 7, tau.data(), this->work.data(), kWork, this->info);
    ASSERT_EQ(this->info, 0);
    auto QtA = A; // R over zeros
    lapack::ormqr('L', this->kAdjoint, 7, 4, 4, qr.get(), 7, tau.data(), QtA.get(), 7, this->work.data(),
                  kWork, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(triangle(qr, false), QtA);
    auto Q = qr;
    lapack::orgqr(7, 4, 4, Q.get(), 7, tau.data(), this->work.data(), kWork, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(identity<TypeParam>(4), adjoint(Q) * Q);
    Cells<TypeParam> R(4, 4);
    for (int j = 0; j < 4; ++j) std::copy_n(qr.get() + 7 * j, j + 1, R.get() + 4 * j);
    expectSame(A, Q * R);
}

TYPED_TEST(Lapack, PivotsColumns)
{
    const auto A = random<TypeParam>(5, 5);
    auto qr = A;
    std::vector<TypeParam> tau(5);
    std::vector<int> jpvt(5);
    if constexpr (std::is_same_v<TypeParam, double>) {
        lapack::geqp3(5, 5, qr.get(), 5, jpvt.data(), tau.data(), this->work.data(), kWork, this->info);
    } else {
        lapack::geqp3(5, 5, qr.get(), 5, jpvt.data(), tau.data(), this->work.data(), kWork,
                      this->rwork.data(), this->info);
    }
    ASSERT_EQ(this->info, 0);
    EXPECT_THAT(jpvt, ::testing::UnorderedElementsAre(1, 2, 3, 4, 5));
    const auto R = triangle(qr, false);
    for (int i = 1; i < 5; ++i) EXPECT_LE(std::abs(R(i, i)), std::abs(R(i - 1, i - 1)));
    lapack::orgqr(5, 5, 5, qr.get(), 5, tau.data(), this->work.data(), kWork, this->info);
    Cells<TypeParam> AP(5, 5);
    for (int j = 0; j < 5; ++j) {
        for (int i = 0; i < 5; ++i) AP(i, j) = A(i, jpvt[static_cast<std::size_t>(j)] - 1);
    }
    expectSame(AP, qr * R);
}

TYPED_TEST(Lapack, FormsAndAppliesQFromTheRight)
{
    const auto A = random<TypeParam>(4, 7);
    auto lq = A;
    std::vector<TypeParam> tau(4);
    lapack::gelqf(4, 7, lq.get(), 4, tau.data(), this->work.data(), kWork, this->info);
    ASSERT_EQ(this->info, 0);
    auto AQt = A; // L beside zeros
    lapack::ormlq('R', this->kAdjoint, 4, 7, 4, lq.get(), 4, tau.data(), AQt.get(), 4, this->work.data(),
                  kWork, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(triangle(lq, true), AQt);
    auto Q = lq;
    lapack::orglq(4, 7, 4, Q.get(), 4, tau.data(), this->work.data(), kWork, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(identity<TypeParam>(4), Q * adjoint(Q));
    Cells<TypeParam> L(4, 4);
    std::copy_n(lq.get(), 16, L.get());
    expectSame(A, triangle(L, true) * Q);
}

TYPED_TEST(Lapack, FactorizesSolvesAndInvertsByCholesky)
{
    const auto F = random<TypeParam>(6, 9), A = F * adjoint(F), B = random<TypeParam>(6, 3);
    auto factor = A, X = B;
    lapack::potrf('L', 6, factor.get(), 6, this->info);
    ASSERT_EQ(this->info, 0);
    const auto L = triangle(factor, true);
    expectSame(A, L * adjoint(L));
    lapack::potrs('L', 6, 3, factor.get(), 6, X.get(), 6, this->info);
    EXPECT_EQ(this->info, 0);
    expectSame(B, A * X);
    lapack::potri('L', 6, factor.get(), 6, this->info);
    EXPECT_EQ(this->info, 0);
    for (int j = 0; j < 6; ++j) { // the lower triangle is all it fills
        for (int i = 0; i < j; ++i) factor(i, j) = conjugate(factor(j, i));
    }
    expectSame(identity<TypeParam>(6), factor * A);
}

TYPED_TEST(Lapack, FindsSingularValuesAndVectors)
{
    const auto A = random<TypeParam>(7, 4);
    auto copy = A;
    std::vector<double> s(4);
    Cells<TypeParam> U(7, 4), Vt(4, 4);
    if constexpr (std::is_same_v<TypeParam, double>) {
        lapack::gesdd('S', 7, 4, copy.get(), 7, s.data(), U.get(), 7, Vt.get(), 4, this->work.data(), kWork,
                      this->iwork.data(), this->info);
    } else {
        lapack::gesdd('S', 7, 4, copy.get(), 7, s.data(), U.get(), 7, Vt.get(), 4, this->work.data(), kWork,
                      this->rwork.data(), this->iwork.data(), this->info);
    }
    ASSERT_EQ(this->info, 0);
    EXPECT_TRUE(std::is_sorted(s.rbegin(), s.rend()));
    expectSame(identity<TypeParam>(4), adjoint(U) * U);
    expectSame(identity<TypeParam>(4), Vt * adjoint(Vt));
    expectSame(A, U * diagonal(std::vector<TypeParam>(s.begin(), s.end())) * Vt);
}

TYPED_TEST(Lapack, FindsEigenvaluesAndVectorsOfTheSymmetricAndTheHermitian)
{
    const auto F = random<TypeParam>(6, 6);
    auto A = F;
    const auto Ft = adjoint(F);
    for (std::size_t k = 0; k < A.cells.size(); ++k) A.cells[k] += Ft.cells[k];
    auto X = A;
    std::vector<double> w(6);
    if constexpr (std::is_same_v<TypeParam, double>) {
        lapack::syev('V', 'L', 6, X.get(), 6, w.data(), this->work.data(), kWork, this->info);
    } else {
        lapack::syev('V', 'L', 6, X.get(), 6, w.data(), this->work.data(), kWork, this->rwork.data(),
                     this->info);
    }
    ASSERT_EQ(this->info, 0);
    EXPECT_TRUE(std::is_sorted(w.begin(), w.end()));
    expectSame(identity<TypeParam>(6), adjoint(X) * X);
    expectSame(A, X * diagonal(std::vector<TypeParam>(w.begin(), w.end())) * adjoint(X));
}

TYPED_TEST(Lapack, SwapsColumns)
{
    const auto A = random<TypeParam>(5, 2);
    auto B = A;
    detail::blas::swap(5, B.get(), 1, B.get() + 5, 1);
    EXPECT_TRUE(std::equal(A.get(), A.get() + 5, B.get() + 5));
    EXPECT_TRUE(std::equal(A.get() + 5, A.get() + 10, B.get()));
}

// ---- the general eigenvalue problem, whose two forms hand out different things

constexpr int kOrder = 6;

struct EigenScratch {
    int ilo = 0, ihi = 0, info = -99;
    double norm = 0.0;
    std::vector<double> scale = std::vector<double>(kOrder), rconde = scale, rcondv = scale,
                        rwork = std::vector<double>(kWork);
    std::vector<int> iwork = std::vector<int>(kWork);
};

// A*x = lambda*x and y'*A = lambda*y' for each column, ||residual|| / (n*||A||*eps).
void expectEigenpairs(const Cells<Complex>& A, const std::vector<Complex>& w, const Cells<Complex>& left,
                      const Cells<Complex>& right)
{
    const Cells<Complex> AX = A * right, XD = right * diagonal(w);
    const Cells<Complex> YA = adjoint(left) * A, DY = diagonal(w) * adjoint(left);
    for (const auto& [product, scaled] : {std::pair(AX, XD), std::pair(YA, DY)}) {
        Cells<Complex> residual(product);
        for (std::size_t k = 0; k < residual.cells.size(); ++k) residual.cells[k] -= scaled.cells[k];
        EXPECT_LT(norm(residual) / (A.rows * norm(A) * kEps), kLimit);
    }
}

TEST(LapackGeneralEigenvalues, OfAComplexMatrix)
{
    const auto A = random<Complex>(kOrder, kOrder);
    auto copy = A;
    EigenScratch t;
    std::vector<Complex> w(kOrder), work(kWork);
    Cells<Complex> left(kOrder, kOrder), right(kOrder, kOrder);
    lapack::geevx('B', 'V', 'V', 'N', kOrder, copy.get(), kOrder, w.data(), left.get(), kOrder, right.get(),
                  kOrder, t.ilo, t.ihi, t.scale.data(), t.norm, t.rconde.data(), t.rcondv.data(), work.data(),
                  kWork, t.rwork.data(), t.info);
    ASSERT_EQ(t.info, 0);
    expectEigenpairs(A, w, left, right);
}

// Column j of the packed form, and j+1 beside it where the eigenvalue j is the first of a pair.
Cells<Complex> unpacked(const Cells<double>& packed, const std::vector<double>& wi)
{
    Cells<Complex> X(kOrder, kOrder);
    for (int j = 0; j < kOrder; ++j) {
        const double sign = wi[static_cast<std::size_t>(j)];
        const int real = sign < 0.0 ? j - 1 : j;
        for (int i = 0; i < kOrder; ++i) {
            X(i, j) = sign == 0.0 ? Complex(packed(i, j)) : Complex(packed(i, real), packed(i, real + 1));
            if (sign < 0.0) X(i, j) = std::conj(X(i, j));
        }
    }
    return X;
}

TEST(LapackGeneralEigenvalues, OfARealMatrix)
{
    const auto A = random<double>(kOrder, kOrder);
    auto copy = A;
    EigenScratch t;
    std::vector<double> wr(kOrder), wi(kOrder), work(kWork);
    Cells<double> left(kOrder, kOrder), right(kOrder, kOrder);
    lapack::geevx('B', 'V', 'V', 'N', kOrder, copy.get(), kOrder, wr.data(), wi.data(), left.get(), kOrder,
                  right.get(), kOrder, t.ilo, t.ihi, t.scale.data(), t.norm, t.rconde.data(), t.rcondv.data(),
                  work.data(), kWork, t.iwork.data(), t.info);
    ASSERT_EQ(t.info, 0);
    std::vector<Complex> w;
    for (std::size_t i = 0; i < kOrder; ++i) w.emplace_back(wr[i], wi[i]);
    Cells<Complex> complexA(kOrder, kOrder);
    std::copy(A.cells.begin(), A.cells.end(), complexA.cells.begin());
    expectEigenpairs(complexA, w, unpacked(left, wi), unpacked(right, wi));
}

// ---- what complex cells do not take

TEST(LapackComplex, TransposedReflectorsAreRefusedAndTheBlockIsLeftAlone)
{
    const auto A = random<Complex>(4, 4), C = random<Complex>(4, 2);
    auto factor = A, block = C;
    std::vector<Complex> tau(4), work(kWork);
    int info = 0;
    complaints.clear();
    lapack::geqrf(4, 4, factor.get(), 4, tau.data(), work.data(), kWork, info);
    lapack::ormqr('L', 'T', 4, 2, 4, factor.get(), 4, tau.data(), block.get(), 4, work.data(), kWork, info);
    EXPECT_EQ(info, -2);
    lapack::ormlq('L', 'T', 4, 2, 4, factor.get(), 4, tau.data(), block.get(), 4, work.data(), kWork, info);
    EXPECT_EQ(info, -2);
    EXPECT_EQ(block.cells, C.cells);
    EXPECT_THAT(complaints, ::testing::ElementsAre("ZUNMQR 2", "ZUNMLQ 2"));
}

} // namespace
} // namespace Velmar::Lintrix::testing
