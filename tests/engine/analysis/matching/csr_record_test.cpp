#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/analysis/matching/csr_record.h>

#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

template <class T>
std::vector<T> listOf(const Scratch<T>& block)
{
    return {block.span().begin(), block.span().end()};
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();

// [ -2  .  0 ]      [ 3+4i .  i ]
// [  .  .  5 ]      [  .   0  . ]
// [  1 -7  . ]      [  .   .  2 ]
const std::vector<int> kRows{0, 2, 3, 5};
const std::vector<int> kColumns{0, 2, 2, 0, 1};

template <class T>
class RealRecord : public ::testing::Test {
};
using Reals = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RealRecord, Reals);

TYPED_TEST(RealRecord, HoldsMagnitudesWithoutExactZeros)
{
    const std::vector<TypeParam> a{-2, 0, 5, 1, -7};
    csr_new record;
    ASSERT_FALSE(copyMagnitudes(CompressedRows<TypeParam>{kRows, kColumns, a}, Triangles::AsStored, record));
    EXPECT_EQ(record.n, 3);
    EXPECT_EQ(record.nnz, 4);
    EXPECT_EQ(listOf(record.ia), (std::vector<int>{0, 1, 2, 4}));
    EXPECT_EQ(listOf(record.ja), (std::vector<int>{0, 2, 0, 1}));
    EXPECT_EQ(listOf(record.m), (std::vector<double>{2, 5, 1, 7}));
}

TYPED_TEST(RealRecord, HoldsNothingOfAMatrixOfZeros)
{
    const std::vector<TypeParam> a(5, TypeParam{});
    csr_new record;
    ASSERT_FALSE(copyMagnitudes(CompressedRows<TypeParam>{kRows, kColumns, a}, Triangles::Both, record));
    EXPECT_EQ(record.nnz, 0);
    EXPECT_EQ(listOf(record.ia), (std::vector<int>{0, 0, 0, 0}));
}

TYPED_TEST(RealRecord, CountsWhatIsNotFiniteAsTheLargestNumber)
{
    using Limits = std::numeric_limits<TypeParam>;
    EXPECT_EQ(magnitudeOf(-Limits::infinity()), kLargest);
    EXPECT_EQ(magnitudeOf(Limits::quiet_NaN()), kLargest);
    EXPECT_EQ(magnitudeOf(-Limits::denorm_min()), static_cast<double>(Limits::denorm_min()));
    EXPECT_EQ(magnitudeOf(Limits::lowest()), static_cast<double>(Limits::max()));
}

template <class T>
class ComplexRecord : public ::testing::Test {
};
using Complexes = ::testing::Types<std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(ComplexRecord, Complexes);

// The upper triangle of [ 3+4i  .   i ]
//                       [  .    0   . ]
//                       [  i    .  -2 ], an explicit zero among it.
TYPED_TEST(ComplexRecord, HoldsBothTrianglesOfAnUpperOne)
{
    const std::vector<int> ia{0, 2, 3, 4}, ja{0, 2, 1, 2};
    const std::vector<TypeParam> a{{3, 4}, {0, 1}, {0, 0}, {-2, 0}};
    csr_new record;
    ASSERT_FALSE(copyMagnitudes(CompressedRows<TypeParam>{ia, ja, a}, Triangles::Both, record));
    EXPECT_EQ(listOf(record.ia), (std::vector<int>{0, 2, 2, 4}));
    EXPECT_EQ(listOf(record.ja), (std::vector<int>{0, 2, 0, 2}));
    EXPECT_EQ(listOf(record.m), (std::vector<double>{5, 1, 1, 2}));
}

