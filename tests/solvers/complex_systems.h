#pragma once
/// @file
/// Complex sparse systems of any size, and how well they are solved.

#include "tests/solvers/grids.h"

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/sparse/csparse_matrix.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>

namespace Velmar::Lintrix::testing {

/// What stands below the diagonal.
enum class Below {
    Stored,    ///< what is stored there
    Conjugate, ///< of a Hermitian matrix whose upper triangle is stored
    Mirror     ///< of a symmetric one
};

/// -div(grad u) + shift*u + wind*du/dx on a side x side grid, five points, Dirichlet; complex symmetric
/// without wind. With a shift of -k^2 + i*d it is Helmholtz's equation in a medium that absorbs.
inline CSparseMatrix waveMatrix(int side, Complex shift, Complex wind = 0.0, Below below = Below::Stored)
{
    CSparseAssembler entries(side * side, side * side);
    const auto add = [&](int i, int j, Complex value) {
        if (below == Below::Stored || i <= j) entries.Add(i, j, value);
    };
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int k = i * side + j;
            add(k, k, 4.0 + shift);
            if (j > 0) add(k, k - 1, -1.0 - wind);
            if (j + 1 < side) add(k, k + 1, -1.0 + wind);
            if (i > 0) add(k, k - side, -1.0);
            if (i + 1 < side) add(k, k + side, -1.0);
        }
    }
    return entries.Assemble();
}

/// A particle on a grid in a magnetic field: neighbours are coupled by -1 with a phase that turns along the
/// grid. Hermitian; with shift 0 or more positive definite, since no row has more than 4 off its diagonal.
inline CSparseMatrix magneticGrid(int side, double shift)
{
    CSparseAssembler entries(side * side, side * side,
                             {.storage = AssemblyStorage::Hermitian, .lower = LowerEntries::Mirror});
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int k = i * side + j;
            entries.Add(k, k, 4.0 + shift);
            if (j + 1 < side) entries.Add(k + 1, k, -std::polar(1.0, 0.7 * i));
            if (i + 1 < side) entries.Add(k, k + side, -1.0);
        }
    }
    return entries.Assemble();
}

/// About `perRow` elements a row beside the diagonal, in random places, parts in [-1, 1]; so is the diagonal.
inline CSparseMatrix randomComplex(int n, int perRow, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    std::uniform_int_distribution<int> place(0, n - 1);
    CSparseAssembler entries(n, n);
    for (int i = 0; i < n; ++i) {
        entries.Add(i, i, {part(random), part(random)});
        for (int e = 0; e < perRow; ++e) entries.Add(i, place(random), {part(random), part(random)});
    }
    return entries.Assemble();
}

/// Hermitian with random elements above a real diagonal that outweighs them, of both signs: indefinite, and
/// safe to factorize without exchanges.
inline CSparseMatrix randomHermitian(int n, int perRow, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    std::uniform_int_distribution<int> place(0, n - 1);
    CSparseAssembler entries(n, n, {.storage = AssemblyStorage::Hermitian, .lower = LowerEntries::Mirror});
    for (int i = 0; i < n; ++i) {
        entries.Add(i, i, (i % 3 == 0 ? -8.0 : 8.0) * perRow);
        for (int e = 0; e < perRow; ++e) {
            const int j = place(random);
            if (i != j) entries.Add(i, j, {part(random), part(random)});
        }
    }
    return entries.Assemble();
}

/// Smooth, no element zero.
inline CVector someComplexVector(int size, int seed = 0)
{
    CVector x(size);
    for (int i = 0; i < size; ++i) x[i] = {1.5 + std::sin(0.37 * i + seed), std::cos(0.23 * i - seed)};
    return x;
}

/// A*x of the full matrix, and |A|*|x| of its magnitudes.
struct FullProduct {
    CVector product;
    Vector magnitudes;
};

inline FullProduct fullProduct(const CSparseMatrix& A, Below below, const CVector& x)
{
    FullProduct full{CVector(A.Rows()), Vector(A.Rows())};
    const auto add = [&](int row, Complex value, Complex factor) {
        full.product[row] += value * factor;
        full.magnitudes[row] += std::abs(value) * std::abs(factor);
    };
    for (int i = 0; i < A.Rows(); ++i) {
        for (int p = A.RowPointers()[i] - 1; p < A.RowPointers()[i + 1] - 1; ++p) {
            const int j = A.ColumnIndices()[p] - 1;
            const Complex value = A.Values()[p];
            add(i, value, x[j]);
            if (below != Below::Stored && i != j)
                add(j, below == Below::Conjugate ? std::conj(value) : value, x[i]);
        }
    }
    return full;
}

inline Below belowOf(const CSparseMatrix& A)
{
    return A.Hermitian() ? Below::Conjugate : Below::Stored;
}

inline double largest(const CVector& x)
{
    double size = 0.0;
    for (int i = 0; i < x.Length(); ++i) size = std::max(size, std::abs(x[i]));
    return size;
}

/// ||b - A*x|| / (||A|| ||x|| + ||b||) in the largest norm; NaN where a number is none.
inline double scaledResidual(const CSparseMatrix& A, Below below, const CVector& x, const CVector& b)
{
    const CVector ones(A.Cols(), Complex(1.0));
    const CVector residual = b - fullProduct(A, below, x).product;
    for (int i = 0; i < residual.Length(); ++i) {
        if (!(std::abs(residual[i]) < HUGE_VAL)) return NAN;
    }
    const double norm = largest(fullProduct(A, below, ones).magnitudes);
    return largest(residual) / (norm * largest(x) + largest(b));
}
inline double scaledResidual(const CSparseMatrix& A, const CVector& x, const CVector& b)
{
    return scaledResidual(A, belowOf(A), x, b);
}

/// Right-hand sides of known solutions, as columns.
inline CMatrix complexRightHandSides(const CSparseMatrix& A, Below below, int count)
{
    CMatrix B(A.Rows(), count);
    for (int j = 0; j < count; ++j)
        B.SetColumn(j, fullProduct(A, below, someComplexVector(A.Cols(), j)).product);
    return B;
}

/// The largest scaled residual of the columns; NaN if one is.
inline double worstResidual(const CSparseMatrix& A, Below below, const CMatrix& X, const CMatrix& B)
{
    double worst = 0.0;
    for (int j = 0; j < B.Cols(); ++j) {
        const double residual = scaledResidual(A, below, X.ColVector(j), B.ColVector(j));
        worst = residual <= worst ? worst : residual;
    }
    return worst;
}

} // namespace Velmar::Lintrix::testing
