#pragma once
/// @file
/// What the tests of the complex room share: random objects, plain loops in higher precision as judges.

#include "tests/dense/dense_support.h"

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>

// The routine itself, as the judge of quotients.
extern "C" void dladiv_(const double* a, const double* b, const double* c, const double* d, double* p,
                        double* q);

namespace Velmar::Lintrix::testing {

using Wide = std::complex<long double>;

inline constexpr Complex kI{0.0, 1.0};

/// Block cells 1 + 10i, 2 + 20i, 3 + 30i, ...
inline std::vector<Complex> countedCells(std::size_t count)
{
    std::vector<Complex> cells;
    for (std::size_t k = 1; k <= count; ++k)
        cells.emplace_back(static_cast<double>(k), 10.0 * static_cast<double>(k));
    return cells;
}
inline CMatrix countedComplex(std::int32_t rows, std::int32_t cols)
{
    return CMatrix(countedCells(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols)), rows, cols,
                   StorageOrder::ColumnMajor);
}
inline CVector countedComplex(std::int32_t size)
{
    return countedCells(static_cast<std::size_t>(size));
}

/// Parts uniform in [-1, 1].
inline std::vector<Complex> randomCells(std::size_t count, std::mt19937_64& generator)
{
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    std::vector<Complex> cells(count);
    for (Complex& cell : cells) {
        const double re = part(generator);
        cell = {re, part(generator)};
    }
    return cells;
}
inline CMatrix randomComplex(const Shape& shape, std::mt19937_64& generator)
{
    const auto count = static_cast<std::size_t>(shape.rows) * static_cast<std::size_t>(shape.cols);
    return CMatrix(randomCells(count, generator), shape.rows, shape.cols, StorageOrder::ColumnMajor);
}
inline CVector randomComplex(std::int32_t size, std::mt19937_64& generator)
{
    return randomCells(static_cast<std::size_t>(size), generator);
}

/// op(X) written out, for a mode of transposition.
inline CMatrix applied(TransposeMode mode, const CMatrix& X)
{
    if (mode == TransposeMode::NotTransposed) return X;
    CMatrix result(X.Cols(), X.Rows());
    for (int c = 0; c < X.Cols(); ++c) {
        for (int r = 0; r < X.Rows(); ++r) {
            result(c, r) = mode == TransposeMode::Transposed ? X(r, c) : std::conj(X(r, c));
        }
    }
    return result;
}

/// The largest |C - (alpha*A*B + beta*C0)| over the cells in units of eps*k*(|alpha|*|A|*|B| + |beta|*|C0|)
/// of that cell: the rounding error of one inner product of k terms, whatever cancels in it. The sums run in
/// long double.
inline double productRatio(const CMatrix& C, Complex alpha, const CMatrix& A, const CMatrix& B, Complex beta,
                           const CMatrix& C0)
{
    const int k = A.Cols();
    double worst = 0.0;
    for (int c = 0; c < B.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) {
            Wide sum = 0.0L;
            long double size = 0.0L;
            for (int i = 0; i < k; ++i) {
                sum += Wide(A(r, i)) * Wide(B(i, c));
                size += std::abs(Wide(A(r, i))) * std::abs(Wide(B(i, c)));
            }
            Wide expected = Wide(alpha) * sum;
            size *= std::abs(Wide(alpha));
            if (beta != 0.0) {
                expected += Wide(beta) * Wide(C0(r, c));
                size += std::abs(Wide(beta)) * std::abs(Wide(C0(r, c)));
            }
            const long double error = std::abs(Wide(C(r, c)) - expected);
            if (!(error <= 0.0L)) worst = std::max(worst, static_cast<double>(error / (k * size * kEps)));
            if (std::isnan(error)) return kNaN;
        }
    }
    return worst;
}

/// `z` in units in the last place of a value of magnitude |expected|.
inline double ulps(Complex z, Wide expected)
{
    const long double error = std::abs(Wide(z) - expected);
    return error == 0.0L ? 0.0 : static_cast<double>(error / (std::abs(expected) * kEps));
}

/// The plain product: no scaling, no look for infinities.
inline Complex plainProduct(Complex a, Complex b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.imag() * b.real() + a.real() * b.imag()};
}

/// x / y by LAPACK's routine, for tests that link it.
inline Complex quotientOfRoutine(Complex x, Complex y)
{
    const double a = x.real(), b = x.imag(), c = y.real(), d = y.imag();
    double p = 0.0, q = 0.0;
    dladiv_(&a, &b, &c, &d, &p, &q);
    return {p, q};
}

/// Real and imaginary parts in turn.
template <class Dense>
std::vector<double> partsIn(const Dense& object)
{
    std::vector<double> parts;
    for (const Complex& cell : blockOf(object)) {
        parts.push_back(cell.real());
        parts.push_back(cell.imag());
    }
    return parts;
}

/// The same shape and bits, but that one NaN is as good as another.
template <class Dense>
bool sameUpToNaN(const Dense& x, const Dense& y)
{
    const auto equal = [](double p, double q) {
        return std::isnan(p) ? std::isnan(q)
                             : std::bit_cast<std::uint64_t>(p) == std::bit_cast<std::uint64_t>(q);
    };
    if constexpr (requires { x.Rows(); }) {
        if (x.Rows() != y.Rows() || x.Cols() != y.Cols()) return false;
    }
    const auto p = partsIn(x), q = partsIn(y);
    return std::equal(p.begin(), p.end(), q.begin(), q.end(), equal);
}
inline bool sameUpToNaN(Complex x, Complex y)
{
    return sameUpToNaN(CVector(1, x), CVector(1, y));
}

/// The bit patterns of cells given one by one.
inline std::vector<std::uint64_t> bitsOfCells(const std::vector<Complex>& cells)
{
    return bitsOf(CVector(cells));
}

/// Cells that hold what arithmetic treats apart: zeros of both signs, infinities, NaN, in either part.
inline const std::vector<Complex> kOddCells{{0.0, 0.0},
                                            {-0.0, 0.0},
                                            {0.0, -0.0},
                                            {1.0, 0.0},
                                            {0.0, 1.0},
                                            {-2.0, 3.0},
                                            {kInf, 1.0},
                                            {1.0, -kInf},
                                            {-kInf, kInf},
                                            {kNaN, 1.0},
                                            {2.0, kNaN},
                                            {0x1p1000, 0x1p1000},
                                            {0x1p-1074, -0x1p-1030}};

} // namespace Velmar::Lintrix::testing
