// Factorizations through the entry, of matrices that are not all alike: patterns without symmetry, dense rows
// and columns, the smallest orders, supernodes of one column, entries of any size; and the signs of pivots.

#include "tests/engine/solution/solve_case.h"

#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/engine/factorization/factor_plan.h>

#include <cmath>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

template <class T>
class FactorMatrices : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(FactorMatrices, Scalars);

/// Entries of a general pattern: the diagonal, and (i, j) where `has` says so.
template <class T, class Has>
System<T> general(int mtype, int n, const Has& has, unsigned seed = 1)
{
    std::mt19937 random(seed);
    System<T> A{mtype, n, {1}, {}, {}};
    for (int i = 0; i < n; ++i) {
        const std::size_t first = A.a.size();
        std::size_t diagonal = 0;
        for (int j = 0; j < n; ++j) {
            if (i == j) diagonal = A.a.size();
            if (i == j || has(i, j)) A.put(j, randomNumber<T>(random));
        }
        RealOf<T> sum = 1;
        for (std::size_t k = first; k < A.a.size(); ++k) sum += std::abs(A.a[k]);
        A.a[diagonal] = T(i % 3 == 0 ? -sum : sum);
        A.endRow();
    }
    return A;
}

/// Solves with any threads, both ways.
template <class T>
void expectSolved(const System<T>& A, const char* name)
{
    for (const int threads : {1, 2, 4}) {
        const ThreadSetting setting(threads, 0);
        for (const int sides : {1, 4}) {
            SCOPED_TRACE(::testing::Message() << name << ", type " << A.mtype << ", threads " << threads);
            SolveCall<T> call(A, sides);
            call.set(8, 2);
            ASSERT_EQ(call.run(13), 0);
            EXPECT_EQ(call.iparm(14), 0);
            EXPECT_LE(call.iparm(7), 2);
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
            call.set(12, 1);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
        }
    }
}

template <class T>
std::vector<int> generalTypes()
{
    return kIsComplex<T> ? std::vector{3, 13} : std::vector{1, 11};
}

TYPED_TEST(FactorMatrices, WithoutSymmetryAreSolved)
{
    using T = TypeParam;
    for (const int mtype : generalTypes<T>()) {
        std::mt19937 random(5);
        expectSolved(general<T>(mtype, 60, [](int i, int) { return i == 20; }), "dense row");
        expectSolved(general<T>(mtype, 60, [](int, int j) { return j == 20; }), "dense column");
        expectSolved(general<T>(mtype, 60, [](int i, int j) { return i == 0 || j == 59; }), "both");
        expectSolved(general<T>(mtype, 60, [](int i, int j) { return j == i + 1; }), "bidiagonal");
        expectSolved(general<T>(mtype, 60, [](int i, int j) { return j < i; }), "triangular");
        expectSolved(general<T>(mtype, 130, [&](int, int) { return random() % 40 == 0; }), "scattered");
        expectSolved(general<T>(mtype, 40, [](int, int) { return true; }), "full");
    }
}

// The pattern's rows are those of a permutation: without the matching its diagonal would be zero.
TYPED_TEST(FactorMatrices, WithMovedRowsAreSolvedThroughTheMatching)
{
    using T = TypeParam;
    const int mtype = kIsComplex<T> ? 13 : 11, n = 50;
    const System<T> A =
        general<T>(mtype, n, [](int i, int j) { return (7 * i + j) % 11 == 0 && j != (i + 1) % 50; });
    System<T> moved{mtype, n, {1}, {}, {}};
    for (int i = 0; i < n; ++i) {
        const int from = (i + 17) % n;
        for (int k = A.ia[std::size_t(from)]; k < A.ia[std::size_t(from) + 1]; ++k)
            moved.put(A.ja[std::size_t(k) - 1] - 1, A.a[std::size_t(k) - 1]);
        moved.endRow();
    }
    expectSolved(moved, "moved");
}

