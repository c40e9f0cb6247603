#pragma once
/// @file
/// A matrix that is known by what it does to vectors: a factor that solves, a product that is never formed.

#include <complex>
#include <cstdint>
#include <functional>

namespace Velmar::Lintrix::detail {

/// M, rows x cols, as two functions on blocks of columns that are stored one behind the other without gaps.
/// A function may raise what its work raises; it writes all of `y` and nothing else.
template <class Cell>
struct LinearMap {
    using Apply = std::function<void(std::int32_t columns, const Cell* x, Cell* y)>;

    std::int32_t rows = 0, cols = 0;
    Apply times;        ///< y = M*x: x has `cols` rows, y has `rows`
    Apply adjointTimes; ///< y = M^H*x, of real cells M'*x: x has `rows` rows, y has `cols`
};

} // namespace Velmar::Lintrix::detail
