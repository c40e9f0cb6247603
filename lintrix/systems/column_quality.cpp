#include <lintrix/systems/column_quality.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/forward_bound.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/quality.h>
#include <lintrix/systems/roads/words.h>
#include <lintrix/systems/shifted_factors.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <span>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// Of refinement, that a factor takes unasked; and of a correction whose remainder can be seen to shrink,
/// each of which takes less than one solve of those that measure what it leaves, which are refined
/// themselves.
constexpr std::int32_t kUnaskedSteps = 2, kSeenSteps = 4;

/// What is estimated is the small part of the bound that is left when the correction is known: the size will
/// do, and one unit vector tells it.
constexpr NormEstimation kQuick{.columns = 1, .iterations = 1};

/// Y = op(A)^-1 * X by the factor, on raw columns.
template <class Cell>
void solveRaw(Factored<Cell>& factor, std::int32_t size, TransposeMode op, Refining refining,
              std::int32_t columns, const Cell* x, Cell* y)
{
    if (factor.apply(size, columns, x, y, op, refining).error == 0) return;
    const std::size_t cells = static_cast<std::size_t>(size) * static_cast<std::size_t>(columns);
    std::fill_n(y, cells, Cell(std::numeric_limits<double>::quiet_NaN()));
}

/// (A^T)^-H*x is conj(A^-1*conj(x)).
template <class Cell>
void solveConjugated(Factored<Cell>& factor, std::int32_t size, Refining refining, std::int32_t columns,
                     const Cell* x, Cell* y)
{
    const auto count = static_cast<std::size_t>(size) * static_cast<std::size_t>(columns);
    MatrixOf<Cell> X = conjugateOf(AccessTo<Cell>::copyOf(x, size, columns));
    solveRaw(factor, size, TransposeMode::NotTransposed, refining, columns, cellsOf(std::as_const(X)).data(),
             y);
    X = conjugateOf(AccessTo<Cell>::copyOf(y, size, columns));
    std::copy_n(cellsOf(std::as_const(X)).begin(), count, y);
}

/// The columns that can be judged, in the order in which their errors are bounded.
std::vector<std::size_t> worstFirst(const std::vector<BackwardError>& errors)
{
    std::vector<std::size_t> order;
    for (std::size_t j = 0; j < errors.size(); ++j)
        if (std::isfinite(errors[j].normwise)) order.push_back(j);
    const auto badness = [&errors](std::size_t j) {
        const double error = errors[j].componentwise;
        return std::isnan(error) ? std::numeric_limits<double>::infinity() : error;
    };
    std::ranges::stable_sort(order, std::ranges::greater(), badness);
    return order;
}

bool isUnsolved(const ColumnQuality& column)
{
    return column.componentwiseError >= kNoDigit;
}

/// A bound that could not be had takes the best verdict away, and no more: the probe has been measured. But
/// an equation that x does not solve to a digit, of which the factor knows no better, may be all that the
/// largest unknown is in: on its way there a number has underflowed.
Verdict verdictOf(const ColumnQuality& column, double probeError, std::optional<double> ownError)
{
    const Verdict byProbe = roads::verdictOf(column.backwardError, probeError);
    if (!ownError) return byProbe;
    if (!std::isfinite(*ownError))
        return std::max(byProbe, isUnsolved(column) ? Verdict::Failed : Verdict::Degraded);
    return roads::verdictOf(column.backwardError, worseError(probeError, ownError));
}

template <class Cells>
bool isZero(Cells cells)
{
    return std::ranges::all_of(cells, [](const auto& cell) { return cell == 0.0; });
}

/// What one reading of A tells of all columns.
template <class Cell>
struct Residuals {
    Residuals(const AnyMatrix<Cell>& A, TransposeMode op, const RowSizes& ofA, const MatrixOf<Cell>& B,
              const MatrixOf<Cell>& X)
        : n(static_cast<std::size_t>(A.rows())), b(cellsOf(B)), x(cellsOf(X)), sizes(ofA), r(x.size()),
          w(x.size())
    {
        residualAndScale(A, op, X.Cols(), b.data(), x.data(), r.data(), w.data());
        errors = backwardErrors<Cell>(sizes, X.Cols(), b.data(), x.data(), r.data(), w.data());
    }

