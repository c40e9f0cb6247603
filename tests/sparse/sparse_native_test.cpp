// Entries as a range, writable values, diagonal, norms, compound assignment and the list of entries, real and
// complex. Norms are compared with those of the dense matrix, which go through another library.

#include "tests/sparse/sparse_twin.h"
#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/sparse/entries.h>

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

template <class Twin>
class SparseNativeTest : public ::testing::Test {
};
using Twins = ::testing::Types<RealTwin, ComplexTwin>;
TYPED_TEST_SUITE(SparseNativeTest, Twins);

static_assert(std::forward_iterator<SparseEntryIterator<double>>);
static_assert(std::forward_iterator<SparseEntryIterator<const Complex>>);

template <class Twin>
typename Twin::Cell cell(double x)
{
    if constexpr (sizeof(typename Twin::Cell) == sizeof(double)) {
        return x;
    } else {
        return {x, 2.0 * x};
    }
}

/// 4 x 3 with an empty first, third and last row.
template <class Twin>
typename Twin::Sparse example()
{
    typename Twin::Sparse A(5, 3);
    A(1, 2) = cell<Twin>(1.0);
    A(1, 0) = cell<Twin>(2.0);
    A(3, 1) = cell<Twin>(3.0);
    return A;
}

template <class Twin>
typename Twin::Sparse marked(double scale)
{
    typename Twin::Sparse A(3, true, 4, 1.5F);
    A(0, 0) = 2.0 * scale;
    A(0, 2) = cell<Twin>(scale);
    A(1, 1) = -scale;
    return A;
}

template <class Sparse>
std::string listOf(const Sparse& A)
{
    std::ostringstream out;
    for (const auto [row, col, value] : A) out << row << ',' << col << ':' << value << ' ';
    return out.str();
}

TYPED_TEST(SparseNativeTest, EntriesAreARange)
{
    auto A = example<TypeParam>();
    const auto& fixed = A;
    std::vector<std::array<int, 2>> places;
    for (auto [row, col, value] : A) {
        value *= 10.0;
        places.push_back({row, col});
    }
    EXPECT_EQ(places, (std::vector<std::array<int, 2>>{{1, 0}, {1, 2}, {3, 1}}));
    EXPECT_EQ(fixed(1, 0), cell<TypeParam>(20.0));
    EXPECT_EQ(fixed(3, 1), cell<TypeParam>(30.0));
    EXPECT_EQ(std::distance(fixed.begin(), fixed.end()), 3);
    static_assert(std::is_const_v<std::remove_reference_t<decltype((*fixed.begin()).value)>>);
    auto it = A.begin();
    EXPECT_EQ((*it++).col, 0);
    EXPECT_EQ((*it).col, 2);
    int visited = 0;
    ForEachEntry(fixed, [&](std::int32_t row, std::int32_t col, const auto& value) {
        const auto entry = *std::next(fixed.begin(), visited++);
        EXPECT_TRUE(entry.row == row && entry.col == col && entry.value == value);
    });
}

TYPED_TEST(SparseNativeTest, AMatrixWithoutEntriesIsAnEmptyRange)
{
    const typename TypeParam::Sparse A(3, 4), one;
    EXPECT_TRUE(A.begin() == A.end());
    EXPECT_TRUE(one.begin() == one.end());
    auto released = example<TypeParam>();
    released.Dispose();
    expectFailure<InvalidOperationException>([&] { released.begin(); },
                                             "The object was used after its release.");
    typename TypeParam::Sparse single;
    single(0, 0) = 7.0;
    EXPECT_EQ((*single.begin()).value, typename TypeParam::Cell(7.0));
}

TYPED_TEST(SparseNativeTest, OfOneTriangleTheStoredEntriesAreVisited)
{
    auto A = marked<TypeParam>(1.0);
    EXPECT_EQ(std::distance(A.begin(), A.end()), 4);
    for (auto [row, col, value] : A) {
        EXPECT_LE(row, col);
        if (row != col) value = 5.0;
    }
    EXPECT_EQ(A(2, 0), typename TypeParam::Cell(5.0));
}

TYPED_TEST(SparseNativeTest, ValuesMayBeWritten)
{
    auto A = example<TypeParam>();
    for (auto& value : A.Values()) value = 1.5;
    A.Values()[2] = 0.0;
    EXPECT_EQ(A(1, 2), typename TypeParam::Cell(1.5));
    EXPECT_EQ(A(3, 1), typename TypeParam::Cell(0.0));
    EXPECT_EQ(A.NumElements(), 3);
}

