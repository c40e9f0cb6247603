#pragma once
/// @file
/// Matrices of the direct solver's tables.

#include <vector>

namespace Velmar::Lintrix::bench {

/// Compressed rows, base 1.
struct Rows {
    int n;
    std::vector<int> ia{1}, ja{};
    std::vector<double> a{};
};

/// The Laplacian of a grid, or its upper triangle; as complex numbers with a shift, where asked for.
inline Rows laplacian(int side, int dimensions, bool upper, bool complex)
{
    const int plane = side * side;
    Rows A{dimensions == 2 ? plane : plane * side};
    for (int v = 0; v < A.n; ++v) {
        const auto add = [&](bool inside, int u) {
            if (!inside || (upper && u < v)) return;
            A.ja.push_back(u + 1);
            A.a.push_back(u == v ? 2. * dimensions : -1.);
            if (complex) A.a.push_back(u == v ? 0.5 : 0.);
        };
        add(dimensions == 3 && v >= plane, v - plane);
        add(v / side % side > 0, v - side);
        add(v % side > 0, v - 1);
        add(true, v);
        add(v % side + 1 < side, v + 1);
        add(v / side % side + 1 < side, v + side);
        add(dimensions == 3 && v + plane < A.n, v + plane);
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

} // namespace Velmar::Lintrix::bench
