// Element-wise operators and Transpose against memory bandwidth: bytes moved per second beside those of a
// plain copy loop between two arrays that stand ready, in one run. `of_copy` is the quotient: 1 is the
// machine's limit for a copy, and an operator pays for its fresh block on top.

#include "bench/paired.h"

#include <lintrix/lintrix.h>

#include <cmath>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

struct Operands {
    explicit Operands(int n) : A(n, n), B(n, n)
    {
        A.FillRandom(1.0, 2.0, 15);
        B.FillRandom(1.0, 2.0, 15);
    }
    Matrix A, B;
};

// `streams`: arrays of n x n that the operator reads and writes.
template <class Operator, class Check>
void against_copy(benchmark::State& state, int streams, Operator apply, Check expected)
{
    const int n = static_cast<int>(state.range(0));
    const Operands operands(n);
    const Matrix sample = apply(operands);
    for (int k = 0; k < n; k += 7) {
        const int r = k, c = (3 * k + 1) % n;
        if (sample(r, c) != expected(operands, r, c)) state.SkipWithError("wrong result");
    }
    const std::size_t cells = std::size_t(n) * std::size_t(n);
    const std::vector<double> source(cells, 1.0);
    std::vector<double> target(cells);
    const auto copy = [&] {
        for (std::size_t i = 0; i < cells; ++i) target[i] = source[i];
        benchmark::ClobberMemory();
    };
    runPaired(state, n <= 200 ? 10 : 1, copy, [&] { benchmark::DoNotOptimize(apply(operands).DataPtr()); });
    const double cellBytes = 8.0 * static_cast<double>(cells);
    const double copyRate = 2.0 * cellBytes / (state.counters["raw_us"] * 1e-6);
    const double ownRate = streams * cellBytes / (state.counters["own_us"] * 1e-6);
    state.counters["copy_GBps"] = copyRate * 1e-9;
    state.counters["own_GBps"] = ownRate * 1e-9;
    state.counters["of_copy"] = ownRate / copyRate;
}

void add(benchmark::State& state)
{
    against_copy(
        state, 3, [](const Operands& o) { return o.A + o.B; },
        [](const Operands& o, int r, int c) { return o.A(r, c) + o.B(r, c); });
}

void hadamard(benchmark::State& state)
{
    against_copy(
        state, 3, [](const Operands& o) { return Matrix::HadamardProduct(o.A, o.B); },
        [](const Operands& o, int r, int c) { return o.A(r, c) * o.B(r, c); });
}

void negate(benchmark::State& state)
{
    against_copy(
        state, 2, [](const Operands& o) { return -o.A; },
        [](const Operands& o, int r, int c) { return -o.A(r, c); });
}

// A copy, then dscal on it: four streams, since callers rely on the bits of both.
void scale(benchmark::State& state)
{
    against_copy(
        state, 4, [](const Operands& o) { return o.A * 3.0; },
        [](const Operands& o, int r, int c) { return o.A(r, c) * 3.0; });
}

void transpose(benchmark::State& state)
{
    against_copy(
        state, 2, [](const Operands& o) { return o.A.Transpose(); },
        [](const Operands& o, int r, int c) { return o.A(c, r); });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("n")
        ->Arg(100)
        ->Arg(200)
        ->Arg(1000)
        ->Arg(1024)
        ->Arg(2000)
        ->Arg(3000)
        ->UseManualTime()
        ->MinTime(0.5);
}

BENCHMARK(add)->Apply(sizes);
BENCHMARK(hadamard)->Apply(sizes);
BENCHMARK(negate)->Apply(sizes);
BENCHMARK(scale)->Apply(sizes);
BENCHMARK(transpose)->Apply(sizes);

} // namespace
} // namespace Velmar::Lintrix::bench
