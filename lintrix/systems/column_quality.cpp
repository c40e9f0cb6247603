#include <lintrix/systems/column_quality.h>

#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/forward_bound.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/quality.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// What is estimated is the small part of the bound that is left when the correction is known: the size will
/// do.
constexpr NormEstimation kQuick{.columns = 1, .iterations = 2};

/// Y = op(A)^-1 * X by the factor, on raw columns.
template <class Cell>
void solveRaw(Factored<Cell>& factor, std::int32_t size, TransposeMode op, std::int32_t columns,
              const Cell* x, Cell* y)
{
    const MatrixOf<Cell> X = AccessTo<Cell>::copyOf(x, size, columns);
    MatrixOf<Cell> Y(size, columns);
    const bool solved = factor.solve(X, Y, op, 0).error == 0;
    const auto cells = cellsOf(Y);
    if (solved)
        std::ranges::copy(cells, y);
    else
        std::fill_n(y, cells.size(), Cell(std::numeric_limits<double>::quiet_NaN()));
}

/// (A^T)^-H*x is conj(A^-1*conj(x)).
template <class Cell>
void solveConjugated(Factored<Cell>& factor, std::int32_t size, std::int32_t columns, const Cell* x, Cell* y)
{
    const auto count = static_cast<std::size_t>(size) * static_cast<std::size_t>(columns);
    MatrixOf<Cell> X = conjugateOf(AccessTo<Cell>::copyOf(x, size, columns));
    solveRaw(factor, size, TransposeMode::NotTransposed, columns, cellsOf(std::as_const(X)).data(), y);
    X = conjugateOf(AccessTo<Cell>::copyOf(y, size, columns));
    std::copy_n(cellsOf(std::as_const(X)).begin(), count, y);
}

/// The columns in the order in which their errors are bounded.
std::vector<std::size_t> worstFirst(const std::vector<BackwardError>& errors)
{
    std::vector<std::size_t> order(errors.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto badness = [&errors](std::size_t j) {
        const double error = errors[j].componentwise;
        return std::isnan(error) ? std::numeric_limits<double>::infinity() : error;
    };
    std::ranges::stable_sort(order, std::ranges::greater(), badness);
    return order;
}

template <class Cells>
bool isZero(Cells cells)
{
    return std::ranges::all_of(cells, [](const auto& cell) { return cell == 0.0; });
}

/// A bound that could not be had takes the best verdict away, and no more: the probe has been measured.
Verdict verdictOf(const ColumnQuality& column, double probeError)
{
    if (!column.errorBound) return roads::verdictOf(column.backwardError, probeError);
    if (!std::isfinite(*column.errorBound))
        return std::max(roads::verdictOf(column.backwardError, probeError), Verdict::Degraded);
    return roads::verdictOf(column.backwardError, worseError(probeError, column.errorBound));
}

} // namespace

template <class Cell>
LinearMap<Cell> inverseBy(Factored<Cell>& factor, std::int32_t size, TransposeMode op)
{
    LinearMap<Cell> inverse{size, size, {}, {}};
    inverse.times = [&factor, size, op](std::int32_t columns, const Cell* x, Cell* y) {
        solveRaw(factor, size, op, columns, x, y);
    };
    inverse.adjointTimes = [&factor, size, op](std::int32_t columns, const Cell* x, Cell* y) {
        if (op == TransposeMode::Transposed) return solveConjugated(factor, size, columns, x, y);
        const bool plain = op == TransposeMode::NotTransposed;
        solveRaw(factor, size, plain ? TransposeMode::ConjugateTransposed : TransposeMode::NotTransposed,
                 columns, x, y);
    };
    return inverse;
}

template <class Cell>
std::vector<ColumnQuality> qualityOfColumns(const SparseOf<Cell>& A, TransposeMode op,
                                            const MatrixOf<Cell>& B, const MatrixOf<Cell>& X,
                                            Factored<Cell>* factor, std::int32_t bounds, double probeError)
{
    const MatrixView<Cell> view(A);
    const auto b = cellsOf(B), x = cellsOf(X);
    std::vector<Cell> r(x.size());
    residualInTwicePrecision(view, op, X.Cols(), b.data(), x.data(), static_cast<const Cell*>(nullptr),
                             r.data());
    const std::vector<BackwardError> errors =
        backwardErrors(view, op, X.Cols(), b.data(), x.data(), static_cast<const Cell*>(r.data()));
    std::vector<ColumnQuality> columns(errors.size());
    const auto n = static_cast<std::size_t>(A.Rows());
    for (std::size_t k = 0; const std::size_t j : worstFirst(errors)) {
        columns[j].backwardError = errors[j].normwise;
        columns[j].componentwiseError = errors[j].componentwise;
        if (!factor || k++ >= static_cast<std::size_t>(bounds)) continue;
        if (isZero(x.subspan(n * j, n)) && isZero(b.subspan(n * j, n))) {
            columns[j].errorBound = 0.0; // exact, and there is no size to divide by
            continue;
        }
        columns[j].errorBound =
            forwardErrorBounds(view, op, inverseBy(*factor, A.Rows(), op), 1, b.data() + n * j,
                               x.data() + n * j, static_cast<const Cell*>(r.data() + n * j),
                               ResidualPrecision::Twice, kQuick)
                .front();
    }
    for (ColumnQuality& column : columns) column.verdict = verdictOf(column, probeError);
    return columns;
}

template LinearMap<double> inverseBy(Factored<double>&, std::int32_t, TransposeMode);
template LinearMap<Complex> inverseBy(Factored<Complex>&, std::int32_t, TransposeMode);
template std::vector<ColumnQuality> qualityOfColumns<double>(const SparseMatrix&, TransposeMode,
                                                             const Matrix&, const Matrix&, Factored<double>*,
                                                             std::int32_t, double);
template std::vector<ColumnQuality> qualityOfColumns<Complex>(const CSparseMatrix&, TransposeMode,
                                                              const CMatrix&, const CMatrix&,
                                                              Factored<Complex>*, std::int32_t, double);

} // namespace Velmar::Lintrix::detail
