#pragma once
/// @file
/// Columns that lose multiples of each other, over vectors of any length: the source that includes this
/// compiles it for each instruction set. Every cell takes the same operations whatever the length, so that
/// all forms have the same bits.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/update_kernel.h>

#include <utility>

namespace Velmar::Lintrix::detail::engine::column_kernel {

using update_kernel::Vectors;

/// cells -= x*by, of complex numbers pair by pair.
template <class T, int Bytes>
LINTRIX_ALWAYS_INLINE void subtractMultiple(typename Vectors<RealOf<T>, Bytes>::Register& cells,
                                            const typename Vectors<RealOf<T>, Bytes>::Register& x, T by)
{
    using V = typename Vectors<RealOf<T>, Bytes>::Register;
    if constexpr (kIsComplex<T>) {
        V multiple = x * by.real();
        update_kernel::addTimesI<RealOf<T>, Bytes>(
            multiple, x * by.imag(), std::make_integer_sequence<int, Vectors<RealOf<T>, Bytes>::kLanes>());
        cells -= multiple;
    } else {
        cells -= x * by;
    }
}

/// The larger of `most` and the magnitude of each number, of complex ones in both places of the pair.
template <class T, int Bytes, int... Lane>
LINTRIX_ALWAYS_INLINE void meetMagnitudes(typename Vectors<RealOf<T>, Bytes>::Register& most,
                                          const typename Vectors<RealOf<T>, Bytes>::Register& x,
                                          std::integer_sequence<int, Lane...>)
{
    using V = typename Vectors<RealOf<T>, Bytes>::Register;
    V found = x < 0 ? -x : x;
    if constexpr (kIsComplex<T>) found += __builtin_shufflevector(found, found, (Lane ^ 1)...);
    most = most < found ? found : most;
}

/// column -= from*by, m cells, which do not overlap. @return  with `kLooks` the largest magnitude that is
/// left, passing over what is not a number
template <int Bytes, bool kLooks, class T>
LINTRIX_ALWAYS_INLINE RealOf<T> loseMultiple(const T* from, T by, T* column, int m)
{
    using R = RealOf<T>;
    using V = typename Vectors<R, Bytes>::Register;
    using Memory = typename Vectors<R, Bytes>::Memory;
    constexpr int lanes = Vectors<R, Bytes>::kLanes, step = Bytes / static_cast<int>(sizeof(T));
    V most{};
    int i = 0;
    for (; i + step <= m; i += step) {
        V cells = *reinterpret_cast<const Memory*>(column + i);
        const V x = *reinterpret_cast<const Memory*>(from + i);
        subtractMultiple<T, Bytes>(cells, x, by);
        *reinterpret_cast<Memory*>(column + i) = cells;
        if constexpr (kLooks) meetMagnitudes<T, Bytes>(most, cells, std::make_integer_sequence<int, lanes>());
    }
    R largest = 0;
    if constexpr (kLooks) {
        for (int lane = 0; lane < lanes; ++lane) largest = largest < most[lane] ? most[lane] : largest;
    }
    for (; i < m; ++i) {
        column[i] -= product(from[i], by);
        if constexpr (kLooks) {
            const R found = magnitude(column[i]);
            largest = largest < found ? found : largest;
        }
    }
    return largest;
}

} // namespace Velmar::Lintrix::detail::engine::column_kernel
