// Refinement of least squares and shortest solutions: solves that are wrong in the third digit are enough for
// all digits, and those that give no numbers harm nothing.

#include <lintrix/systems/cells.h>
#include <lintrix/systems/quality/augmented_refinement.h>
#include <tests/systems/torture/exact_least_squares.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr std::int32_t kRows = 14, kCols = 5, kColumns = 2;

template <class Cell>
class AugmentedRefinement : public ::testing::Test {
public:
    using Columns = std::vector<Cell>;

    AugmentedRefinement()
        : cells_(4), M_(cells_.matrix<Cell>(kRows, kCols)), exact_(quadOf(M_)),
          adjoint_(quadOf(M_, TransposeMode::ConjugateTransposed))
    {
    }

    /// Answers of the exact inverse, each element off by up to a part `wrong`.
    AugmentedEquations<Cell> equations(double wrong)
    {
        const AnyMatrix<Cell> view(M_);
        return {view, TransposeMode::NotTransposed, view, TransposeMode::ConjugateTransposed,
                [this, wrong](std::int32_t columns, Cell* F, Cell* G) {
                    for (std::int32_t j = 0; j < columns; ++j) solve(F + j * kRows, G + j * kCols, wrong);
                }};
    }

    /// The first `length` numbers of each column, off by a part `wrong`.
    Columns offBy(const std::vector<QuadVector>& solutions, double wrong)
    {
        Columns X;
        for (const QuadVector& solution : solutions)
            for (const QuadCell& x : solution) X.push_back(cellOf(x) * (1.0 + wrong * cells_.real()));
        return X;
    }

    long double errorOf(const Columns& X, const QuadVector& solution, std::int32_t j) const
    {
        const auto first = X.begin() + j * static_cast<std::ptrdiff_t>(solution.size());
        return largest(difference(
                   quadOf(Columns(first, first + static_cast<std::ptrdiff_t>(solution.size()))), solution)) /
               largest(solution);
    }

    /// B, and what is to come of it.
    struct Problem {
        Columns B;
        std::vector<QuadVector> solutions;
    };
    Problem problem(bool shortest)
    {
        const ExactLeastSquares wide(adjoint_);
        Problem made;
        for (std::int32_t j = 0; j < kColumns; ++j) {
            const auto b = cells_.matrix<Cell>(shortest ? kCols : kRows, 1);
            QuadVector quad;
            for (std::int32_t i = 0; i < b.Rows(); ++i) {
                made.B.push_back(Cell(b.Item(i, 0)));
                quad.emplace_back(made.B.back());
            }
            made.solutions.push_back((shortest ? wide : exact_).solve(quad));
        }
        return made;
    }

private:
    static Cell cellOf(const QuadCell& x)
    {
        if constexpr (std::is_same_v<Cell, double>)
            return static_cast<double>(x.re);
        else
            return {static_cast<double>(x.re), static_cast<double>(x.im)};
    }

    /// w = M^+*f - (M^H*M)^-1*g, t = f - M*w.
    void solve(Cell* F, Cell* G, double wrong)
    {
        const QuadVector f = quadOf(Columns(F, F + kRows)), g = quadOf(Columns(G, G + kCols));
        const QuadVector shortest = ExactLeastSquares(adjoint_).solve(g); // M*(M^H*M)^-1*g
        const QuadVector w = difference(exact_.solve(f), exact_.solve(shortest)),
                         t = difference(f, product(quadOf(M_), w));
        for (std::int32_t i = 0; i < kRows; ++i)
            F[i] = cellOf(t[static_cast<std::size_t>(i)]) * (1.0 + wrong * cells_.real());
        for (std::int32_t k = 0; k < kCols; ++k)
            G[k] = cellOf(w[static_cast<std::size_t>(k)]) * (1.0 + wrong * cells_.real());
    }

    Cells cells_;
    MatrixOf<Cell> M_;
    ExactLeastSquares exact_;
    QuadMatrix adjoint_;
};

using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(AugmentedRefinement, CellTypes);

TYPED_TEST(AugmentedRefinement, SolvesOfThreeDigitsAreEnoughForAll)
{
    for (const bool shortest : {false, true}) {
        SCOPED_TRACE(shortest);
        const auto [B, solutions] = this->problem(shortest);
        auto X = this->offBy(solutions, 1e-2);
        const auto refined = refine(this->equations(1e-3), shortest, kColumns, B.data(), X.data());
        ASSERT_EQ(refined.size(), static_cast<std::size_t>(kColumns));
        for (std::int32_t j = 0; j < kColumns; ++j) {
            const RefinedColumn& column = refined[static_cast<std::size_t>(j)];
            const long double error = this->errorOf(X, solutions[static_cast<std::size_t>(j)], j);
            EXPECT_TRUE(column.converged);
            EXPECT_LE(error, 1e-12L);
            EXPECT_LE(error, 2.0 * column.correction) << "the correction that is left tells the error";
        }
    }
}

