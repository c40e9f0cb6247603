#pragma once
/// @file
/// Sparse systems of any size whose answers are known.

#include <lintrix/dense/vector.h>
#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Velmar::Lintrix::testing {

/// -div(grad u) + wind*du/dx + shift*u on a side x side grid, five points, Dirichlet. Without wind the upper
/// triangle in symmetric storage.
inline SparseMatrix gridMatrix(int side, double wind = 0.0, double shift = 0.0)
{
    SparseAssemblerOptions options;
    if (wind == 0.0) {
        options.storage = AssemblyStorage::Symmetric;
        options.lower = LowerEntries::Ignore;
    }
    SparseAssembler entries(side * side, side * side, options);
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int k = i * side + j;
            entries.Add(k, k, 4.0 + shift);
            if (j > 0) entries.Add(k, k - 1, -1.0 - wind);
            if (j + 1 < side) entries.Add(k, k + 1, -1.0 + wind);
            if (i > 0) entries.Add(k, k - side, -1.0);
            if (i + 1 < side) entries.Add(k, k + side, -1.0);
        }
    }
    return entries.Assemble();
}

/// Smooth, no element zero.
inline Vector someVector(int size, int seed = 0)
{
    Vector x(size);
    for (int i = 0; i < size; ++i) x[i] = 1.5 + std::sin(0.37 * i + seed);
    return x;
}

inline double largest(const Vector& x)
{
    double size = 0.0;
    for (int i = 0; i < x.Length(); ++i) size = std::max(size, std::abs(x[i]));
    return size;
}

/// ||b - A*x|| / (||A|| ||x|| + ||b||), with the largest element of A times 5 for its norm.
inline double scaledResidual(const SparseMatrix& A, const Vector& x, const Vector& b)
{
    double norm = 0.0;
    for (const double value : A.Values()) norm = std::max(norm, 5.0 * std::abs(value));
    return largest(b - A * x) / (norm * largest(x) + largest(b));
}

} // namespace Velmar::Lintrix::testing
