#pragma once
/// @file
/// The matrices of the sparse benchmarks, in one-based compressed rows.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace Velmar::Lintrix::bench {

struct Rows {
    int n = 0; ///< square
    std::vector<double> a;
    std::vector<int> ja, ia{1};

    void put(int column, double value)
    {
        ja.push_back(column + 1);
        a.push_back(value);
    }
    void endRow()
    {
        ia.push_back(static_cast<int>(a.size()) + 1);
        n = static_cast<int>(ia.size()) - 1;
    }
    /// Bytes of the three arrays.
    double bytes() const { return 12.0 * static_cast<double>(a.size()) + 4.0 * (n + 1); }
};

/// The 5-point Laplacian on side x side points, or the 7-point one on side^3.
inline Rows poisson(int dimensions, int side)
{
    const int plane = side * side, depth = dimensions == 3 ? side : 1;
    Rows A;
    for (int i = 0; i < plane * depth; ++i) {
        const int x = i % side, y = i / side % side, z = i / plane;
        if (z > 0) A.put(i - plane, -1.0);
        if (y > 0) A.put(i - side, -1.0);
        if (x > 0) A.put(i - 1, -1.0);
        A.put(i, 2.0 * dimensions);
        if (x + 1 < side) A.put(i + 1, -1.0);
        if (y + 1 < side) A.put(i + side, -1.0);
        if (z + 1 < depth) A.put(i + plane, -1.0);
        A.endRow();
    }
    return A;
}

/// `perRow` distinct columns in each row, anywhere.
inline Rows scattered(int n, std::size_t perRow, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<int> columns;
    Rows A;
    for (int i = 0; i < n; ++i) {
        columns.clear();
        while (columns.size() < perRow) {
            columns.push_back(static_cast<int>(generator() % static_cast<std::uint64_t>(n)));
            if (columns.size() < perRow) continue;
            std::sort(columns.begin(), columns.end());
            columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
        }
        for (const int j : columns) A.put(j, static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0);
        A.endRow();
    }
    return A;
}

inline Rows upperTriangle(const Rows& A)
{
    Rows U;
    for (int i = 0; i < A.n; ++i) {
        for (int p = A.ia[i] - 1; p < A.ia[i + 1] - 1; ++p) {
            if (A.ja[p] > i) U.put(A.ja[p] - 1, A.a[p]);
        }
        U.endRow();
    }
    return U;
}

/// Row i is row i + 1 of A, the last one row 0: about half of the pattern in common with A.
inline Rows shifted(const Rows& A)
{
    Rows S;
    for (int i = 0; i < A.n; ++i) {
        const int from = (i + 1) % A.n;
        for (int p = A.ia[from] - 1; p < A.ia[from + 1] - 1; ++p) S.put(A.ja[p] - 1, A.a[p]);
        S.endRow();
    }
    return S;
}

} // namespace Velmar::Lintrix::bench