TYPED_TEST(FactorMatrices, OfOrdersOneToThreeAreSolvedForEveryType)
{
    using T = TypeParam;
    for (const int mtype : typesFor<T>()) {
        for (const int n : {1, 2, 3}) {
            System<T> A = systemOf<T>(gridShape(n, 1, 1), mtype);
            const std::vector<T> right(std::size_t(n), T(2));
            int parameters[64] = {1, 2}, error = -1;
            void* pt[64] = {};
            std::vector<T> b = right, x(std::size_t(n), T(0));
            parameters[27] = sizeof(RealOf<T>) == sizeof(float) ? 1 : 0;
            const int one = 1, phase = 13, silent = 0, release = -1;
            pardiso(pt, one, one, mtype, phase, n, A.a.data(), A.ia.data(), A.ja.data(), nullptr, one,
                    parameters, silent, b.data(), x.data(), error);
            EXPECT_EQ(error, 0) << mtype << ' ' << n;
            EXPECT_EQ(pt[0] == nullptr, n == 1) << "one entry is a diagonal matrix";
            std::vector<T> r = right;
            A.forEach(false, [&](int i, int j, T a) { r[std::size_t(i)] -= a * x[std::size_t(j)]; });
            for (const T& residual : r) EXPECT_LT(std::abs(residual), 20 * kResidualLimit<T> / 1e-12 * 2e-15);
            pardiso(pt, one, one, mtype, release, n, A.a.data(), A.ia.data(), A.ja.data(), nullptr, one,
                    parameters, silent, b.data(), x.data(), error);
            EXPECT_EQ(error, 0);
        }
    }
}

// A comb has nothing that could share a panel: the block search finds its single entry.
TYPED_TEST(FactorMatrices, WithOneColumnSupernodesTakeTheSameSteps)
{
    using T = TypeParam;
    Shape comb = shapeOf("comb", 41, {});
    for (int i = 0; i < 40; ++i) comb.pairs.emplace_back(i, 40);
    for (const int mtype : typesFor<T>()) {
        for (const int pivoting : {0, 1}) {
            for (const int threads : {1, 2}) {
                const ThreadSetting setting(threads, 0);
                SolveCall<T> call(systemOf<T>(comb, mtype), 2);
                call.set(21, pivoting);
                ASSERT_EQ(call.run(13), 0);
                EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
                const Handle handle(call.pt.data());
                const FactorStructure structure = planOf(handle).structure;
                ASSERT_GE(structure.supernodes(), 40);
                for (int J = 0; J < structure.supernodes() - 1; ++J) EXPECT_EQ(structure.width(J), 1);
                const auto factor = factorIn<T>(handle, 1);
                if (mtype == 2 || mtype == 4) continue; // Cholesky has no exchanges
                for (int k = 0; k < 39; ++k) EXPECT_EQ(factor.rowExchange[k], 1);
                if (mtype < 11) continue;
                for (int k = 0; k < 39; ++k) EXPECT_EQ(factor.columnExchange[k], 1);
            }
        }
    }
}

/// Cliques side by side, each point of which meets all of one more clique: supernodes as wide as panels get.
Shape cliquesShape(int cliques, int size)
{
    const int n = (cliques + 1) * size;
    Shape shape = shapeOf("cliques", n, {});
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            if (i / size == j / size || j / size == cliques) shape.pairs.emplace_back(i, j);
        }
    }
    return shape;
}

// Blocks that BLAS and LAPACK cut among threads of their own.
TYPED_TEST(FactorMatrices, OfWideSupernodesAreSolvedWithTheSameBitsEachTime)
{
    using T = TypeParam;
    for (const int mtype : typesFor<T>()) {
        for (const int threads : {1, 2, 4}) {
            SCOPED_TRACE(::testing::Message() << mtype << ' ' << threads);
            const ThreadSetting setting(threads, 0);
            SolveCall<T> call(systemOf<T>(cliquesShape(3, 130), mtype));
            ASSERT_EQ(call.run(12), 0);
            const Handle handle(call.pt.data());
            EXPECT_GE(handle.control()[Word::WidestPanel], 72);
            const FactorEntry& entry = handle.factors()[0];
            const auto bytes = [&] {
                return std::string(static_cast<const char*>(entry.storage), std::size_t(entry.bytes));
            };
            const std::string first = bytes();
            for (int run = 0; run < 3; ++run) {
                ASSERT_EQ(call.run(22), 0);
                EXPECT_TRUE(bytes() == first);
            }
            ASSERT_EQ(call.run(33), 0);
            EXPECT_EQ(call.iparm(7), 0) << "without refinement";
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
        }
    }
}

