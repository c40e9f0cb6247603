// Element-wise operators and Transpose against memory bandwidth: bytes moved per second beside those of a
// plain copy loop between two arrays that stand ready, in one run. `of_copy` is the quotient: 1 is the
// machine's limit for a copy, and an operator pays for its fresh block on top.

#include "bench/paired.h"

#include <lintrix/foundation/detail/transpose_squares.h>
#include <lintrix/lintrix.h>

#include <cmath>
#include <cstdint>
#include <cstring>
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

// The result stands ready, as the target of the copy does.
template <class M, class Move>
void transpose_ready(benchmark::State& state, Move move)
{
    const int rows = static_cast<int>(state.range(0)), cols = static_cast<int>(state.range(1));
    M A(rows, cols), B(cols, rows), copy(rows, cols);
    double number = 0.0;
    for (auto& cell : A) cell = number += 0.5;
    move(A, B);
    if (!(B == A.Transpose())) state.SkipWithError("wrong result");
    const auto bytes = static_cast<std::size_t>(A.size()) * sizeof(*A.data());
    const auto plain = [&] {
        std::memcpy(copy.data(), A.data(), bytes);
        benchmark::ClobberMemory();
    };
    runPaired(state, bytes <= (1u << 20) ? 10 : 1, plain, [&] { move(A, B); });
    state.counters["copy_GBps"] = 2.0 * static_cast<double>(bytes) / state.counters["raw_us"] * 1e-3;
    state.counters["of_copy"] = 1.0 / state.counters["ratio"];
}

void transpose_real_ready(benchmark::State& state)
{
    transpose_ready<Matrix>(state, [](const Matrix& A, Matrix& B) {
        const auto m = static_cast<std::uint64_t>(A.Rows()), n = static_cast<std::uint64_t>(A.Cols());
        MKL_Domatcopy('C', 'T', m, n, 1.0, A.data(), m, B.data(), n);
    });
}

void transpose_complex_ready(benchmark::State& state)
{
    transpose_ready<CMatrix>(state, [](const CMatrix& A, CMatrix& B) {
        const auto m = static_cast<std::uint64_t>(A.Rows()), n = static_cast<std::uint64_t>(A.Cols());
        detail::transposeComplexSquares().chosen()(m, n, A.data(), m, B.data(), n);
    });
}

// The result is a new matrix, as a copy is: from 32 MB on the C runtime maps its memory afresh for both.
template <class M>
void transpose_new(benchmark::State& state)
{
    M A(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    double number = 0.0;
    for (auto& cell : A) cell = number += 0.5;
    runPaired(
        state, A.size() <= (1 << 16) ? 10 : 1, [&] { benchmark::DoNotOptimize(M(A).data()); },
        [&] { benchmark::DoNotOptimize(A.Transpose().data()); });
    state.counters["of_copy"] = 1.0 / state.counters["ratio"];
}

void transpose_real_new(benchmark::State& state)
{
    transpose_new<Matrix>(state);
}

void transpose_complex_new(benchmark::State& state)
{
    transpose_new<CMatrix>(state);
}

void shapes(benchmark::internal::Benchmark* benchmark)
{
    for (const int n : {100, 256, 500, 512, 1000, 1024, 1500, 2000, 2048, 3000, 4000, 4096})
        benchmark->Args({n, n});
    benchmark->Args({100, 100000})->Args({100000, 100})->UseManualTime()->MinTime(0.2);
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
BENCHMARK(transpose_real_ready)->Apply(shapes);
BENCHMARK(transpose_real_new)->Apply(shapes);
BENCHMARK(transpose_complex_ready)->Apply(shapes);
BENCHMARK(transpose_complex_new)->Apply(shapes);

} // namespace
} // namespace Velmar::Lintrix::bench
