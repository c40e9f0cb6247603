#include <lintrix/engine/solution/parted_substitution.h>

#include <lintrix/services/team.h>

#include <algorithm>
#include <complex>

namespace Velmar::Lintrix::detail::engine {

template <class T>
int PartedSubstitution<T>::team() const
{
    return repaidTeam(parts_.count(), substitutionNanoseconds(factor_, y_.count));
}

template <class T>
void PartedSubstitution<T>::forwardPart(int part, bool transposed) const
{
    const RightSides<T> own = vectorsOf(part);
    const std::span<const PositionRange> ranges = parts_.list(part);
    const auto copy = [&](const T* from, T* to) {
        forEachStretch(ranges,
                       [=](auto first, auto behind) { std::copy(from + first, from + behind, to + first); });
    };
    if (part > 0) {
        copy(y_.cells, own.cells);
        forEachStretch(parts_.shared(), [=](auto first, auto behind) {
            std::fill(own.cells + first, own.cells + behind, T(0));
        });
    }
    for (const auto [first, last] : ranges) substituteForward(factor_, transposed, own, {first, last});
    if (part > 0) copy(own.cells, y_.cells);
}

template <class T>
void PartedSubstitution<T>::joinShared() const
{
    for (int part = 1; part < parts_.count(); ++part) {
        const T* const own = vectorsOf(part).cells;
        forEachStretch(parts_.shared(), [=, this](auto first, auto behind) {
            for (auto i = first; i < behind; ++i) y_.cells[i] += own[i];
        });
    }
}

template <class T>
void PartedSubstitution<T>::forward(bool transposed) const
{
    runParts(parts_.count(), team(), [&](int part) { forwardPart(part, transposed); });
    joinShared();
    for (const auto [first, last] : parts_.shared())
        substituteForward(factor_, transposed, y_, {first, last});
}

template <class T>
void PartedSubstitution<T>::diagonal() const
{
    substituteDiagonal(factor_, y_, {0, factor_.structure.supernodes() - 1});
}

template <class T>
void PartedSubstitution<T>::backward(bool transposed, BeforeTriangle before) const
{
    const auto substitute = [&](int list) {
        const std::span<const PositionRange> ranges = parts_.list(list);
        for (auto range = ranges.rbegin(); range != ranges.rend(); ++range)
            substituteBackward(factor_, transposed, y_, {range->first, range->last}, before);
    };
    substitute(parts_.count());
    runParts(parts_.count(), team(), substitute);
}

template class PartedSubstitution<float>;
template class PartedSubstitution<double>;
template class PartedSubstitution<std::complex<float>>;
template class PartedSubstitution<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