    bool isExact(std::size_t j) const { return isZero(b.subspan(n * j, n)) && isZero(x.subspan(n * j, n)); }

    std::size_t n;
    std::span<const Cell> b, x;
    const RowSizes& sizes;
    std::vector<Cell> r;   ///< in twice the precision
    std::vector<double> w; ///< |op(A)|*|x| + |b|
    std::vector<BackwardError> errors{};
};

/// Some of the columns side by side, so that a solve serves them all.
template <class Number>
std::vector<Number> sideBySide(std::size_t n, std::span<const std::size_t> which, std::span<const Number> all)
{
    std::vector<Number> some;
    some.reserve(n * which.size());
    for (const std::size_t j : which) {
        WorkScope::tell();
        some.insert(some.end(), all.begin() + n * j, all.begin() + n * (j + 1));
    }
    return some;
}

/// The residuals, with 0 in place of those of columns that are no solution: a solve serves the others.
template <class Cell>
std::vector<Cell> residualsOfSolutions(const Residuals<Cell>& all)
{
    std::vector<Cell> r = all.r;
    for (std::size_t j = 0; j < all.errors.size(); ++j)
        if (!std::isfinite(all.errors[j].normwise)) std::fill_n(r.begin() + all.n * j, all.n, Cell());
    return r;
}

/// Adds to r what may have been lost of it where all of a row has underflown.
template <class Cell>
void addUnderflow(std::int32_t terms, std::span<const double> w, Cell* r)
{
    const UnderflowGuard guard(terms);
    for (std::size_t i = 0; i < w.size(); ++i)
        if (w[i] <= guard.below) r[i] += guard.shift;
}

/// ||op(A)^-1 * r||/||x|| of each of some columns, by the factor.
template <class Cell>
std::vector<double> errorEstimates(const Residuals<Cell>& all, TransposeMode op, Factored<Cell>& factor,
                                   const std::vector<std::size_t>& which)
{
    if (which.empty()) return {};
    const auto n = static_cast<std::int32_t>(all.n);
    std::vector<Cell> residuals = sideBySide<Cell>(all.n, which, all.r), corrections(residuals.size());
    for (std::size_t k = 0; k < which.size(); ++k) {
        WorkScope::tell();
        if (isZero(all.b.subspan(all.n * which[k], all.n))) continue; // exact
        addUnderflow(all.sizes.terms, std::span(all.w).subspan(all.n * which[k], all.n),
                     residuals.data() + all.n * k);
    }
    solveRaw(factor, n, op, Refining::Unasked, static_cast<std::int32_t>(which.size()), residuals.data(),
             corrections.data());
    std::vector<double> estimates;
    for (std::size_t k = 0; k < which.size(); ++k) {
        WorkScope::tell();
        const double correction = largestModulus(corrections.data() + all.n * k, n);
        estimates.push_back(
            correction == 0.0 ? 0.0 : correction / largestModulus(all.x.data() + all.n * which[k], n));
    }
    return estimates;
}

/// A correction by a solve with the relative error e leaves e*R of its residual, from which the condition
/// makes e*condition of the correction again: where that is little, further steps of refinement tell no more.
/// The drift d is e of the factor alone, unless it was refined because that is above kSureDrift: then it is
/// e^2 or e^3. So one step always comes near to d, and none is needed where d is smaller than any cube.
Refining enoughFor(const FactorQuality& factor)
{
    constexpr double kNotRefined = 0.1 * kSureDrift * kSureDrift * kSureDrift;
    if (!factor.drift || !factor.condition || !(*factor.drift * *factor.condition <= kSmallRate))
        return Refining::Unasked;
    return *factor.drift <= kNotRefined ? Refining::Never : Refining::Once;
}

/// How the solves refine that tell what a factor is worth: where the drift is asked for it tells by itself
/// when to.
template <class Cell>
Refining refiningFor(const Factored<Cell>& factor, const FactorQuestion& asked)
{
    return asked.shift && factor.refinesUnasked() ? Refining::Never : Refining::Unasked;
}

