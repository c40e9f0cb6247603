// What the classes cost over the raw routines: Multiply, Solve, LU and QR at n = 4, 32, 200, 1000.
//
// The raw side calls the same BLAS and LAPACK routine with the same arguments on buffers that stand ready;
// where a routine destroys its input, the raw side restores it by a copy, as any caller must.

#include "bench/buffers.h"
#include "bench/paired.h"

#include <lintrix/lintrix.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

Matrix wellConditioned(int n)
{
    Matrix A(n, n);
    A.FillRandom(-1.0, 1.0, 15);
    for (int i = 0; i < n; ++i) A(i, i) += 2.0 * std::sqrt(static_cast<double>(n));
    return A;
}

void multiply(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    const Matrix A = wellConditioned(n), B = wellConditioned(n);
    const Buffer a = cellsOf(A), b = cellsOf(B);
    Buffer c(a.size());
    const double one = 1.0, zero = 0.0;
    const auto raw = [&] {
        dgemm_("N", "N", &n, &n, &n, &one, a.data(), &n, b.data(), &n, &zero, c.data(), &n, 1, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, A * B, c);
    runPaired(state, batchFor(n), raw, [&] { benchmark::DoNotOptimize((A * B).DataPtr()); });
}

void solve(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0)), one = 1;
    const Matrix A = wellConditioned(n);
    const Matrix B(n, 1, 1.0);
    const Buffer a = cellsOf(A), b = cellsOf(B);
    Buffer lu(a.size()), x(b.size());
    std::vector<int> pivots(static_cast<std::size_t>(n));
    const auto raw = [&] {
        int info = 0;
        copyTo(a, lu);
        copyTo(b, x);
        dgetrf_(&n, &n, lu.data(), &n, pivots.data(), &info);
        dgetrs_("N", &n, &one, lu.data(), &n, pivots.data(), x.data(), &n, &info, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, A.Solve(B), x);
    runPaired(state, batchFor(n), raw, [&] { benchmark::DoNotOptimize(A.Solve(B).DataPtr()); });
}

void lu(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    const Matrix A = wellConditioned(n);
    const Buffer a = cellsOf(A);
    Buffer packed(a.size());
    std::vector<int> pivots(static_cast<std::size_t>(n));
    const auto raw = [&] {
        int info = 0;
        copyTo(a, packed);
        dgetrf_(&n, &n, packed.data(), &n, pivots.data(), &info);
        benchmark::ClobberMemory();
    };
    raw();
    double determinant = 1.0;
    for (int i = 0; i < n; ++i) determinant *= packed[std::size_t(i) * std::size_t(n + 1)];
    if (std::abs(LU(A).Determinant()) != std::abs(determinant))
        state.SkipWithError("other pivots than the raw routine");
    runPaired(state, batchFor(n), raw, [&] {
        const LU own(A);
        benchmark::DoNotOptimize(own.IsSingular());
    });
}

void qr(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0)), lwork = 3 * n + 1; // the fixed work space of the class
    const Matrix A = wellConditioned(n);
    const Buffer a = cellsOf(A);
    Buffer packed(a.size()), tau(static_cast<std::size_t>(n)), work(static_cast<std::size_t>(lwork));
    const auto raw = [&] {
        int info = 0;
        copyTo(a, packed);
        dgeqrf_(&n, &n, packed.data(), &n, tau.data(), work.data(), &lwork, &info);
        benchmark::ClobberMemory();
    };
    raw();
    const Matrix R = QR(A).R();
    for (int j = 0; j < n; ++j) {
        for (int i = j + 1; i < n; ++i) packed[std::size_t(i) + std::size_t(n) * std::size_t(j)] = 0.0;
    }
    requireClose(state, R, packed);
    runPaired(state, batchFor(n), raw, [&] {
        const QR own(A);
        benchmark::DoNotOptimize(own.Rows());
    });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("n")->Arg(4)->Arg(32)->Arg(200)->Arg(1000)->UseManualTime()->MinTime(1.0);
}

BENCHMARK(multiply)->Apply(sizes);
BENCHMARK(solve)->Apply(sizes);
BENCHMARK(lu)->Apply(sizes);
BENCHMARK(qr)->Apply(sizes);

} // namespace
} // namespace Velmar::Lintrix::bench
