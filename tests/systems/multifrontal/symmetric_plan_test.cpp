// Scales that bring rows to one size, and the order in which what is no pivot goes with a partner.

#include <lintrix/systems/multifrontal/symmetric_plan.h>

#include "tests/systems/multifrontal/symmetric_matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::multifrontal;

/// The largest element of each row that has one, scaled, lies within a factor of two of 1.
template <class Cell>
void expectRowsOfOneSize(const MatrixOf<Cell>& A)
{
    const auto entries = entriesOf<Cell>(SparseOf<Cell>(A));
    const std::vector<int> exponents = equilibrate<Cell>(entries);
    ASSERT_EQ(std::ssize(exponents), A.Rows());
    for (std::int32_t i = 0; i < A.Rows(); ++i) {
        long double largest = 0.0L;
        for (std::int32_t j = 0; j < A.Cols(); ++j)
            largest = std::max(largest, std::ldexp(static_cast<long double>(std::abs(A(i, j))),
                                                   exponents[i] + exponents[j]));
        if (largest == 0.0L)
            EXPECT_EQ(exponents[i], 0) << "an empty row has no size";
        else
            EXPECT_LE(std::abs(std::log2(largest)), 2.0L) << "row " << i;
    }
}

template <class Cell>
void expectRandomRowsOfOneSize()
{
    for (const double power : {0.0, 3.0, 30.0, 140.0}) {
        for (std::uint64_t seed = 1; seed <= 5; ++seed) {
            SCOPED_TRACE(::testing::Message() << "units 10^" << power << ", seed " << seed);
            expectRowsOfOneSize<Cell>(inUnits<Cell>(randomSymmetric<Cell>(30, 0.2, seed, true), power, seed));
        }
    }
}

TEST(Equilibrate, BringsEachRowToOneSize)
{
    expectRandomRowsOfOneSize<double>();
    expectRandomRowsOfOneSize<Complex>();
}

TEST(Equilibrate, LeavesEmptyRowsAlone)
{
    Matrix A(3, 3);
    A(0, 2) = A(2, 0) = 0x1p40;
    expectRowsOfOneSize<double>(A);
    expectRowsOfOneSize<double>(Matrix(4, 4));
    EXPECT_TRUE(equilibrate<double>(detail::EntryArrays<double>()).empty());
}

template <class Cell>
std::vector<std::int32_t> orderOf(const MatrixOf<Cell>& A, double threshold)
{
    const auto entries = entriesOf<Cell>(SparseOf<Cell>(A));
    return orderWithPartners<Cell>(entries, equilibrate<Cell>(entries), threshold);
}

TEST(OrderWithPartners, IsAPermutation)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        for (const std::int32_t n : {1, 2, 33}) {
            for (const double threshold : {0.0, 0.01, 0.5}) {
                std::vector<std::int32_t> order =
                    orderOf<Complex>(randomSymmetric<Complex>(n, 0.1, seed, true), threshold);
                std::ranges::sort(order);
                ASSERT_EQ(std::ssize(order), n);
                for (std::int32_t k = 0; k < n; ++k) ASSERT_EQ(order[k], k);
            }
        }
    }
}

/// Vertices 4 .. 7 have no diagonal, and one large element each, with k - 4.
TEST(OrderWithPartners, WhatIsNoPivotFollowsItsPartner)
{
    Matrix A = randomSymmetric<double>(8, 1.0, 3, false);
    for (std::int32_t i = 4; i < 8; ++i) {
        for (std::int32_t j = 4; j < 8; ++j) A(i, j) = 0.0;
        A(i, i - 4) = A(i - 4, i) = 3.0;
    }
    for (std::int32_t i = 0; i < 4; ++i) A(i, i) = 3.0;
    const std::vector<std::int32_t> order = orderOf<double>(A, 0.01);
    for (std::int32_t i = 4; i < 8; ++i) {
        const auto own = std::ranges::find(order, i), partner = std::ranges::find(order, i - 4);
        EXPECT_EQ(std::abs(own - partner), 1) << "vertex " << i;
    }
}

TEST(OrderWithPartners, ALargeDiagonalNeedsNone)
{
    Matrix A = randomSymmetric<double>(40, 0.1, 4, false);
    for (std::int32_t i = 0; i < 40; ++i) A(i, i) = 50.0;
    EXPECT_EQ(orderOf<double>(A, 0.01), orderOf<double>(A, 0.0));
}

} // namespace
} // namespace Velmar::Lintrix::testing
