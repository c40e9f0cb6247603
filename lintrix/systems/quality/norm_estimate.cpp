#include <lintrix/systems/quality/norm_estimate.h>

#include <lintrix/foundation/random.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

/// Up to here all columns are tried at once.
constexpr std::int32_t kFewColumns = 4;

/// For a replacement that is parallel to nothing: of at least 16 directions no more than half are taken, so
/// that all draws fail less than once in a million times, and then a direction is only tried twice.
constexpr int kDraws = 20;

double signOf(double value) noexcept
{
    return value < 0.0 ? -1.0 : 1.0;
}
std::complex<double> signOf(const std::complex<double>& value) noexcept
{
    const double size = modulus(value);
    return size == 0.0 ? 1.0 : value / size;
}

/// Columns one behind the other.
template <class Cell>
struct Columns {
    std::int32_t rows, count;
    std::vector<Cell> cells;

    Columns(std::int32_t m, std::int32_t t) : rows(m), count(t), cells(static_cast<std::size_t>(m) * t) {}
    Cell* column(std::int32_t j) noexcept { return cells.data() + std::int64_t{rows} * j; }
    const Cell* column(std::int32_t j) const noexcept { return cells.data() + std::int64_t{rows} * j; }
};

/// Whether column j of S is parallel to one of the first `count` of T; both hold signs.
bool isParallel(const Columns<double>& S, std::int32_t j, const Columns<double>& T, std::int32_t count)
{
    for (std::int32_t k = 0; k < count; ++k) {
        const double* const s = S.column(j);
        if (std::abs(std::inner_product(s, s + S.rows, T.column(k), 0.0)) == S.rows) return true;
    }
    return false;
}

template <class Cell>
class Estimation {
public:
    Estimation(const LinearMap<Cell>& M, std::int32_t t, const NormEstimation& how)
        : M_(M), t_(t), iterations_(how.iterations), random_(how.seed), x_(M.cols, t), y_(M.rows, t),
          signs_(M.rows, t), z_(M.cols, t)
    {
    }

    double run()
    {
        startWithSigns();
        for (int k = 1;; ++k) {
            M_.times(t_, x_.cells.data(), y_.cells.data());
            if (!improves(k) || k > iterations_ || repeatsSigns(k)) return estimate_;
            M_.adjointTimes(t_, signs_.cells.data(), z_.cells.data());
            if (!findsUnitVectors(k)) return estimate_;
        }
    }

    double runOverAllColumns()
    {
        for (std::int32_t j = 0; j < t_; ++j) x_.column(j)[j] = 1.0;
        M_.times(t_, x_.cells.data(), y_.cells.data());
        improves(1);
        return estimate_;
    }

private:
    // The first column is the mean of all unit vectors, so that a matrix of one sign is done at once; the
    // others have random signs.
    void startWithSigns()
    {
        if (t_ == 1) {
            std::ranges::fill(x_.cells, Cell(1.0 / M_.cols));
            return;
        }
        Columns<double> starts(M_.cols, t_);
        for (std::int32_t j = 0; j < t_; ++j) {
            if (j == 0) std::fill_n(starts.column(0), M_.cols, 1.0);
            if (j > 0) drawUnlike(starts, j, {&starts}, j);
        }
        for (std::size_t i = 0; i < x_.cells.size(); ++i) x_.cells[i] = starts.cells[i] / M_.cols;
    }

    // Random signs for column j of S, parallel to none of its first `count` columns and none of the others'.
    void drawUnlike(Columns<double>& S, std::int32_t j, std::initializer_list<const Columns<double>*> others,
                    std::int32_t count)
    {
        for (int draw = 0; draw < kDraws; ++draw) {
            std::generate_n(S.column(j), S.rows, [&] { return signOf(random_.NextDouble() - 0.5); });
            const bool unlike = std::none_of(others.begin(), others.end(), [&](const Columns<double>* T) {
                return isParallel(S, j, *T, T == &S ? count : T->count);
            });
            if (unlike) return;
        }
    }

    // Takes the largest column of y into the estimate. False where it is no gain, or no number to go on with.
    bool improves(int k)
    {
        double largest = 0.0;
        std::int32_t which = 0;
        for (std::int32_t j = 0; j < t_; ++j) {
            const double size = sumOfModuli(y_.column(j), M_.rows);
            if (!(size <= largest)) which = j;
            largest = largerOrNaN(largest, size);
        }
        if (k > 1 && largest <= estimate_) return false;
        estimate_ = largest;
        if (k > 1) best_ = tried_[tried_.size() - t_ + which];
        return std::isfinite(estimate_);
    }

