// Random content of both sparse classes, against the rules of the fill written out a second time: which
// numbers of the shared generator are drawn, in which order, and where they go.

#include "tests/sparse/sparse_support.h"
#include "tests/sparse/sparse_twin.h"

#include <lintrix/foundation/random.h>

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::Random;
using detail::RandomServer;

constexpr double kLow = -3.0, kHigh = 7.5;
constexpr int kDecimals = 1;

std::int32_t rounded(double x)
{
    return static_cast<std::int32_t>(std::nearbyint(x)); // ties to even
}

template <class Twin>
class LiteralFill {
public:
    using Cell = typename Twin::Cell;

    LiteralFill(const Shape& shape, bool flagged, double density, const Random& random)
        : random_(random), rows_(shape.rows), cols_(shape.cols)
    {
        const double total = static_cast<double>(rows_) * cols_;
        if (flagged) {
            fillTriangle(total, density);
        } else {
            fillRows(total, density);
        }
    }

    std::int32_t capacity = 0;
    std::vector<std::int32_t> starts{1}, columns;
    std::vector<Cell> values;
    const Random& random() const { return random_; }

private:
    std::int32_t next(std::int32_t end) { return random_.Next(0, end); }
    Cell newValue()
    {
        typename Twin::Parts parts{};
        for (double& x : parts) {
            const double power = std::pow(10.0, kDecimals);
            x = std::nearbyint((random_.NextDouble() * (kHigh - kLow) + kLow) * power) / power;
        }
        return Twin::cell(parts);
    }
    static std::size_t at(std::int32_t index) { return static_cast<std::size_t>(index); }

    void allot(std::int32_t slots)
    {
        capacity = slots;
        a_.resize(at(slots + cols_));
        ja_.resize(at(slots + cols_));
        ends_.resize(at(rows_));
    }

    void fillTriangle(double total, double density)
    {
        const std::int32_t target = std::max(rows_, rounded(total * density * 0.5));
        allot(rows_ + target);
        const std::int32_t positions = (rows_ + 1) * rows_ / 2;
        const double p = static_cast<double>(target) / positions;
        std::vector<std::int32_t> ia{1};
        double sum = 0.0;
        for (int i = 1; i <= rows_; ++i) {
            sum = (rows_ + 1 - i) * p + 1.0 + sum;
            ia.push_back(rounded(sum) + 1);
        }
        for (int r = 0; r < rows_; ++r) {
            std::int32_t quota = ia[at(r + 1)] - ia[at(r)], position = ia[at(r)] - 1;
            for (int c = r; c < cols_; ++c) {
                if (c == r) {
                    const bool chosen = next(positions) < target;
                    ja_[at(position)] = c + 1;
                    a_[at(position++)] = chosen ? newValue() : Cell{};
                    quota -= chosen ? 1 : 0;
                } else if (next(cols_ - c) < quota) {
                    ja_[at(position)] = c + 1;
                    a_[at(position++)] = newValue();
                    --quota;
                }
            }
            ends_[at(r)] = position;
        }
        compress(ia);
    }

    void fillRows(double total, double density)
    {
        const std::int32_t target = std::max(rows_, rounded(total * density));
        allot(target);
        const double perRow = static_cast<double>(target) / rows_;
        std::vector<std::int32_t> ia;
        for (int i = 0; i <= rows_; ++i) ia.push_back(rounded(i * perRow) + 1);
        for (int k = 0; k < target; ++k) a_[at(k)] = newValue();
        for (int r = 0; r < rows_; ++r) {
            std::int32_t quota = ia[at(r + 1)] - ia[at(r)], position = ia[at(r)] - 1;
            for (int c = 0; c < cols_; ++c) {
                if (next(cols_ - c) >= quota) continue;
                ja_[at(position++)] = c + 1;
                --quota;
            }
            ends_[at(r)] = position;
        }
        compress(ia);
    }

    /// A row keeps what was written to it and not written over by the next one: one whose diagonal is zero
    /// may have run one slot too far, and a short one may have been allotted more slots than it has columns.
    void compress(const std::vector<std::int32_t>& ia)
    {
        for (int r = 0; r < rows_; ++r) {
            for (std::int32_t k = ia[at(r)] - 1; k < std::min(ends_[at(r)], ia[at(r + 1)] - 1); ++k) {
                columns.push_back(ja_[at(k)]);
                values.push_back(a_[at(k)]);
            }
            starts.push_back(static_cast<std::int32_t>(values.size()) + 1);
        }
    }

