#pragma once
/// @file
/// What both preconditioned iterations share: their terms, their outcome, their arithmetic on vectors.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/solution/preconditioner.h>
#include <lintrix/engine/solution/sparse_operator.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

/// The system, and a start that `x` brings. Vectors are n x count, column after column.
template <class T>
struct IterativeSystem {
    const SparseOperator<T>& A;
    const Preconditioner<T>& solve;
    const T* b;
    T* x;
    int n;
    int count;

    std::ptrdiff_t size() const noexcept { return std::ptrdiff_t{n} * count; }
};

struct IterationTerms {
    double tolerance;
    double divergence; ///< the number at which the iteration gives up
    int most;          ///< iterations at most, the first test counting as one
    int half;          ///< where slow convergence is judged
};

enum class IterationStatus : int {
    Converged = 0,
    Diverged = -1,
    Slow = -2, ///< at half of the budget not down to the root of the tolerance
    BudgetUsed = -3,
    Breakdown = -4 ///< a scalar that cannot be divided by, or is no number
};

struct IterationOutcome {
    IterationStatus status;
    int iterations;

    /// What `iparm(20)` tells.
    int told() const noexcept
    {
        return status == IterationStatus::Converged ? iterations : static_cast<int>(status) - 10 * iterations;
    }
};

/// Scalars of an iteration are double precision whatever the vectors are: squares of small numbers fit.
template <class T>
using IterationScalar = std::conditional_t<kIsComplex<T>, std::complex<double>, double>;

/// The larger number; no number at all once there is one.
inline double largerOf(double a, double b) noexcept
{
    return std::isnan(a) || a >= b ? a : b;
}

/// max |x_i|; no number at all once there is one.
template <class T>
inline double largestModulus(const T* x, std::ptrdiff_t count) noexcept
{
    double largest = 0.0;
    for (std::ptrdiff_t i = 0; i < count; ++i) largest = largerOf(largest, modulus(x[i]));
    return largest;
}

/// x^H y.
template <class T>
inline IterationScalar<T> innerProduct(const T* x, const T* y, int n) noexcept
{
    using S = IterationScalar<T>;
    S sum(0);
    for (int i = 0; i < n; ++i) sum += product(conjugate(S(x[i])), S(y[i]));
    return sum;
}

/// ||x||, by way of the inner product where that holds the squares of all that matters, and of x / max |x|
/// where it does not. Infinite or no number as soon as an element is.
template <class T>
inline double norm(const T* x, int n) noexcept
{
    constexpr double least = 1e-280; // n squares that were lost below it do not add up to its last place
    const double square = realPart(innerProduct(x, x, n));
    if (square >= least && std::isfinite(square)) return std::sqrt(square);
    const double largest = largestModulus(x, n);
    if (largest == 0.0 || !std::isfinite(largest)) return largest;
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        const double part = modulus(x[i]) / largest;
        sum += part * part;
    }
    return largest * std::sqrt(sum);
}

/// ||z|| / ||start||. 0 where z is 0, whatever the start; no number, and so below no tolerance, for a start
/// that is not finite.
inline double rateOf(double norm, double start) noexcept
{
    if (!std::isfinite(start)) return std::numeric_limits<double>::quiet_NaN();
    return norm == 0.0 ? 0.0 : norm / start;
}

/// y += by*x
template <class T>
inline void addMultiple(IterationScalar<T> by, const T* x, T* y, int n) noexcept
{
    const T factor(by);
    for (int i = 0; i < n; ++i) y[i] += product(factor, x[i]);
}

/// Whether a scalar can be divided by.
template <class S>
inline bool isUsable(S value) noexcept
{
    return std::isfinite(magnitude(value)) && value != S(0);
}

} // namespace Velmar::Lintrix::detail::engine