/// `pairs` chances at n points, dominant.
Shape randomShape(int n, int pairs, std::mt19937& random)
{
    Shape shape = shapeOf("random", n, {});
    for (int k = 0; k < pairs; ++k) {
        const int i = int(random() % unsigned(n)), j = int(random() % unsigned(n));
        if (i != j) shape.pairs.emplace_back(std::min(i, j), std::max(i, j));
    }
    if (shape.pairs.empty()) shape.pairs.emplace_back(0, 1); // else it is diagonal
    return shape;
}

TYPED_TEST(FactorMatrices, OfRandomPatternsAreSolvedByAnyChoice)
{
    using T = TypeParam;
    std::mt19937 random(12);
    const auto chance = [&](int n) { return int(random() % unsigned(n)); };
    for (const int mtype : typesFor<T>()) {
        for (int run = 0; run < 60; ++run) {
            const int n = 2 + chance(90), threads = 1 + chance(4), ordering = chance(4);
            const ThreadSetting setting(threads, 0);
            SolveCall<T> call(systemOf<T>(randomShape(n, chance(4 * n), random), mtype, unsigned(run)),
                              1 + chance(5));
            call.set(2, ordering);
            call.set(10, 12 + chance(3));
            call.set(11, chance(2));
            call.set(13, chance(3));
            call.set(21, chance(2));
            SCOPED_TRACE(::testing::Message()
                         << "type " << mtype << ", run " << run << ", n " << n << ", ordering " << ordering
                         << ", threads " << threads << ", scaling " << call.iparm(11) << ", matching "
                         << call.iparm(13) << ", pivoting " << call.iparm(21));
            ASSERT_EQ(call.run(13), 0);
            EXPECT_EQ(call.iparm(14), 0);
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
            call.set(12, 1);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
        }
    }
}

// Matching, scaling and maps are the analysis's, the method is the call's.
TYPED_TEST(FactorMatrices, OfAnotherTypeThanTheAnalysisAreSolvedByTheirOwnMethod)
{
    using T = TypeParam;
    using Pair = std::pair<int, int>;
    const std::vector<Pair> pairs = kIsComplex<T>
                                        ? std::vector<Pair>{{13, 3}, {3, 13}, {4, -4}, {-4, 4}, {6, -4}}
                                        : std::vector<Pair>{{11, 1}, {1, 11}, {2, -2}, {-2, 2}};
    for (const auto& [analysed, factored] : pairs) {
        for (const int threads : {1, 2}) {
            SCOPED_TRACE(::testing::Message() << analysed << ' ' << factored << ' ' << threads);
            const ThreadSetting setting(threads, 0);
            SolveCall<T> call(systemOf<T>(gridShape(9, 8, 1), factored), 2);
            call.set(11, 1);
            call.set(13, 1);
            call.set(21, 1);
            call.A.mtype = analysed;
            ASSERT_EQ(call.run(11), 0);
            call.A.mtype = factored;
            for (const int transpose : {0, 1}) {
                call.set(12, transpose);
                ASSERT_EQ(call.run(23), 0);
                EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
            }
        }
    }
}

/// A saddle point of 64 points and 12 constraints, the last `early` of which are eliminated before all else.
template <class T>
struct SaddlePoint : SolveCall<T> {
    static constexpr int kPoints = 64, kConstraints = 12;

    SaddlePoint(int mtype, int early) : SolveCall<T>(systemOf<T>(saddleShape(), mtype))
    {
        const int n = this->A.n;
        EXPECT_EQ(n, kPoints + kConstraints);
        this->perm.resize(static_cast<std::size_t>(n));
        for (int k = 0; k < n; ++k) this->perm[static_cast<std::size_t>((k + early) % n)] = k + 1;
        this->set(5, 1);
        this->set(8, 2);
    }
};

