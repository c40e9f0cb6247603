#include "tests/support/matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <ostream>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::testing {

namespace {

// Portable: the distributions of the standard library differ between implementations.
double uniform(std::mt19937_64& generator)
{
    return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
}

template <class M>
using CellOf = std::decay_t<decltype(std::declval<const M&>()(0, 0))>;

template <class Cell>
Cell randomCell(std::mt19937_64& generator)
{
    if constexpr (std::is_same_v<Cell, Complex>) {
        const double real = uniform(generator);
        return {real, uniform(generator)};
    } else {
        return uniform(generator);
    }
}

double conjugate(double x)
{
    return x;
}
Complex conjugate(const Complex& z)
{
    return std::conj(z);
}

// A := (I - 2vv^H/v^Hv)*A with a random v.
template <class M>
void reflectRows(M& A, std::mt19937_64& generator)
{
    using Cell = CellOf<M>;
    std::vector<Cell> v(static_cast<std::size_t>(A.Rows()));
    double vv = 0.0;
    for (Cell& x : v) {
        x = randomCell<Cell>(generator);
        vv += std::norm(x);
    }
    for (int c = 0; c < A.Cols(); ++c) {
        Cell va = 0.0;
        for (int r = 0; r < A.Rows(); ++r) va += conjugate(v[static_cast<std::size_t>(r)]) * A(r, c);
        for (int r = 0; r < A.Rows(); ++r) A(r, c) -= 2.0 * va / vv * v[static_cast<std::size_t>(r)];
    }
}

// Once NaN, always NaN: std::max would forget it.
double largerOrNaN(double x, double y)
{
    return x >= y || std::isnan(x) ? x : y;
}

bool sameCell(double x, double y)
{
    return x == y || (std::isnan(x) && std::isnan(y));
}
bool sameCell(const Complex& x, const Complex& y)
{
    return sameCell(x.real(), y.real()) && sameCell(x.imag(), y.imag());
}

template <class V>
bool sameCells(const V& x, const V& y)
{
    if (x.Length() != y.Length()) return false;
    for (int i = 0; i < x.Length(); ++i) {
        if (!sameCell(x(i), y(i))) return false;
    }
    return true;
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Shape& shape)
{
    return out << shape.rows << " x " << shape.cols;
}

std::ostream& operator<<(std::ostream& out, Spectrum spectrum)
{
    constexpr const char* names[] = {"random", "flat", "geometric", "one tiny", "graded"};
    return out << names[static_cast<int>(spectrum)];
}

const std::vector<Shape>& allShapes()
{
    static const std::vector<Shape> shapes{{1, 1},     {2, 2},   {3, 3},   {7, 7},    {64, 64}, {65, 65},
                                           {130, 130}, {1, 5},   {5, 1},   {3, 5},    {5, 3},   {40, 3},
                                           {3, 40},    {65, 64}, {64, 65}, {129, 70}, {70, 129}};
    return shapes;
}

const std::vector<Shape>& squareShapes()
{
    static const std::vector<Shape> shapes{{1, 1}, {2, 2}, {3, 3}, {7, 7}, {64, 64}, {65, 65}, {130, 130}};
    return shapes;
}

const std::vector<Spectrum>& allSpectra()
{
    static const std::vector<Spectrum> spectra{Spectrum::Random, Spectrum::Flat, Spectrum::Geometric,
                                               Spectrum::OneTiny, Spectrum::Graded};
    return spectra;
}

template <class M>
M randomMatrix(const Shape& shape, std::mt19937_64& generator)
{
    M A(shape.rows, shape.cols);
    for (int c = 0; c < shape.cols; ++c) {
        for (int r = 0; r < shape.rows; ++r) A(r, c) = randomCell<CellOf<M>>(generator);
    }
    return A;
}

double singularValue(Spectrum spectrum, int i, int count)
{
    if (spectrum == Spectrum::Geometric)
        return count == 1 ? 1.0 : std::pow(1e-8, static_cast<double>(i) / (count - 1));
    if (spectrum == Spectrum::OneTiny) return i + 1 == count && count > 1 ? 1e-12 : 1.0;
    return 1.0;
}

template <class M>
M matrixWith(const Shape& shape, Spectrum spectrum, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    if (spectrum == Spectrum::Random) return randomMatrix<M>(shape, generator);
    if (spectrum == Spectrum::Graded) {
        M A = randomMatrix<M>(shape, generator);
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) A(r, c) *= std::pow(10.0, -(r % 12));
        }
        return A;
    }
    // U*S*V^T with U and V products of three random reflections each.
    const int count = std::min(shape.rows, shape.cols);
    M A(shape.rows, shape.cols);
    for (int i = 0; i < count; ++i) A(i, i) = singularValue(spectrum, i, count);
    for (int k = 0; k < 3; ++k) reflectRows(A, generator);
    M transposed = naiveTranspose(A);
    for (int k = 0; k < 3; ++k) reflectRows(transposed, generator);
    return naiveTranspose(transposed);
}

