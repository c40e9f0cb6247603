#pragma once
/// @file
/// A matrix on a graph, its analysis, and a factor of it: what the tests of the numeric steps start from.

#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/engine/factorization/runs.h>
#include <lintrix/engine/solution/direct_solve.h>

#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"

#include <algorithm>
#include <complex>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace Velmar::Lintrix::testing {

template <class T>
T randomValue(std::mt19937& random)
{
    std::uniform_real_distribution<RealOf<T>> uniform(-1, 1);
    if constexpr (kIsComplex<T>) {
        const RealOf<T> re = uniform(random);
        return {re, uniform(random)};
    } else {
        return uniform(random);
    }
}

enum class Kind { Unsymmetric, Symmetric, Hermitian };

/// Entries of A in compressed rows, counted from 0: both triangles, or the upper one.
template <class T>
struct TestMatrix {
    /// `diagonal` is added to random values: large for a well-conditioned matrix.
    TestMatrix(const Graph& graph, Kind kind, RealOf<T> diagonal, unsigned seed) : kind_(kind)
    {
        std::mt19937 random(seed);
        for (int i = 0; i < graph.vertices(); ++i) {
            std::vector<int> list(graph.of(i).begin(), graph.of(i).end());
            list.push_back(i);
            std::sort(list.begin(), list.end());
            for (const int j : list) {
                if (kind != Kind::Unsymmetric && j < i) continue;
                T value = randomValue<T>(random);
                if (i == j) {
                    value += T(diagonal);
                    if (kind == Kind::Hermitian) value = T(realPart(value));
                }
                columns.push_back(j);
                values.push_back(value);
            }
            starts.push_back(static_cast<int>(columns.size()));
        }
    }

    RowPattern pattern() const { return {starts, columns}; }

    /// op(A)*x, one vector.
    std::vector<T> times(const std::vector<T>& x, bool transposed = false) const
    {
        std::vector<T> y(x.size());
        for (std::size_t i = 0; i + 1 < starts.size(); ++i) {
            for (int k = starts[i]; k < starts[i + 1]; ++k) {
                const auto j = static_cast<std::size_t>(columns[static_cast<std::size_t>(k)]);
                const T a = values[static_cast<std::size_t>(k)];
                if (kind_ == Kind::Unsymmetric) {
                    (transposed ? y[j] : y[i]) += a * (transposed ? x[i] : x[j]);
                } else {
                    y[i] += a * x[j];
                    if (i != j) y[j] += conjugate(a, kind_ == Kind::Hermitian) * x[i];
                }
            }
        }
        return y;
    }

    std::vector<int> starts{0}, columns;
    std::vector<T> values;

private:
    Kind kind_;
};

/// Everything that a factorization needs, and the factor.
template <class T>
struct FactorizationCase {
    FactorizationCase(const Graph& graph, const TestMatrix<T>& matrix, FactorRules given, int panelWidth,
                      int team)
        : rules(given),
          p(graph, randomOrdering(graph.vertices(), 5), panelWidth, isUnsymmetric(given.method)), A(matrix)
    {
        const auto n = static_cast<std::size_t>(graph.vertices()), entries = A.columns.size();
        const FactorStructure s = p.structure();
        firstEntry.resize(p.starts.size());
        source.resize(entries);
        place.resize(entries);
        EXPECT_FALSE(mapEntries(A.pattern(), {}, p.ordering.view(), s, !isUnsymmetric(rules.method), 1,
                                {firstEntry, source, place}));
        listStarts = p.descendantStarts;
        list.resize(static_cast<std::size_t>(listStarts.back()));
        listDescendants(s, {listStarts, list});
        runs.resize(static_cast<std::size_t>(s.supernodes()));
        std::vector<double> work(runs.size());
        runs.resize(static_cast<std::size_t>(dealOutSubtrees(s, team, work, runs)));
        panels = Panels::zeroed(p.sizes.lower + p.sizes.upper);
        lower = panels.span().first(static_cast<std::size_t>(p.sizes.lower));
        upper = panels.span().last(static_cast<std::size_t>(p.sizes.upper));
        rowExchange.resize(n);
        columnExchange.resize(n);
        threads = team;
    }

