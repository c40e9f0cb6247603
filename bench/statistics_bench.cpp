// CorrelationMatrix, CovarianceMatrix and SortRows of a 1000 x 1000 matrix against plain ways to the same.
//
// Statistics: the peer takes the same one-pass sums through one dsyrk, which shares its work between cache
// blocks and threads but sums in another order; the class owes its bits to one dot product a pair.
// Sorting: the peer sorts an index by the same keys and gathers row by row. GB/s counts each cell of the
// matrix read and written once.

#include "bench/buffers.h"
#include "bench/paired.h"

#include <lintrix/lintrix.h>

#include <cmath>
#include <numeric>

extern "C" void dsyrk_(const char* uplo, const char* trans, const int* n, const int* k, const double* alpha,
                       const double* a, const int* lda, const double* beta, double* c, const int* ldc,
                       std::size_t, std::size_t);

namespace Velmar::Lintrix::bench {
namespace {

constexpr int kSize = 1000;
constexpr std::size_t kLength = kSize;

Matrix randomMatrix()
{
    Matrix A(kSize, kSize);
    A.FillRandom(-1.0, 1.0, 15);
    return A;
}

// C := A'*A in the upper triangle and the column sums of A.
struct Products {
    explicit Products(const Buffer& a) : c(a.size()), sums(kLength)
    {
        const double one = 1.0, zero = 0.0;
        dsyrk_("U", "T", &kSize, &kSize, &one, a.data(), &kSize, &zero, c.data(), &kSize, 1, 1);
        for (std::size_t j = 0; j < kLength; ++j) {
            sums[j] = std::accumulate(a.begin() + std::ptrdiff_t(kLength * j),
                                      a.begin() + std::ptrdiff_t(kLength * (j + 1)), 0.0);
        }
    }
    double& at(std::size_t i, std::size_t j) { return c[i + kLength * j]; }
    Buffer c, sums;
};

Buffer covariances(const Buffer& a)
{
    Products products(a);
    const double f = kSize;
    for (std::size_t j = 0; j < kLength; ++j) {
        for (std::size_t i = 0; i <= j; ++i) {
            const double mean = (products.sums[j] / f) * (products.sums[i] / f);
            products.at(i, j) = products.at(j, i) = products.at(i, j) / f - mean;
        }
    }
    return std::move(products.c);
}

Buffer correlations(const Buffer& a)
{
    Buffer c = covariances(a), spread(kLength);
    for (std::size_t i = 0; i < kLength; ++i) spread[i] = std::sqrt(c[i + kLength * i]);
    for (std::size_t j = 0; j < kLength; ++j) {
        for (std::size_t i = 0; i < kLength; ++i) c[i + kLength * j] /= spread[i] * spread[j];
    }
    return c;
}

Buffer rowsSorted(const Buffer& a)
{
    std::vector<std::size_t> order(kLength);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) { return a[i] < a[j]; });
    Buffer sorted(a.size());
    for (std::size_t i = 0; i < kLength; ++i) {
        for (std::size_t j = 0; j < kLength; ++j) sorted[i + kLength * j] = a[order[i] + kLength * j];
    }
    return sorted;
}

template <class Peer, class Own>
void compare(benchmark::State& state, Peer peer, Own own)
{
    const Matrix A = randomMatrix();
    const Buffer a = cellsOf(A);
    requireClose(state, own(A), peer(a));
    runPaired(
        state, 1, [&] { benchmark::DoNotOptimize(peer(a).data()); },
        [&] { benchmark::DoNotOptimize(own(A).DataPtr()); });
}

void correlationMatrix(benchmark::State& state)
{
    compare(state, correlations, [](const Matrix& A) { return A.CorrelationMatrix(); });
    state.counters["own_Gflop/s"] = 1e-3 * kSize * kSize * kSize / state.counters["own_us"];
}

void covarianceMatrix(benchmark::State& state)
{
    compare(state, covariances, [](const Matrix& A) { return A.CovarianceMatrix(); });
    state.counters["own_Gflop/s"] = 1e-3 * kSize * kSize * kSize / state.counters["own_us"];
}

// SortRows works in place: each call sorts a copy, whose cost stands in the figure (see `copy`).
void sortRows(benchmark::State& state)
{
    compare(state, rowsSorted, [](const Matrix& A) {
        Matrix sorted(A);
        sorted.SortRows();
        return sorted;
    });
    state.counters["own_GB/s"] = 16e-3 * kSize * kSize / state.counters["own_us"];
}

void copy(benchmark::State& state)
{
    compare(
        state, [](const Buffer& a) { return a; }, [](const Matrix& A) { return A; });
    state.counters["own_GB/s"] = 16e-3 * kSize * kSize / state.counters["own_us"];
}

BENCHMARK(correlationMatrix)->UseManualTime()->MinTime(1.0);
BENCHMARK(covarianceMatrix)->UseManualTime()->MinTime(1.0);
BENCHMARK(sortRows)->UseManualTime()->MinTime(1.0);
BENCHMARK(copy)->UseManualTime()->MinTime(1.0);

} // namespace
} // namespace Velmar::Lintrix::bench