template <class M>
M symmetricWith(const std::vector<double>& eigenvalues, std::uint64_t seed)
{
    const int n = static_cast<int>(eigenvalues.size());
    const M Q = matrixWith<M>({n, n}, Spectrum::Flat, seed);
    M QD(Q);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) QD(i, j) *= eigenvalues[static_cast<std::size_t>(j)];
    }
    M A = naiveProduct(QD, naiveAdjoint(Q));
    for (int j = 0; j < n; ++j) {
        A(j, j) = std::real(A(j, j));
        for (int i = 0; i < j; ++i) A(i, j) = conjugate(A(j, i));
    }
    return A;
}

template <class M>
M identity(int n)
{
    M I(n, n);
    for (int i = 0; i < n; ++i) I(i, i) = 1.0;
    return I;
}

template <class M>
double oneNorm(const M& A)
{
    double norm = 0.0;
    for (int c = 0; c < A.Cols(); ++c) {
        double sum = 0.0;
        for (int r = 0; r < A.Rows(); ++r) sum += std::abs(A(r, c));
        norm = largerOrNaN(norm, sum);
    }
    return norm;
}

template <class M>
M naiveProduct(const M& A, const M& B)
{
    EXPECT_EQ(A.Cols(), B.Rows());
    M C(A.Rows(), B.Cols());
    for (int j = 0; j < B.Cols(); ++j) {
        for (int k = 0; k < A.Cols(); ++k) {
            for (int i = 0; i < A.Rows(); ++i) C(i, j) += A(i, k) * B(k, j);
        }
    }
    return C;
}

template <class M>
M naiveTranspose(const M& A)
{
    M T(A.Cols(), A.Rows());
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) T(c, r) = A(r, c);
    }
    return T;
}

template <class M>
M naiveAdjoint(const M& A)
{
    M T = naiveTranspose(A);
    for (int c = 0; c < T.Cols(); ++c) {
        for (int r = 0; r < T.Rows(); ++r) T(r, c) = conjugate(T(r, c));
    }
    return T;
}

template <class M>
double differenceRatio(const M& A, const M& B)
{
    EXPECT_EQ(A.Rows(), B.Rows());
    EXPECT_EQ(A.Cols(), B.Cols());
    M D(A.Rows(), A.Cols());
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) D(r, c) = A(r, c) - B(r, c);
    }
    const double norm = oneNorm(A), difference = oneNorm(D);
    return difference == 0.0 ? 0.0 : difference / (std::max(A.Rows(), A.Cols()) * norm * kEps);
}

template <class M>
double orthogonalityRatio(const M& Q)
{
    return differenceRatio(identity<M>(Q.Cols()), naiveProduct(naiveAdjoint(Q), Q)) * Q.Cols() / Q.Rows();
}

template <class M>
double solveRatio(const M& A, const M& X, const M& B)
{
    const M AX = naiveProduct(A, X);
    const double norm = oneNorm(A);
    double worst = 0.0;
    for (int c = 0; c < B.Cols(); ++c) {
        double residual = 0.0, length = 0.0;
        for (int r = 0; r < B.Rows(); ++r) residual += std::abs(B(r, c) - AX(r, c));
        for (int r = 0; r < X.Rows(); ++r) length += std::abs(X(r, c));
        worst = largerOrNaN(worst, residual == 0.0 ? 0.0 : residual / (norm * length * kEps));
    }
    return worst;
}

template <class M>
double inverseRatio(const M& A, const M& X)
{
    return differenceRatio(identity<M>(A.Rows()), naiveProduct(X, A)) / (oneNorm(A) * oneNorm(X));
}

double valuesRatio(const Vector& x, const Vector& y, int size, double norm)
{
    EXPECT_EQ(x.Length(), y.Length());
    double difference = 0.0;
    for (int i = 0; i < x.Length(); ++i) difference = largerOrNaN(difference, std::abs(x(i) - y(i)));
    return difference == 0.0 ? 0.0 : difference / (size * norm * kEps);
}

template <class M>
bool identical(const M& A, const M& B)
{
    if (A.Rows() != B.Rows() || A.Cols() != B.Cols()) return false;
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) {
            if (!sameCell(A(r, c), B(r, c))) return false;
        }
    }
    return true;
}

bool identical(const Vector& x, const Vector& y)
{
    return sameCells(x, y);
}
bool identical(const CVector& x, const CVector& y)
{
    return sameCells(x, y);
}

#define DEFINE_FOR(M)                                                                                        \
    template M randomMatrix<M>(const Shape&, std::mt19937_64&);                                              \
    template M matrixWith<M>(const Shape&, Spectrum, std::uint64_t);                                         \
    template M symmetricWith<M>(const std::vector<double>&, std::uint64_t);                                  \
    template M identity<M>(int);                                                                             \
    template double oneNorm(const M&);                                                                       \
    template M naiveProduct(const M&, const M&);                                                             \
    template M naiveTranspose(const M&);                                                                     \
    template M naiveAdjoint(const M&);                                                                       \
    template double differenceRatio(const M&, const M&);                                                     \
    template double orthogonalityRatio(const M&);                                                            \
    template double solveRatio(const M&, const M&, const M&);                                                \
    template double inverseRatio(const M&, const M&);                                                        \
    template bool identical(const M&, const M&);

DEFINE_FOR(Matrix)
DEFINE_FOR(CMatrix)

} // namespace Velmar::Lintrix::testing
