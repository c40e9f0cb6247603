// One dense factor for A, its transpose and its adjoint.

#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/dense_factor.h>

#include <gtest/gtest.h>

#include <random>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;

template <class Cell>
Cell drawn(std::mt19937_64& generator)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    if constexpr (std::is_same_v<Cell, double>)
        return uniform(generator);
    else
        return {uniform(generator), uniform(generator)};
}

template <class Cell>
void expectSolvesAllWays(std::int32_t n, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    detail::MatrixOf<Cell> dense(n, n), known(n, 2);
    for (Cell& cell : cellsOf(dense)) cell = drawn<Cell>(generator);
    for (Cell& cell : cellsOf(known)) cell = drawn<Cell>(generator);
    const detail::SparseOf<Cell> A(dense);
    DenseFactor<Cell> factor(A);
    ASSERT_FALSE(factor.isSingular());
    for (const TransposeMode op :
         {TransposeMode::NotTransposed, TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
        const auto B = productOf<Cell>(A, known, op);
        detail::MatrixOf<Cell> X(n, 2);
        EXPECT_EQ(factor.solve(B, X, op, {}).error, 0);
        const auto x = cellsOf(std::as_const(X)), z = cellsOf(std::as_const(known));
        for (std::size_t i = 0; i < x.size(); ++i) EXPECT_LT(std::abs(x[i] - z[i]), 1e-10);
    }
}

TEST(DenseFactor, SolvesAllWays)
{
    for (const std::int32_t n : {1, 2, 7, 33}) {
        expectSolvesAllWays<double>(n, 3);
        expectSolvesAllWays<Complex>(n, 3);
    }
}

TEST(DenseFactor, TellsAnExactlyZeroPivot)
{
    SparseMatrix A(2, 2);
    A(0, 0) = A(0, 1) = A(1, 0) = A(1, 1) = 1.0;
    EXPECT_TRUE(DenseFactor<double>(A).isSingular());
}

} // namespace
} // namespace Velmar::Lintrix::testing
