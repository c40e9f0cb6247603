// Products and residuals with the caller's matrix against the matrix's own product.

#include "tests/engine/stored_system.h"

namespace Velmar::Lintrix::testing {
namespace {

template <class T>
class SparseOperatorOf : public ::testing::Test {
protected:
    static std::vector<T> productOf(const TestMatrix<T>& A, const std::vector<T>& x, int count,
                                    bool transposed)
    {
        const std::size_t n = A.starts.size() - 1;
        std::vector<T> y;
        for (std::size_t c = 0; c < static_cast<std::size_t>(count); ++c) {
            const auto first = x.begin() + static_cast<std::ptrdiff_t>(n * c);
            const auto column = A.times({first, first + static_cast<std::ptrdiff_t>(n)}, transposed);
            y.insert(y.end(), column.begin(), column.end());
        }
        return y;
    }
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(SparseOperatorOf, Scalars);

TYPED_TEST(SparseOperatorOf, EveryStorageMultipliesAndLeavesResiduals)
{
    using T = TypeParam;
    constexpr int count = 3;
    for (const OwnedGraph& graph : {grid(1, 1), grid(1, 2), grid(9, 7), randomGraph(40, 300, 2)}) {
        for (const Kind kind : {Kind::Unsymmetric, Kind::Symmetric, Kind::Hermitian}) {
            for (const bool transposed : {false, true}) {
                if (transposed && kind != Kind::Unsymmetric) continue;
                const TestMatrix<T> A(graph.view(), kind, 2, 3);
                const CallersCopy<T> stored(A, kind);
                const auto n = static_cast<std::size_t>(stored.order());
                const auto x = randomVector<T>(n * count, 5), b = randomVector<T>(n * count, 6);
                const auto expected = this->productOf(A, x, count, transposed);
                for (const int threads : {1, 2, 5}) {
                    const OwnedOperator<T> op(stored.view(transposed), threads);
                    std::vector<T> y(n * count), r(n * count), e(n * count), sum(n * count);
                    op.view.multiply(x.data(), y.data(), count);
                    EXPECT_LT(relativeDifference(y, expected), 100 * kEpsilon<T>);
                    op.view.residual(b.data(), x.data(), r.data(), count);
                    op.view.extendedResidual(b.data(), x.data(), e.data(), count);
                    for (std::size_t i = 0; i < r.size(); ++i) sum[i] = b[i] - expected[i];
                    EXPECT_LT(relativeDifference(r, sum), 100 * kEpsilon<T>);
                    EXPECT_LT(relativeDifference(e, sum), 100 * kEpsilon<T>);
                }
            }
        }
    }
}

// 1 + 2^-60 - 1: double precision sums to 0, 80 bits keep what is left.
TEST(ExtendedResidual, KeepsWhatDoublePrecisionLoses)
{
    const double tiny = 0x1p-60;
    const std::vector<int> ia{1, 4, 5, 6}, ja{1, 2, 3, 2, 3};
    const std::vector<double> a{1.0, tiny, 1.0, 1.0, 1.0}, x{1.0, 1.0, -1.0}, b(3, 0.0);
    for (const bool transposed : {false, true}) {
        const std::vector<int> lowerIa{1, 2, 4, 6}, lowerJa{1, 1, 2, 1, 3};
        const std::vector<double> lowerA{1.0, tiny, 1.0, 1.0, 1.0};
        const CallersMatrix<double> matrix =
            transposed
                ? CallersMatrix<double>{3,   lowerIa.data(), lowerJa.data(), lowerA.data(), Storage::General,
                                        true}
                : CallersMatrix<double>{3, ia.data(), ja.data(), a.data(), Storage::General, false};
        const OwnedOperator<double> op(matrix, 1);
        std::vector<double> r(3), e(3);
        op.view.residual(b.data(), x.data(), r.data(), 1);
        op.view.extendedResidual(b.data(), x.data(), e.data(), 1);
        EXPECT_EQ(r[0], 0.0);
        EXPECT_EQ(e[0], -tiny);
    }
}

TEST(SparseOperatorOfAHermitianMatrix, TakesItsDiagonalForReal)
{
    using T = std::complex<double>;
    const std::vector<int> ia{1, 2}, ja{1};
    const std::vector<T> a{{2.0, 7.0}}, x{{1.0, 1.0}};
    const OwnedOperator<T> op({1, ia.data(), ja.data(), a.data(), Storage::Hermitian, false}, 1);
    std::vector<T> y(1);
    op.view.multiply(x.data(), y.data(), 1);
    EXPECT_EQ(y[0], T(2.0, 2.0));
}

TEST(SparseOperatorOnThreads, GivesTheSameBitsInEveryRun)
{
    const OwnedGraph graph = grid(30, 30);
    for (const Kind kind : {Kind::Unsymmetric, Kind::Symmetric}) {
        const TestMatrix<double> A(graph.view(), kind, 2, 3);
        const CallersCopy<double> stored(A, kind);
        const auto x = randomVector<double>(900, 5);
        for (const int threads : {2, 4}) {
            const OwnedOperator<double> op(stored.view(kind == Kind::Unsymmetric), threads);
            std::vector<double> first(900), again(900);
            op.view.multiply(x.data(), first.data(), 1);
            for (int run = 0; run < 20; ++run) {
                op.view.multiply(x.data(), again.data(), 1);
                ASSERT_EQ(first, again);
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
