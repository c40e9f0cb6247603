// The weighted matching of 100 000 rows beside one reading of the matrix: the copy of its magnitudes, without
// zeros, that the matching works on. Both are serial and are timed by the processor's clock. `ratio` is
// matching over reading.

#include "bench/paired.h"

#include <lintrix/engine/analysis/matching/matching.h>

#include "tests/engine/analysis/matching/matching_matrices.h"

#include <ctime>

namespace Velmar::Lintrix::bench {
namespace {

using namespace detail::engine;
using testing::SparseRows;

constexpr int kRows = 100000;

struct Result {
    explicit Result(int n) : columnOfRow(n), rowOfColumn(n), u(n), v(n) {}
    std::vector<int> columnOfRow, rowOfColumn;
    std::vector<double> u, v;
};

bool isOptimal(const SparseRows<double>& A, const Result& result)
{
    for (int i = 0; i < A.n(); ++i) {
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) {
            const double sum = result.u[i] + std::log(std::abs(A.a[k])) + result.v[A.ja[k]];
            if (sum > 1e-9 || (result.columnOfRow[i] == A.ja[k] && sum < -1e-9)) return false;
        }
    }
    return true;
}

template <class Work>
double processorSecondsOf(Work work)
{
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void run(benchmark::State& state, const SparseRows<double>& A)
{
    Result result(A.n());
    csr_new record;
    const auto read = [&] {
        const Failure failure = copyMagnitudes(A.view(), Triangles::AsStored, record);
        if (failure) state.SkipWithError("no memory");
    };
    const auto match = [&] {
        Matching matching{result.columnOfRow, result.rowOfColumn, result.u, result.v};
        const Failure failure = matchMaximumProduct(record, matching);
        if (failure) state.SkipWithError("no perfect matching");
    };
    read();
    match();
    if (!isOptimal(A, result)) state.SkipWithError("not optimal");
    std::vector<double> readSeconds, matchSeconds, ratios;
    for (auto _ : state) { // the matching uses its record up: it is always read anew before
        readSeconds.push_back(processorSecondsOf(read));
        matchSeconds.push_back(processorSecondsOf(match));
        ratios.push_back(matchSeconds.back() / readSeconds.back());
        state.SetIterationTime(readSeconds.back() + matchSeconds.back());
    }
    state.counters["read_ms"] = medianOf(readSeconds) * 1e3;
    state.counters["match_ms"] = medianOf(matchSeconds) * 1e3;
    state.counters["ratio"] = medianOf(ratios);
}

// Conductances of twelve decades at random: far from the diagonal that real circuits have.
void circuit(benchmark::State& state)
{
    std::mt19937 random(1);
    run(state, testing::circuitLike(kRows, random));
}

void band(benchmark::State& state)
{
    std::mt19937 random(1);
    run(state, testing::banded(kRows, 2, 6.0, random));
}

void permutedBand(benchmark::State& state)
{
    std::mt19937 random(1);
    const std::vector<int> newRow = testing::randomPermutation(kRows, random);
    run(state, testing::withRowsMoved(testing::banded(kRows, 2, 6.0, random), newRow));
}

void denseRowAndColumn(benchmark::State& state)
{
    std::mt19937 random(1);
    run(state, testing::denseRowAndColumn(kRows, random));
}

void scattered(benchmark::State& state)
{
    std::mt19937 random(1);
    run(state, testing::scattered(kRows, 3, true, random));
}

void chain(benchmark::State& state)
{
    run(state, testing::longChain(kRows));
}

// The commonest case: a stored diagonal is the largest of its column; one row in ten has none.
void dominantDiagonal(benchmark::State& state)
{
    std::mt19937 random(1);
    SparseRows<double> A = testing::circuitLike(kRows, random);
    for (int i = 0; i < A.n(); ++i) {
        for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) {
            if (A.ja[k] == i) A.a[k] = 1e7;
        }
    }
    run(state, A);
}

void settings(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
}

BENCHMARK(dominantDiagonal)->Apply(settings);
BENCHMARK(circuit)->Apply(settings);
BENCHMARK(band)->Apply(settings);
BENCHMARK(permutedBand)->Apply(settings);
BENCHMARK(denseRowAndColumn)->Apply(settings);
BENCHMARK(scattered)->Apply(settings);
BENCHMARK(chain)->Apply(settings);

} // namespace
} // namespace Velmar::Lintrix::bench
