#include "tests/support/matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>

namespace Velmar::Lintrix::testing {

namespace {

// Portable: the distributions of the standard library differ between implementations.
double uniform(std::mt19937_64& generator)
{
    return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
}

// A := (I - 2vv'/v'v)*A with a random v.
void reflectRows(Matrix& A, std::mt19937_64& generator)
{
    std::vector<double> v(static_cast<std::size_t>(A.Rows()));
    double vv = 0.0;
    for (double& x : v) {
        x = uniform(generator);
        vv += x * x;
    }
    for (int c = 0; c < A.Cols(); ++c) {
        double va = 0.0;
        for (int r = 0; r < A.Rows(); ++r) va += v[static_cast<std::size_t>(r)] * A(r, c);
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

Matrix randomMatrix(const Shape& shape, std::mt19937_64& generator)
{
    Matrix A(shape.rows, shape.cols);
    for (int c = 0; c < shape.cols; ++c) {
        for (int r = 0; r < shape.rows; ++r) A(r, c) = uniform(generator);
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

Matrix matrixWith(const Shape& shape, Spectrum spectrum, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    if (spectrum == Spectrum::Random) return randomMatrix(shape, generator);
    if (spectrum == Spectrum::Graded) {
        Matrix A = randomMatrix(shape, generator);
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) A(r, c) *= std::pow(10.0, -(r % 12));
        }
        return A;
    }
    // U*S*V' with U and V products of three random reflections each.
    const int count = std::min(shape.rows, shape.cols);
    Matrix A(shape.rows, shape.cols);
    for (int i = 0; i < count; ++i) A(i, i) = singularValue(spectrum, i, count);
    for (int k = 0; k < 3; ++k) reflectRows(A, generator);
    Matrix transposed = naiveTranspose(A);
    for (int k = 0; k < 3; ++k) reflectRows(transposed, generator);
    return naiveTranspose(transposed);
}

Matrix symmetricWith(const std::vector<double>& eigenvalues, std::uint64_t seed)
{
    const int n = static_cast<int>(eigenvalues.size());
    const Matrix Q = matrixWith({n, n}, Spectrum::Flat, seed);
    Matrix QD(Q);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) QD(i, j) *= eigenvalues[static_cast<std::size_t>(j)];
    }
    Matrix A = naiveProduct(QD, naiveTranspose(Q));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) A(i, j) = A(j, i);
    }
    return A;
}

Matrix identity(int n)
{
    Matrix I(n, n);
    for (int i = 0; i < n; ++i) I(i, i) = 1.0;
    return I;
}

double oneNorm(const Matrix& A)
{
    double norm = 0.0;
    for (int c = 0; c < A.Cols(); ++c) {
        double sum = 0.0;
        for (int r = 0; r < A.Rows(); ++r) sum += std::abs(A(r, c));
        norm = largerOrNaN(norm, sum);
    }
    return norm;
}

Matrix naiveProduct(const Matrix& A, const Matrix& B)
{
    EXPECT_EQ(A.Cols(), B.Rows());
    Matrix C(A.Rows(), B.Cols());
    for (int j = 0; j < B.Cols(); ++j) {
        for (int k = 0; k < A.Cols(); ++k) {
            for (int i = 0; i < A.Rows(); ++i) C(i, j) += A(i, k) * B(k, j);
        }
    }
    return C;
}

Matrix naiveTranspose(const Matrix& A)
{
    Matrix T(A.Cols(), A.Rows());
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) T(c, r) = A(r, c);
    }
    return T;
}

double differenceRatio(const Matrix& A, const Matrix& B)
{
    EXPECT_EQ(A.Rows(), B.Rows());
    EXPECT_EQ(A.Cols(), B.Cols());
    Matrix D(A.Rows(), A.Cols());
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) D(r, c) = A(r, c) - B(r, c);
    }
    const double norm = oneNorm(A), difference = oneNorm(D);
    return difference == 0.0 ? 0.0 : difference / (std::max(A.Rows(), A.Cols()) * norm * kEps);
}

double orthogonalityRatio(const Matrix& Q)
{
    return differenceRatio(identity(Q.Cols()), naiveProduct(naiveTranspose(Q), Q)) * Q.Cols() / Q.Rows();
}

double solveRatio(const Matrix& A, const Matrix& X, const Matrix& B)
{
    const Matrix AX = naiveProduct(A, X);
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

double inverseRatio(const Matrix& A, const Matrix& X)
{
    return differenceRatio(identity(A.Rows()), naiveProduct(X, A)) / (oneNorm(A) * oneNorm(X));
}

double valuesRatio(const Vector& x, const Vector& y, int size, double norm)
{
    EXPECT_EQ(x.Length(), y.Length());
    double difference = 0.0;
    for (int i = 0; i < x.Length(); ++i) difference = largerOrNaN(difference, std::abs(x(i) - y(i)));
    return difference == 0.0 ? 0.0 : difference / (size * norm * kEps);
}

bool identical(const Matrix& A, const Matrix& B)
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
    if (x.Length() != y.Length()) return false;
    for (int i = 0; i < x.Length(); ++i) {
        if (!sameCell(x(i), y(i))) return false;
    }
    return true;
}

} // namespace Velmar::Lintrix::testing