    Random random_;
    std::int32_t rows_, cols_;
    std::vector<Cell> a_;
    std::vector<std::int32_t> ja_, ends_;
};

template <class Twin>
void expectLiteralFill(const Shape& shape, bool flagged, double density)
{
    SCOPED_TRACE(::testing::Message() << shape << (flagged ? ", flagged, " : ", ") << density);
    const LiteralFill<Twin> literal(shape, flagged, density, RandomServer::GetRandom());
    typename Twin::Sparse A(shape.rows, shape.cols);
    Twin::flag(A, flagged);
    A.FillRandom(density, kLow, kHigh, kDecimals);
    EXPECT_EQ(A.Capacity(), literal.capacity);
    EXPECT_TRUE(std::ranges::equal(A.RowPointers(), literal.starts));
    EXPECT_TRUE(std::ranges::equal(A.ColumnIndices(), literal.columns));
    EXPECT_TRUE(std::ranges::equal(A.Values(), literal.values));
    EXPECT_EQ(Twin::flag(A), flagged);
    Random after = literal.random();
    EXPECT_EQ(RandomServer::GetRandom().NextDouble(), after.NextDouble()) << "as many were drawn";
}

template <class Twin>
class SparseFill : public ::testing::Test {
};
TYPED_TEST_SUITE(SparseFill, SparseTwins);

TYPED_TEST(SparseFill, OfAGeneralMatrixIsTheLiteralOne)
{
    for (const Shape& shape : {Shape{1, 1}, {1, 9}, {9, 1}, {5, 8}, {8, 5}, {30, 41}}) {
        for (const double density : {0.0, 0.05, 0.2, 0.5, 0.9, 1.0}) {
            expectLiteralFill<TypeParam>(shape, false, density);
        }
    }
}

TYPED_TEST(SparseFill, OfAFlaggedMatrixIsTheLiteralOne)
{
    for (const int n : {1, 2, 3, 5, 12, 40}) {
        for (const double density : {0.0, 0.05, 0.2, 0.5, 0.9, 1.0}) {
            for (int again = 0; again < 5; ++again) expectLiteralFill<TypeParam>({n, n}, true, density);
        }
    }
}

TYPED_TEST(SparseFill, ShortFormsTakeOneToTenWithoutDecimals)
{
    typename TypeParam::Sparse A(20, 20), B(20, 20);
    const auto expectSame = [&](auto shortForm, double density, double low, double high) {
        const Random start = RandomServer::GetRandom();
        shortForm();
        RandomServer::GetRandom() = start;
        B.FillRandom(density, low, high, 0);
        EXPECT_TRUE(std::ranges::equal(A.Values(), B.Values()));
        EXPECT_TRUE(std::ranges::equal(A.ColumnIndices(), B.ColumnIndices()));
    };
    expectSame([&] { A.FillRandom(); }, 0.01, 1.0, 10.0);
    expectSame([&] { A.FillRandom(0.3); }, 0.3, 1.0, 10.0);
    expectSame([&] { A.FillRandom(0.3, -5.0, 5.0); }, 0.3, -5.0, 5.0);
}

TEST(SparseFill, APlaceOfTheComplexFillTakesItsRealPartFirst)
{
    RandomServer::GetRandom() = Random(17);
    Random reference(17);
    CSparseMatrix A(1, 3);
    A.FillRandom(1.0, 0.0, 1.0, 15);
    for (const Complex& x : A.Values()) {
        const double re = std::nearbyint(reference.NextDouble() * 1e15) / 1e15;
        const double im = std::nearbyint(reference.NextDouble() * 1e15) / 1e15;
        EXPECT_EQ(x, Complex(re, im));
    }
}

TEST(SparseFill, TheDiagonalOfAHermitianFillIsZeroOrHasAnyImaginaryPart)
{
    CSparseMatrix A(60, true);
    A.FillRandom(0.5, 1.0, 2.0, 3);
    EXPECT_TRUE(A.Hermitian());
    int zeros = 0, others = 0;
    for (int i = 0; i < 60; ++i) {
        const Complex x = A.Item(i, i);
        zeros += x == Complex() ? 1 : 0;
        others += x.imag() > 0.0 ? 1 : 0;
    }
    EXPECT_GT(zeros, 0);
    EXPECT_GT(others, 0);
    EXPECT_EQ(zeros + others, 60);
}

} // namespace
} // namespace Velmar::Lintrix::testing
