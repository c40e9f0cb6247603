#pragma once
/// @file
/// Products of a basis, a block of long columns, with vectors and with small matrices.

#include <lintrix/foundation/random.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::detail {

/// ||x||. The squares of what is neither huge nor tiny are summed at the speed of memory.
template <class Cell>
double norm(std::int32_t length, const Cell* x)
{
    constexpr double kLeastSquare = 1e-280, kLargestSquare = 1e300; // of sums without underflow or overflow
    constexpr std::int32_t kParts = sizeof(Cell) / sizeof(double);
    if (length > std::numeric_limits<std::int32_t>::max() / kParts) return blas::nrm2(length, x, 1);
    const auto* const parts = reinterpret_cast<const double*>(x); // of complex numbers, too
    const double sum = blas::dot(kParts * length, parts, 1, parts, 1);
    return sum > kLeastSquare && sum < kLargestSquare ? std::sqrt(sum) : blas::nrm2(length, x, 1);
}

/// c = X^H*y, of `count` columns y.
template <class Cell>
void multiplyAdjoint(std::int32_t length, std::int32_t columns, const Cell* X, const Cell* y,
                     std::int32_t count, Cell* c)
{
    if (count == 1)
        blas::gemv(std::is_same_v<Cell, double> ? 'T' : 'C', length, columns, Cell(1.0), X, length, y, 1,
                   Cell(0.0), c, 1);
    else
        blas::gemm('C', 'N', columns, count, length, Cell(1.0), X, length, y, length, Cell(0.0), c, columns);
}

/// y := y - X*c; the columns of c are `stride` cells apart.
template <class Cell>
void subtractProduct(std::int32_t length, std::int32_t columns, const Cell* X, const Cell* c,
                     std::int32_t stride, std::int32_t count, Cell* y)
{
    if (columns == 0) return;
    if (count == 1)
        blas::gemv('N', length, columns, Cell(-1.0), X, length, c, 1, Cell(1.0), y, 1);
    else
        blas::gemm('N', 'N', length, count, columns, Cell(-1.0), X, length, c, stride, Cell(1.0), y, length);
}

/// The first `kept` columns of X become X*Q, X having `columns` of them and Q `columns` rows.
template <class Cell>
void rotate(std::int32_t length, std::int32_t columns, Cell* X, const Cell* Q, std::int32_t kept)
{
    constexpr std::int32_t kRowsAtOnce = 512;
    const std::int32_t stride = std::min(kRowsAtOnce, length);
    std::vector<Cell> rows(static_cast<std::size_t>(stride) * static_cast<std::size_t>(kept));
    for (std::int32_t i = 0; i < length; i += stride) {
        const std::int32_t count = std::min(stride, length - i);
        blas::gemm('N', 'N', count, kept, columns, Cell(1.0), X + i, length, Q, columns, Cell(0.0),
                   rows.data(), stride);
        for (std::int32_t j = 0; j < kept; ++j)
            std::copy_n(rows.data() + std::int64_t{stride} * j, count, X + std::int64_t{length} * j + i);
    }
}

inline void draw(Random& random, double& x)
{
    x = random.NextDouble() - 0.5;
}
inline void draw(Random& random, std::complex<double>& x)
{
    const double real = random.NextDouble() - 0.5;
    x = {real, random.NextDouble() - 0.5};
}

} // namespace Velmar::Lintrix::detail