/// One correction goes with a solve of what the factor is worth, if nobody has asked for that yet. Else its
/// block is filled up, where that tells on the bits: they do not depend on who asked first.
/// @return  r - A*d in the working precision; empty where that would take a reading of A
template <class Cell>
std::vector<Cell> solveBeside(const AnyMatrix<Cell>& A, Factored<Cell>& factor, const Cell* r, Cell* d,
                              const BoundsAsked& asked)
{
    const auto n = static_cast<std::size_t>(A.rows());
    if (!*asked.ofFactor) {
        std::vector<Cell> left(asked.question.shift ? n : 0);
        *asked.ofFactor = qualityBy(factor, A, asked.question, {r, d, left.empty() ? nullptr : left.data()});
        return left;
    }
    const std::size_t others = factor.bitsDependOnCount() ? n * (companionBlock(A.rows()) - 1) : 0;
    std::vector<Cell> R(others + n), D(others + n);
    std::copy_n(r, n, R.begin() + others);
    solveRaw(factor, A.rows(), TransposeMode::NotTransposed, refiningFor(factor, asked.question),
             static_cast<std::int32_t>(R.size() / n), R.data(), D.data());
    std::copy_n(D.begin() + others, n, d);
    return {};
}

/// Refines a correction d until what is left of r is little by the norms that are known; without one, as
/// often as the factor refines unasked. @return  what d leaves then
template <class Cell>
Remainder<Cell> refineBeside(const AnyMatrix<Cell>& A, Factored<Cell>& factor, const Cell* r, Cell* d,
                             const KnownBefore& known, Remainder<Cell> left)
{
    const std::int32_t n = A.rows();
    std::vector<Cell> more(left.s.size());
    const std::int32_t most = std::isfinite(left.rate) ? kSeenSteps : kUnaskedSteps;
    for (std::int32_t step = 0; step < most && !left.isLittle(); ++step) {
        solveRaw(factor, n, TransposeMode::NotTransposed, Refining::Never, 1, left.s.data(), more.data());
        for (std::size_t i = 0; i < more.size(); ++i) d[i] += more[i];
        left = remainderOf(A, TransposeMode::NotTransposed, r, d, known);
    }
    return left;
}

/// What spares work by the row sums of op(A) and by the worth of the factor, if that is known.
KnownBefore knownBy(const RowSizes& sizes, TransposeMode op, const BoundsAsked& asked)
{
    KnownBefore known{.terms = sizes.terms, .rowSums = sizes.sums};
    if (!asked.ofFactor || !*asked.ofFactor) return known;
    const FactorQuality& factor = **asked.ofFactor;
    known.inverseNorm = factor.inverseNormAtMost();
    const bool areRows = op == TransposeMode::NotTransposed || asked.question.shift; // of A
    if (areRows) known.inverseNormByRows = factor.inverseNormByRowsAtMost();
    return known;
}

/// The corrections op(A)^-1 * R of some columns, and what that of a single one leaves.
template <class Cell>
struct Corrections {
    std::vector<Cell> D;
    std::optional<Remainder<Cell>> left{};
};

/// What the factor is worth is found out before, if nobody has yet, by solves of its own where there are
/// several columns.
template <class Cell>
Corrections<Cell> correctionsOf(const AnyMatrix<Cell>& A, TransposeMode op, const RowSizes& sizes,
                                Factored<Cell>& factor, std::int32_t columns, const std::vector<Cell>& R,
                                const BoundsAsked& asked)
{
    Corrections<Cell> corrections{std::vector<Cell>(R.size())};
    std::vector<Cell>& D = corrections.D;
    if (columns == 1 && op == TransposeMode::NotTransposed && asked.ofFactor) {
        std::vector<Cell> working = solveBeside(A, factor, R.data(), D.data(), asked);
        const KnownBefore known = knownBy(sizes, op, asked);
        corrections.left = remainderOf(A, op, R.data(), D.data(), known, std::move(working));
        if (refiningFor(factor, asked.question) == Refining::Never)
            corrections.left =
                refineBeside(A, factor, R.data(), D.data(), known, std::move(*corrections.left));
        return corrections;
    }
    if (asked.ofFactor && !*asked.ofFactor) *asked.ofFactor = qualityBy(factor, A, asked.question);
    const Refining refining = asked.ofFactor ? enoughFor(**asked.ofFactor) : Refining::Unasked;
    inverseBy(factor, A.rows(), op, refining).times(columns, R.data(), D.data());
    return corrections;
}

