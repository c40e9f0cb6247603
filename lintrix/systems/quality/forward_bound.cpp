#include <lintrix/systems/quality/forward_bound.h>

#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity(), kEps = 0x1p-53;

/// q counts higher than it was measured: of one perturbed pivot the corrections are an exact geometric
/// series, and its sum the error to the last digit; and where A leaves the solves few digits, q is itself as
/// good as their rounding lets it be.
constexpr double kMargin = 1.0 + 1.0 / 64;

/// So far above the correction and the rounding of x a bound is not worth an estimate of its own.
constexpr double kSharp = 8.0;

/// Steps that a correction is refined by whose own correction is as large, and good: where unknowns differ by
/// many orders, the largest ones of a correction may be all rounding.
constexpr int kSteps = 3;
constexpr double kShrinks = 0.5;

/// size/scale, 0/0 = 0; NaN of an infinite scale.
double quotient(double size, double scale) noexcept
{
    if (std::isinf(scale)) return std::numeric_limits<double>::quiet_NaN();
    return size == 0.0 && scale == 0.0 ? 0.0 : size / scale;
}

/// diag(g)*inverse^H.
template <class Cell>
LinearMap<Cell> scaledAdjoint(const LinearMap<Cell>& inverse, const std::vector<double>& g)
{
    const auto n = static_cast<std::int64_t>(g.size());
    const auto scale = [&g, n](std::int32_t columns, const Cell* from, Cell* to) {
        for (std::int64_t at = 0; at < n * columns; ++at) to[at] = from[at] * g[at % n];
    };
    LinearMap<Cell> map{inverse.cols, inverse.rows, {}, {}};
    map.times = [&inverse, scale](std::int32_t columns, const Cell* x, Cell* y) {
        inverse.adjointTimes(columns, x, y);
        scale(columns, y, y);
    };
    map.adjointTimes = [&inverse, scale, n](std::int32_t columns, const Cell* x, Cell* y) {
        std::vector<Cell> scaled(n * columns);
        scale(columns, x, scaled.data());
        inverse.times(columns, scaled.data(), y);
    };
    return map;
}

/// || |op(A)^-1|*g || by the norms that are known.
double atMost(const KnownBefore& known, const std::vector<double>& g)
{
    const double plain = known.inverseNorm * sumOfModuli(g.data(), static_cast<std::int32_t>(g.size()));
    if (!std::isfinite(known.inverseNormByRows)) return plain;
    double overRows = 0.0;
    for (std::size_t i = 0; i < g.size(); ++i) overRows += quotient(g[i], known.rowSums[i]);
    const double byRows = known.inverseNormByRows * overRows;
    return byRows < plain || std::isnan(plain) ? byRows : plain;
}

/// Of one column, with the correction d and what that leaves.
template <class Cell>
class ColumnBound {
public:
    ColumnBound(const AnyMatrix<Cell>& A, TransposeMode op, const LinearMap<Cell>& inverse,
                const KnownBefore& known, const Cell* d, const Remainder<Cell>& left)
        : inverse_(&inverse), known_(&known), size_(largestModulus(d, inverse.rows)), next_(left.next),
          rate_(left.rate)
    {
        if (!left.isLittle()) measure(A, op, left.s.data());
    }

    /// No series: nothing is bounded by this d.
    bool diverges() const { return rate_ >= 1.0; }
    /// It is d that is to blame: its correction is a good one.
    bool isRefinable() const { return diverges() && shrinks_; }
    /// What refines d.
    const std::vector<Cell>& next() const { return correction_; }

    /// On ||x* - x||; `g` bounds the unknown part of the residual, `enough` is the rounding of x, which no
    /// bound is better than.
    double of(const std::vector<double>& g, ResidualPrecision precision, double enough,
              const NormEstimation& how) const
    {
        if (diverges()) return kInfinity;
        double rest = atMost(*known_, g);
        if (!(rest <= kSharp * (size_ + enough))) rest = estimateOneNorm(scaledAdjoint(*inverse_, g), how);
        rest = largerOrNaN(rest, next_) / (1.0 - rate_);
        return precision == ResidualPrecision::Working ? largerOrNaN(rest, size_) : rest + size_;
    }

private:
    /// q, which no norm shows to be small.
    void measure(const AnyMatrix<Cell>& A, TransposeMode op, const Cell* s)
    {
        const std::int32_t n = inverse_->rows;
        std::vector<Cell> left(n), last(n);
        correction_.resize(n);
        inverse_->times(1, s, correction_.data());
        residualInTwicePrecision<Cell>(A, op, 1, s, correction_.data(), nullptr, left.data());
        next_ = largestModulus(correction_.data(), n);
        inverse_->times(1, left.data(), last.data());
        const double second = quotient(largestModulus(last.data(), n), next_);
        rate_ = kMargin * largerOrNaN(quotient(next_, size_), second);
        shrinks_ = second <= kShrinks;
    }

    const LinearMap<Cell>* inverse_;
    const KnownBefore* known_;
    double size_;                    ///< ||d||
    std::vector<Cell> correction_{}; ///< inverse*s, where that was solved for
    double next_, rate_;             ///< not below ||op(A)^-1 * s||; q
    bool shrinks_ = false;           ///< the quotient of the first two corrections of d is small
};

