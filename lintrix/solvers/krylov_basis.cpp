#include <lintrix/solvers/krylov_basis.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include <omp.h>

namespace Velmar::Lintrix::detail {

namespace {

constexpr int kLanes = KrylovBasis::kLanes;
constexpr std::int64_t kChunk = KrylovBasis::kChunk;
constexpr int kCacheLine = 64;

// Below this many cells a thread, meeting after each column costs more than another thread gives.
constexpr int kCellsPerThread = 8192;

// One form for each instruction set, chosen when the library is loaded. All give the same bits, since the
// lanes are fixed and nothing is contracted. Not under the sanitizers, which wake later than that; Clang
// builds have the portable form alone.
#if defined(__clang__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LINTRIX_VECTOR_FORMS
#else
#define LINTRIX_VECTOR_FORMS [[gnu::target_clones("default", "avx2", "avx512f")]]
#endif

/// The sum of term(0), ..., term(count-1), term i in lane i mod kLanes; `count` is a multiple of kLanes.
template <class Term>
[[gnu::always_inline]] inline double laneSum(std::int64_t count, Term term)
{
    double lanes[kLanes] = {};
    for (std::int64_t i = 0; i < count; i += kLanes) {
        for (int l = 0; l < kLanes; ++l) lanes[l] += term(i + l);
    }
    for (int l = 0; l < 8; ++l) lanes[l] += lanes[l + 8];
    for (int l = 0; l < 4; ++l) lanes[l] += lanes[l + 4];
    return (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]);
}

/// w := w - c*x; returns w.y
LINTRIX_VECTOR_FORMS
double subtractThenDot(std::int64_t count, double* __restrict w, double c, const double* __restrict x,
                       const double* __restrict y)
{
    return laneSum(count, [=](std::int64_t i) {
        const double value = w[i] - c * x[i];
        w[i] = value;
        return value * y[i];
    });
}

/// w := w - c*x; returns w.w
LINTRIX_VECTOR_FORMS
double subtractThenSquare(std::int64_t count, double* __restrict w, double c, const double* __restrict x)
{
    return laneSum(count, [=](std::int64_t i) {
        const double value = w[i] - c * x[i];
        w[i] = value;
        return value * value;
    });
}

LINTRIX_VECTOR_FORMS
double square(std::int64_t count, const double* w)
{
    return laneSum(count, [=](std::int64_t i) { return w[i] * w[i]; });
}

std::int32_t chunksOf(std::int32_t stride)
{
    return static_cast<std::int32_t>((stride + kChunk - 1) / kChunk);
}

// The next multiple of kLanes.
std::int32_t strideFor(std::int32_t length)
{
    if (length > INT32_MAX - kLanes) throw NotEnoughMemoryException(); // 16 GiB a vector, and no such number
    return (length + kLanes - 1) / kLanes * kLanes;
}

double* atCacheLine(double* cells)
{
    const auto address = reinterpret_cast<std::uintptr_t>(cells);
    return cells + (kCacheLine - address % kCacheLine) % kCacheLine / sizeof(double);
}

/// What one thread of a team does: its chunks of the vectors, and how the team sums over all chunks.
class Member {
public:
    /// `sums` has room for two sums a chunk.
    Member(std::int32_t stride, double* sums, int thread, int threads)
        : stride_(stride), chunks_(chunksOf(stride)),
          first_(static_cast<int>(std::int64_t{chunks_} * thread / threads)),
          last_(static_cast<int>(std::int64_t{chunks_} * (thread + 1) / threads)), sums_(sums)
    {
    }

    /// The sum over all chunks of work(offset, count), in their order, the same in each thread. Every thread
    /// calls it. The set of sums changes from call to call, so that one meeting is enough; the own chunks are
    /// gone through up and down in turn, so that what was touched last is still in the cache.
    template <class Work>
    double sum(Work work)
    {
        double* const sums = sums_ + (downwards_ ? chunks_ : 0);
        for (int step = first_; step < last_; ++step) {
            const int chunk = downwards_ ? first_ + last_ - 1 - step : step;
            sums[chunk] = work(begin(chunk), begin(chunk + 1) - begin(chunk));
        }
        downwards_ = !downwards_;
#pragma omp barrier
        double total = sums[0];
        for (int chunk = 1; chunk < chunks_; ++chunk) total += sums[chunk];
        return total;
    }

    /// The first `length` cells of w, the own ones of them, times `factor`.
    void scale(double* w, std::int64_t length, double factor) const
    {
        const std::int64_t end = std::min(begin(last_), length);
        for (std::int64_t i = begin(first_); i < end; ++i) w[i] *= factor;
    }

private:
    std::int64_t begin(int chunk) const
    {
        return std::min<std::int64_t>(chunk * kChunk, stride_);
    }

    std::int32_t stride_;
    int chunks_, first_, last_;
    double* sums_;
    bool downwards_ = false;
};

/// ||w - c*q(j-1) - ...||^2 as told at KrylovBasis::orthonormalize.
double orthogonalize(const KrylovBasis& basis, std::int32_t j, double c, Member& member)
{
    double* const w = basis.column(j);
    if (j == 0) return member.sum([=](std::int64_t at, std::int64_t count) { return square(count, w + at); });
    const double* q = basis.column(j - 1); // subtracted next, c times
    for (std::int32_t i = 0; i + 1 < j; ++i) {
        const double* const next = basis.column(i);
        c = member.sum([=](std::int64_t at, std::int64_t count) {
            return subtractThenDot(count, w + at, c, q + at, next + at);
        });
        q = next;
    }
    return member.sum(
        [=](std::int64_t at, std::int64_t count) { return subtractThenSquare(count, w + at, c, q + at); });
}

} // namespace

KrylovBasis::KrylovBasis(std::int32_t length, std::int32_t columns)
    : length_(length), stride_(strideFor(length)), cells_(cellsFor(columns)),
      first_(atCacheLine(cells_.get())), chunkSums_(std::int64_t{2} * chunksOf(stride_))
{
}

std::int64_t KrylovBasis::cellsFor(std::int32_t columns) const noexcept
{
    return std::int64_t{stride_} * columns + kCacheLine / static_cast<int>(sizeof(double));
}

void KrylovBasis::resize(std::int32_t columns)
{
    const std::int64_t offset = first_ - cells_.get();
    const std::int64_t kept = cells_.cells() - offset;
    cells_.resize(cellsFor(columns));
    first_ = atCacheLine(cells_.get());
    const double* const moved = cells_.get() + offset; // where the contents came to lie
    if (first_ != moved) std::memmove(first_, moved, static_cast<std::size_t>(kept) * sizeof(double));
}

double KrylovBasis::orthonormalize(std::int32_t j, double c) const noexcept
{
    double* const w = column(j);
    std::fill(w + length_, w + stride_, 0.0);
    double norm = 0.0;
    const auto work = [&](int thread, int threads) {
        Member member(stride_, chunkSums_.get(), thread, threads);
        const double length = std::sqrt(orthogonalize(*this, j, c, member));
        member.scale(w, length_, 1.0 / length);
        if (thread == 0) norm = length;
    };
    const int threads = std::clamp(length_ / kCellsPerThread, 1, domainThreads(Domain::Blas));
    if (threads == 1) {
        work(0, 1);
        return norm;
    }
#pragma omp parallel num_threads(threads)
    work(omp_get_thread_num(), omp_get_num_threads());
    return norm;
}

} // namespace Velmar::Lintrix::detail