// Behind their points constraints have pivots, which are negative. Before them, and alone in a supernode,
// they have zeros: these types neither perturb nor look beyond the block.
TYPED_TEST(FactorMatrices, OfSaddlePointsAreSolvedWhereConstraintsComeLastAndRefusedWhereOneComesFirst)
{
    using T = TypeParam;
    for (const int mtype : kIsComplex<T> ? std::vector{3, 4} : std::vector{1, 2}) {
        const bool definite = mtype % 2 == 0;
        for (const int threads : {1, 2}) {
            SCOPED_TRACE(::testing::Message() << "type " << mtype << ", " << threads << " threads");
            const ThreadSetting setting(threads, 0);
            SaddlePoint<T> last(mtype, 0);
            ASSERT_EQ(last.run(13), definite ? -4 : 0);
            if (definite) {
                EXPECT_GT(last.iparm(30), 1);
                EXPECT_LE(last.iparm(30), last.A.n);
            } else {
                EXPECT_LT(last.scaledResidual(), kResidualLimit<T>);
            }
            SaddlePoint<T> first(mtype, 1);
            ASSERT_EQ(first.run(13), -4);
            EXPECT_EQ(first.iparm(30), 1);
        }
    }
}

// Nothing in the way of a factor squares an entry, whose square might be no number.
TYPED_TEST(FactorMatrices, OfLargeEntriesAreSolvedLikeOthers)
{
    using T = TypeParam;
    using R = RealOf<T>;
    const R factor = std::ldexp(R(1), std::numeric_limits<R>::max_exponent * 2 / 3);
    for (const int mtype : typesFor<T>()) {
        const bool saddle = mtype < 0 || mtype == 6;
        System<T> A = systemOf<T>(saddle ? saddleShape() : gridShape(9, 9, 1), mtype);
        SolveCall<T> plain(A);
        for (T& a : A.a) a *= factor;
        SolveCall<T> large(A);
        for (SolveCall<T>* call : {&plain, &large}) {
            call->set(11, 0);
            call->set(13, 1); // a saddle point's pairs stand together
            call->set(26, 1);
            ASSERT_EQ(call->run(13), 0) << mtype;
        }
        EXPECT_EQ(large.iparm(14), plain.iparm(14));
        EXPECT_EQ(large.iparm(22), plain.iparm(22));
        EXPECT_EQ(large.iparm(23), plain.iparm(23));
        EXPECT_LT(large.scaledResidual(), 100 * kResidualLimit<T>) << mtype;
    }
}

// What is no number stays within its block, too: exchanges point nowhere else, and the handle serves again.
TYPED_TEST(FactorMatrices, OfWhatIsNoNumberDoNoHarm)
{
    using T = TypeParam;
    using Limits = std::numeric_limits<RealOf<T>>;
    for (const int mtype : typesFor<T>()) {
        for (const int pivoting : {0, 1}) {
            for (const RealOf<T> poison : {Limits::quiet_NaN(), Limits::infinity(), Limits::max()}) {
                for (const std::size_t step : {1, 7, 1000}) {
                    SolveCall<T> call(systemOf<T>(cliquesShape(2, 20), mtype));
                    call.set(21, pivoting);
                    ASSERT_EQ(call.run(11), 0);
                    const std::vector<T> kept = call.A.a;
                    for (std::size_t k = 0; k < kept.size(); k += step) call.A.a[k] = T(poison);
                    const int error = call.run(22);
                    EXPECT_TRUE(error == 0 || error == -4) << error;
                    const Handle handle(call.pt.data());
                    const FactorStructure structure = planOf(handle).structure;
                    const auto factor = factorIn<T>(handle, 1);
                    for (int k = 0; k < call.A.n && error == 0; ++k) {
                        const int width = structure.width(structure.supernodeOf[std::size_t(k)]);
                        EXPECT_LE(std::abs(factor.rowExchange[k]), width);
                        EXPECT_LE(factor.columnExchange[k], width);
                    }
                    call.A.a = kept;
                    ASSERT_EQ(call.run(23), 0);
                    EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
                }
            }
        }
    }
}

// Signs.

