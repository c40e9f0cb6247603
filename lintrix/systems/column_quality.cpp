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

/// Up to `count` columns in the order in which their errors are bounded.
std::vector<std::size_t> worstFirst(const std::vector<BackwardError>& errors, std::int32_t count)
{
    std::vector<std::size_t> order(errors.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto badness = [&errors](std::size_t j) {
        const double error = errors[j].componentwise;
        return std::isnan(error) ? std::numeric_limits<double>::infinity() : error;
    };
    std::ranges::stable_sort(order, std::ranges::greater(), badness);
    order.resize(std::min(order.size(), static_cast<std::size_t>(count)));
    return order;
}

/// The columns whose errors are bounded, side by side, so that a solve serves them all.
template <class Cell>
struct Bounded {
    explicit Bounded(std::size_t order) : n(order) {}

    void add(std::size_t j, const Cell* allX, const Cell* allR, const double* allW)
    {
        places.push_back(j);
        x.insert(x.end(), allX + n * j, allX + n * (j + 1));
        r.insert(r.end(), allR + n * j, allR + n * (j + 1));
        w.insert(w.end(), allW + n * j, allW + n * (j + 1));
    }
    std::int32_t count() const { return static_cast<std::int32_t>(places.size()); }
    void tell(const std::vector<double>& bounds, std::vector<ColumnQuality>& columns) const
    {
        for (std::size_t k = 0; k < places.size(); ++k) columns[places[k]].errorBound = bounds[k];
    }

    std::size_t n;
    std::vector<std::size_t> places{};
    std::vector<Cell> x{}, r{};
    std::vector<double> w{};
};

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
                                            Factored<Cell>* factor, const BoundsAsked& asked)
{
    const MatrixView<Cell> view(A);
    const RowSizes sizes = rowSizesOf(view, op);
    const auto b = cellsOf(B), x = cellsOf(X);
    std::vector<Cell> r(x.size());
    std::vector<double> w(x.size());
    residualAndScale(view, op, X.Cols(), b.data(), x.data(), r.data(), w.data());
    const std::vector<BackwardError> errors =
        backwardErrors<Cell>(sizes, X.Cols(), b.data(), x.data(), r.data(), w.data());
    std::vector<ColumnQuality> columns(errors.size());
    for (std::size_t j = 0; j < errors.size(); ++j) {
        columns[j].backwardError = errors[j].normwise;
        columns[j].componentwiseError = errors[j].componentwise;
    }
    if (factor && asked.columns > 0) {
        const auto n = static_cast<std::size_t>(A.Rows());
        Bounded<Cell> bounded(n);
        for (const std::size_t j : worstFirst(errors, asked.columns)) {
            if (isZero(x.subspan(n * j, n)) && isZero(b.subspan(n * j, n)))
                columns[j].errorBound = 0.0; // exact, and there is no size to divide by
            else
                bounded.add(j, x.data(), r.data(), w.data());
        }
        bounded.tell(forwardErrorBounds<Cell>(view, op, inverseBy(*factor, A.Rows(), op), bounded.count(),
                                              bounded.x.data(), bounded.r.data(), bounded.w.data(),
                                              {sizes.terms, asked.inverseNorm}, ResidualPrecision::Twice,
                                              kQuick),
                     columns);
    }
    for (ColumnQuality& column : columns) column.verdict = verdictOf(column, asked.probeError);
    return columns;
}

template LinearMap<double> inverseBy(Factored<double>&, std::int32_t, TransposeMode);
template LinearMap<Complex> inverseBy(Factored<Complex>&, std::int32_t, TransposeMode);
template std::vector<ColumnQuality> qualityOfColumns<double>(const SparseMatrix&, TransposeMode,
                                                             const Matrix&, const Matrix&, Factored<double>*,
                                                             const BoundsAsked&);
template std::vector<ColumnQuality> qualityOfColumns<Complex>(const CSparseMatrix&, TransposeMode,
                                                              const CMatrix&, const CMatrix&,
                                                              Factored<Complex>*, const BoundsAsked&);

} // namespace Velmar::Lintrix::detail