TYPED_TEST(SparseNativeTest, IdentityStoresItsDiagonal)
{
    const auto I = TypeParam::Sparse::Identity(4);
    EXPECT_EQ(I.NumElements(), 4);
    EXPECT_FALSE(TypeParam::flag(I));
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) EXPECT_EQ(I(i, j), typename TypeParam::Cell(i == j ? 1.0 : 0.0));
    }
    EXPECT_EQ(I.GrowFactor(), 1.2F);
    EXPECT_THROW(TypeParam::Sparse::Identity(0), InvalidSizeException);
}

TYPED_TEST(SparseNativeTest, Diagonal)
{
    auto A = example<TypeParam>();
    A(2, 2) = cell<TypeParam>(9.0);
    const auto d = A.Diagonal();
    EXPECT_EQ(d.Length(), 3);
    EXPECT_EQ(d(0), typename TypeParam::Cell(0.0));
    EXPECT_EQ(d(2), cell<TypeParam>(9.0));
    EXPECT_EQ(marked<TypeParam>(2.0).Diagonal()(1), typename TypeParam::Cell(-2.0));
    EXPECT_EQ(typename TypeParam::Sparse(2, 7).Diagonal().Length(), 2);
}

TYPED_TEST(SparseNativeTest, NormsAreThoseOfTheDenseMatrix)
{
    std::mt19937_64 generator(11);
    std::uniform_int_distribution<int> size(1, 12);
    std::normal_distribution<double> part;
    for (int round = 0; round < 200; ++round) {
        const bool triangle = round % 2 == 0;
        const int n = size(generator), cols = triangle ? n : size(generator);
        typename TypeParam::Sparse A =
            triangle ? typename TypeParam::Sparse(n, true) : typename TypeParam::Sparse(n, cols);
        for (int k = 0; k < n; ++k) {
            const int i = size(generator) % n, j = size(generator) % cols;
            if (!triangle || i <= j)
                A(i, j) = i == j && triangle ? part(generator) : part(generator) * cell<TypeParam>(1.0);
        }
        const auto dense = A.ToDense();
        for (const NormType type :
             {NormType::FrobeniusNorm, NormType::InfinityNorm, NormType::OneNorm, NormType::MaxAbsValue}) {
            const double expected = dense.Norm(type);
            EXPECT_NEAR(A.Norm(type), expected, 1e-14 * expected) << n << " x " << cols;
        }
    }
}

TYPED_TEST(SparseNativeTest, NormsOfExtremeValues)
{
    const std::array kAll{NormType::FrobeniusNorm, NormType::InfinityNorm, NormType::OneNorm,
                          NormType::MaxAbsValue};
    const typename TypeParam::Sparse none(3, 4);
    typename TypeParam::Sparse huge(2, 2), tiny(2, 2), infinite(2, 2), nan(2, 3);
    huge(0, 0) = 3e300;
    huge(0, 1) = 4e300;
    tiny(1, 0) = 3e-310;
    tiny(1, 1) = 4e-310;
    infinite(0, 0) = 1.0;
    infinite(1, 1) = -std::numeric_limits<double>::infinity();
    nan(0, 0) = std::numeric_limits<double>::quiet_NaN();
    nan(1, 2) = 1.0;
    EXPECT_DOUBLE_EQ(huge.Norm(NormType::FrobeniusNorm), 5e300);
    EXPECT_NEAR(tiny.Norm(NormType::FrobeniusNorm), 5e-310, 1e-318);
    for (const NormType type : kAll) {
        EXPECT_EQ(none.Norm(type), 0.0);
        EXPECT_EQ(infinite.Norm(type), std::numeric_limits<double>::infinity());
        EXPECT_TRUE(std::isnan(nan.Norm(type))) << static_cast<int>(type);
    }
}

TYPED_TEST(SparseNativeTest, CompoundAssignmentKeepsMarkAndGrowth)
{
    auto A = example<TypeParam>();
    A.GrowFactor(3.0F);
    auto B = example<TypeParam>();
    B(0, 0) = cell<TypeParam>(4.0);
    const auto sum = A + B, difference = A - B;
    auto C = A;
    C += B;
    EXPECT_EQ(listOf(C), listOf(sum));
    C = A;
    C -= B;
    EXPECT_EQ(listOf(C), listOf(difference));
    A += A;
    EXPECT_EQ(A(3, 1), cell<TypeParam>(6.0));
    EXPECT_EQ(A.GrowFactor(), 3.0F);
    const auto& self = A;
    A -= self;
    EXPECT_EQ(A.NumElements(), 3) << "what cancels stays";
    EXPECT_EQ(A(3, 1), typename TypeParam::Cell(0.0));

    auto S = marked<TypeParam>(1.0);
    const auto T = marked<TypeParam>(3.0);
    S += T;
    EXPECT_TRUE(TypeParam::flag(S));
    EXPECT_EQ(S.GrowFactor(), 1.5F);
    EXPECT_EQ(S(2, 0), TypeParam::conjugated(cell<TypeParam>(4.0)));
    S *= 0.5;
    EXPECT_TRUE(TypeParam::flag(S));
    EXPECT_EQ(S(0, 0), typename TypeParam::Cell(4.0));
    S /= 4.0;
    EXPECT_EQ(S(1, 1), typename TypeParam::Cell(-0.5));
}