/// A Hermitian matrix B + iC has the eigenvalues of (B -C; C B), there twice.
template <class T>
int negativeEigenvalues(const System<T>& A)
{
    const int n = A.n, size = kIsComplex<T> ? 2 * n : n;
    Matrix full(size, size);
    A.forEach(false, [&](int i, int j, T a) {
        full(i, j) = realPart(a);
        if constexpr (kIsComplex<T>) {
            full(n + i, n + j) = a.real();
            full(n + i, j) = a.imag();
            full(i, n + j) = -a.imag();
        }
    });
    const SymEigen eigen(full, false);
    int negative = 0;
    for (int i = 0; i < size; ++i) negative += eigen.Eigenvalues()[i] < 0.0 ? 1 : 0;
    return negative / (size / n);
}

/// A symmetric matrix with eigenvalues on both sides of zero, none of them near it.
template <class T>
System<T> indefinite(int mtype, int n, unsigned seed)
{
    std::mt19937 random(seed);
    Shape shape = shapeOf("indefinite", n, {});
    for (int i = 0; i < n; ++i) {
        shape.diagonal[std::size_t(i)] = random() % 2 == 0 ? 1 : -1;
        for (int j = i + 1; j < n; ++j) {
            if (random() % 5 == 0) shape.pairs.emplace_back(i, j);
        }
    }
    System<T> A = systemOf<T>(shape, mtype, seed);
    for (int i = 0; i < n; ++i) // a third of dominance: pivots have to be looked for
        A.a[std::size_t(A.ia[std::size_t(i)]) - 1] *= RealOf<T>(1) / 3;
    return A;
}

TYPED_TEST(FactorMatrices, OfSymmetricTypesCountPivotsAsEigenvaluesHaveSigns)
{
    using T = TypeParam;
    const int mtype = kIsComplex<T> ? -4 : -2;
    int compared = 0;
    for (int n = 2; n <= 40; n += 2) {
        const System<T> A = indefinite<T>(mtype, n, unsigned(n));
        const int negative = negativeEigenvalues(A);
        for (const int pivoting : {0, 1}) {
            for (const int matching : {0, 1}) {
                for (const int threads : {1, 2, 4}) {
                    const ThreadSetting setting(threads, 0);
                    SolveCall<T> call(A);
                    call.set(11, matching);
                    call.set(13, matching);
                    call.set(21, pivoting);
                    ASSERT_EQ(call.run(12), 0);
                    EXPECT_EQ(call.iparm(22) + call.iparm(23), n) << "each pivot has a sign";
                    if (call.iparm(14) != 0) continue;
                    EXPECT_EQ(call.iparm(23), negative) << n << ' ' << pivoting << ' ' << matching;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 200);
}

// Sylvester: each constraint of a saddle point brings a negative eigenvalue, each point a positive one.
TYPED_TEST(FactorMatrices, OfSaddlePointsCountConstraintsAsNegative)
{
    using T = TypeParam;
    const int mtype = kIsComplex<T> ? -4 : -2;
    Shape shape = saddleShape();
    System<T> A = systemOf<T>(shape, mtype);
    for (int i = 0; i < 64; ++i) { // positive definite on the points
        T& diagonal = A.a[std::size_t(A.ia[std::size_t(i)]) - 1];
        diagonal = T(std::abs(diagonal));
    }
    for (const int threads : {1, 2, 4}) {
        const ThreadSetting setting(threads, 0);
        SolveCall<T> call(A);
        call.set(11, 1);
        call.set(13, 1);
        ASSERT_EQ(call.run(12), 0);
        ASSERT_EQ(call.iparm(14), 0);
        EXPECT_EQ(call.iparm(22), 64);
        EXPECT_EQ(call.iparm(23), 12);
    }
}

TYPED_TEST(FactorMatrices, OfTypesWithoutSignsCountNone)
{
    using T = TypeParam;
    for (const int mtype : kIsComplex<T> ? std::vector{3, 6, 13} : std::vector{1, 11}) {
        SolveCall<T> call(systemOf<T>(gridShape(6, 6, 1), mtype));
        call.set(22, 5);
        call.set(23, 5);
        ASSERT_EQ(call.run(12), 0);
        EXPECT_EQ(call.iparm(22), 0);
        EXPECT_EQ(call.iparm(23), 0);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