/// A solve that loses as much as the probe has lost makes a correction too short by so many times that.
constexpr double kSolvesFallShort = 8.0;

/// Corrections by a factor of another matrix are the first ones of a series, which may shrink so slowly that
/// nothing is seen of it: then it is at least so many times the first one.
constexpr double kSlowSeries = 64.0;

/// Of a bound on the error and the first correction, both beside the size of x.
double seriesOf(double bound, double correction)
{
    return correction > 0.0 && std::isfinite(bound) ? std::max(1.0, bound / correction) : kSlowSeries;
}

/// Of what is exact there is no size to divide by, and the bound is 0. A factor that does not solve to the
/// level of rounding bounds nothing, nor does one of another matrix.
/// @return  how many times the first correction the error may be: more than once by a factor of another
template <class Cell>
double boundErrors(const AnyMatrix<Cell>& A, TransposeMode op, const Residuals<Cell>& all,
                   Factored<Cell>& factor, std::span<const std::size_t> which, const BoundsAsked& asked,
                   std::vector<ColumnQuality>& columns)
{
    std::vector<std::size_t> inexact;
    for (const std::size_t j : which) {
        columns[j].errorBound = 0.0;
        if (!all.isExact(j)) inexact.push_back(j);
    }
    const std::vector<Cell> x = sideBySide<Cell>(all.n, inexact, all.x),
                            r = sideBySide<Cell>(all.n, inexact, all.r);
    if (inexact.empty()) return 1.0;
    const std::vector<double> w = sideBySide<double>(all.n, inexact, all.w);
    const auto count = static_cast<std::int32_t>(inexact.size());
    const auto [d, left] = correctionsOf(A, op, all.sizes, factor, count, r, asked);
    const std::vector<double> bounds = forwardErrorBounds<Cell>(
        A, op, inverseBy(factor, A.rows(), op), count, x.data(), r.data(), d.data(), w.data(),
        knownBy(all.sizes, op, asked), ResidualPrecision::Twice, kQuick, left ? &*left : nullptr);
    const double shortfall = 1.0 + kSolvesFallShort * asked.probeError;
    double series = 1.0;
    for (std::size_t k = 0; k < inexact.size(); ++k) {
        const auto first = static_cast<std::ptrdiff_t>(all.n * k);
        if (asked.isOfAnother)
            series = std::max(series, seriesOf(bounds[k], largestModulus(d.data() + first, A.rows()) /
                                                              largestModulus(x.data() + first, A.rows())));
        ColumnQuality& column = columns[inexact[k]];
        const bool isSolved = column.backwardError <= kRoundingLevel;
        column.errorBound =
            isSolved && !asked.isOfAnother ? shortfall * bounds[k] : std::numeric_limits<double>::infinity();
    }
    return series;
}

/// Those that have no bound, or none that is finite.
std::vector<std::size_t> unbounded(const std::vector<std::size_t>& order,
                                   const std::vector<ColumnQuality>& columns)
{
    std::vector<std::size_t> others;
    std::ranges::copy_if(order, std::back_inserter(others), [&columns](std::size_t j) {
        return !columns[j].errorBound || !std::isfinite(*columns[j].errorBound);
    });
    return others;
}

bool mayBeSingular(const BoundsAsked& asked)
{
    return asked.ofFactor && *asked.ofFactor && (*asked.ofFactor)->mayBeSingular();
}

/// Where A may be singular, nothing that the factor solves for has a digit for certain; and a pivot that was
/// replaced may have been anything as small, so that it is as well where the condition takes rounding as far
/// as all digits.
bool isBeyond(const BoundsAsked& asked)
{
    if (mayBeSingular(asked)) return true;
    if (!asked.isOfAnother || !asked.ofFactor || !*asked.ofFactor) return false;
    const double lost = 0x1p-53 * (*asked.ofFactor)->condition.value_or(0.0);
    return lost >= kNoDigit;
}

/// Of a matrix that may be singular a bound is one by chance: it may take digits away, and gives none.
void takeBack(std::span<const std::size_t> bounded, std::vector<ColumnQuality>& columns)
{
    for (const std::size_t j : bounded) {
        columns[j].errorBound = std::numeric_limits<double>::infinity();
        columns[j].verdict = std::max(columns[j].verdict, Verdict::Degraded);
    }
}