/// That of d, and as long as only d keeps it from a bound, of d refined; `left` is then what that leaves.
template <class Cell>
ColumnBound<Cell> boundOf(const AnyMatrix<Cell>& A, TransposeMode op, const LinearMap<Cell>& inverse,
                          const KnownBefore& known, const Cell* r, const Cell* d, Remainder<Cell>& left)
{
    ColumnBound<Cell> bound(A, op, inverse, known, d, left);
    std::vector<Cell> refined(d, d + inverse.rows);
    for (int step = 0; step < kSteps && bound.isRefinable(); ++step) {
        for (std::size_t i = 0; i < refined.size(); ++i) refined[i] += bound.next()[i];
        left = remainderOf(A, op, r, refined.data(), known);
        bound = ColumnBound<Cell>(A, op, inverse, known, refined.data(), left);
    }
    return bound;
}

/// g, in place of w; `left` bounds |s|. Where w may have underflowed, as much is added as may have been lost.
template <class Cell>
void boundUnknown(const Cell* r, const std::vector<double>& left, std::int32_t terms,
                  ResidualPrecision precision, std::vector<double>& w)
{
    const UnderflowGuard guard(terms);
    const double unit = terms * kEps;
    for (std::size_t i = 0; i < w.size(); ++i) {
        const double size = modulus(r[i]), lost = w[i] <= guard.below ? guard.shift : 0.0;
        w[i] = lost + (precision == ResidualPrecision::Working ? size + unit * w[i]
                                                               : left[i] + unit * (size + unit * w[i]));
    }
}

} // namespace

/// In the working precision each row of s is off by no more than (nz + 1)*eps*(|op(A)|*|d| + |r|), twice that
/// of complex cells, and r is s + op(A)*d.
template <class Cell>
Remainder<Cell> remainderOf(const AnyMatrix<Cell>& A, TransposeMode op, const Cell* r, const Cell* d,
                            const KnownBefore& known, std::vector<Cell> working)
{
    const auto n = static_cast<std::size_t>(A.rows());
    const double size = largestModulus(d, A.rows());
    const bool isAtHand = !working.empty();
    Remainder<Cell> left{std::move(working), std::vector<double>(n)};
    left.s.resize(n);
    const auto measure = [&](double hidden) {
        std::ranges::transform(left.s, left.sizes.begin(), [](const Cell& cell) { return modulus(cell); });
        for (std::size_t i = 0; i < n && hidden > 0.0; ++i) left.sizes[i] += hidden * known.rowSums[i];
        left.next = atMost(known, left.sizes);
        left.rate = quotient(left.next, size);
    };
    const bool knowsNorm = std::isfinite(known.inverseNorm) || std::isfinite(known.inverseNormByRows);
    if (knowsNorm && !known.rowSums.empty()) {
        if (!isAtHand) residual(A, op, 1, r, d, left.s.data());
        measure(4.0 * known.terms * kEps * size);
        if (left.isLittle()) return left;
    }
    residualInTwicePrecision<Cell>(A, op, 1, r, d, nullptr, left.s.data());
    measure(0.0);
    return left;
}

template <class Cell>
std::vector<double> forwardErrorBounds(const AnyMatrix<Cell>& A, TransposeMode op,
                                       const LinearMap<Cell>& inverse, std::int32_t columns, const Cell* x,
                                       const Cell* r, const Cell* d, const double* w,
                                       const KnownBefore& known, ResidualPrecision precision,
                                       const NormEstimation& how, const Remainder<Cell>* ofFirst)
{
    const std::int32_t n = A.rows();
    if (n == 0 || columns == 0) return std::vector<double>(columns);
    std::vector<double> bounds;
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int64_t first = std::int64_t{n} * c;
        Remainder<Cell> left = c == 0 && ofFirst ? *ofFirst : remainderOf(A, op, r + first, d + first, known);
        const ColumnBound<Cell> bound = boundOf(A, op, inverse, known, r + first, d + first, left);
        std::vector<double> g(w + first, w + first + n);
        boundUnknown(r + first, left.sizes, known.terms, precision, g);
        const double size = largestModulus(x + first, n);
        bounds.push_back(quotient(bound.of(g, precision, kEps * size, how), size));
    }
    return bounds;
}

template <class Cell>
std::vector<double> forwardErrorBounds(const AnyMatrix<Cell>& A, TransposeMode op,
                                       const LinearMap<Cell>& inverse, std::int32_t columns, const Cell* b,
                                       const Cell* x, const Cell* r, ResidualPrecision precision,
                                       const NormEstimation& how)
{
    std::vector<double> w(std::size_t(A.rows()) * columns);
    std::vector<Cell> d(w.size());
    residualScale(A, op, columns, b, x, w.data());
    if (!d.empty()) inverse.times(columns, r, d.data());
    return forwardErrorBounds(A, op, inverse, columns, x, r, d.data(), w.data(), {longestRow(A, op) + 1},
                              precision, how);
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template Remainder<Cell> remainderOf(const AnyMatrix<Cell>&, TransposeMode, const Cell*, const Cell*,    \
                                         const KnownBefore&, std::vector<Cell>);                             \
    template std::vector<double> forwardErrorBounds(                                                         \
        const AnyMatrix<Cell>&, TransposeMode, const LinearMap<Cell>&, std::int32_t, const Cell*,            \
        const Cell*, const Cell*, const double*, const KnownBefore&, ResidualPrecision,                      \
        const NormEstimation&, const Remainder<Cell>*);                                                      \
    template std::vector<double> forwardErrorBounds(                                                         \
        const AnyMatrix<Cell>&, TransposeMode, const LinearMap<Cell>&, std::int32_t, const Cell*,            \
        const Cell*, const Cell*, ResidualPrecision, const NormEstimation&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
