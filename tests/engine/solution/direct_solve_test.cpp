// Permutation, scaling and substitution in one: whole and in parts, one right-hand side and many.

#include "tests/engine/stored_system.h"

namespace Velmar::Lintrix::testing {
namespace {

constexpr double kAcceptable = 30.0;

template <class T>
class DirectSolveOf : public ::testing::Test {
protected:
    // ||b - op(A)*x|| over n * eps * ||A|| * ||x||; infinity norms.
    static double ratio(const TestMatrix<T>& A, const std::vector<T>& x, const std::vector<T>& b,
                        bool transposed)
    {
        const std::size_t n = A.starts.size() - 1;
        double normA = 0.0, worst = 0.0;
        for (const T a : A.values) normA = std::max<double>(normA, std::abs(a));
        for (std::size_t column = 0; column < x.size(); column += n) {
            const auto at = [&](const std::vector<T>& block) {
                const auto first = block.begin() + static_cast<std::ptrdiff_t>(column);
                return std::vector<T>(first, first + static_cast<std::ptrdiff_t>(n));
            };
            const std::vector<T> own = at(x), right = at(b), product = A.times(own, transposed);
            double residual = 0.0, normX = 0.0;
            for (std::size_t i = 0; i < n; ++i) {
                residual = std::max<double>(residual, std::abs(right[i] - product[i]));
                normX = std::max<double>(normX, std::abs(own[i]));
            }
            worst = std::max(worst, residual / (static_cast<double>(n) * kEpsilon<T> * normA * normX));
        }
        return worst;
    }
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(DirectSolveOf, Scalars);

TYPED_TEST(DirectSolveOf, AnyNumberOfRightHandSidesIsSolvedOnAnyThreads)
{
    using T = TypeParam;
    const OwnedGraph graph = grid(8, 9);
    for (const bool transposed : {false, true}) {
        const TestMatrix<T> A(graph.view(), Kind::Unsymmetric, 30, 17);
        for (const int threads : {1, 2, 4}) {
            const StoredSystem<T> system(graph.view(), A, {Method::CompletePivoting, false, 0.0}, threads,
                                         transposed);
            for (const int count : {1, 2, 3, 4, 5, 7, 8, 9, 16, 20}) {
                const auto b = randomVector<T>(72 * static_cast<std::size_t>(count), 4);
                std::vector<T> x(b.size());
                system.solver.solve(b.data(), x.data(), count);
                EXPECT_LT(this->ratio(A, x, b, transposed), kAcceptable) << count << ' ' << threads;
                std::vector<T> inPlace = b;
                system.solver.solve(inPlace.data(), inPlace.data(), count);
                EXPECT_EQ(inPlace, x);
            }
        }
    }
}

TYPED_TEST(DirectSolveOf, TheThreePartsInTurnAreTheWhole)
{
    using T = TypeParam;
    const OwnedGraph graph = grid(8, 9);
    for (const Method method : {Method::CompletePivoting, Method::RowPivoting, Method::Cholesky,
                                Method::DiagonalPivoting, Method::BunchKaufman}) {
        const Kind kind = isUnsymmetric(method) ? Kind::Unsymmetric : Kind::Hermitian;
        const TestMatrix<T> A(graph.view(), kind, 30, 17);
        const FactorRules rules{method, kind == Kind::Hermitian && kIsComplex<T>, 0.0};
        const StoredSystem<T> system(graph.view(), A, rules, 1);
        const auto b = randomVector<T>(72 * 2, 4);
        std::vector<T> whole(b.size()), part = b;
        system.solver.solve(b.data(), whole.data(), 2);
        for (const SolvePart step : {SolvePart::Forward, SolvePart::Diagonal, SolvePart::Backward}) {
            system.solver.solve(part.data(), part.data(), 2, step);
        }
        EXPECT_EQ(part, whole);
    }
}

// With R A C factored in place of A: x = C inv(RAC) R b, and the transposed system exchanges R and C.
TYPED_TEST(DirectSolveOf, ScaleFactorsAndMovedRowsAreUndone)
{
    using T = TypeParam;
    const OwnedGraph graph = grid(5, 6);
    const std::size_t n = 30;
    const TestMatrix<T> A(graph.view(), Kind::Unsymmetric, 30, 17);
    StoredSystem<T> system(graph.view(), A, {Method::CompletePivoting, false, 0.0}, 1);
    std::vector<int> columnOfRow(n);
    std::vector<double> r(n), c(n);
    for (std::size_t i = 0; i < n; ++i) {
        columnOfRow[i] = static_cast<int>((i * 7 + 3) % n);
        r[i] = std::ldexp(1.0, static_cast<int>(i % 5) - 2);
        c[i] = std::ldexp(1.0, 3 - static_cast<int>(i % 4));
    }
    // Row i of the scaled matrix's pre-image is row columnOfRow[i] of A, divided by its factors.
    const auto original = [&](const std::vector<T>& x, bool transposed) {
        std::vector<T> in(n), y(n);
        for (std::size_t i = 0; i < n; ++i) {
            const auto moved = static_cast<std::size_t>(columnOfRow[i]);
            if (transposed) {
                in[moved] = x[i] * T(static_cast<RealOf<T>>(1 / r[i]));
            } else {
                in[i] = x[i] * T(static_cast<RealOf<T>>(1 / c[i]));
            }
        }
        const std::vector<T> product = A.times(in, transposed);
        for (std::size_t i = 0; i < n; ++i) {
            const auto moved = static_cast<std::size_t>(columnOfRow[i]);
            y[i] = transposed ? product[i] * T(static_cast<RealOf<T>>(1 / c[i]))
                              : product[moved] * T(static_cast<RealOf<T>>(1 / r[i]));
        }
        return y;
    };
    for (const bool transposed : {false, true}) {
        const DirectSolve<T> solver(system.c.stored(), {system.c.p.ordering.positionOf, columnOfRow, r, c},
                                    {}, transposed, 1, system.work.data());
        const auto wanted = randomVector<T>(n, 8);
        const std::vector<T> b = original(wanted, transposed);
        std::vector<T> x(n);
        solver.solve(b.data(), x.data(), 1);
        EXPECT_LT(relativeDifference(x, wanted), 1000 * kEpsilon<T>) << transposed;
    }
}

TYPED_TEST(DirectSolveOf, SolutionsHaveTheSameBitsInEveryRun)
{
    using T = TypeParam;
    const OwnedGraph graph = grid(20, 20);
    const TestMatrix<T> A(graph.view(), Kind::Symmetric, 30, 17);
    for (const int threads : {1, 2, 4}) {
        const StoredSystem<T> system(graph.view(), A, {Method::BunchKaufman, false, 0.0}, threads);
        for (const int count : {1, 5}) {
            const auto b = randomVector<T>(400 * static_cast<std::size_t>(count), 4);
            std::vector<T> first(b.size()), again(b.size());
            system.solver.solve(b.data(), first.data(), count);
            for (int run = 0; run < 20; ++run) {
                system.solver.solve(b.data(), again.data(), count);
                ASSERT_EQ(first, again);
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
