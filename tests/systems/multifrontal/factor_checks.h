#pragma once
/// @file
/// What holds of every factor by fronts: solves against 113 bits, bounds, stops, and refused memory.

#include "tests/support/matrices.h"
#include "tests/support/refused_memory.h"
#include "tests/systems/multifrontal/stopping.h"
#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <lintrix/systems/multifrontal/fronts.h>
#include <lintrix/systems/structure/sparse_entries.h>
#include <tests/systems/torture/exact_system.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace Velmar::Lintrix::testing {

constexpr TransposeMode kAllModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                       TransposeMode::ConjugateTransposed};

/// ||b - op(A)*x|| <= c*n*eps*(||A|| ||x|| + ||b||), in 113 bits, of A scaled as it is eliminated: the
/// threshold bounds the elements of L, and with them what rounding makes of A.
template <class Cell, class Factor>
void expectSolves(const detail::MatrixOf<Cell>& A, const Factor& factor, std::uint64_t seed)
{
    const std::int32_t n = A.Rows();
    const std::vector<int> none(static_cast<std::size_t>(n));
    const ExactSystem exact(quadOf(A), none, none);
    std::mt19937_64 generator(seed);
    for (const TransposeMode op : kAllModes) {
        for (const std::int32_t columns : {1, 3}) {
            std::vector<Cell> B(static_cast<std::size_t>(n) * columns);
            for (Cell& cell : B) cell = drawn<Cell>(generator);
            std::vector<Cell> X(B);
            factor.solve(op, X);
            for (auto at = B.begin(); at != B.end(); at += n) {
                const auto x = X.begin() + (at - B.begin());
                const long double error =
                    exact.backwardError(op, QuadVector(at, at + n), QuadVector(x, x + n));
                ASSERT_LE(error, 100.0L * n * kEps);
            }
        }
    }
}

/// Counts words of progress.
class Counting final : public detail::WorkListener {
public:
    void expect(double) noexcept override {}
    bool hear(double) noexcept override { return ++words_ > 0; }
    void require() const override {}
    std::int64_t words() const { return words_; }

private:
    std::int64_t words_ = 0;
};

/// Downwards and upwards each panel tells, and can be the last one.
template <class Cell, class Factor>
void expectAWordForEachPanelAndWay(const Factor& factor, std::int32_t n)
{
    Counting counting;
    const detail::WorkScope scope(counting);
    std::vector<Cell> x(static_cast<std::size_t>(n), Cell(1.0));
    factor.solve(TransposeMode::NotTransposed, std::span(x));
    EXPECT_GE(counting.words(), 2 * std::ssize(factor.panels()));
}

/// Of a dense matrix there is one front, which the factor keeps.
template <class Factor, class Entries>
void expectRoomForADenseFront(Factor& factor, const Entries& entries, std::int64_t n)
{
    EXPECT_FALSE(factor.factorize(entries, {.cells = n * n - 1}));
    EXPECT_TRUE(factor.factorize(entries, {.cells = n * n}));
}

/// `make(entries)` analyses; the rest may fail wherever memory is asked for.
template <class Cell, class Make>
void expectMemoryMayBeRefused(const detail::EntryArrays<Cell>& entries, const Make& make)
{
    const auto operation = [&] {
        auto factor = make(entries);
        ASSERT_TRUE(factor.factorize(entries));
        std::vector<Cell> x(static_cast<std::size_t>(entries.pattern.rows), Cell(1.0));
        factor.solve(TransposeMode::Transposed, std::span(x));
    };
    EXPECT_GT(refuseEachRequestOf(operation), 20);
}

} // namespace Velmar::Lintrix::testing