TYPED_TEST(SparseNativeTest, ProductsInPlace)
{
    typename TypeParam::Sparse A(2, 3), B(3, 2);
    A(0, 0) = cell<TypeParam>(1.0);
    A(1, 2) = cell<TypeParam>(2.0);
    B(0, 1) = cell<TypeParam>(3.0);
    B(2, 0) = cell<TypeParam>(4.0);
    const auto product = A * B;
    A *= B;
    EXPECT_EQ(A.Cols(), 2);
    EXPECT_EQ(listOf(A), listOf(product));
    const auto square = A * A;
    A *= A;
    EXPECT_EQ(listOf(A), listOf(square));
    auto I = TypeParam::Sparse::Identity(1);
    I *= I;
    EXPECT_EQ(I(0, 0), typename TypeParam::Cell(1.0));
}

TYPED_TEST(SparseNativeTest, RefusedCompoundAssignmentsLeaveAllAsItWas)
{
    auto A = example<TypeParam>();
    const std::string before = listOf(A);
    expectFailure<SizeMismatchException>([&] { A += typename TypeParam::Sparse(3, 5); },
                                         "Matrix sizes do not match: 5 x 3 plus 3 x 5.");
    expectFailure<SizeMismatchException>([&] { A -= typename TypeParam::Sparse(5, 4); },
                                         "Matrix sizes do not match: 5 x 3 minus 5 x 4.");
    expectFailure<SizeMismatchException>([&] { A *= typename TypeParam::Sparse(4, 1); },
                                         "Matrix sizes do not match: 5 x 3 times 4 x 1.");
    expectFailure<ArgumentException>([&] { A /= 0.0; }, "Division by zero error");
    auto S = marked<TypeParam>(1.0);
    expectFailure<ArgumentException>([&] { S += TypeParam::Sparse::Identity(3); },
                                     "One matrix stores one triangle, the other both.");
    EXPECT_TRUE(TypeParam::flag(S));
    EXPECT_EQ(listOf(A), before);
    const auto factor = TypeParam::Sparse::Identity(3), addend = example<TypeParam>();
    const auto untouched = [&] { return listOf(A) == before; };
    const auto refused = [&](auto operation) {
        for (int k = 0;; ++k) {
            const FailingAllocator memory(k);
            try {
                operation();
                return k;
            } catch (const NotEnoughMemoryException&) {
            } catch (const OperationFailedException&) {
            }
            EXPECT_TRUE(untouched()) << k;
        }
    };
    auto B = A;
    EXPECT_GT(refused([&] { B = example<TypeParam>(), A += addend; }), 0);
    A = example<TypeParam>();
    EXPECT_GT(refused([&] { A *= factor; }), 0);
}

TEST(CSparseNative, AHermitianMatrixStaysOneOrRefuses)
{
    auto S = marked<ComplexTwin>(1.0);
    expectFailure<ArgumentException>([&] { S *= Complex(0, 1); },
                                     "A Hermitian matrix times a number that is not real is not Hermitian.");
    expectFailure<ArgumentException>([&] { S /= Complex(0, 1); },
                                     "A Hermitian matrix times a number that is not real is not Hermitian.");
    EXPECT_EQ(S(0, 2), Complex(1, 2));
    CSparseMatrix A(1, 1);
    A(0, 0) = Complex(1, 2);
    A *= Complex(0, 1);
    EXPECT_EQ(A(0, 0), Complex(-2, 1));
    A /= Complex(0, 1);
    EXPECT_EQ(A(0, 0), Complex(1, 2));
}

TEST(SparsePrint, ListsWhatIsStored)
{
    std::ostringstream out;
    SparseMatrix A(2, 100000);
    A(0, 99999) = 1.0 / 3.0;
    A(1, 0) = -2.0;
    A.Print(out, 3);
    EXPECT_EQ(out.str(), "2 x 100000, 2 entries\n(0, 99999) 0.333\n(1, 0) -2\n");
    out.str("");
    CSparseMatrix Z(1, 1);
    Z(0, 0) = Complex(0.5, -1);
    Z.Print(out);
    EXPECT_EQ(out.str(), "1 x 1, 1 entry\n(0, 0) (0.5,-1i)\n");
    expectFailure<ArgumentOutOfRangeException>([&] { Z.Print(out, 18); },
                                               "A number has 1 to 17 digits, not 18.");
}

} // namespace
} // namespace Velmar::Lintrix::testing
