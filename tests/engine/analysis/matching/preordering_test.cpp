#include <lintrix/engine/analysis/matching/preordering.h>

#include "tests/engine/analysis/matching/matching_support.h"
#include "tests/support/failing_allocator.h"

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

template <class T>
T cell(double re)
{
    return T(static_cast<float>(re));
}

template <class T>
SparseRows<T> convert(const SparseRows<double>& A)
{
    SparseRows<T> result{A.ia, A.ja, {}};
    for (const double value : A.a) result.a.push_back(cell<T>(value));
    return result;
}

SparseRows<double> upperTriangle(const SparseRows<double>& A)
{
    SparseRows<double> result;
    for (int i = 0; i < A.n(); ++i) {
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) {
            if (A.ja[k] < i) continue;
            result.ja.push_back(A.ja[k]);
            result.a.push_back(A.a[k]);
        }
        result.ia.push_back(static_cast<int>(result.ja.size()));
    }
    return result;
}

// [ .  2  . ]
// [ 4  1  . ]     matched: row 0 to 1, row 1 to 0, row 2 to 2
// [ .  1  8 ]
const SparseRows<double> kSmall{{0, 1, 3, 5}, {1, 0, 1, 1, 2}, {2, -4, 1, 1, 8}};

std::vector<int> listOf(const Scratch<int>& block)
{
    return {block.span().begin(), block.span().end()};
}

TEST(PreorderingChoice, HonoursTheMatchingForFiveTypesAlone)
{
    for (const int type : {1, 2, 3, 4, 5}) {
        for (const int setting : {0, 1, 2}) EXPECT_EQ(preorderingFor(type, setting), Preordering::None);
    }
    for (const int type : {-2, -4, 6}) {
        EXPECT_EQ(preorderingFor(type, 0), Preordering::None);
        EXPECT_EQ(preorderingFor(type, 1), Preordering::SymmetricPairs);
        EXPECT_EQ(preorderingFor(type, 2), Preordering::SymmetricPairs);
    }
    for (const int type : {11, 13}) {
        EXPECT_EQ(preorderingFor(type, 0), Preordering::Identity);
        EXPECT_EQ(preorderingFor(type, 1), Preordering::Unsymmetric);
        EXPECT_EQ(preorderingFor(type, 2), Preordering::Unsymmetric);
    }
}

template <class T>
class PreorderingOf : public ::testing::Test {
};
using Cells = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(PreorderingOf, Cells);

TYPED_TEST(PreorderingOf, NoneMakesNoBlocks)
{
    const auto A = convert<TypeParam>(kSmall);
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(A.view(), Preordering::None, true, blocks));
    EXPECT_EQ(blocks.matching.get(), nullptr);
    EXPECT_EQ(blocks.scaling.get(), nullptr);
}

TYPED_TEST(PreorderingOf, IdentityHasFactorsOneAlsoWhenScalingIsOn)
{
    const auto A = convert<TypeParam>(kSmall);
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(A.view(), Preordering::Identity, true, blocks));
    EXPECT_EQ(listOf(blocks.matching), (std::vector<int>{0, 1, 2}));
    for (const double f : blocks.scaling.span()) EXPECT_EQ(f, 1.0);
    EXPECT_EQ(blocks.scaling.span().size(), 6U);
}

TYPED_TEST(PreorderingOf, UnsymmetricMovesRowsAndScales)
{
    const auto A = convert<TypeParam>(kSmall);
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(A.view(), Preordering::Unsymmetric, true, blocks));
    EXPECT_EQ(listOf(blocks.matching), (std::vector<int>{1, 0, 2}));
    const auto f = blocks.scaling.span();
    EXPECT_NEAR(f[0] * 2 * f[3 + 1], 1.0, 1e-14);
    EXPECT_NEAR(f[1] * 4 * f[3 + 0], 1.0, 1e-14);
    EXPECT_NEAR(f[2] * 8 * f[3 + 2], 1.0, 1e-14);
    EXPECT_LE(f[1] * 1 * f[3 + 1], 1.0 + 1e-14);
}

TYPED_TEST(PreorderingOf, WithoutScalingThePermutationStandsAndFactorsAreOne)
{
    const auto A = convert<TypeParam>(kSmall);
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(A.view(), Preordering::Unsymmetric, false, blocks));
    EXPECT_EQ(listOf(blocks.matching), (std::vector<int>{1, 0, 2}));
    for (const double f : blocks.scaling.span()) EXPECT_EQ(f, 1.0);
}

// [ 0  5  . ]
// [ 5  0  1 ]   upper triangle stored: 0 and 1 are a pair, 2 stands alone.
// [ .  1  4 ]
TYPED_TEST(PreorderingOf, SymmetricPairsOrderAndScaleBothTrianglesAlike)
{
    const SparseRows<double> upper{{0, 2, 4, 5}, {0, 1, 1, 2, 2}, {0, 5, 0, 1, 4}};
    const auto A = convert<TypeParam>(upper);
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(A.view(), Preordering::SymmetricPairs, true, blocks));
    const PivotPairs pairs(blocks.matching.span(), 3);
    EXPECT_EQ((std::vector<int>{pairs.columnOfRow().begin(), pairs.columnOfRow().end()}),
              (std::vector<int>{1, 0, 2}));
    EXPECT_EQ((std::vector<int>{pairs.vertexAt().begin(), pairs.vertexAt().end()}),
              (std::vector<int>{2, 0, 1}));
    EXPECT_EQ(pairs.parts().front, 1);
    EXPECT_EQ(pairs.parts().pairs, 1);
    EXPECT_FALSE(pairs.split().test(0));
    const auto s = blocks.scaling.span();
    EXPECT_NEAR(s[0] * 5 * s[1], 1.0, 1e-14);
    EXPECT_NEAR(s[2] * 4 * s[2], 1.0, 1e-14);
    EXPECT_LE(s[1] * 1 * s[2], 1.0 + 1e-14);
}

