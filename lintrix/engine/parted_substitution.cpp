#include <lintrix/engine/parted_substitution.h>

#include <algorithm>
#include <complex>

namespace Velmar::Lintrix::detail::engine {

bool areConsecutive(std::span<const PositionRange> subgraphs) noexcept
{
    int next = 0;
    for (const auto [first, last] : subgraphs) {
        if (first != next || last < first) return false;
        next = last + 1;
    }
    return true;
}

template <class T>
void PartedSubstitution<T>::forwardPart(int p, bool transposed) const
{
    const SupernodeRange range = part(p);
    const RightSides<T> own = vectorOf(p);
    const int first = factor_.structure.starts[range.first], end = factor_.structure.starts[range.last + 1];
    if (p > 0) {
        std::copy(y_.cells + first, y_.cells + end, own.cells + first);
        std::fill(own.cells + firstShared_, own.cells + factor_.order(), T(0));
    }
    substituteForward(factor_, transposed, own, range);
    if (p > 0) std::copy(own.cells + first, own.cells + end, y_.cells + first);
}

template <class T>
void PartedSubstitution<T>::joinShared() const
{
    for (int p = 1; p < parts_.independent; ++p) {
        const T* const own = vectorOf(p).cells;
        for (int i = firstShared_; i < factor_.order(); ++i) y_.cells[i] += own[i];
    }
}

template <class T>
void PartedSubstitution<T>::forward(bool transposed) const
{
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads_)
    for (int p = 0; p < parts_.independent; ++p) forwardPart(p, transposed);
    joinShared();
    substituteForward(factor_, transposed, y_, separators_);
}

template <class T>
void PartedSubstitution<T>::diagonal() const
{
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads_)
    for (int p = 0; p < parts_.independent; ++p) substituteDiagonal(factor_, y_, part(p));
    substituteDiagonal(factor_, y_, separators_);
}

template <class T>
void PartedSubstitution<T>::backward(bool transposed, BeforeTriangle before) const
{
    substituteBackward(factor_, transposed, y_, separators_, before);
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads_)
    for (int p = 0; p < parts_.independent; ++p) {
        substituteBackward(factor_, transposed, y_, part(p), before);
    }
}

template class PartedSubstitution<float>;
template class PartedSubstitution<double>;
template class PartedSubstitution<std::complex<float>>;
template class PartedSubstitution<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
