// The backward error of a solution, and the choice between two.

#include <lintrix/engine/solution/backward_error.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;
using Complex = std::complex<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

double errorOf(double entry, const std::vector<double>& x, const std::vector<double>& b,
               const std::vector<double>& r)
{
    return backwardError(entry, x.data(), b.data(), r.data(), static_cast<int>(x.size()));
}

TEST(BackwardError, IsTheResidualAgainstMatrixSolutionAndRightHandSide)
{
    EXPECT_EQ(errorOf(2.0, {3.0, -4.0}, {1.0, -2.0}, {0.5, -8.0}), 8.0 / (2.0 * 7.0 + 2.0));
    EXPECT_EQ(errorOf(2.0, {0.0, 0.0}, {1.0, -2.0}, {1.0, -2.0}), 1.0) << "0 solves nothing";
    EXPECT_EQ(errorOf(2.0, {3.0, 4.0}, {0.0, 0.0}, {0.0, 0.0}), 0.0);
    EXPECT_EQ(errorOf(2.0, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}), 0.0) << "not 0/0";
    const std::vector<Complex> x{{3, 4}}, b{{0, 5}}, r{{-6, 8}};
    EXPECT_EQ(backwardError(1.0, x.data(), b.data(), r.data(), 1), 10.0 / (5.0 + 5.0));
}

TEST(BackwardError, OfWhatIsNoSolutionIsNoNumber)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        EXPECT_TRUE(std::isnan(errorOf(1.0, {1.0, 1.0}, {1.0, 1.0}, {bad, 0.0}))) << bad;
        EXPECT_TRUE(std::isnan(errorOf(1.0, {1.0, 1.0}, {1.0, 1.0}, {0.0, bad}))) << bad;
    }
    EXPECT_TRUE(std::isnan(errorOf(1.0, {1.0, kNaN}, {1.0, 1.0}, {1.0, 0.0})));
}

/// A = diag(1, 2), three right-hand sides (1, 2) with the solution (1, 1).
struct Choice {
    std::vector<int> ia{1, 2, 3}, ja{1, 2};
    std::vector<double> a{1, 2}, b{1, 2, 1, 2, 1, 2}, work = std::vector<double>(12);
    SparseOperator<double> A{{2, ia.data(), ja.data(), a.data(), Storage::General, false}, 1, nullptr};

    std::vector<double> between(std::vector<double> x, const std::vector<double>& other)
    {
        takeBetter(A, 2.0, b.data(), other.data(), x.data(), 2, 3, work.data());
        return x;
    }
};

TEST(TakeBetter, DecidesForEachVector)
{
    const std::vector<double> x{1, 1, 1.1, 1, 1, 0.99}, other{1, 1.01, 1, 1.01, 1, 1};
    EXPECT_EQ(Choice().between(x, other), (std::vector<double>{1, 1, 1, 1.01, 1, 1}));
}

TEST(TakeBetter, TakesNothingThatIsNoNumberAndNothingForNoGain)
{
    const std::vector<double> x{1.1, 1, kNaN, 1, kNaN, 1}, other{kNaN, 1, 7, 1, kInfinity, 1};
    const std::vector<double> taken = Choice().between(x, other);
    EXPECT_EQ(taken[0], 1.1);
    EXPECT_EQ(taken[2], 7.0) << "any number is better than none";
    EXPECT_TRUE(std::isnan(taken[4]));
    EXPECT_EQ(Choice().between({1, 0.9, 1, 1, 1, 1}, {1, 1.1, 1, 1, 1, 1})[1], 1.1)
        << "the larger of two with one residual has the smaller error";
}

} // namespace
} // namespace Velmar::Lintrix::testing