TEST(Preordering, MarksAPairWithTwoSafeDiagonalEntries)
{
    const SparseRows<double> upper{{0, 2, 3}, {0, 1, 1}, {1e-7, 5, -1e-7}};
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(upper.view(), Preordering::SymmetricPairs, false, blocks));
    const PivotPairs pairs(blocks.matching.span(), 2);
    EXPECT_EQ(pairs.parts().pairs, 1);
    EXPECT_TRUE(pairs.split().test(0));
    for (const double f : blocks.scaling.span()) EXPECT_EQ(f, 1.0);
}

TEST(Preordering, ScalesSymmetricMatricesToAtMostOneWithOnesOnTheMatching)
{
    std::mt19937 random(21);
    for (int sample = 0; sample < 20; ++sample) {
        const SparseRows<double> upper = upperTriangle(circuitLike(50, random));
        PreorderingBlocks blocks;
        ASSERT_FALSE(preorder(upper.view(), Preordering::SymmetricPairs, true, blocks));
        const PivotPairs pairs(blocks.matching.span(), 50);
        const auto s = blocks.scaling.span();
        for (int i = 0; i < 50; ++i) {
            for (int k = upper.ia[i]; k < upper.ia[i + 1]; ++k) {
                const int j = upper.ja[k];
                const double scaled = s[i] * std::abs(upper.a[k]) * s[j];
                EXPECT_LE(scaled, 1.0 + 1e-12);
                if (pairs.columnOfRow()[i] == j) {
                    EXPECT_NEAR(scaled, 1.0, 1e-12);
                }
            }
        }
    }
}

TEST(Preordering, OfAStructurallySingularMatrixTellsTheMatchedSize)
{
    const SparseRows<double> A{{0, 2, 3, 4}, {0, 1, 0, 0}, {1, 2, 3, 4}};
    PreorderingBlocks blocks;
    for (const Preordering kind : {Preordering::Unsymmetric, Preordering::SymmetricPairs}) {
        const SparseRows<double> own = kind == Preordering::Unsymmetric ? A : upperTriangle(A);
        const Failure failure = preorder(own.view(), kind, true, blocks);
        EXPECT_EQ(failure.error, Error::Matching);
        EXPECT_EQ(failure.internal, -2);
    }
    ASSERT_EQ(preorder(A.view(), Preordering::Unsymmetric, true, blocks).internal, -2);
    EXPECT_EQ(listOf(blocks.matching)[0], 1);
    const std::vector<int> columnOfRow = listOf(blocks.matching);
    EXPECT_EQ(std::count(columnOfRow.begin(), columnOfRow.end(), -1), 1);
    EXPECT_FALSE(preorder(A.view(), Preordering::Identity, true, blocks)); // found out by the factorization
}

TEST(Preordering, LeavesTheMatrixAsItWas)
{
    std::mt19937 random(2);
    const SparseRows<double> A = circuitLike(100, random), before = A;
    PreorderingBlocks blocks;
    ASSERT_FALSE(preorder(A.view(), Preordering::Unsymmetric, true, blocks));
    EXPECT_EQ(A.ia, before.ia);
    EXPECT_EQ(A.ja, before.ja);
    EXPECT_EQ(A.a, before.a);
}

std::vector<int> codesOfRefusals(Preordering kind)
{
    const SparseRows<double> upper{{0, 2, 4, 5}, {0, 1, 1, 2, 2}, {0, 5, 0, 1, 4}};
    PreorderingBlocks blocks;
    blocks.scaling = Scratch<double>::zeroed(1);
    const double* const held = blocks.scaling.get();
    std::vector<int> codes;
    for (int k = 0;; ++k) {
        const FailingAllocator allocator(k);
        const Failure failure = preorder(upper.view(), kind, true, blocks);
        if (!failure) return codes;
        EXPECT_EQ(failure.error, Error::Memory);
        EXPECT_EQ(blocks.scaling.get(), held);
        EXPECT_EQ(blocks.matching.get(), nullptr);
        codes.push_back(failure.internal);
    }
}

TEST(Preordering, TellsEachBlockThatHasNoMemoryByItsCode)
{
    EXPECT_EQ(codesOfRefusals(Preordering::Identity), (std::vector<int>{-403, -404}));
    std::vector<int> expected{-403, -404, -401, -401, -401, -401, -401, -401};
    expected.insert(expected.end(), 8, -402);
    expected.insert(expected.end(), {-401, -401});
    EXPECT_EQ(codesOfRefusals(Preordering::SymmetricPairs), expected);
}

} // namespace
} // namespace Velmar::Lintrix::testing
