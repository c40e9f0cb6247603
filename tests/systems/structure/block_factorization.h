#pragma once
/// @file
/// P*(A + E)*P' = L*D*L^H of a small dense matrix, blocks of one and two, with complete pivoting: slow and
/// plain.

#include <lintrix/systems/structure/inertia.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

inline double conjugated(double x)
{
    return x;
}
inline std::complex<double> conjugated(const std::complex<double>& x)
{
    return std::conj(x);
}

/// A square matrix by rows.
template <class Cell>
struct SquareMatrix {
    std::int32_t order = 0;
    std::vector<Cell> cells =
        std::vector<Cell>(static_cast<std::size_t>(order) * static_cast<std::size_t>(order));

    Cell& operator()(std::int32_t i, std::int32_t j) { return cells[i * order + j]; }
    const Cell& operator()(std::int32_t i, std::int32_t j) const { return cells[i * order + j]; }
};

/// max sum |a_ij| over the rows.
template <class Cell>
double rowSumNorm(const SquareMatrix<Cell>& A)
{
    double norm = 0.0;
    for (std::int32_t i = 0; i < A.order; ++i) {
        double sum = 0.0;
        for (std::int32_t j = 0; j < A.order; ++j) sum += std::abs(A(i, j));
        norm = std::max(norm, sum);
    }
    return norm;
}

/// J. R. Bunch and B. N. Parlett, "Direct methods for solving symmetric indefinite systems of linear
/// equations", SIAM J. Numer. Anal. 8 (1971). Pivots of one below `tiny` are replaced by it.
template <class Cell>
class BlockFactorization {
public:
    BlockFactorization(SquareMatrix<Cell> A, double tiny)
        : L{A.order}, diagonal(static_cast<std::size_t>(A.order)), below(diagonal.size()),
          rowAt(diagonal.size()), work_(std::move(A))
    {
        std::iota(rowAt.begin(), rowAt.end(), 0);
        for (std::int32_t k = 0; k < L.order;) k += eliminate(k, tiny);
    }

    SquareMatrix<Cell> L;
    std::vector<double> diagonal;
    std::vector<Cell> below; ///< D(i + 1, i)
    std::vector<std::int32_t> rowAt;
    double replaced = 0.0;

    Cell D(std::int32_t i, std::int32_t j) const
    {
        if (i == j) return diagonal[i];
        if (i == j + 1) return below[j];
        return j == i + 1 ? conjugated(below[i]) : Cell(0.0);
    }
    /// The largest row sum of |L|*|D|*|L'|.
    double growth() const
    {
        const std::int32_t n = L.order;
        std::vector<double> x(static_cast<std::size_t>(n)), y(x.size()), z(x.size());
        for (std::int32_t i = 0; i < n; ++i)
            for (std::int32_t j = 0; j < n; ++j) x[j] += std::abs(L(i, j));
        for (std::int32_t i = 0; i < n; ++i)
            for (std::int32_t j = std::max(0, i - 1); j < std::min(n, i + 2); ++j)
                y[i] += std::abs(D(i, j)) * x[j];
        for (std::int32_t i = 0; i < n; ++i)
            for (std::int32_t j = 0; j < n; ++j) z[i] += std::abs(L(i, j)) * y[j];
        return n == 0 ? 0.0 : *std::max_element(z.begin(), z.end());
    }
    detail::Inertia inertia() const { return detail::inertiaOf<Cell>(diagonal, below); }

private:
    /// @return the size of the block
    std::int32_t eliminate(std::int32_t k, double tiny)
    {
        const std::int32_t n = L.order;
        std::int32_t p = k, r = k, s = k;
        for (std::int32_t i = k; i < n; ++i) {
            if (std::abs(work_(i, i)) > std::abs(work_(p, p))) p = i;
            for (std::int32_t j = k; j < i; ++j)
                if (r == s || std::abs(work_(i, j)) > std::abs(work_(r, s))) std::tie(r, s) = std::pair(i, j);
        }
        const double alpha = (1.0 + std::sqrt(17.0)) / 8.0;
        const bool single = r == s || std::abs(work_(p, p)) >= alpha * std::abs(work_(r, s));
        if (single) {
            interchange(k, p);
            eliminateOne(k, tiny);
        } else {
            interchange(k, s);
            interchange(k + 1, r);
            eliminateTwo(k);
        }
        return single ? 1 : 2;
    }
    void interchange(std::int32_t i, std::int32_t j)
    {
        std::swap(rowAt[i], rowAt[j]);
        for (std::int32_t k = 0; k < L.order; ++k) {
            std::swap(work_(i, k), work_(j, k));
            std::swap(L(i, k), L(j, k));
        }
        for (std::int32_t k = 0; k < L.order; ++k) std::swap(work_(k, i), work_(k, j));
    }
    void eliminateOne(std::int32_t k, double tiny)
    {
        const double found = std::real(work_(k, k));
        diagonal[k] = std::abs(found) < tiny ? std::copysign(tiny, found) : found;
        replaced = std::max(replaced, std::abs(diagonal[k] - found));
        L(k, k) = 1.0;
        if (diagonal[k] == 0.0) return; // then nothing is left at all
        for (std::int32_t i = k + 1; i < L.order; ++i) L(i, k) = work_(i, k) / diagonal[k];
        for (std::int32_t i = k + 1; i < L.order; ++i)
            for (std::int32_t j = k + 1; j <= i; ++j)
                set(i, j, work_(i, j) - L(i, k) * conjugated(work_(j, k)));
    }
    void eliminateTwo(std::int32_t k)
    {
        const double a = std::real(work_(k, k)), c = std::real(work_(k + 1, k + 1));
        const Cell b = work_(k + 1, k);
        const double determinant = a * c - std::norm(b);
        diagonal[k] = a;
        diagonal[k + 1] = c;
        below[k] = b;
        L(k, k) = L(k + 1, k + 1) = 1.0;
        for (std::int32_t i = k + 2; i < L.order; ++i) {
            L(i, k) = (work_(i, k) * c - work_(i, k + 1) * b) / determinant;
            L(i, k + 1) = (work_(i, k + 1) * a - work_(i, k) * conjugated(b)) / determinant;
        }
        for (std::int32_t i = k + 2; i < L.order; ++i)
            for (std::int32_t j = k + 2; j <= i; ++j)
                set(i, j,
                    work_(i, j) - L(i, k) * conjugated(work_(j, k)) -
                        L(i, k + 1) * conjugated(work_(j, k + 1)));
    }
    void set(std::int32_t i, std::int32_t j, const Cell& value)
    {
        work_(i, j) = i == j ? Cell(std::real(value)) : value;
        work_(j, i) = conjugated(work_(i, j));
    }

    SquareMatrix<Cell> work_;
};

} // namespace Velmar::Lintrix::testing
