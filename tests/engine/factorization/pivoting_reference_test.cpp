// The block kernels against their rules written out plainly, on matrices full of equals and on random ones.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/pivoting.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

/// A full square matrix.
template <class T>
struct Square {
    explicit Square(int width) : w(width), cells(static_cast<std::size_t>(w) * static_cast<std::size_t>(w)) {}
    T& operator()(int i, int j) { return cells[static_cast<std::size_t>(i + w * j)]; }
    T operator()(int i, int j) const { return cells[static_cast<std::size_t>(i + w * j)]; }
    void exchangeRows(int i, int k)
    {
        for (int j = 0; j < w; ++j) std::swap((*this)(i, j), (*this)(k, j));
    }
    void exchangeColumns(int j, int k)
    {
        for (int i = 0; i < w; ++i) std::swap((*this)(i, j), (*this)(i, k));
    }
    void exchangeBoth(int i, int k)
    {
        exchangeRows(i, k);
        exchangeColumns(i, k);
    }
    Square& operator*=(RealOf<T> factor)
    {
        for (T& cell : cells) cell *= factor;
        return *this;
    }

    int w;
    std::vector<T> cells;
};

template <class T>
T value(std::mt19937& random, bool integers)
{
    std::uniform_real_distribution<RealOf<T>> uniform(-1, 1);
    const auto part = [&] {
        return integers ? static_cast<RealOf<T>>(static_cast<int>(random() % 5) - 2) : uniform(random);
    };
    const RealOf<T> re = part();
    if constexpr (kIsComplex<T>) {
        return {re, part()};
    } else {
        return re;
    }
}

template <class T>
Square<T> unsymmetric(int w, bool integers, unsigned seed)
{
    std::mt19937 random(seed);
    Square<T> A(w);
    for (T& cell : A.cells) cell = value<T>(random, integers);
    return A;
}

template <class T>
Square<T> symmetric(int w, bool integers, bool hermitian, unsigned seed)
{
    std::mt19937 random(seed);
    Square<T> A(w);
    for (int j = 0; j < w; ++j) {
        for (int i = j; i < w; ++i) {
            A(i, j) = value<T>(random, integers);
            if (i == j && hermitian) A(i, j) = T(realPart(A(i, j)));
            A(j, i) = conjugate(A(i, j), hermitian);
        }
    }
    return A;
}

/// What the rules make of a matrix.
template <class T>
struct Outcome {
    explicit Outcome(Square<T> start)
        : A(std::move(start)), rows(static_cast<std::size_t>(A.w)), columns(rows)
    {
    }
    Square<T> A;
    std::vector<int> rows, columns;
    PivotCounts counts;
};

template <class T>
void perturb(T& pivot, RealOf<T> eps, PivotCounts& counts)
{
    if (std::abs(pivot) > eps) return;
    ++counts.perturbed;
    pivot = realPart(pivot) < 0 ? -eps : eps;
}

template <class T>
Outcome<T> completely(const Square<T>& start, RealOf<T> eps)
{
    Outcome<T> out(start);
    Square<T>& A = out.A;
    for (int k = 0; k < A.w; ++k) {
        int row = k, column = k;
        for (int j = k; j < A.w; ++j) {
            for (int i = k; i < A.w; ++i) {
                if (magnitude(A(i, j)) < magnitude(A(row, column))) continue;
                row = i;
                column = j;
            }
        }
        A.exchangeRows(k, row);
        A.exchangeColumns(k, column);
        out.rows[std::size_t(k)] = row + 1;
        out.columns[std::size_t(k)] = column + 1;
        perturb(A(k, k), eps, out.counts);
        for (int i = k + 1; i < A.w; ++i) A(i, k) /= A(k, k);
        for (int j = k + 1; j < A.w; ++j) {
            for (int i = k + 1; i < A.w; ++i) A(i, j) -= A(i, k) * A(k, j);
        }
    }
    return out;
}

template <class T>
class Pivoting : public ::testing::Test {
protected:
    using Real = RealOf<T>;
    static constexpr Real kUnit = std::numeric_limits<Real>::epsilon();

    static void expectClose(const Square<T>& found, const Square<T>& expected, Real limit, bool lower)
    {
        for (int j = 0; j < found.w; ++j) {
            for (int i = lower ? j : 0; i < found.w; ++i)
                ASSERT_LE(std::abs(found(i, j) - expected(i, j)), limit) << i << ' ' << j;
        }
    }
};

