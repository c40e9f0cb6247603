// What the complex classes cost over the raw routines, at n = 4, 32, 200 and, but for the iterations, 1000.
//
// The raw side calls the same BLAS and LAPACK routine with the same arguments on buffers that stand ready;
// where a routine destroys its input, the raw side restores it by a copy, as any caller must.

#include "bench/paired.h"

#include <lintrix/lintrix.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

using Cells = std::vector<Complex>;

// Uniform in both parts, with `shift` added to the diagonal.
CMatrix random(int n, double shift)
{
    std::mt19937_64 generator(n);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    CMatrix A(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) A(i, j) = {uniform(generator), uniform(generator)};
        A(j, j) += shift;
    }
    return A;
}

CMatrix hermitian(int n, double shift)
{
    CMatrix A = random(n, shift);
    for (int j = 0; j < n; ++j) {
        A(j, j) = A(j, j).real();
        for (int i = 0; i < j; ++i) A(i, j) = std::conj(A(j, i));
    }
    return A;
}

Cells cellsOf(const CMatrix& A)
{
    const auto* cells = reinterpret_cast<const Complex*>(A.DataPtr());
    return Cells(cells, cells + std::size_t(A.Rows()) * std::size_t(A.Cols()));
}

// Both sides must have computed the same, up to thread scheduling.
template <class Value>
void requireClose(benchmark::State& state, const Value& own, const Value& raw)
{
    if (!(std::abs(own - raw) <= 1e-9 * (1.0 + std::abs(raw)))) {
        state.SkipWithError("the class and the raw routine disagree");
    }
}

std::size_t size(int n)
{
    return static_cast<std::size_t>(n);
}

void multiply(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    const CMatrix A = random(n, 0.0), B = random(n, 1.0);
    const Cells a = cellsOf(A), b = cellsOf(B);
    Cells c(a.size());
    const Complex one = 1.0, zero = 0.0;
    const auto raw = [&] {
        zgemm_("N", "N", &n, &n, &n, &one, a.data(), &n, b.data(), &n, &zero, c.data(), &n, 1, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, (A * B)(n - 1, n - 1), c.back());
    runPaired(state, batchFor(n), raw, [&] { benchmark::DoNotOptimize((A * B).DataPtr()); });
}

void solve(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0)), one = 1;
    const CMatrix A = random(n, 2.0 * std::sqrt(n)), B(n, 1, 1.0);
    const Cells a = cellsOf(A), b = cellsOf(B);
    Cells lu(a), x(b);
    std::vector<int> pivots(size(n));
    const auto raw = [&] {
        int info = 0;
        std::ranges::copy(a, lu.begin());
        std::ranges::copy(b, x.begin());
        zgetrf_(&n, &n, lu.data(), &n, pivots.data(), &info);
        zgetrs_("N", &n, &one, lu.data(), &n, pivots.data(), x.data(), &n, &info, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, A.Solve(B)(n - 1, 0), x.back());
    runPaired(state, batchFor(n), raw, [&] { benchmark::DoNotOptimize(A.Solve(B).DataPtr()); });
}

void qr(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0)), lwork = n + 1; // the fixed work space of the class
    const CMatrix A = random(n, 0.0);
    const Cells a = cellsOf(A);
    Cells packed(a), tau(size(n)), work(size(lwork));
    const auto raw = [&] {
        int info = 0;
        std::ranges::copy(a, packed.begin());
        zgeqrf_(&n, &n, packed.data(), &n, tau.data(), work.data(), &lwork, &info);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, CQR(A).R()(n - 1, n - 1), packed.back());
    runPaired(state, batchFor(n), raw, [&] {
        const CQR own(A);
        benchmark::DoNotOptimize(own.Rows());
    });
}

void lq(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0)), lwork = 64 * n;
    const CMatrix A = random(n, 0.0);
    const Cells a = cellsOf(A);
    Cells packed(a), tau(size(n)), work(size(lwork));
    packed.resize(packed.size() + size(n)); // the kernels read past the end
    const auto raw = [&] {
        int info = 0;
        std::ranges::copy(a, packed.begin());
        zgelqf_(&n, &n, packed.data(), &n, tau.data(), work.data(), &lwork, &info);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, CLQ(A).L()(n - 1, n - 1), packed[a.size() - 1]);
    runPaired(state, batchFor(n), raw, [&] {
        const CLQ own(A);
        benchmark::DoNotOptimize(own.Rows());
    });
}