TEST(ComplexMagnitude, NeitherOverflowsNorVanishesOnTheWay)
{
    EXPECT_DOUBLE_EQ(magnitudeOf(std::complex<double>(3e300, 4e300)), 5e300);
    EXPECT_DOUBLE_EQ(magnitudeOf(std::complex<double>(3e-300, 4e-300)), 5e-300);
    EXPECT_GT(magnitudeOf(std::complex<float>(3e38F, 3e38F)), 4e38);
    EXPECT_EQ(magnitudeOf(std::complex<double>(1.5e308, 1.5e308)), kLargest);
    EXPECT_EQ(magnitudeOf(std::complex<double>(kNaN, 1.0)), kLargest);
    EXPECT_EQ(magnitudeOf(std::complex<double>(kNaN, kInfinity)), kLargest);
}

TEST(Record, KeepsWhatItHeldWhenThereIsNoMemory)
{
    const std::vector<double> a{-2, 0, 5, 1, -7};
    const CompressedRows<double> matrix{kRows, kColumns, a};
    csr_new record;
    ASSERT_FALSE(copyMagnitudes(matrix, Triangles::AsStored, record));
    int refusals = 0;
    for (;; ++refusals) {
        const FailingAllocator allocator(refusals);
        const Failure failure = copyMagnitudes(matrix, Triangles::Both, record);
        if (!failure) break;
        EXPECT_EQ(failure.error, Error::Memory);
        EXPECT_EQ(failure.internal, -401);
        EXPECT_EQ(listOf(record.m), (std::vector<double>{2, 5, 1, 7}));
    }
    EXPECT_EQ(refusals, 3);
}

struct Checked {
    PermutationFault fault;
    std::string text;
};

Checked check(const std::vector<int>& forward, const std::vector<int>& inverse = {})
{
    std::vector<int> marks(static_cast<std::size_t>(bvec_new::wordsFor(static_cast<int>(forward.size()))), 0);
    std::vector<char> text(200, 'x');
    Checked result{checkPermutation(forward, inverse, marks), {}};
    describe(result.fault, text);
    result.text = text.data();
    return result;
}

TEST(PermutationCheck, FindsNothingWrongWithAPermutation)
{
    EXPECT_FALSE(check({0}).fault);
    EXPECT_FALSE(check({2, 0, 1}).fault);
    EXPECT_FALSE(check({2, 0, 1}, {1, 2, 0}).fault);
    EXPECT_EQ(check({2, 0, 1}).text, "");
}

TEST(PermutationCheck, TellsElementsOutOfRange)
{
    EXPECT_EQ(check({0, 4, -1, 3}).text, "Permutation contains 2 out-of-range elements (first:  1 -> 4)");
    EXPECT_EQ(check({-2147483647 - 1}).text,
              "Permutation contains 1 out-of-range elements (first:  0 -> -2147483648)");
}

TEST(PermutationCheck, TellsMultipleElements)
{
    EXPECT_EQ(check({1, 0, 1, 1}).text, "Permutation contains 2 multiple element pairs (first: 2 -> 1)");
}

TEST(PermutationCheck, TellsAnInverseThatIsNone)
{
    EXPECT_EQ(check({2, 0, 1}, {2, 0, 1}).text, "Permutation is inconsistent!");
}

TEST(PermutationCheck, PutsRangeBeforeMultiplesAndTheseBeforeTheInverse)
{
    using Kind = PermutationFault::Kind;
    EXPECT_EQ(check({1, 1, 7}, {0, 0, 0}).fault.kind, Kind::OutOfRange);
    EXPECT_EQ(check({1, 1, 2}, {0, 0, 0}).fault.kind, Kind::MultipleElements);
    EXPECT_EQ(check({1, 0, 2}, {0, 0, 0}).fault.kind, Kind::Inconsistent);
}

TEST(PermutationCheck, CutsItsTextToTheRoomThereIs)
{
    std::vector<char> text(12, 'x');
    describe({PermutationFault::Kind::Inconsistent, 1, 0, 0}, text);
    EXPECT_STREQ(text.data(), "Permutation");
}

} // namespace
} // namespace Velmar::Lintrix::testing
