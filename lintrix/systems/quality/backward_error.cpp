#include <lintrix/systems/quality/backward_error.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = 0x1p-53;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// size/scale, 0/0 = 0.
template <class Real>
double quotient(Real size, Real scale) noexcept
{
    if (std::isnan(scale) || std::isinf(scale)) return kNaN;
    return size == 0 && scale == 0 ? 0.0 : static_cast<double>(size / scale);
}

double guardedQuotient(double size, double scale, const UnderflowGuard& guard) noexcept
{
    if (scale > guard.below && scale <= std::numeric_limits<double>::max()) return size / scale;
    const bool isTiny = scale <= guard.below && (size != 0.0 || scale != 0.0);
    return isTiny ? quotient(size + guard.shift, scale + guard.shift) : quotient(size, scale);
}

template <class Cell>
BackwardError errorOf(const RowSizes& A, const Cell* b, const Cell* x, const Cell* r, const double* w)
{
    const auto rows = static_cast<std::int32_t>(A.sums.size());
    const UnderflowGuard guard(A.terms);
    const double normOfX = largestModulus(x, A.cols);
    BackwardError error;
    error.normwise = normwiseBackwardError(A.norm, normOfX, largestModulus(b, rows), largestModulus(r, rows));
    for (std::int32_t i = 0; i < rows; ++i) {
        const double left = modulus(r[i]), right = modulus(b[i]);
        const double byElements = guardedQuotient(left, w[i], guard);
        error.componentwise = largerOrNaN(error.componentwise, byElements);
        const double size = A.sums[i] * normOfX;
        if (w[i] <= 1000.0 * A.cols * kEps * (size + right)) {
            const double byRow = guardedQuotient(left, w[i] - right + size, guard);
            error.omega2 = largerOrNaN(error.omega2, byRow);
        } else {
            error.omega1 = largerOrNaN(error.omega1, byElements);
        }
    }
    return error;
}

} // namespace

template <class Cell>
RowSizes rowSizesOf(const AnyMatrix<Cell>& A, TransposeMode op)
{
    const bool turned = op != TransposeMode::NotTransposed;
    std::vector<double> sums(turned ? A.cols() : A.rows());
    std::vector<std::int32_t> lengths(sums.size());
    rowSumsAndLengths(A, op, sums.data(), lengths.data());
    const double norm = largestModulus(sums.data(), static_cast<std::int32_t>(sums.size()));
    const std::int32_t longest = lengths.empty() ? 0 : *std::ranges::max_element(lengths);
    return {std::move(sums), norm, turned ? A.rows() : A.cols(), longest + 1};
}

// The exponents of long double hold the product of any two doubles.
double normwiseBackwardError(double normOfA, double normOfX, double normOfB, double normOfR) noexcept
{
    return quotient<long double>(normOfR, static_cast<long double>(normOfA) * normOfX + normOfB);
}

template <class Cell>
std::vector<BackwardError> backwardErrors(const RowSizes& A, std::int32_t columns, const Cell* b,
                                          const Cell* x, const Cell* r, const double* w)
{
    const auto rows = static_cast<std::int64_t>(A.sums.size());
    std::vector<BackwardError> errors;
    for (std::int32_t c = 0; c < columns; ++c) {
        WorkScope::tell();
        errors.push_back(errorOf(A, b + rows * c, x + std::int64_t{A.cols} * c, r + rows * c, w + rows * c));
    }
    return errors;
}

template <class Cell>
std::vector<BackwardError> backwardErrors(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns,
                                          const Cell* b, const Cell* x, const Cell* r)
{
    const RowSizes sizes = rowSizesOf(A, op);
    std::vector<double> w(sizes.sums.size() * static_cast<std::size_t>(columns));
    residualScale(A, op, columns, b, x, w.data());
    return backwardErrors(sizes, columns, b, x, r, w.data());
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template RowSizes rowSizesOf(const AnyMatrix<Cell>&, TransposeMode);                                     \
    template std::vector<BackwardError> backwardErrors(const RowSizes&, std::int32_t, const Cell*,           \
                                                       const Cell*, const Cell*, const double*);             \
    template std::vector<BackwardError> backwardErrors(const AnyMatrix<Cell>&, TransposeMode, std::int32_t,  \
                                                       const Cell*, const Cell*, const Cell*);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
