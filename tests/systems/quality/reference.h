#pragma once
/// @file
/// The judge: dense matrices of 113-bit complex numbers, whatever the cells of what is judged, and the
/// systems that the tests of this folder share.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/sparse/access.h>
#include <lintrix/systems/quality/any_matrix.h>

#include <algorithm>
#include <cfloat>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

#if LDBL_MANT_DIG == 113
using Quad = long double;
#else
__extension__ using Quad = __float128;
#endif
using ComplexCell = std::complex<double>;

struct QuadCell {
    Quad re = 0, im = 0;

    QuadCell() = default;
    QuadCell(Quad real, Quad imaginary) : re(real), im(imaginary) {}
    QuadCell(double value) : re(value) {}
    QuadCell(const ComplexCell& value) : re(value.real()), im(value.imag()) {}

    friend QuadCell operator+(QuadCell a, QuadCell b) { return {a.re + b.re, a.im + b.im}; }
    friend QuadCell operator-(QuadCell a, QuadCell b) { return {a.re - b.re, a.im - b.im}; }
    friend QuadCell operator*(QuadCell a, QuadCell b)
    {
        return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    }
    friend QuadCell operator/(QuadCell a, QuadCell b)
    {
        const Quad size = b.re * b.re + b.im * b.im;
        return {(a.re * b.re + a.im * b.im) / size, (a.im * b.re - a.re * b.im) / size};
    }
};

/// |a| in long double, whose exponents are those of Quad.
inline long double sizeOf(QuadCell a)
{
    return std::hypot(static_cast<long double>(a.re), static_cast<long double>(a.im));
}

using QuadVector = std::vector<QuadCell>;

struct QuadMatrix {
    int rows = 0, cols = 0;
    QuadVector cells; ///< column-major

    QuadMatrix(int m, int n) : rows(m), cols(n), cells(static_cast<std::size_t>(m) * n) {}
    QuadCell& operator()(int i, int j) { return cells[i + static_cast<std::size_t>(rows) * j]; }
    const QuadCell& operator()(int i, int j) const { return cells[i + static_cast<std::size_t>(rows) * j]; }
};

/// op(A), element by element as Item tells it.
template <class Anything>
QuadMatrix quadOf(const Anything& A, TransposeMode op = TransposeMode::NotTransposed)
{
    const bool turned = op != TransposeMode::NotTransposed;
    QuadMatrix result(turned ? A.Cols() : A.Rows(), turned ? A.Rows() : A.Cols());
    for (int i = 0; i < result.rows; ++i) {
        for (int j = 0; j < result.cols; ++j) {
            result(i, j) = turned ? A.Item(j, i) : A.Item(i, j);
            if (op == TransposeMode::ConjugateTransposed) result(i, j).im = -result(i, j).im;
        }
    }
    return result;
}

template <class Cell>
QuadVector quadOf(const std::vector<Cell>& x)
{
    return {x.begin(), x.end()};
}

inline QuadVector product(const QuadMatrix& A, const QuadVector& x)
{
    QuadVector y(A.rows);
    for (int i = 0; i < A.rows; ++i) {
        for (int j = 0; j < A.cols; ++j) y[i] = y[i] + A(i, j) * x[j];
    }
    return y;
}

inline QuadVector difference(const QuadVector& x, const QuadVector& y)
{
    QuadVector result(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) result[i] = x[i] - y[i];
    return result;
}

inline long double largest(const QuadVector& x)
{
    long double size = 0.0L;
    for (const QuadCell& value : x) size = std::max(size, sizeOf(value));
    return size;
}

/// The largest sum of moduli in a column.
inline long double columnNorm(const QuadMatrix& A)
{
    long double norm = 0.0L;
    for (int j = 0; j < A.cols; ++j) {
        long double sum = 0.0L;
        for (int i = 0; i < A.rows; ++i) sum += sizeOf(A(i, j));
        norm = std::max(norm, sum);
    }
    return norm;
}

