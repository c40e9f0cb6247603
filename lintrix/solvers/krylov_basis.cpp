#include <lintrix/solvers/krylov_basis.h>

#include <lintrix/services/threads.h>

#include <algorithm>
#include <cmath>

#include <omp.h>

namespace Velmar::Lintrix::detail {

namespace {

// Below this many cells a thread, meeting after each column costs more than the second thread gives.
constexpr int kCellsPerThread = 4 * KrylovBasis::kChunk;

// One form for each instruction set, chosen when the library is loaded. All forms give the same bits: the
// lanes are fixed, and nothing is contracted. Sanitizers come too late for such functions.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LINTRIX_VECTOR_FORMS
#elif defined(__clang__)
#define LINTRIX_VECTOR_FORMS
#else
#define LINTRIX_VECTOR_FORMS __attribute__((target_clones("default", "avx2", "avx512f")))
#endif

constexpr int kLanes = KrylovBasis::kLanes;

/// The sum of term(0), ..., term(count-1), each added to lane i mod kLanes, and the lanes in pairs.
template <class Term>
[[gnu::always_inline]] inline double laneSum(int count, Term term)
{
    double lanes[kLanes] = {};
    int i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (int l = 0; l < kLanes; ++l) lanes[l] += term(i + l);
    }
    for (int l = 0; i < count; ++i, ++l) lanes[l] += term(i);
    for (int half = kLanes / 2; half > 0; half /= 2) {
        for (int l = 0; l < half; ++l) lanes[l] += lanes[l + half];
    }
    return lanes[0];
}

/// w := w - c*x; returns w.y
LINTRIX_VECTOR_FORMS
double subtractThenDot(int count, double* __restrict w, double c, const double* __restrict x,
                       const double* __restrict y)
{
    return laneSum(count, [=](int i) {
        const double value = w[i] - c * x[i];
        w[i] = value;
        return value * y[i];
    });
}

/// w := w - c*x; returns w.w
LINTRIX_VECTOR_FORMS
double subtractThenSquare(int count, double* __restrict w, double c, const double* __restrict x)
{
    return laneSum(count, [=](int i) {
        const double value = w[i] - c * x[i];
        w[i] = value;
        return value * value;
    });
}

LINTRIX_VECTOR_FORMS
double square(int count, const double* w)
{
    return laneSum(count, [=](int i) { return w[i] * w[i]; });
}

int chunksOf(std::int32_t length)
{
    return (length + KrylovBasis::kChunk - 1) / KrylovBasis::kChunk;
}

/// The chunks of one thread of a team, and how the team sums over all of them.
class Share {
public:
    /// Called inside a parallel region. `sums` has room for two sums a chunk.
    Share(std::int32_t length, double* sums)
        : length_(length), chunks_(chunksOf(length)),
          first_(static_cast<int>(std::int64_t{chunks_} * omp_get_thread_num() / omp_get_num_threads())),
          last_(static_cast<int>(std::int64_t{chunks_} * (omp_get_thread_num() + 1) / omp_get_num_threads())),
          sums_(sums)
    {
    }

    /// The sum over all chunks of work(offset, count), in their order and the same in each thread. Every
    /// thread calls it; the set of sums changes from call to call, so that one meeting is enough.
    template <class Work>
    double sum(Work work)
    {
        double* const sums = sums_ + (turn_ ? chunks_ : 0);
        turn_ = !turn_;
        for (int chunk = first_; chunk < last_; ++chunk) sums[chunk] = work(offset(chunk), count(chunk));
#pragma omp barrier
        double total = sums[0];
        for (int chunk = 1; chunk < chunks_; ++chunk) total += sums[chunk];
        return total;
    }

    void scale(double* w, double factor) const
    {
        const std::int64_t end = std::min(offset(last_), std::int64_t{length_});
        for (std::int64_t i = offset(first_); i < end; ++i) w[i] *= factor;
    }

private:
    static std::int64_t offset(int chunk)
    {
        return std::int64_t{chunk} * KrylovBasis::kChunk;
    }
    int count(int chunk) const
    {
        return static_cast<int>(std::min<std::int64_t>(KrylovBasis::kChunk, length_ - offset(chunk)));
    }

    std::int32_t length_;
    int chunks_, first_, last_;
    double* sums_;
    bool turn_ = false;
};

} // namespace

KrylovBasis::KrylovBasis(std::int32_t length, std::int32_t columns)
    : length_(length), cells_(std::int64_t{length} * columns), chunkSums_(std::int64_t{2} * chunksOf(length))
{
}

void KrylovBasis::resize(std::int32_t columns)
{
    cells_.resize(std::int64_t{length_} * columns);
}

double KrylovBasis::orthonormalize(std::int32_t j, double c) const noexcept
{
    double* const w = column(j);
    double norm = 0.0;
    const int threads = std::clamp(length_ / kCellsPerThread, 1, domainThreads(Domain::Blas));
#pragma omp parallel num_threads(threads)
    {
        Share mine(length_, chunkSums_.get());
        double squared = 0.0;
        if (j == 0) {
            squared = mine.sum([&](std::int64_t at, int count) { return square(count, w + at); });
        } else {
            double coefficient = c;
            const double* q = column(j - 1); // what is subtracted next, `coefficient` times
            for (std::int32_t i = 0; i + 1 < j; ++i) {
                const double* const next = column(i);
                coefficient = mine.sum([&](std::int64_t at, int count) {
                    return subtractThenDot(count, w + at, coefficient, q + at, next + at);
                });
                q = next;
            }
            squared = mine.sum([&](std::int64_t at, int count) {
                return subtractThenSquare(count, w + at, coefficient, q + at);
            });
        }
        const double length = std::sqrt(squared);
        mine.scale(w, 1.0 / length);
#pragma omp master
        norm = length;
    }
    return norm;
}

} // namespace Velmar::Lintrix::detail
