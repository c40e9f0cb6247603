// Compiled for this processor, with contraction of a*b + c: the rates have to be the best there are.

#include <bench/lanczos_floor.h>
#include <bench/paired.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>

#include <omp.h>

namespace Velmar::Lintrix::bench {

namespace {

typedef double Vector8 __attribute__((vector_size(64)));

// Cells at a cache line, zero.
class Cells {
public:
    explicit Cells(std::size_t count) : cells_(new (std::align_val_t{4096}) double[count]()) {}
    Vector8* get() const { return reinterpret_cast<Vector8*>(cells_.get()); }

private:
    struct Free {
        void operator()(double* cells) const { operator delete[](cells, std::align_val_t{4096}); }
    };
    std::unique_ptr<double[], Free> cells_;
};

// w := w - c*x; returns w.y, in as many sums as the additions need to overlap.
double subtractThenDot(std::size_t vectors, Vector8* w, double c, const Vector8* x, const Vector8* y)
{
    constexpr int kSums = 3;
    Vector8 sums[kSums] = {};
    for (std::size_t i = 0; i < vectors; i += kSums) {
        for (int s = 0; s < kSums; ++s) {
            w[i + s] -= c * x[i + s];
            sums[s] += w[i + s] * y[i + s];
        }
    }
    return (sums[0] + sums[1] + sums[2])[0];
}

double sum(std::size_t vectors, const Vector8* x)
{
    constexpr int kSums = 8;
    Vector8 sums[kSums] = {};
    for (std::size_t i = 0; i < vectors; i += kSums) {
        for (int s = 0; s < kSums; ++s) {
            __builtin_prefetch(x + i + s + 32);
            sums[s] += x[i + s];
        }
    }
    for (int s = 1; s < kSums; ++s) sums[0] += sums[s];
    return sums[0][0];
}

// Seconds of one call of work(thread) in each thread of the team, the shortest of several batches.
template <class Work>
double leastSeconds(int threads, int calls, Work work)
{
    double least = std::numeric_limits<double>::infinity();
    for (int batch = 0; batch < 12; ++batch) {
        const double seconds = secondsOf(1, [&] {
#pragma omp parallel num_threads(threads)
            {
                double result = 0.0;
                for (int call = 0; call < calls; ++call) {
                    result += work(omp_get_thread_num());
                    benchmark::DoNotOptimize(result);
                }
            }
        });
        least = std::min(least, seconds / calls);
    }
    return least;
}

double measureOperations(int threads)
{
    constexpr std::size_t cells = 1536; // three vectors are 36 KiB, a multiple of the sums
    const Cells vectors(3 * cells * static_cast<std::size_t>(threads));
    return 4.0 * cells * threads / leastSeconds(threads, 20000, [&](int thread) {
               Vector8* const w = vectors.get() + 3 * cells / 8 * static_cast<std::size_t>(thread);
               return subtractThenDot(cells / 8, w, 1e-9, w + cells / 8, w + 2 * cells / 8);
           });
}

constexpr double kSmallest = 1 << 14; // bytes

double measureReading(double bytes, int threads)
{
    const auto vectors = static_cast<std::size_t>(bytes) / 64,
               own = vectors / static_cast<std::size_t>(threads) / 8 * 8;
    const Cells cells(8 * vectors);
    const int calls = static_cast<int>(std::max(1.0, 0x1p25 / bytes));
    return 64.0 * static_cast<double>(own) * threads / leastSeconds(threads, calls, [&](int thread) {
               return sum(own, cells.get() + own * static_cast<std::size_t>(thread));
           });
}

} // namespace

LanczosFloor::LanczosFloor(int threads) : operations_(measureOperations(threads))
{
    for (int i = 0; i < kSizes; ++i) {
        bytes_[static_cast<std::size_t>(i)] = measureReading(kSmallest * std::exp2(0.5 * i), threads);
    }
    // More memory is never read faster.
    for (std::size_t i = kSizes - 1; i > 0; --i) bytes_[i - 1] = std::max(bytes_[i - 1], bytes_[i]);
}

double LanczosFloor::bytesPerSecond(double size) const
{
    const int i = static_cast<int>(2.0 * std::log2(std::max(size / kSmallest, 1.0))); // the size below
    return bytes_[static_cast<std::size_t>(std::clamp(i, 0, kSizes - 1))];
}

double LanczosFloor::seconds(std::int32_t m, std::int32_t n, std::int32_t steps) const
{
    double total = 0.0;
    for (std::int32_t j = 1; j <= steps; ++j) {
        const double cells = (double{1} * m + n) * j;
        total += std::max(4.0 * cells / operations_, 8.0 * cells / bytesPerSecond(8.0 * cells));
    }
    return total;
}

} // namespace Velmar::Lintrix::bench
