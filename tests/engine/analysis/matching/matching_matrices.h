#pragma once
// Seeded sparse matrices that try a matching: easy, hard and impossible ones. Entries count from 0.

#include <lintrix/engine/analysis/matching/csr_record.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A square matrix in compressed rows, columns ascending.
template <class T>
struct SparseRows {
    std::vector<int> ia{0};
    std::vector<int> ja;
    std::vector<T> a;

    int n() const { return static_cast<int>(ia.size()) - 1; }
    detail::engine::CompressedRows<T> view() const { return {ia, ja, a}; }
};

/// Entries by row and column; a place written twice keeps the last value.
class SparseBuilder {
public:
    explicit SparseBuilder(int n) : rows_(static_cast<std::size_t>(n)) {}

    int n() const { return static_cast<int>(rows_.size()); }
    void put(int i, int j, double value) { rows_[static_cast<std::size_t>(i)][j] = value; }

    SparseRows<double> rows() const
    {
        SparseRows<double> result;
        for (const auto& row : rows_) {
            for (const auto& [j, value] : row) {
                result.ja.push_back(j);
                result.a.push_back(value);
            }
            result.ia.push_back(static_cast<int>(result.ja.size()));
        }
        return result;
    }

private:
    std::vector<std::map<int, double>> rows_;
};

inline std::vector<int> randomPermutation(int n, std::mt19937& random)
{
    std::vector<int> p(static_cast<std::size_t>(n));
    std::iota(p.begin(), p.end(), 0);
    std::shuffle(p.begin(), p.end(), random);
    return p;
}

/// Row newRow[i] of the result is row i of `A`.
inline SparseRows<double> withRowsMoved(const SparseRows<double>& A, const std::vector<int>& newRow)
{
    SparseBuilder result(A.n());
    for (int i = 0; i < A.n(); ++i) {
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) result.put(newRow[i], A.ja[k], A.a[k]);
    }
    return result.rows();
}

inline double anySign(std::mt19937& random)
{
    return random() % 2 == 0 ? 1.0 : -1.0;
}

/// Like the equations of a circuit: a few entries a row of 1e-6 to 1e6, symmetric pattern, a few busy nodes,
/// and one row in ten, as of a voltage source, without diagonal.
inline SparseRows<double> circuitLike(int n, std::mt19937& random)
{
    SparseBuilder A(n);
    std::uniform_real_distribution<double> exponent(-6.0, 6.0);
    std::geometric_distribution<int> busy(std::min(0.5, 20.0 / n));
    const auto conductance = [&] { return std::pow(10.0, exponent(random)); };
    for (int i = 0; i < n; ++i) {
        if (i % 10 != 9) A.put(i, i, conductance());
        for (int branch = 0; branch < 2; ++branch) {
            const int j = branch == 0 ? static_cast<int>(random() % n) : std::min(n - 1, busy(random));
            if (i == j) continue;
            A.put(i, j, -conductance());
            A.put(j, i, -conductance());
        }
        if (i % 10 == 9) {
            A.put(i, i - 1, 1.0);
            A.put(i - 1, i, 1.0);
        }
    }
    return A.rows();
}

/// Full in a band of `halfWidth` diagonals on each side, values of `decades` powers of ten.
inline SparseRows<double> banded(int n, int halfWidth, double decades, std::mt19937& random)
{
    SparseBuilder A(n);
    std::uniform_real_distribution<double> exponent(-decades / 2, decades / 2);
    for (int i = 0; i < n; ++i) {
        for (int j = std::max(0, i - halfWidth); j <= std::min(n - 1, i + halfWidth); ++j) {
            A.put(i, j, anySign(random) * std::pow(10.0, exponent(random)));
        }
    }
    return A.rows();
}

/// `perRow` entries a row at random columns and, if `solvable`, a hidden permutation.
inline SparseRows<double> scattered(int n, int perRow, bool solvable, std::mt19937& random)
{
    SparseBuilder A(n);
    std::uniform_real_distribution<double> exponent(-3.0, 3.0);
    const std::vector<int> hidden = randomPermutation(n, random);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < perRow; ++k) {
            A.put(i, static_cast<int>(random() % n), anySign(random) * std::pow(10.0, exponent(random)));
        }
        if (solvable) A.put(i, hidden[i], std::pow(10.0, exponent(random)));
    }
    return A.rows();
}

/// A tridiagonal matrix with one full row and one full column.
inline SparseRows<double> denseRowAndColumn(int n, std::mt19937& random)
{
    SparseBuilder A(n);
    std::uniform_real_distribution<double> value(0.01, 1.0);
    for (int i = 0; i < n; ++i) {
        for (int j = std::max(0, i - 1); j <= std::min(n - 1, i + 1); ++j) A.put(i, j, value(random));
        A.put(n / 2, i, value(random));
        A.put(i, n / 3, value(random));
    }
    return A.rows();
}

/// a_ij = 10^(-step |i - j|) times a random number, in a band: products of all sizes are nearly equal.
inline SparseRows<double> graded(int n, int halfWidth, double step, std::mt19937& random)
{
    SparseBuilder A(n);
    std::uniform_real_distribution<double> value(0.5, 2.0);
    for (int i = 0; i < n; ++i) {
        for (int j = std::max(0, i - halfWidth); j <= std::min(n - 1, i + halfWidth); ++j) {
            A.put(i, j, value(random) * std::pow(10.0, step * (i - 2.0 * j) / n));
        }
    }
    return A.rows();
}

/// The identity beside a chain: rows 0 .. n - 2 hold columns i and i + 1, and the last row column 0 alone. A
/// greedy pass takes the diagonal; the one perfect matching is all of the chain, one path through every row.
inline SparseRows<double> longChain(int n)
{
    SparseBuilder A(n);
    for (int i = 0; i + 1 < n; ++i) {
        A.put(i, i, 1.0);
        A.put(i, i + 1, 0.5);
    }
    A.put(n - 1, 0, 0.25);
    return A.rows();
}

} // namespace Velmar::Lintrix::testing