    FactorPlan plan()
    {
        return {p.structure(),
                p.lowerStarts,
                p.upperStarts,
                {firstEntry, source, place},
                {listStarts, list},
                runs,
                p.sizes,
                threads,
                {}};
    }
    Factor<T> factor() { return {lower.data(), upper.data(), rowExchange.data(), columnExchange.data()}; }

    /// The same factor bit for bit, but for what stands above the diagonals in symmetric storage, which has
    /// no meaning.
    bool hasBitsOf(const FactorizationCase& other) const
    {
        const FactorStructure s = p.structure();
        for (int J = 0; J < s.supernodes(); ++J) {
            for (int j = 0; j < s.width(J); ++j) {
                const std::int64_t column =
                    p.lowerStarts[static_cast<std::size_t>(J)] + std::int64_t{s.height(J)} * j;
                const auto first = lower.begin() + column + (isUnsymmetric(rules.method) ? 0 : j);
                if (!std::equal(first, lower.begin() + column + s.height(J),
                                other.lower.begin() + (first - lower.begin())))
                    return false;
            }
        }
        return std::ranges::equal(upper, other.upper) && rowExchange == other.rowExchange &&
               columnExchange == other.columnExchange;
    }

    StoredFactor<T> stored()
    {
        return {p.structure(), p.lowerStarts, p.upperStarts, rules.method, rules.hermitian, factor()};
    }

    FactorResult factorizeIt(const ProgressListener& listener = {})
    {
        return factorize<T>(plan(), rules, A.values.data(), factor(), listener);
    }

    /// op(A)*X = B, column by column.
    std::vector<std::vector<T>> solve(const std::vector<std::vector<T>>& B, bool transposed = false)
    {
        const std::size_t n = rowExchange.size();
        const int count = static_cast<int>(B.size());
        std::vector<T> b, x(n * B.size()),
            work(static_cast<std::size_t>(DirectSolve<T>::workSize(stored(), {}, threads, count)));
        for (const auto& column : B) b.insert(b.end(), column.begin(), column.end());
        DirectSolve<T>(stored(), {p.ordering.positionOf, {}, {}, {}}, {}, transposed, threads, work.data())
            .solve(b.data(), x.data(), count);
        std::vector<std::vector<T>> X;
        for (auto first = x.begin(); first != x.end(); first += static_cast<std::ptrdiff_t>(n))
            X.emplace_back(first, first + static_cast<std::ptrdiff_t>(n));
        return X;
    }

    /// ||b - A*x|| over n * eps * (||A|| * ||x||), the largest of the right-hand sides; infinity norms.
    double residualRatio(int count, bool transposed = false)
    {
        std::mt19937 random(99);
        const std::size_t n = rowExchange.size();
        std::vector<std::vector<T>> B(static_cast<std::size_t>(count), std::vector<T>(n));
        for (auto& b : B) std::generate(b.begin(), b.end(), [&] { return randomValue<T>(random); });
        const auto X = solve(B, transposed);
        double worst = 0.0, normA = 0.0;
        for (const T a : A.values) normA = std::max<double>(normA, std::abs(a));
        for (std::size_t c = 0; c < B.size(); ++c) {
            const std::vector<T> Ax = A.times(X[c], transposed);
            double residual = 0.0, normX = 0.0;
            for (std::size_t i = 0; i < n; ++i) {
                residual = std::max<double>(residual, std::abs(B[c][i] - Ax[i]));
                normX = std::max<double>(normX, std::abs(X[c][i]));
            }
            const double eps = std::numeric_limits<RealOf<T>>::epsilon();
            const double ratio = residual / (static_cast<double>(n) * eps * normA * normX);
            worst = std::isnan(ratio) ? std::numeric_limits<double>::infinity() : std::max(worst, ratio);
        }
        return worst;
    }

    FactorRules rules;
    Pipeline p;
    const TestMatrix<T>& A;
    int threads = 1;
    std::vector<int> firstEntry, source, place, rowExchange, columnExchange;
    std::vector<std::int64_t> listStarts;
    std::vector<Descendant> list;
    std::vector<PositionRange> runs;
    using Panels = detail::engine::Scratch<T>;
    Panels panels; // L, then U, in a block of the engine, as in a handle
    std::span<T> lower, upper;
};

} // namespace Velmar::Lintrix::testing
