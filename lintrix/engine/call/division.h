#pragma once
/// @file
/// Many numbers divided by one.

#include <lintrix/engine/call/scalar.h>

namespace Velmar::Lintrix::detail::engine {

/// Divides by multiplying with the inverse, which a quotient of complex numbers would find each time anew.
template <class T>
[[gnu::always_inline]] inline void divideByInverse(T by, T* values, int count)
{
    const T inverse = inverseOf(by);
    for (int i = 0; i < count; ++i) values[i] = product(values[i], inverse);
}

} // namespace Velmar::Lintrix::detail::engine
