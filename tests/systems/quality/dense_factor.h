#pragma once
/// @file
/// Solves by dense elimination in the working precision, as a map.

#include <lintrix/systems/linear_map.h>

#include "tests/systems/quality/reference.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A = P'*L*U with partial pivoting. A zero pivot divides, and gives what it gives.
template <class Cell>
class DenseFactor {
public:
    explicit DenseFactor(const detail::MatrixOf<Cell>& A) : n_(A.Rows()), lu_(A), pivots_(n_)
    {
        for (int k = 0; k < n_; ++k) {
            int pivot = k;
            for (int i = k + 1; i < n_; ++i) {
                if (std::abs(at(i, k)) > std::abs(at(pivot, k))) pivot = i;
            }
            pivots_[k] = pivot;
            for (int j = 0; j < n_; ++j) std::swap(lu_(k, j), lu_(pivot, j));
            for (int i = k + 1; i < n_; ++i) lu_(i, k) = at(i, k) / at(k, k);
            for (int j = k + 1; j < n_; ++j) {
                const Cell top = at(k, j);
                for (int i = k + 1; i < n_; ++i) lu_(i, j) -= at(i, k) * top;
            }
        }
    }

    void solve(Cell* x) const
    {
        for (int k = 0; k < n_; ++k) std::swap(x[k], x[pivots_[k]]);
        for (int i = 0; i < n_; ++i) {
            for (int j = 0; j < i; ++j) x[i] -= at(i, j) * x[j];
        }
        for (int i = n_ - 1; i >= 0; --i) {
            for (int j = i + 1; j < n_; ++j) x[i] -= at(i, j) * x[j];
            x[i] /= at(i, i);
        }
    }
    /// U^H*L^H*P x = b.
    void solveAdjoint(Cell* x) const
    {
        for (int i = 0; i < n_; ++i) {
            for (int j = 0; j < i; ++j) x[i] -= conjugated(at(j, i)) * x[j];
            x[i] /= conjugated(at(i, i));
        }
        for (int i = n_ - 1; i >= 0; --i) {
            for (int j = i + 1; j < n_; ++j) x[i] -= conjugated(at(j, i)) * x[j];
        }
        for (int k = n_ - 1; k >= 0; --k) std::swap(x[k], x[pivots_[k]]);
    }

private:
    const Cell& at(int i, int j) const
    {
        return reinterpret_cast<const Cell*>(lu_.DataPtr())[i + std::int64_t{n_} * j];
    }
    static Cell conjugated(const Cell& value)
    {
        if constexpr (std::is_same_v<Cell, double>) {
            return value;
        } else {
            return std::conj(value);
        }
    }

    int n_;
    detail::MatrixOf<Cell> lu_;
    std::vector<int> pivots_;
};

/// The inverse of A by its factors.
template <class Cell>
detail::LinearMap<Cell> inverseMap(const detail::MatrixOf<Cell>& A)
{
    const int n = A.Rows();
    const auto factor = std::make_shared<DenseFactor<Cell>>(A);
    const auto applied = [n, factor](auto solve) {
        return [=](std::int32_t columns, const Cell* x, Cell* y) {
            std::copy_n(x, std::int64_t{n} * columns, y);
            for (int c = 0; c < columns; ++c) ((*factor).*solve)(y + std::int64_t{n} * c);
        };
    };
    return {n, n, applied(&DenseFactor<Cell>::solve), applied(&DenseFactor<Cell>::solveAdjoint)};
}

} // namespace Velmar::Lintrix::testing
