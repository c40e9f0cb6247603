#include <lintrix/systems/quality/backward_error.h>

#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <cmath>
#include <complex>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = 0x1p-53;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// size/scale, 0/0 = 0.
double quotient(long double size, long double scale) noexcept
{
    if (std::isnan(scale) || std::isinf(scale)) return kNaN;
    return size == 0.0L && scale == 0.0L ? 0.0 : static_cast<double>(size / scale);
}

double guardedQuotient(double size, double scale, const UnderflowGuard& guard) noexcept
{
    const bool isTiny = scale <= guard.below && (size != 0.0 || scale != 0.0);
    return isTiny ? quotient(size + guard.shift, scale + guard.shift) : quotient(size, scale);
}

/// What is known of a matrix before any column is looked at.
struct MatrixSizes {
    std::vector<double> rowSums;
    double norm;
    std::int32_t cols;
    UnderflowGuard guard;
};

template <class Cell>
MatrixSizes sizesOf(const MatrixView<Cell>& A, TransposeMode op)
{
    const bool turned = op != TransposeMode::NotTransposed;
    std::vector<double> sums(turned ? A.cols() : A.rows());
    rowSums(A, op, sums.data());
    const double norm = largestModulus(sums.data(), static_cast<std::int32_t>(sums.size()));
    return {std::move(sums), norm, turned ? A.rows() : A.cols(), UnderflowGuard(longestRow(A, op) + 1)};
}

template <class Cell>
BackwardError errorOf(const MatrixSizes& A, const Cell* b, const Cell* x, const Cell* r, const double* w)
{
    const auto rows = static_cast<std::int32_t>(A.rowSums.size());
    const double normOfX = largestModulus(x, A.cols);
    BackwardError error;
    error.normwise = normwiseBackwardError(A.norm, normOfX, largestModulus(b, rows), largestModulus(r, rows));
    for (std::int32_t i = 0; i < rows; ++i) {
        const double left = modulus(r[i]), right = modulus(b[i]);
        const double byElements = guardedQuotient(left, w[i], A.guard);
        error.componentwise = largerOrNaN(error.componentwise, byElements);
        const double size = A.rowSums[i] * normOfX;
        if (w[i] <= 1000.0 * A.cols * kEps * (size + right)) {
            const double byRow = guardedQuotient(left, w[i] - right + size, A.guard);
            error.omega2 = largerOrNaN(error.omega2, byRow);
        } else {
            error.omega1 = largerOrNaN(error.omega1, byElements);
        }
    }
    return error;
}

} // namespace

// The exponents of long double hold the product of any two doubles.
double normwiseBackwardError(double normOfA, double normOfX, double normOfB, double normOfR) noexcept
{
    return quotient(normOfR, static_cast<long double>(normOfA) * normOfX + normOfB);
}

template <class Cell>
std::vector<BackwardError> backwardErrors(const MatrixView<Cell>& A, TransposeMode op, std::int32_t columns,
                                          const Cell* b, const Cell* x, const Cell* r)
{
    const MatrixSizes sizes = sizesOf(A, op);
    const auto rows = static_cast<std::int64_t>(sizes.rowSums.size());
    std::vector<double> w(rows);
    std::vector<BackwardError> errors;
    for (std::int32_t c = 0; c < columns; ++c) {
        const Cell *const ownB = b + rows * c, *const ownX = x + std::int64_t{sizes.cols} * c;
        residualScale(A, op, 1, ownB, ownX, w.data());
        errors.push_back(errorOf(sizes, ownB, ownX, r + rows * c, w.data()));
    }
    return errors;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template std::vector<BackwardError> backwardErrors(const MatrixView<Cell>&, TransposeMode, std::int32_t, \
                                                       const Cell*, const Cell*, const Cell*);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
