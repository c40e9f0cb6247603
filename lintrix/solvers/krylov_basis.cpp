#include <lintrix/solvers/krylov_basis.h>

#include <lintrix/foundation/allocators.h>
#include <lintrix/services/dispatch.h>
#include <lintrix/services/team.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Velmar::Lintrix::detail {

namespace {

constexpr int kLanes = KrylovBasis::kLanes;
constexpr std::int64_t kChunk = KrylovBasis::kChunk;
constexpr int kCacheLine = 64;

// Below this many cells a thread, meeting after each column costs more than another thread gives.
constexpr int kCellsPerThread = 4096;

// Each column is a new stream of memory, which the processor's own prefetching takes some lines to notice. So
// the loop asks for what lies this many cells ahead: past the end of a column, the beginning of the next.
constexpr int kCellsAhead = 256;
constexpr int kCellsOfLine = kCacheLine / static_cast<int>(sizeof(double));

template <int Width>
struct Vectors {
    typedef double type __attribute__((vector_size(Width * sizeof(double)), may_alias));
};

/// sums[0] + sums[1] + ..., lane by lane in halves. `count` and Width are powers of two.
template <int Width>
[[gnu::always_inline]] inline double foldedSum(typename Vectors<Width>::type* sums, int count)
{
    for (int half = count / 2; half > 0; half /= 2) {
        for (int v = 0; v < half; ++v) sums[v] += sums[v + half];
    }
    for (int half = Width / 2; half > 0; half /= 2) {
        for (int l = 0; l < half; ++l) sums[0][l] += sums[0][l + half];
    }
    return sums[0][0];
}

/// w := w - c*x; returns w.y of this w. y may be w. All at cache lines, `count` a multiple of kLanes; term i
/// of the scalar product goes to lane i mod kLanes.
template <int Width>
[[gnu::always_inline]] inline double subtractThenDot(std::int64_t count, double* w, double c, const double* x,
                                                     const double* y)
{
    using V = typename Vectors<Width>::type;
    constexpr int kVectors = kLanes / Width;
    V sums[kVectors] = {};
    for (std::int64_t i = 0; i < count; i += kLanes) {
        for (int v = 0; v < kVectors; ++v) {
            const std::int64_t at = i + v * Width;
            if (v * Width % kCellsOfLine == 0) __builtin_prefetch(y + at + kCellsAhead);
            const V cells = *reinterpret_cast<V*>(w + at) - c * *reinterpret_cast<const V*>(x + at);
            *reinterpret_cast<V*>(w + at) = cells;
            sums[v] += cells * *reinterpret_cast<const V*>(y + at);
        }
    }
    return foldedSum<Width>(sums, kVectors);
}

// One form for each instruction set. All give the same bits, since the lanes are fixed and nothing is
// contracted: fused multiplication would gain a tenth as long as the basis fits the second cache, and nothing
// beyond.
using Update = double (*)(std::int64_t, double*, double, const double*, const double*);

LINTRIX_FOR_AVX512 double updateAvx512(std::int64_t count, double* w, double c, const double* x,
                                       const double* y)
{
    return subtractThenDot<8>(count, w, c, x, y);
}
LINTRIX_FOR_AVX2 double updateAvx2(std::int64_t count, double* w, double c, const double* x, const double* y)
{
    return subtractThenDot<4>(count, w, c, x, y);
}
double updateSse2(std::int64_t count, double* w, double c, const double* x, const double* y)
{
    return subtractThenDot<2>(count, w, c, x, y);
}

constexpr KernelForms<Update> kUpdates{.sse2 = updateSse2, .avx2 = updateAvx2, .avx512 = updateAvx512};

std::int32_t chunksOf(std::int32_t stride)
{
    return static_cast<std::int32_t>((stride + kChunk - 1) / kChunk);
}

// The next multiple of kLanes.
std::int32_t strideFor(std::int32_t length)
{
    if (length > INT32_MAX - kLanes) requireBlock(nullptr); // 16 GiB a vector, and no such number
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
    Member(std::int32_t stride, double* sums, const TeamMember& member)
        : member_(member), stride_(stride), chunks_(chunksOf(stride)), first_(member.shareOf(chunks_).first),
          last_(member.shareOf(chunks_).behind), sums_(sums), update_(kUpdates.chosen())
    {
    }

    /// w := w - c*x; returns w.y of this w, the sum of the chunks in their order, the same in each thread.
    /// Every thread calls it. The set of sums changes from call to call, so that one meeting is enough; the
    /// own chunks are gone through up and down in turn: what was touched last is still in the cache.
    double subtractThenDot(double* w, double c, const double* x, const double* y)
    {
        double* const sums = sums_ + (downwards_ ? chunks_ : 0);
        for (int step = first_; step < last_; ++step) {
            const int chunk = downwards_ ? first_ + last_ - 1 - step : step;
            const std::int64_t at = begin(chunk);
            sums[chunk] = update_(begin(chunk + 1) - at, w + at, c, x + at, y + at);
        }
        downwards_ = !downwards_;
        member_.meet();
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
    std::int64_t begin(int chunk) const { return std::min<std::int64_t>(chunk * kChunk, stride_); }

    TeamMember member_;
    std::int32_t stride_;
    int chunks_, first_, last_;
    double* sums_;
    Update update_;
    bool downwards_ = false;
};

/// ||w - c*q(j-1) - ...||^2 as told at KrylovBasis::orthonormalize.
double orthogonalize(const KrylovBasis& basis, std::int32_t j, double c, Member& member)
{
    double* const w = basis.column(j);
    if (j == 0) return member.subtractThenDot(w, 0.0, w, w);
    const double* q = basis.column(j - 1); // subtracted next, c times
    for (std::int32_t i = 0; i + 1 < j; ++i) {
        const double* const next = basis.column(i);
        c = member.subtractThenDot(w, c, q, next);
        q = next;
    }
    return member.subtractThenDot(w, c, q, w);
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
    runTeam(std::min(length_ / kCellsPerThread, domainThreads(Domain::Blas)), [&](const TeamMember& one) {
        Member member(stride_, chunkSums_.get(), one);
        const double length = std::sqrt(orthogonalize(*this, j, c, member));
        member.scale(w, length_, 1.0 / length);
        if (one.thread == 0) norm = length;
    });
    return norm;
}

} // namespace Velmar::Lintrix::detail