template <class Cell>
std::vector<ColumnQuality> qualityOfColumns(const AnyMatrix<Cell>& A, TransposeMode op,
                                            const Residuals<Cell>& all, Factored<Cell>* factor,
                                            const BoundsAsked& asked)
{
    const std::vector<std::size_t> order = worstFirst(all.errors);
    const std::size_t bounded = factor ? std::min<std::size_t>(std::max(asked.columns, 0), order.size()) : 0;
    std::vector<ColumnQuality> columns;
    for (const BackwardError& error : all.errors)
        columns.push_back({Verdict::Failed, error.normwise, error.componentwise});
    const double series =
        bounded > 0 ? boundErrors(A, op, all, *factor, std::span(order).first(bounded), asked, columns) : 1.0;
    for (const std::size_t j : order)
        columns[j].verdict = verdictOf(columns[j], asked.probeError, columns[j].errorBound);
    if (bounded == 0) return columns;
    const std::vector<std::size_t> others = unbounded(order, columns);
    if (isBeyond(asked)) {
        for (const std::size_t j : others) columns[j].verdict = Verdict::Failed;
        if (mayBeSingular(asked)) takeBack(std::span(order).first(bounded), columns);
        return columns;
    }
    const std::vector<double> estimates = errorEstimates(all, op, *factor, others);
    for (std::size_t k = 0; k < others.size(); ++k) {
        ColumnQuality& column = columns[others[k]];
        column.verdict = std::max(column.verdict, verdictOf(column, asked.probeError, series * estimates[k]));
    }
    return columns;
}

/// Of a verdict other than Accurate, in a few words.
std::string reasonOf(const ColumnQuality& column)
{
    if (!std::isfinite(column.backwardError)) return "a number overflowed";
    if (!(column.backwardError <= kRoundingLevel))
        return "scaled residual " + numberInWords(column.backwardError);
    return reasonByBound(column.errorBound);
}

} // namespace

std::string reasonByBound(const std::optional<double>& errorBound)
{
    if (!errorBound) return "ill-conditioned";
    return std::isfinite(*errorBound)
               ? fmt::format("ill-conditioned, error up to {}", numberInWords(*errorBound))
               : "the error cannot be bounded";
}

template <class Cell>
LinearMap<Cell> inverseBy(Factored<Cell>& factor, std::int32_t size, TransposeMode op, Refining refining)
{
    LinearMap<Cell> inverse{size, size, {}, {}};
    inverse.times = [&factor, size, op, refining](std::int32_t columns, const Cell* x, Cell* y) {
        solveRaw(factor, size, op, refining, columns, x, y);
    };
    inverse.adjointTimes = [&factor, size, op, refining](std::int32_t columns, const Cell* x, Cell* y) {
        if (op == TransposeMode::Transposed) return solveConjugated(factor, size, refining, columns, x, y);
        const bool plain = op == TransposeMode::NotTransposed;
        solveRaw(factor, size, plain ? TransposeMode::ConjugateTransposed : TransposeMode::NotTransposed,
                 refining, columns, x, y);
    };
    return inverse;
}

template <class Cell>
FactorQuality qualityBy(Factored<Cell>& factor, const AnyMatrix<Cell>& A, const FactorQuestion& asked,
                        const Companion<Cell>& companion)
{
    const Refining refining = refiningFor(factor, asked);
    FactorQuestion question = asked;
    if (refining == Refining::Never) {
        question.steps = kUnaskedSteps;
        question.near = kSureDrift;
    }
    const LinearMap<Cell> inverse = inverseBy(factor, A.rows(), TransposeMode::NotTransposed, refining);
    return qualityOfFactor(A, inverse, question, companion);
}

