// What Cholesky, SVD and SymEigen cost over dpotrf, dgesdd and dsyev at n = 4, 32, 200, 1000.
//
// The raw side calls the same routine with the same arguments on buffers that stand ready, and restores its
// input by a copy, as any caller must.

#include "bench/buffers.h"
#include "bench/paired.h"

#include <lintrix/lintrix.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

// Symmetric, uniform in [-1, 1], with `shift` added to the diagonal.
Matrix symmetric(int n, double shift)
{
    Matrix A(n, n);
    A.FillRandom(-1.0, 1.0, 15);
    for (int j = 0; j < n; ++j) {
        A(j, j) += shift;
        for (int i = 0; i < j; ++i) A(i, j) = A(j, i);
    }
    return A;
}

void cholesky(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    const Matrix A = symmetric(n, 2.0 * n);
    const Buffer a = cellsOf(A);
    Buffer packed(a.size());
    const auto raw = [&] {
        int info = 0;
        copyTo(a, packed);
        dpotrf_("L", &n, packed.data(), &n, &info, 1);
        benchmark::ClobberMemory();
    };
    raw();
    for (int j = 0; j < n; ++j) std::fill_n(packed.begin() + std::ptrdiff_t{n} * j, j, 0.0);
    requireClose(state, Cholesky(A).L().value(), packed);
    runPaired(state, batchFor(n), raw, [&] {
        const Cholesky own(A);
        benchmark::DoNotOptimize(own.Succeeded());
    });
}

// What a caller of dgesdd must provide, uninitialised as the class takes it.
struct SvdBuffers {
    explicit SvdBuffers(int n)
        : lwork(std::max(n, 4 * n * (n + 1)) + 3 * n * n), // the fixed work space of the class
          copy(doubles(n, n)), s(doubles(n)), u(doubles(n, n)), vt(doubles(n, n)), work(doubles(lwork)),
          integers(new int[8 * static_cast<std::size_t>(n)])
    {
    }
    static double* doubles(int rows, int cols = 1)
    {
        return new double[static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols)];
    }

    int lwork;
    std::unique_ptr<double[]> copy, s, u, vt, work;
    std::unique_ptr<int[]> integers;
};

void rawSvd(const Buffer& a, int n, bool values, SvdBuffers& to)
{
    int info = 0;
    std::copy(a.begin(), a.end(), to.copy.get());
    dgesdd_(values ? "N" : "S", &n, &n, to.copy.get(), &n, to.s.get(), to.u.get(), &n, to.vt.get(), &n,
            to.work.get(), &to.lwork, to.integers.get(), &info, 1);
    benchmark::ClobberMemory();
}

// `values`: singular values alone. `fresh`: the raw side takes its buffers at each call, as the class does
// and as a caller with one matrix must; else they stand ready.
void svd(benchmark::State& state, bool values, bool fresh)
{
    const int n = static_cast<int>(state.range(0));
    const Matrix A = symmetric(n, 0.0);
    const Buffer a = cellsOf(A);
    SvdBuffers ready(n);
    rawSvd(a, n, values, ready);
    requireClose(state, SVD(A, values).SingularValues().ToMatrix(), Buffer(ready.s.get(), ready.s.get() + n));
    const auto raw = [&] {
        if (!fresh) return rawSvd(a, n, values, ready);
        SvdBuffers own(n);
        rawSvd(a, n, values, own);
    };
    runPaired(state, batchFor(n), raw, [&] {
        const SVD own(A, values);
        benchmark::DoNotOptimize(own.Succeeded());
    });
}

void symEigen(benchmark::State& state, bool eigenvectors)
{
    const int n = static_cast<int>(state.range(0)), lwork = 66 * n;
    const Matrix A = symmetric(n, 0.0);
    const Buffer a = cellsOf(A);
    Buffer vectors(a.size()), w(static_cast<std::size_t>(n)), work(static_cast<std::size_t>(lwork));
    const auto raw = [&] {
        int info = 0;
        copyTo(a, vectors);
        dsyev_(eigenvectors ? "V" : "N", "L", &n, vectors.data(), &n, w.data(), work.data(), &lwork, &info, 1,
               1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, SymEigen(A, eigenvectors).Eigenvalues().ToMatrix(), Buffer(w.rbegin(), w.rend()));
    runPaired(state, batchFor(n), raw, [&] {
        const SymEigen own(A, eigenvectors);
        benchmark::DoNotOptimize(own.Succeeded());
    });
}

// A pair at n = 1000 takes seconds, so that size runs a few times and the others for half a second.
void smallSizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("n")->Arg(4)->Arg(32)->Arg(200)->UseManualTime()->MinTime(0.5);
}
void largeSize(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("n")->Arg(1000)->UseManualTime()->Iterations(3);
}

BENCHMARK(cholesky)->Apply(smallSizes);
BENCHMARK(cholesky)->ArgName("n")->Arg(1000)->UseManualTime()->MinTime(0.5);
BENCHMARK_CAPTURE(svd, vectors, false, false)->Apply(smallSizes);
BENCHMARK_CAPTURE(svd, vectors, false, false)->Apply(largeSize);
BENCHMARK_CAPTURE(svd, values, true, false)->Apply(smallSizes);
BENCHMARK_CAPTURE(svd, values, true, false)->Apply(largeSize);
BENCHMARK_CAPTURE(svd, vectors_fresh, false, true)->Apply(smallSizes);
BENCHMARK_CAPTURE(svd, vectors_fresh, false, true)->Apply(largeSize);
BENCHMARK_CAPTURE(symEigen, vectors, true)->Apply(smallSizes);
BENCHMARK_CAPTURE(symEigen, vectors, true)->Apply(largeSize);
BENCHMARK_CAPTURE(symEigen, values, false)->Apply(smallSizes);
BENCHMARK_CAPTURE(symEigen, values, false)->Apply(largeSize);

} // namespace
} // namespace Velmar::Lintrix::bench