    // Signs of y, in place of those before. True where they all point where those pointed.
    bool repeatsSigns(int k)
    {
        Columns<Cell> before(M_.rows, 0);
        if (k > 1) before = signs_;
        std::transform(y_.cells.begin(), y_.cells.end(), signs_.cells.begin(),
                       [](const Cell& value) { return signOf(value); });
        if constexpr (std::is_same_v<Cell, double>) {
            bool allRepeat = true;
            for (std::int32_t j = 0; j < t_; ++j) allRepeat &= isParallel(signs_, j, before, before.count);
            if (allRepeat) return true;
            for (std::int32_t j = 0; j < t_ && t_ > 1; ++j) {
                if (isParallel(signs_, j, before, before.count) || isParallel(signs_, j, signs_, j)) {
                    drawUnlike(signs_, j, {&before, &signs_}, j);
                }
            }
        }
        return false;
    }

    // The t untried unit vectors of the largest subgradients. False at a maximum, or where all of the
    // steepest have been tried.
    bool findsUnitVectors(int k)
    {
        std::vector<double> steepness(M_.cols);
        for (std::int32_t i = 0; i < M_.cols; ++i) {
            for (std::int32_t j = 0; j < t_; ++j) {
                steepness[i] = largerOrNaN(steepness[i], modulus(z_.column(j)[i]));
            }
        }
        const double steepest = largestModulus(steepness.data(), M_.cols);
        if (std::isnan(steepest)) estimate_ = steepest;
        if (std::isnan(steepest) || (k > 1 && steepest == steepness[best_])) return false;
        return takeUntried(steepness);
    }

    bool takeUntried(const std::vector<double>& steepness)
    {
        std::vector<std::int32_t> order(steepness.size());
        std::iota(order.begin(), order.end(), 0);
        const std::size_t wanted = std::min(order.size(), tried_.size() + t_);
        std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(wanted), order.end(),
                          [&](std::int32_t i, std::int32_t j) {
                              return steepness[i] != steepness[j] ? steepness[i] > steepness[j] : i < j;
                          });
        order.resize(wanted);
        const auto isTried = [&](std::int32_t i) {
            return std::find(tried_.begin(), tried_.end(), i) != tried_.end();
        };
        if (std::all_of(order.begin(), order.begin() + t_, isTried)) return false;
        order.erase(std::remove_if(order.begin(), order.end(), isTried), order.end());
        std::fill(x_.cells.begin(), x_.cells.end(), Cell(0.0));
        for (std::int32_t j = 0; j < t_; ++j) {
            // Where fewer are left, the last is tried in several columns.
            const std::int32_t place = order[std::min<std::size_t>(j, order.size() - 1)];
            x_.column(j)[place] = 1.0;
            tried_.push_back(place);
        }
        return true;
    }

    const LinearMap<Cell>& M_;
    std::int32_t t_, iterations_;
    Random random_;
    Columns<Cell> x_, y_, signs_, z_;
    std::vector<std::int32_t> tried_; ///< unit vectors, those in x at the end
    std::int32_t best_ = 0;           ///< the unit vector of the estimate
    double estimate_ = 0.0;
};

} // namespace

template <class Cell>
double estimateOneNorm(const LinearMap<Cell>& M, const NormEstimation& how)
{
    if (M.rows == 0 || M.cols == 0) return 0.0;
    if (M.cols <= std::max(kFewColumns, how.columns)) {
        return Estimation<Cell>(M, M.cols, how).runOverAllColumns();
    }
    return Estimation<Cell>(M, std::max(how.columns, 1), how).run();
}

double conditionOf(double oneNorm, double normOfInverse, std::int32_t order) noexcept
{
    if (order == 0) return 1.0;
    if (std::isnan(normOfInverse) || std::isnan(oneNorm)) return std::numeric_limits<double>::quiet_NaN();
    return oneNorm == 0.0 ? std::numeric_limits<double>::infinity() : oneNorm * normOfInverse;
}

template <class Cell>
double conditionEstimate(double oneNorm, const LinearMap<Cell>& inverse, const NormEstimation& how)
{
    return conditionOf(oneNorm, estimateOneNorm(inverse, how), inverse.rows);
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template double estimateOneNorm(const LinearMap<Cell>&, const NormEstimation&);                          \
    template double conditionEstimate(double, const LinearMap<Cell>&, const NormEstimation&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