using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(Pivoting, Scalars);

// In integers of small size many are equal, and the first steps have no rounding that could tell them apart.
TYPED_TEST(Pivoting, CompleteFollowsItsRule)
{
    using T = TypeParam;
    for (const bool integers : {true, false}) {
        for (int w = 1; w <= 9; ++w) {
            for (unsigned seed = 0; seed < 30; ++seed) {
                SCOPED_TRACE(::testing::Message() << "w " << w << ", seed " << seed << ' ' << integers);
                const Square<T> A = unsymmetric<T>(w, integers, seed);
                const Outcome<T> expected = completely(A, this->kUnit * 100);
                Square<T> block = A;
                std::vector<int> rows(std::size_t(w), 0), columns(rows);
                const PivotCounts counts =
                    pivotCompletely(block.cells.data(), w, w, this->kUnit * 100, rows.data(), columns.data());
                // complex quotients and products may round otherwise, which decides among what was equal
                if (kIsComplex<T> && integers) {
                    EXPECT_EQ(rows[0], expected.rows[0]);
                    EXPECT_EQ(columns[0], expected.columns[0]);
                    continue;
                }
                EXPECT_EQ(rows, expected.rows);
                EXPECT_EQ(columns, expected.columns);
                EXPECT_EQ(counts.perturbed, expected.counts.perturbed);
                if (kIsComplex<T>)
                    this->expectClose(block, expected.A, this->kUnit * 1000, false);
                else
                    EXPECT_EQ(block.cells, expected.A.cells);
            }
        }
    }
}

template <class T>
Outcome<T> onDiagonal(const Square<T>& start, bool hermitian, RealOf<T> eps)
{
    Outcome<T> out(start);
    Square<T>& A = out.A;
    for (int k = 0; k < A.w; ++k) {
        int r = k;
        for (int i = k; i < A.w; ++i) {
            if (magnitude(A(i, i)) >= magnitude(A(r, r))) r = i;
        }
        A.exchangeBoth(k, r);
        out.rows[std::size_t(k)] = r + 1;
        perturb(A(k, k), eps, out.counts);
        ++(realPart(A(k, k)) < 0 ? out.counts.negative : out.counts.positive);
        for (int j = k + 1; j < A.w; ++j) {
            const T l = conjugate(A(j, k), hermitian) / A(k, k);
            for (int i = k + 1; i < A.w; ++i) A(i, j) -= A(i, k) * l;
        }
        for (int i = k + 1; i < A.w; ++i) A(i, k) /= A(k, k);
    }
    return out;
}

// The same for D with blocks of two: its off-diagonal stands above, as the kernel keeps it.
template <class T>
Outcome<T> bunchKaufman(const Square<T>& start, bool hermitian, RealOf<T> eps)
{
    using R = RealOf<T>;
    const R alpha = static_cast<R>(0.6403882032022076);
    Outcome<T> out(start);
    Square<T>& A = out.A;
    const auto one = [&](int k) {
        ++(realPart(A(k, k)) < 0 ? out.counts.negative : out.counts.positive);
        for (int j = k + 1; j < A.w; ++j) {
            const T l = conjugate(A(j, k), hermitian) / A(k, k);
            for (int i = k + 1; i < A.w; ++i) A(i, j) -= A(i, k) * l;
        }
        for (int i = k + 1; i < A.w; ++i) A(i, k) /= A(k, k);
    };
    const auto two = [&](int k) {
        const T d0 = A(k, k), o = A(k + 1, k), u = A(k, k + 1), d1 = A(k + 1, k + 1);
        const T determinant = d0 * d1 - o * u;
        if (realPart(determinant) < 0) {
            ++out.counts.negative;
            ++out.counts.positive;
        } else {
            (realPart(d0) < 0 ? out.counts.negative : out.counts.positive) += 2;
        }
        const Square<T> before = A;
        for (int i = k + 2; i < A.w; ++i) {
            A(i, k) = (before(i, k) * d1 - before(i, k + 1) * o) / determinant;
            A(i, k + 1) = (before(i, k + 1) * d0 - before(i, k) * u) / determinant;
        }
        for (int j = k + 2; j < A.w; ++j) {
            for (int i = k + 2; i < A.w; ++i)
                A(i, j) -= A(i, k) * before(k, j) + A(i, k + 1) * before(k + 1, j);
        }
        A(k, k + 1) = o;
        A(k + 1, k) = T(0);
    };
    for (int k = 0; k < A.w;) {
        const R d = magnitude(A(k, k));
        R c = 0, e = 0;
        int r = k;
        for (int i = k + 1; i < A.w; ++i) { // the first of equals
            if (magnitude(A(i, k)) > c) {
                c = magnitude(A(i, k));
                r = i;
            }
        }
        for (int j = k; j < A.w; ++j) {
            if (j != r) e = std::max(e, magnitude(A(r, j)));
        }
        const bool tiny = eps >= std::max(d, c);
        const bool alone = tiny || d >= alpha * c || d * e >= alpha * c * c;
        if (alone || magnitude(A(r, r)) >= alpha * e) {
            const int partner = alone ? k : r;
            A.exchangeBoth(k, partner);
            out.rows[std::size_t(k)] = partner + 1;
            if (tiny) perturb(A(k, k), eps, out.counts);
            one(k++);
        } else {
            A.exchangeBoth(k + 1, r);
            out.rows[std::size_t(k)] = -(k + 1);
            out.rows[std::size_t(k) + 1] = -(r + 1);
            two(k);
            k += 2;
        }
    }
    return out;
}