/// What comes in is good: no step may make it worse, and the first correction tells so.
TYPED_TEST(AugmentedRefinement, AGoodSolutionStays)
{
    for (const bool shortest : {false, true}) {
        SCOPED_TRACE(shortest);
        const auto [B, solutions] = this->problem(shortest);
        auto X = this->offBy(solutions, 0.0);
        const auto refined = refine(this->equations(1e-6), shortest, kColumns, B.data(), X.data());
        for (std::int32_t j = 0; j < kColumns; ++j) {
            EXPECT_TRUE(refined[static_cast<std::size_t>(j)].converged);
            EXPECT_LE(refined[static_cast<std::size_t>(j)].correction, 1e-13);
            EXPECT_LE(this->errorOf(X, solutions[static_cast<std::size_t>(j)], j), 1e-14L);
        }
    }
}

TYPED_TEST(AugmentedRefinement, SolvesThatAreNoNumbersPromiseNothingAndHarmNothing)
{
    for (const bool shortest : {false, true}) {
        SCOPED_TRACE(shortest);
        const auto [B, solutions] = this->problem(shortest);
        const auto X = this->offBy(solutions, 1e-2);
        auto Y = X;
        const auto useless = this->equations(std::numeric_limits<double>::quiet_NaN());
        for (const RefinedColumn& column : refine(useless, shortest, kColumns, B.data(), Y.data())) {
            EXPECT_FALSE(column.converged);
            EXPECT_TRUE(std::isinf(boundOf(column, {kRows, 10.0}, {})));
        }
        EXPECT_EQ(Y, X);
    }
}

TEST(BoundOf, IsTwiceTheCorrectionThatIsLeft)
{
    const RefinedColumn good{1e-14, 2.0, true};
    EXPECT_GE(boundOf(good, {10.0, 100.0}, {}), 2e-14);
    EXPECT_LE(boundOf(good, {10.0, 100.0}, {}), 2.001e-14);
    EXPECT_GE(boundOf(good, {10.0, 100.0, 3.0}, {}), 8e-14) << "by solves that see a quarter";
}

/// The square of what the condition makes of rounding goes with the residual, beside the solution's terms.
TEST(BoundOf, CountsWhatTwiceThePrecisionLosesOfTheResidual)
{
    const RefinedColumn column{1e-16, 1e6, true};
    const SolutionTerms w{1e-3, 1e-3};
    const double lost = 10.0 * 0x1p-53 * 1e10;
    EXPECT_GE(boundOf(column, {10.0, 1e10}, w), lost * lost * 1e9);
    EXPECT_LE(boundOf(column, {10.0, 1e10}, w), 1.001 * lost * lost * 1e9);
}

/// A large term is rounded, and solves that are wrong by so much take that into the others.
TEST(BoundOf, CountsTheRoundingOfLargeTermsInOtherUnits)
{
    const RefinedColumn column{1e-17, 0.0, true};
    EXPECT_GE(boundOf(column, {10.0, 1e6, 1e-3}, SolutionTerms{1e18, 1.0}), 1e-3 * 0x1p-53 * 1e18);
}

TEST(BoundOf, IsInfiniteWhereNothingIsKnown)
{
    const SolutionTerms w{1.0, 1.0};
    EXPECT_TRUE(std::isinf(boundOf({1e-14, 1.0, false}, {10.0, 100.0}, w)));
    EXPECT_TRUE(std::isinf(boundOf({1e-14, 1.0, true}, {10.0, 1e14}, w))) << "all but singular";
    EXPECT_TRUE(std::isinf(boundOf({1e-14, 1.0, true}, {10.0, std::numeric_limits<double>::quiet_NaN()}, w)));
}

TEST(BoundOf, OfAZeroThatLeavesNothingIsZero)
{
    EXPECT_EQ(boundOf({0.0, 1.0, true}, {10.0, 10.0}, SolutionTerms{0.0, 0.0}), 0.0);
}

TEST(SolutionTerms, AreInTheUnitsOfColumns)
{
    const double w[] = {-3.0, 1e-6, 0.5};
    const SolutionTerms terms = solutionTerms({1.0, 1e9, 1e-3}, w);
    EXPECT_DOUBLE_EQ(terms.largest, 1e3);
    EXPECT_DOUBLE_EQ(terms.least, 3e-3);
}

} // namespace
} // namespace Velmar::Lintrix::testing
