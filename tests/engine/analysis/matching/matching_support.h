#pragma once
// Runs the matching and judges it by its optimality conditions and by an independent search.

#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/analysis/matching/matching.h>

#include "tests/engine/analysis/matching/matching_matrices.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {

struct Matched {
    explicit Matched(int n)
        : columnOfRow(std::size_t(n), -7), rowOfColumn(std::size_t(n), -7), u(std::size_t(n)),
          v(std::size_t(n))
    {
    }
    detail::engine::Failure failure;
    int size = -7;
    std::vector<int> columnOfRow, rowOfColumn;
    std::vector<double> u, v;
};

inline Matched match(const SparseRows<double>& A)
{
    using namespace detail::engine;
    Matched result(A.n());
    csr_new record;
    EXPECT_FALSE(copyMagnitudes(A.view(), Triangles::AsStored, record));
    Matching matching{result.columnOfRow, result.rowOfColumn, result.u, result.v};
    result.failure = matchMaximumProduct(record, matching);
    result.size = matching.size;
    return result;
}

/// Largest violation of exp(u_i)|a_ij|exp(v_j) <= 1, and of equality on matched entries, in units of machine
/// precision times the sum of the terms' magnitudes: O(1), whatever the order.
inline double optimalityRatio(const SparseRows<double>& A, const Matched& matched)
{
    double worst = 0.0;
    for (int i = 0; i < A.n(); ++i) {
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) {
            const int j = A.ja[k];
            const double magnitude = detail::engine::magnitudeOf(A.a[k]);
            if (magnitude == 0.0) continue;
            const double sum = matched.u[i] + std::log(magnitude) + matched.v[j];
            const double size = std::abs(matched.u[i]) + std::abs(matched.v[j]) +
                                std::abs(std::log(magnitude)) + std::numeric_limits<double>::min();
            const double violation = matched.columnOfRow[i] == j ? std::abs(sum) : sum;
            worst = std::max(worst, violation / (size * std::numeric_limits<double>::epsilon()));
        }
    }
    return worst;
}

/// Both directions agree, every pair is a non-zero entry, -1 marks the rest, and size counts the pairs.
inline void expectConsistent(const SparseRows<double>& A, const Matched& matched)
{
    int pairs = 0, columns = 0;
    for (int i = 0; i < A.n(); ++i) {
        const int j = matched.columnOfRow[i];
        columns += matched.rowOfColumn[i] >= 0 ? 1 : 0;
        if (j == -1) continue;
        ASSERT_TRUE(j >= 0 && j < A.n());
        EXPECT_EQ(matched.rowOfColumn[j], i);
        bool stored = false;
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) stored |= A.ja[k] == j && A.a[k] != 0.0;
        EXPECT_TRUE(stored) << i << " " << j;
        ++pairs;
    }
    EXPECT_EQ(pairs, matched.size);
    EXPECT_EQ(columns, matched.size);
    for (const int i : matched.rowOfColumn) EXPECT_TRUE(i >= -1 && i < A.n());
}

/// Structural rank by the plain augmenting search (M. Hall), in O(n nnz) and without weights.
class CardinalityMatching {
public:
    explicit CardinalityMatching(const SparseRows<double>& A)
        : A_(A), rowOfColumn_(std::size_t(A.n()), -1), seenBy_(std::size_t(A.n()), -1)
    {
        for (int i = 0; i < A.n(); ++i) size_ += findsColumn(i, i) ? 1 : 0;
    }
    int size() const { return size_; }

private:
    bool findsColumn(int row, int root)
    {
        for (int k = A_.ia[row]; k < A_.ia[row + 1]; ++k) {
            const int j = A_.ja[k];
            if (A_.a[k] == 0.0 || seenBy_[j] == root) continue;
            seenBy_[j] = root;
            if (rowOfColumn_[j] >= 0 && !findsColumn(rowOfColumn_[j], root)) continue;
            rowOfColumn_[j] = row;
            return true;
        }
        return false;
    }

    const SparseRows<double>& A_;
    std::vector<int> rowOfColumn_, seenBy_;
    int size_ = 0;
};

inline constexpr double kMatchingLimit = 10.0;

/// All that must hold of a matching of `A`, perfect or not.
inline void expectMaximum(const SparseRows<double>& A, const Matched& matched)
{
    using detail::engine::Error;
    expectConsistent(A, matched);
    EXPECT_EQ(matched.size, CardinalityMatching(A).size());
    if (matched.size == A.n()) {
        EXPECT_FALSE(matched.failure);
        EXPECT_LT(optimalityRatio(A, matched), kMatchingLimit);
    } else {
        EXPECT_EQ(matched.failure.error, Error::Matching);
        EXPECT_EQ(matched.failure.internal, -matched.size);
    }
}

/// ln of the product of the matched magnitudes.
inline double logProduct(const SparseRows<double>& A, const std::vector<int>& columnOfRow)
{
    double sum = 0.0;
    for (int i = 0; i < A.n(); ++i) {
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) {
            if (A.ja[k] == columnOfRow[i]) sum += std::log(detail::engine::magnitudeOf(A.a[k]));
        }
    }
    return sum;
}

} // namespace Velmar::Lintrix::testing