TYPED_TEST(Pivoting, OfTheDiagonalTakesTheLastOfEqualsAtEachStep)
{
    using T = TypeParam;
    std::mt19937 random(3);
    for (int w = 1; w <= 9; ++w) {
        for (int run = 0; run < 30; ++run) {
            Square<T> A(w);
            for (int i = 0; i < w; ++i)
                A(i, i) = T(static_cast<RealOf<T>>(1 + int(random() % 3)) * (random() % 2 ? 1 : -1));
            const Outcome<T> expected = onDiagonal(A, true, this->kUnit);
            std::vector<int> exchange(std::size_t(w), 0);
            const PivotCounts counts =
                pivotOnDiagonal(A.cells.data(), w, w, this->kUnit, true, exchange.data());
            EXPECT_EQ(exchange, expected.rows);
            EXPECT_EQ(A.cells, expected.A.cells);
            EXPECT_EQ(counts.positive, expected.counts.positive);
            EXPECT_EQ(counts.negative, expected.counts.negative);
        }
    }
}

/// Runs a symmetric kernel and the rule, on random matrices large and small.
template <class T, class Kernel, class Rule>
void expectRule(const Kernel& kernel, const Rule& rule)
{
    constexpr RealOf<T> unit = std::numeric_limits<RealOf<T>>::epsilon();
    for (const bool hermitian : {true, false}) {
        const bool signsMean = hermitian || !kIsComplex<T>;
        for (int w = 1; w <= 9; ++w) {
            for (unsigned seed = 0; seed < 40; ++seed) {
                SCOPED_TRACE(::testing::Message() << "w " << w << ", seed " << seed << ' ' << hermitian);
                const Square<T> A = symmetric<T>(w, false, hermitian, seed);
                const Outcome<T> expected = rule(A, hermitian, unit);
                Square<T> block = A;
                std::vector<int> exchange(std::size_t(w), 0);
                const PivotCounts counts = kernel(block.cells.data(), w, w, unit, hermitian, exchange.data());
                ASSERT_EQ(exchange, expected.rows);
                EXPECT_EQ(counts.perturbed, expected.counts.perturbed);
                EXPECT_EQ(counts.positive, signsMean ? expected.counts.positive : 0);
                EXPECT_EQ(counts.negative, signsMean ? expected.counts.negative : 0);
                RealOf<T> size = 1;
                for (int j = 0; j < w; ++j) {
                    for (int i = j; i < w; ++i) size = std::max(size, std::abs(expected.A(i, j)));
                }
                for (int j = 0; j < w; ++j) {
                    for (int i = j; i < w; ++i)
                        ASSERT_LE(std::abs(block(i, j) - expected.A(i, j)), size * size * unit * 100);
                    const bool pair = exchange[std::size_t(j)] < 0 && j + 1 < w && block(j + 1, j) == T(0);
                    if (pair) {
                        ASSERT_LE(std::abs(block(j, j + 1) - expected.A(j, j + 1)), size * size * unit * 100);
                    }
                }
            }
        }
    }
}

TYPED_TEST(Pivoting, OfTheDiagonalFollowsItsRule)
{
    expectRule<TypeParam>(pivotOnDiagonal<TypeParam>, onDiagonal<TypeParam>);
}

