#pragma once
/// @file
/// The plain loops of the element-wise operations: out[i] = op(x[i]) and out[i] = op(x[i], y[i]).
/// `out` is a fresh block, so it overlaps neither operand.

#include <lintrix/foundation/block.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

template <class Op>
Block<double> mapped(const double* x, std::int32_t n, Op op)
{
    Block<double> fresh(n);
    double* __restrict out = fresh.get();
    for (std::int64_t i = 0; i < n; ++i) out[i] = op(x[i]);
    return fresh;
}

template <class Op>
Block<double> mapped(const double* x, const double* y, std::int32_t n, Op op)
{
    Block<double> fresh(n);
    double* __restrict out = fresh.get();
    for (std::int64_t i = 0; i < n; ++i) out[i] = op(x[i], y[i]);
    return fresh;
}

} // namespace Velmar::Lintrix::detail