void cholesky(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    const CMatrix A = hermitian(n, 2.0 * n);
    const Cells a = cellsOf(A);
    Cells packed(a);
    const auto raw = [&] {
        int info = 0;
        std::ranges::copy(a, packed.begin());
        zpotrf_("L", &n, packed.data(), &n, &info, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, CCholesky(A).L().value()(n - 1, n - 1), packed.back());
    runPaired(state, batchFor(n), raw, [&] {
        const CCholesky own(A);
        benchmark::DoNotOptimize(own.Succeeded());
    });
}

// What a caller of zgesdd must provide, uninitialised as the class takes it.
struct SvdBuffers {
    SvdBuffers(int n, bool values)
        : lwork(((values ? 2 : n + 2) + 1) * n), copy(new Complex[size(n) * size(n)]), s(new double[size(n)]),
          u(new Complex[size(n) * size(n)]), vt(new Complex[size(n) * size(n)]),
          work(new Complex[size(lwork)]), reals(new double[(5 * size(n) + 7) * size(n)]),
          integers(new int[8 * size(n)])
    {
    }

    int lwork;
    std::unique_ptr<Complex[]> copy;
    std::unique_ptr<double[]> s;
    std::unique_ptr<Complex[]> u, vt, work;
    std::unique_ptr<double[]> reals;
    std::unique_ptr<int[]> integers;
};

void rawSvd(const Cells& a, int n, bool values, SvdBuffers& to)
{
    int info = 0;
    std::ranges::copy(a, to.copy.get());
    zgesdd_(values ? "N" : "S", &n, &n, to.copy.get(), &n, to.s.get(), to.u.get(), &n, to.vt.get(), &n,
            to.work.get(), &to.lwork, to.reals.get(), to.integers.get(), &info, 1);
    benchmark::ClobberMemory();
}

// `values`: singular values alone. `fresh`: the raw side takes its buffers at each call, as the class does
// and as a caller with one matrix must; else they stand ready.
void svd(benchmark::State& state, bool values, bool fresh)
{
    const int n = static_cast<int>(state.range(0));
    const CMatrix A = random(n, 0.0);
    const Cells a = cellsOf(A);
    SvdBuffers ready(n, values);
    rawSvd(a, n, values, ready);
    requireClose(state, CSVD(A, values).SingularValue(0), ready.s[0]);
    const auto raw = [&] {
        if (!fresh) return rawSvd(a, n, values, ready);
        SvdBuffers own(n, values);
        rawSvd(a, n, values, own);
    };
    runPaired(state, batchFor(n), raw, [&] {
        const CSVD own(A, values);
        benchmark::DoNotOptimize(own.Succeeded());
    });
}

void symEigen(benchmark::State& state, bool eigenvectors)
{
    const int n = static_cast<int>(state.range(0)), lwork = 65 * n;
    const CMatrix A = hermitian(n, 0.0);
    const Cells a = cellsOf(A);
    Cells vectors(a), work(size(lwork));
    std::vector<double> w(size(n)), reals(3 * size(n));
    const auto raw = [&] {
        int info = 0;
        std::ranges::copy(a, vectors.begin());
        zheev_(eigenvectors ? "V" : "N", "L", &n, vectors.data(), &n, w.data(), work.data(), &lwork,
               reals.data(), &info, 1, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, CSymEigen(A, eigenvectors).Eigenvalue(0), w.back());
    runPaired(state, batchFor(n), raw, [&] {
        const CSymEigen own(A, eigenvectors);
        benchmark::DoNotOptimize(own.Succeeded());
    });
}

void eigen(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0)), lwork = 3 * n, one = 1;
    const CMatrix A = random(n, 0.0);
    const Cells a = cellsOf(A);
    Cells copy(a), w(size(n)), right(a.size()), work(size(lwork));
    std::vector<double> scale(size(n)), rconde(size(n)), rcondv(size(n)), reals(2 * size(n));
    const auto raw = [&] {
        int info = 0, ilo = 0, ihi = 0;
        double norm = 0.0;
        std::ranges::copy(a, copy.begin());
        zgeevx_("B", "N", "V", "N", &n, copy.data(), &n, w.data(), nullptr, &one, right.data(), &n, &ilo,
                &ihi, scale.data(), &norm, rconde.data(), rcondv.data(), work.data(), &lwork, reals.data(),
                &info, 1, 1, 1, 1);
        benchmark::ClobberMemory();
    };
    raw();
    requireClose(state, CEigen(A).Eigenvalue(n - 1), w.back());
    runPaired(state, batchFor(n), raw, [&] {
        const CEigen own(A);
        benchmark::DoNotOptimize(own.Size());
    });
}

void allSizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("n")->Arg(4)->Arg(32)->Arg(200)->Arg(1000)->UseManualTime()->MinTime(0.5);
}
void upTo200(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("n")->Arg(4)->Arg(32)->Arg(200)->UseManualTime()->MinTime(0.5);
}

BENCHMARK(multiply)->Apply(allSizes);
BENCHMARK(solve)->Apply(allSizes);
BENCHMARK(qr)->Apply(allSizes);
BENCHMARK(lq)->Apply(allSizes);
BENCHMARK(cholesky)->Apply(allSizes);
BENCHMARK_CAPTURE(svd, vectors, false, false)->Apply(upTo200);
BENCHMARK_CAPTURE(svd, values, true, false)->Apply(upTo200);
BENCHMARK_CAPTURE(svd, vectors_fresh, false, true)->Apply(upTo200);
BENCHMARK_CAPTURE(symEigen, vectors, true)->Apply(upTo200);
BENCHMARK_CAPTURE(symEigen, values, false)->Apply(upTo200);
BENCHMARK(eigen)->Apply(upTo200);

} // namespace
} // namespace Velmar::Lintrix::bench