/// X with A*X = B by elimination with partial pivoting.
inline QuadMatrix solution(QuadMatrix A, QuadMatrix B)
{
    const int n = A.rows;
    for (int k = 0; k < n; ++k) {
        int pivot = k;
        for (int i = k + 1; i < n; ++i) {
            if (sizeOf(A(i, k)) > sizeOf(A(pivot, k))) pivot = i;
        }
        for (int j = 0; j < n; ++j) std::swap(A(k, j), A(pivot, j));
        for (int j = 0; j < B.cols; ++j) std::swap(B(k, j), B(pivot, j));
        for (int i = k + 1; i < n; ++i) {
            const QuadCell factor = A(i, k) / A(k, k);
            for (int j = k + 1; j < n; ++j) A(i, j) = A(i, j) - factor * A(k, j);
            for (int j = 0; j < B.cols; ++j) B(i, j) = B(i, j) - factor * B(k, j);
        }
    }
    for (int c = 0; c < B.cols; ++c) {
        for (int i = n - 1; i >= 0; --i) {
            for (int j = i + 1; j < n; ++j) B(i, c) = B(i, c) - A(i, j) * B(j, c);
            B(i, c) = B(i, c) / A(i, i);
        }
    }
    return B;
}

inline QuadVector solution(const QuadMatrix& A, const QuadVector& b)
{
    QuadMatrix B(A.rows, 1);
    B.cells = b;
    return solution(A, B).cells;
}

inline QuadMatrix inverse(const QuadMatrix& A)
{
    QuadMatrix identity(A.rows, A.rows);
    for (int i = 0; i < A.rows; ++i) identity(i, i) = 1.0;
    return solution(A, identity);
}

/// Seeded cells.
class Cells {
public:
    explicit Cells(std::uint64_t seed) : generator_(seed) {}

    double real(double low = -1.0, double high = 1.0)
    {
        return low + (high - low) * static_cast<double>(generator_() >> 11) * 0x1p-53;
    }
    int whole(int low, int high) { return low + static_cast<int>(generator_() % (high - low + 1)); }
    template <class Cell>
    Cell cell()
    {
        const double first = real();
        if constexpr (std::is_same_v<Cell, double>) {
            return first;
        } else {
            return {first, real()};
        }
    }
    template <class Cell>
    std::vector<Cell> vector(std::size_t count)
    {
        std::vector<Cell> result(count);
        for (Cell& value : result) value = cell<Cell>();
        return result;
    }
    /// `density` of the cells are not 0.
    template <class Cell>
    detail::MatrixOf<Cell> matrix(int rows, int cols, double density = 1.0)
    {
        detail::MatrixOf<Cell> A(rows, cols);
        for (int j = 0; j < cols; ++j) {
            for (int i = 0; i < rows; ++i) {
                if (real(0.0, 1.0) < density) A(i, j) = cell<Cell>();
            }
        }
        return A;
    }

private:
    std::mt19937_64 generator_;
};

/// What is not zero in the upper triangle of A, marked as the whole of a symmetric or Hermitian matrix.
template <class Cell>
detail::SparseOf<Cell> triangleOf(detail::MatrixOf<Cell> A)
{
    for (int j = 0; j < A.Cols(); ++j) {
        for (int i = j + 1; i < A.Rows(); ++i) A(i, j) = 0.0;
    }
    detail::SparseOf<Cell> triangle(A);
    detail::SparseAccess::mark(triangle, true);
    return triangle;
}

/// Rows without an element; there may be none of them, or none of columns, which no matrix class has.
template <class Cell>
class EmptyRows {
public:
    EmptyRows(std::int32_t rows, std::int32_t cols)
        : cols_(cols), starts_(static_cast<std::size_t>(rows) + 1, 1)
    {
    }

    explicit operator detail::AnyMatrix<Cell>() const
    {
        return {static_cast<std::int32_t>(starts_.size()) - 1, cols_, nullptr, starts_.data(), nullptr};
    }

private:
    std::int32_t cols_;
    std::vector<std::int32_t> starts_;
};

} // namespace Velmar::Lintrix::testing
