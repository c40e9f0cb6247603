#include <lintrix/engine/solution/direct_solve.h>

#include <lintrix/engine/call/scalar.h>
#include <lintrix/services/team.h>

#include <algorithm>
#include <complex>
#include <cstddef>

#include <omp.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

// count / size, rounded up; the sum of the usual form may pass 32 bits.
int piecesOf(int count, int size)
{
    return count / size + (count % size != 0 ? 1 : 0);
}

// Right-hand sides that one pass over the factor takes along, so that every thread has some.
int sidesPerBlock(int count, int threads)
{
    return std::clamp(piecesOf(count, threads), 1, kSidesAtOnce);
}

// Panels from files are worked with sooner than read: few right-hand sides go together, on one thread, and
// the others read, unless that takes more room.
template <class T>
int sidesPerBlockFromFiles(int count, int threads)
{
    const int sides = sidesPerBlock(count, threads);
    if (count > kSidesAtOnce) return sides;
    return sidesTaken<T>(count) <= piecesOf(count, sides) * sidesTaken<T>(sides) ? count : sides;
}

bool includes(SolvePart whole, SolvePart part)
{
    return whole == SolvePart::All || whole == part;
}

// The whole solve divides by D on its way back.
BeforeTriangle beforeTriangle(SolvePart part)
{
    return part == SolvePart::All ? BeforeTriangle::DivideByD : BeforeTriangle::Nothing;
}

template <class T>
bool splitsByParts(const SubstitutionParts& parts, int threads, int count)
{
    return parts.count() > 1 && DirectSolve<T>::takesParts(threads, count);
}

// One side of the system: the place of equation (or unknown) i, and its factor.
struct Frame {
    std::span<const int> positionOf, standsFor;
    std::span<const double> scale;

    int position(int i) const { return positionOf[standsFor.empty() ? i : standsFor[i]]; }
    template <class T>
    T scaled(int i, T value) const
    {
        return scale.empty() ? value : scaledBy(value, scale[i], 1.0);
    }
};

// Equations of A, or unknowns of A: the transposed system exchanges them.
Frame frameOf(const SystemFrame& frame, bool equations)
{
    return equations ? Frame{frame.positionOf, frame.columnOfRow, frame.rowScale}
                     : Frame{frame.positionOf, {}, frame.columnScale};
}

} // namespace

// One, unless a loop over so many cells repays calling the threads; where blocks keep them busy it does not.
template <class T>
int DirectSolve<T>::threadsFor(std::int64_t cells) const
{
    constexpr double kNanosecondsACell = 1.0;
    return omp_in_parallel() == 0 ? repaidTeam(threads_, kNanosecondsACell * static_cast<double>(cells)) : 1;
}

template <class T>
std::int64_t DirectSolve<T>::workSize(const StoredFactor<T>& factor, const SubstitutionParts& parts,
                                      int threads, int count) noexcept
{
    if (splitsByParts<T>(parts, threads, count)) {
        const int taken = sidesTaken<T>(std::min(count, kSidesAtOnce));
        return factor.order() * std::int64_t{taken} + PartedSubstitution<T>::workSize(factor, parts, taken);
    }
    const int sides = sidesPerBlock(count, threads);
    const std::int64_t blocks = piecesOf(count, sides);
    return factor.order() * blocks * sidesTaken<T>(sides);
}

template <class T>
double DirectSolve<T>::sidesIn(int threads, int count, bool fromFiles) noexcept
{
    const int sides = fromFiles ? sidesPerBlockFromFiles<T>(count, threads) : sidesPerBlock(count, threads);
    return static_cast<double>(piecesOf(count, sides)) * sidesTaken<T>(sides);
}

template <class T>
void DirectSolve<T>::bring(const T* b, int count, bool permutes, const RightSides<T>& y) const
{
    const int n = factor_.order();
    const Frame frame = frameOf(frame_, !transposed_);
    runRanges(n, threadsFor(std::int64_t{n} * count), [&](int first, int behind) {
        for (int i = first; i < behind; ++i) {
            T* const to = y.cells + std::ptrdiff_t{permutes ? frame.position(i) : i} * y.count;
            for (int c = 0; c < count; ++c) {
                const T value = b[i + std::ptrdiff_t{n} * c];
                to[c] = permutes ? frame.scaled(i, value) : value;
            }
            std::fill(to + count, to + y.count, T(0));
        }
    });
}

template <class T>
void DirectSolve<T>::takeBack(const RightSides<T>& y, int count, bool permutes, T* x) const
{
    const int n = factor_.order();
    const Frame frame = frameOf(frame_, transposed_);
    runRanges(n, threadsFor(std::int64_t{n} * count), [&](int first, int behind) {
        for (int i = first; i < behind; ++i) {
            const T* const from = y.cells + std::ptrdiff_t{permutes ? frame.position(i) : i} * y.count;
            for (int c = 0; c < count; ++c) {
                x[i + std::ptrdiff_t{n} * c] = permutes ? frame.scaled(i, from[c]) : from[c];
            }
        }
    });
}