TYPED_TEST(Pivoting, OfBunchAndKaufmanFollowsItsRule)
{
    expectRule<TypeParam>(pivotBunchKaufman<TypeParam>, bunchKaufman<TypeParam>);
}

// As in LAPACK: nobody looks at the imaginary parts on the diagonal of a Hermitian matrix.
TYPED_TEST(Pivoting, OfHermitianMatricesTakesTheirDiagonalAsReal)
{
    using T = TypeParam;
    if constexpr (kIsComplex<T>) {
        for (const auto kernel : {pivotOnDiagonal<T>, pivotBunchKaufman<T>}) {
            for (unsigned seed = 0; seed < 20; ++seed) {
                const int w = 7;
                Square<T> A = symmetric<T>(w, false, true, seed), B = A;
                std::mt19937 random(seed);
                for (int i = 0; i < w; ++i) B(i, i) += T(0, 50 * value<RealOf<T>>(random, false));
                std::vector<int> first(w), second(w);
                const PivotCounts a = kernel(A.cells.data(), w, w, 0., true, first.data());
                const PivotCounts b = kernel(B.cells.data(), w, w, 0., true, second.data());
                EXPECT_EQ(first, second);
                EXPECT_EQ(a.negative, b.negative);
                for (int j = 0; j < w; ++j) {
                    for (int i = j; i < w; ++i) EXPECT_EQ(A(i, j), B(i, j)) << i << ' ' << j;
                    if (first[std::size_t(j)] > 0) {
                        EXPECT_EQ(A(j, j).imag(), 0);
                    }
                }
            }
        }
    }
}

// The search below the diagonal is that of BLAS, where the first of equals wins.
TYPED_TEST(Pivoting, OfBunchAndKaufmanLooksForTheFirstOfEqualsInTheColumn)
{
    using T = TypeParam;
    Square<T> A(3);
    A(1, 0) = A(2, 0) = T(1);
    int exchange[3];
    pivotBunchKaufman(A.cells.data(), 3, 3, this->kUnit, false, exchange);
    EXPECT_EQ(exchange[0], -1);
    EXPECT_EQ(exchange[1], -2);
}

// A factor times a power of two is a factor times a power of two, bit for bit, wherever its size stands among
// the numbers: no square of an entry may pass their range.
TYPED_TEST(Pivoting, DoesNotDependOnTheSizeOfTheEntries)
{
    using T = TypeParam;
    using R = RealOf<T>;
    const int most = std::numeric_limits<R>::max_exponent * 2 / 3;
    for (const int exponent : {most, -most}) {
        const R factor = std::ldexp(R(1), exponent);
        for (unsigned seed = 0; seed < 20; ++seed) {
            for (const bool hermitian : {false, true}) {
                const int w = 7;
                Square<T> plain = symmetric<T>(w, false, hermitian, seed), scaled = plain;
                scaled *= factor;
                for (int k = 0; k < w; ++k) plain(k, k) *= R(0.01), scaled(k, k) *= R(0.01);
                std::vector<int> first(w), second(w), third(w), fourth(w);
                const double eps = 1e-6;
                const PivotCounts a =
                    pivotBunchKaufman(plain.cells.data(), w, w, eps, hermitian, first.data());
                const PivotCounts b = pivotBunchKaufman(scaled.cells.data(), w, w, std::ldexp(eps, exponent),
                                                        hermitian, second.data());
                EXPECT_EQ(first, second);
                EXPECT_EQ(a.positive, b.positive);
                EXPECT_EQ(a.negative, b.negative);
                for (int j = 0; j < w; ++j) {
                    for (int i = j + 1; i < w; ++i) EXPECT_EQ(scaled(i, j), plain(i, j)) << i << ' ' << j;
                    EXPECT_EQ(scaled(j, j), plain(j, j) * factor);
                }
                plain = unsymmetric<T>(w, false, seed);
                scaled = plain;
                scaled *= factor;
                pivotCompletely(plain.cells.data(), w, w, eps, first.data(), second.data());
                pivotCompletely(scaled.cells.data(), w, w, std::ldexp(eps, exponent), third.data(),
                                fourth.data());
                EXPECT_EQ(first, third);
                EXPECT_EQ(second, fourth);
                for (int j = 0; j < w; ++j) {
                    for (int i = j + 1; i < w; ++i) EXPECT_EQ(scaled(i, j), plain(i, j)) << i << ' ' << j;
                    for (int i = 0; i <= j; ++i) EXPECT_EQ(scaled(i, j), plain(i, j) * factor);
                }
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
