#include <lintrix/engine/direct_solve.h>

#include <lintrix/engine/scalar.h>

#include <algorithm>
#include <complex>
#include <cstddef>

#include <omp.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Right-hand sides that one pass over the factor takes along, so that every thread has some.
int sidesPerBlock(int count, int threads)
{
    const int share = (count + threads - 1) / threads;
    return std::clamp(share, 1, kSidesAtOnce);
}

// One side of the system: the place of equation (or unknown) i, and its factor.
struct Frame {
    std::span<const int> positionOf, standsFor;
    std::span<const double> scale;

    int position(int i) const { return positionOf[standsFor.empty() ? i : standsFor[i]]; }
    template <class T>
    T scaled(int i, T value) const
    {
        return scale.empty() ? value : value * static_cast<RealOf<T>>(scale[i]);
    }
};

// Equations of A, or unknowns of A: the transposed system exchanges them.
Frame frameOf(const SystemFrame& frame, bool equations)
{
    return equations ? Frame{frame.positionOf, frame.columnOfRow, frame.rowScale}
                     : Frame{frame.positionOf, {}, frame.columnScale};
}

} // namespace

template <class T>
std::int64_t DirectSolve<T>::workSize(const StoredFactor<T>& factor, int threads, int count) noexcept
{
    const int sides = sidesPerBlock(count, threads), busy = std::min(threads, count);
    return std::int64_t{factor.order()} * count + busy * substitutionWork(factor.tallest, sides);
}

template <class T>
void DirectSolve<T>::bring(const T* b, T* cells, int count, bool permutes) const
{
    const int n = factor_.order();
    const Frame frame = frameOf(frame_, !transposed_);
    const bool splits = count == 1 && threads_ > 1; // several sides keep the threads busy as blocks
#pragma omp parallel for schedule(static) num_threads(threads_) if (splits)
    for (int i = 0; i < n; ++i) {
        T* const to = cells + std::ptrdiff_t{permutes ? frame.position(i) : i} * count;
        for (int c = 0; c < count; ++c) {
            const T value = b[i + std::ptrdiff_t{n} * c];
            to[c] = permutes ? frame.scaled(i, value) : value;
        }
    }
}

template <class T>
void DirectSolve<T>::takeBack(const T* cells, T* x, int count, bool permutes) const
{
    const int n = factor_.order();
    const Frame frame = frameOf(frame_, transposed_);
    const bool splits = count == 1 && threads_ > 1;
#pragma omp parallel for schedule(static) num_threads(threads_) if (splits)
    for (int i = 0; i < n; ++i) {
        const T* const from = cells + std::ptrdiff_t{permutes ? frame.position(i) : i} * count;
        for (int c = 0; c < count; ++c) {
            x[i + std::ptrdiff_t{n} * c] = permutes ? frame.scaled(i, from[c]) : from[c];
        }
    }
}

template <class T>
void DirectSolve<T>::solveBlock(const T* b, T* x, int count, SolvePart part, T* cells, T* work) const
{
    const bool all = part == SolvePart::All;
    const RightSides<T> y{cells, count};
    bring(b, cells, count, all || part == SolvePart::Forward);
    if (all || part == SolvePart::Forward) substituteForward(factor_, transposed_, y, work);
    if (all || part == SolvePart::Diagonal) substituteDiagonal(factor_, y);
    if (all || part == SolvePart::Backward) substituteBackward(factor_, transposed_, y, work);
    takeBack(cells, x, count, all || part == SolvePart::Backward);
}

template <class T>
void DirectSolve<T>::solve(const T* b, T* x, int count, SolvePart part) const
{
    const std::int64_t n = factor_.order();
    const int sides = sidesPerBlock(count, threads_), busy = std::min(threads_, count);
    const int blocks = (count + sides - 1) / sides;
    T* const substitution = work_ + n * count;
#pragma omp parallel for schedule(static, 1) num_threads(busy) if (busy > 1)
    for (int block = 0; block < blocks; ++block) {
        const int first = block * sides, last = std::min(first + sides, count);
        T* const work = substitution + substitutionWork(factor_.tallest, sides) * omp_get_thread_num();
        solveBlock(b + n * first, x + n * first, last - first, part, work_ + n * first, work);
    }
}

template class DirectSolve<float>;
template class DirectSolve<double>;
template class DirectSolve<std::complex<float>>;
template class DirectSolve<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