template <class Cell>
std::vector<ColumnQuality>
improvedColumns(const AnyMatrix<Cell>& A, TransposeMode op, const MatrixOf<Cell>& B, MatrixOf<Cell>& X,
                const ColumnUnits<Cell>* units, Factored<Cell>* factor, const BoundsAsked& asked)
{
    if (units) X = units->thereAndBack(std::move(X));
    std::optional<RowSizes> own;
    if (!asked.sizes) own = rowSizesOf(A, op);
    const RowSizes& sizes = asked.sizes ? *asked.sizes : *own;
    const Residuals<Cell> all(A, op, sizes, B, std::as_const(X));
    std::vector<ColumnQuality> columns = qualityOfColumns(A, op, all, factor, asked);
    const Verdict best = roads::verdictOf(0.0, asked.probeError);
    const bool isWorse = std::ranges::any_of(columns, [best](const ColumnQuality& column) {
        return column.verdict > best && std::isfinite(column.backwardError);
    });
    if (!isWorse || !factor || asked.columns <= 0) return columns;
    MatrixOf<Cell> corrected(X.Rows(), X.Cols());
    solveRaw(*factor, A.rows(), op, Refining::Unasked, X.Cols(), residualsOfSolutions(all).data(),
             cellsOf(corrected).data());
    corrected = X + corrected;
    if (units) corrected = units->thereAndBack(std::move(corrected));
    const std::vector<ColumnQuality> after =
        qualityOfColumns(A, op, Residuals<Cell>(A, op, sizes, B, std::as_const(corrected)), factor, asked);
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        const auto at = static_cast<std::size_t>(j);
        if (after[at].verdict >= columns[at].verdict) continue;
        columns[at] = after[at];
        std::ranges::copy(columnCells(std::as_const(corrected), j), columnCells(X, j).begin());
    }
    return columns;
}

template <class Cell>
double residualOf(const std::vector<ColumnQuality>& columns, const ColumnUnits<Cell>* units)
{
    double residual = 0.0;
    for (std::size_t j = 0; j < columns.size(); ++j)
        if (!units || units->isFinite(j)) residual = largerOrNaN(residual, columns[j].backwardError);
    return residual;
}

template <class Cell>
void lowerToWorst(SystemAnswer<Cell>& answer, const ColumnUnits<Cell>* units)
{
    const std::string ofMatrix = answer.solutions ? answer.reason : std::string();
    bool lacksNumbers = units && !units->allFinite();
    for (std::size_t j = 0; j < answer.columns.size(); ++j) {
        ColumnQuality& column = answer.columns[j];
        if (column.verdict == Verdict::Accurate) continue;
        lacksNumbers = lacksNumbers || !std::isfinite(column.backwardError);
        column.reason = units && !units->isFinite(j) ? "the right-hand side is not finite"
                        : ofMatrix.empty()           ? reasonOf(column)
                                                     : ofMatrix;
        if (column.verdict <= answer.verdict) continue;
        answer.verdict = column.verdict;
        answer.reason = column.reason;
    }
    if (lacksNumbers) {
        answer.residual = std::numeric_limits<double>::quiet_NaN();
        if (answer.normalResidual) answer.normalResidual = answer.residual;
    }
    if (units && !units->allFinite()) answer.reason = "a right-hand side is not finite";
    if (answer.verdict == Verdict::Failed) answer.complaint = complaintOf(answer.reason);
}

template double residualOf(const std::vector<ColumnQuality>&, const ColumnUnits<double>*);
template double residualOf(const std::vector<ColumnQuality>&, const ColumnUnits<Complex>*);
template void lowerToWorst(SystemAnswer<double>&, const ColumnUnits<double>*);
template void lowerToWorst(SystemAnswer<Complex>&, const ColumnUnits<Complex>*);
template LinearMap<double> inverseBy(Factored<double>&, std::int32_t, TransposeMode, Refining);
template LinearMap<Complex> inverseBy(Factored<Complex>&, std::int32_t, TransposeMode, Refining);
template FactorQuality qualityBy(Factored<double>&, const AnyMatrix<double>&, const FactorQuestion&,
                                 const Companion<double>&);
template FactorQuality qualityBy(Factored<Complex>&, const AnyMatrix<Complex>&, const FactorQuestion&,
                                 const Companion<Complex>&);
template std::vector<ColumnQuality> improvedColumns(const AnyMatrix<double>&, TransposeMode, const Matrix&,
                                                    Matrix&, const ColumnUnits<double>*, Factored<double>*,
                                                    const BoundsAsked&);
template std::vector<ColumnQuality> improvedColumns(const AnyMatrix<Complex>&, TransposeMode, const CMatrix&,
                                                    CMatrix&, const ColumnUnits<Complex>*, Factored<Complex>*,
                                                    const BoundsAsked&);

} // namespace Velmar::Lintrix::detail