template <class T>
void DirectSolve<T>::solveBlock(const T* b, T* x, int count, SolvePart part, const RightSides<T>& y) const
{
    const SupernodeRange everything{0, factor_.structure.supernodes() - 1};
    bring(b, count, includes(part, SolvePart::Forward), y);
    if (includes(part, SolvePart::Forward)) substituteForward(factor_, transposed_, y, everything);
    if (part == SolvePart::Diagonal) substituteDiagonal(factor_, y, everything);
    if (includes(part, SolvePart::Backward)) {
        substituteBackward(factor_, transposed_, y, everything, beforeTriangle(part));
    }
    takeBack(y, count, includes(part, SolvePart::Backward), x);
}

template <class T>
void DirectSolve<T>::solveByParts(const T* b, T* x, int count, SolvePart part) const
{
    const std::ptrdiff_t n = factor_.order();
    for (int first = 0; first < count; first += kSidesAtOnce) {
        const int own = std::min(kSidesAtOnce, count - first);
        const RightSides<T> y{work_, sidesTaken<T>(own)};
        const PartedSubstitution<T> substitution(factor_, parts_, y, work_ + n * y.count);
        bring(b + n * first, own, includes(part, SolvePart::Forward), y);
        if (includes(part, SolvePart::Forward)) substitution.forward(transposed_);
        if (part == SolvePart::Diagonal) substitution.diagonal();
        if (includes(part, SolvePart::Backward)) substitution.backward(transposed_, beforeTriangle(part));
        takeBack(y, own, includes(part, SolvePart::Backward), x + n * first);
    }
}

template <class T>
void DirectSolve<T>::solveFromFiles(const T* b, T* x, int count, SolvePart part) const
{
    const std::ptrdiff_t n = factor_.order();
    const int sides = sidesPerBlockFromFiles<T>(count, threads_), taken = sidesTaken<T>(sides);
    const int blocks = piecesOf(count, sides);
    const auto vectorsOf = [&](int block) { return RightSides<T>{work_ + n * taken * block, taken}; };
    const auto sidesOf = [&](int block) { return std::min(sides, count - block * sides); };
    const auto forward = [&](int block, const StoredFactor<T>& factor, SupernodeRange range) {
        substituteForward(factor, transposed_, vectorsOf(block), range);
    };
    const auto diagonal = [&](int block, const StoredFactor<T>& factor, SupernodeRange range) {
        substituteDiagonal(factor, vectorsOf(block), range);
    };
    const auto backward = [&](int block, const StoredFactor<T>& factor, SupernodeRange range) {
        substituteBackward(factor, transposed_, vectorsOf(block), range, beforeTriangle(part));
    };
    runParts(blocks, threads_, [&](int block) {
        bring(b + n * block * sides, sidesOf(block), includes(part, SolvePart::Forward), vectorsOf(block));
    });
    // The diagonal blocks have triangles of both factors.
    const Halves ofL = Halves::Lower;
    const Halves ofU = factor_.upperStarts.empty() ? Halves::Lower : Halves::UpperAndBlock;
    if (includes(part, SolvePart::Forward)) stream_->upwards(transposed_ ? ofU : ofL, blocks, forward);
    if (part == SolvePart::Diagonal) stream_->upwards(ofL, blocks, diagonal);
    if (includes(part, SolvePart::Backward)) stream_->downwards(transposed_ ? ofL : ofU, blocks, backward);
    runParts(blocks, threads_, [&](int block) {
        takeBack(vectorsOf(block), sidesOf(block), includes(part, SolvePart::Backward),
                 x + n * block * sides);
    });
}

template <class T>
void DirectSolve<T>::solve(const T* b, T* x, int count, SolvePart part) const
{
    if (stream_ != nullptr) return solveFromFiles(b, x, count, part);
    if (splitsByParts<T>(parts_, threads_, count)) return solveByParts(b, x, count, part);
    const std::ptrdiff_t n = factor_.order();
    const int sides = sidesPerBlock(count, threads_), taken = sidesTaken<T>(sides);
    const int team = repaidTeam(threads_, 2.0 * substitutionNanoseconds(factor_, count));
    runParts(piecesOf(count, sides), team, [&](int block) {
        const int first = block * sides, own = std::min(sides, count - first);
        solveBlock(b + n * first, x + n * first, own, part, {work_ + n * taken * block, taken});
    });
}

template class DirectSolve<float>;
template class DirectSolve<double>;
template class DirectSolve<std::complex<float>>;
template class DirectSolve<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
