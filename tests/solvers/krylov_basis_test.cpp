// Growth of an orthonormal basis: order of the subtractions, bits, threads, storage.

#include "tests/solvers/svd_support.h"
#include "tests/support/thread_setting.h"

#include <lintrix/solvers/krylov_basis.h>

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::KrylovBasis;

void fillRandom(const KrylovBasis& basis, int column, std::mt19937_64& generator)
{
    for (int i = 0; i < basis.length(); ++i)
        basis.column(column)[i] = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
}

/// A column as it is given, for which nothing makes the padding zero.
void setColumn(const KrylovBasis& basis, int column, const std::vector<double>& cells)
{
    std::fill_n(basis.column(column), basis.stride(), 0.0);
    std::copy(cells.begin(), cells.end(), basis.column(column));
}

double dot(const KrylovBasis& basis, int i, int j)
{
    long double sum = 0.0;
    for (int r = 0; r < basis.length(); ++r)
        sum += static_cast<long double>(basis.column(i)[r]) * basis.column(j)[r];
    return static_cast<double>(sum);
}

/// Random vectors, made orthonormal one after the other.
KrylovBasis randomBasis(int length, int columns)
{
    std::mt19937_64 generator(7);
    KrylovBasis basis(length, columns);
    for (int j = 0; j < columns; ++j) {
        fillRandom(basis, j, generator);
        basis.orthonormalize(j, j == 0 ? 0.0 : dot(basis, j - 1, j));
    }
    return basis;
}

// Around the lanes and the chunks of the sums.
const std::vector<int> kLengths{1, 2, 15, 16, 17, 31, 100, 2047, 2048, 2049, 5001};

TEST(KrylovBasis, VectorsAreOrthonormal)
{
    for (const int length : kLengths) {
        const KrylovBasis basis = randomBasis(length, std::min(length, 12));
        for (int i = 0; i < std::min(length, 12); ++i) {
            EXPECT_NEAR(dot(basis, i, i), 1.0, 64 * kEps) << length;
            for (int j = 0; j < i; ++j) EXPECT_NEAR(dot(basis, i, j), 0.0, 1e3 * kEps) << length;
        }
    }
}

// In a basis that is far from orthogonal the order of the subtractions shows in the leading digits.
TEST(KrylovBasis, LastColumnGoesFirstThenTheOthersInOrderEachSeeingTheCorrectedVector)
{
    KrylovBasis basis(3, 4);
    setColumn(basis, 0, {1, 0, 0});
    setColumn(basis, 1, {0.5, 0.5, 0});
    setColumn(basis, 2, {0.25, 0.5, 1});
    setColumn(basis, 3, {3, 5, 7});
    const double c = 2.0;
    // w = (3, 5, 7) - 2*q2 = (2.5, 4, 5); - 2.5*q0 = (0, 4, 5); - 2*q1 = (-1, 3, 5)
    EXPECT_DOUBLE_EQ(basis.orthonormalize(3, c), std::sqrt(35.0));
    EXPECT_DOUBLE_EQ(basis.column(3)[0], -1.0 / std::sqrt(35.0));
    EXPECT_DOUBLE_EQ(basis.column(3)[1], 3.0 / std::sqrt(35.0));
    EXPECT_DOUBLE_EQ(basis.column(3)[2], 5.0 / std::sqrt(35.0));
}

TEST(KrylovBasis, SecondColumnIsCorrectedByTheCoefficientAlone)
{
    KrylovBasis basis(2, 2);
    setColumn(basis, 0, {1, 1});
    basis.column(1)[0] = 3.0;
    basis.column(1)[1] = 7.0;
    EXPECT_EQ(basis.orthonormalize(1, 3.0), 4.0); // whatever the scalar product
    EXPECT_EQ(basis.column(1)[0], 0.0);
    EXPECT_EQ(basis.column(1)[1], 1.0);
}

TEST(KrylovBasis, FirstColumnIsNormalizedWhateverTheCoefficient)
{
    KrylovBasis basis(2, 1);
    basis.column(0)[0] = 3.0;
    basis.column(0)[1] = 4.0;
    EXPECT_EQ(basis.orthonormalize(0, std::numeric_limits<double>::quiet_NaN()), 5.0);
    EXPECT_DOUBLE_EQ(basis.column(0)[0], 0.6);
}

TEST(KrylovBasis, ZeroVectorDividesByItsNorm)
{
    KrylovBasis basis(20, 2);
    std::fill_n(basis.column(0), 20, 0.0);
    EXPECT_EQ(basis.orthonormalize(0, 0.0), 0.0);
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(std::isnan(basis.column(0)[i]));
}

TEST(KrylovBasis, AnyNumberOfThreadsGivesTheSameBits)
{
    constexpr int length = 40001, columns = 5; // enough for a team of four
    const KrylovBasis alone = randomBasis(length, columns);
    for (const int count : {2, 3, 4}) {
        const ThreadSetting threads(count);
        const KrylovBasis team = randomBasis(length, columns);
        for (int j = 0; j < columns; ++j) {
            EXPECT_TRUE(std::equal(alone.column(j), alone.column(j) + length, team.column(j))) << count;
        }
    }
}

TEST(KrylovBasis, ColumnsBeginAtCacheLinesAndSurviveGrowth)
{
    for (const int length : kLengths) {
        if (length < 3) continue; // has no three independent vectors
        KrylovBasis basis = randomBasis(length, 3);
        const KrylovBasis copy = randomBasis(length, 3);
        for (const int columns : {4, 40, 400}) {
            basis.resize(columns);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(basis.column(1)) % 64, 0U);
            for (int j = 0; j < 3; ++j) {
                EXPECT_TRUE(std::equal(copy.column(j), copy.column(j) + length, basis.column(j))) << length;
            }
        }
    }
}

TEST(KrylovBasis, LengthWhoseStrideIsNo32BitNumberIsOutOfMemory)
{
    EXPECT_THROW(KrylovBasis(std::numeric_limits<std::int32_t>::max(), 1), NotEnoughMemoryException);
}

} // namespace
} // namespace Velmar::Lintrix::testing
