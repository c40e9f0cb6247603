#include <lintrix/systems/truncated_svd/triplet_search.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/truncated_svd/singular_count.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail {

namespace {

/// Runs after one whose triplets were measured worse than they were believed to be.
constexpr int kCorrections = 3;
/// Of a bound for the certificate from the last value: at least what a factor resolves, at most a part of it.
constexpr double kNearest = 1e-8, kFarthest = 1e-2, kPartOfGap = 0.125;
constexpr int kBounds = 3;          ///< that are tried
constexpr double kNextBound = 32.0; ///< the distance grows by
constexpr int kRecoveries = 3;
constexpr double kKept = 0.3; ///< of the vectors beside the wanted ones
constexpr std::int32_t kMeasuredAtOnce = 8;
/// Of a basis that is run through in less time than it takes to decompose the small matrix at a restart.
constexpr std::int32_t kCellsNearby = 20000;
constexpr double kFinestByGram = 5e-14; ///< tolerance

/// Vectors after which the first values may have converged.
std::int32_t firstLook(std::int32_t wanted)
{
    return std::max(2 * wanted + 1, 20);
}

template <class Cell>
double bytesOf(const RowsView<Cell>& view)
{
    return (sizeof(Cell) + sizeof(std::int32_t)) * static_cast<double>(view.entries()) +
           12.0 * (double{1.0} * view.rows + view.cols);
}

template <class Cell>
SparseOf<Cell> bothTriangles(const SparseOf<Cell>& A)
{
    if constexpr (std::is_same_v<Cell, double>)
        return roads::bothTrianglesOf<Cell>(A);
    else
        return roads::wholeOf<Cell>(A);
}

} // namespace

template <class Cell>
SvdMatrix<Cell>::SvdMatrix(const SparseOf<Cell>& A, double bytes)
{
    if (roads::isOneTriangle(A)) whole_ = bothTriangles<Cell>(A);
    const SparseOf<Cell>& matrix = whole_ ? *whole_ : A;
    view_ = {matrix.Rows(), matrix.Cols(), matrix.Values().data(), matrix.RowPointers().data(),
             matrix.ColumnIndices().data()};
    using Of = SlicedRows<Cell>::Of;
    adjoint_ = SlicedRows<Cell>::within(bytes - this->bytes(), view_, Of::Adjoint);
    if (adjoint_) given_ = SlicedRows<Cell>::within(bytes - this->bytes(), view_, Of::Given);
    products_ = {view_.rows, view_.cols, productWith(given_, false), productWith(adjoint_, true)};
    if (!isAdjoint()) return;
    std::swap(products_.rows, products_.cols);
    std::swap(products_.times, products_.adjointTimes);
}

/// By the slices where there are any, else along the rows as they stand.
template <class Cell>
auto SvdMatrix<Cell>::productWith(const std::optional<SlicedRows<Cell>>& slices, bool adjoint) const ->
    typename LinearMap<Cell>::Apply
{
    if (slices)
        return [&A = *slices](std::int32_t columns, const Cell* x, Cell* y) { A.multiply(columns, x, y); };
    return [&A = view_, adjoint](std::int32_t columns, const Cell* x, Cell* y) {
        multiplyColumns(A, adjoint, columns, x, y);
    };
}

template <class Cell>
bool SvdMatrix<Cell>::isFinite() const
{
    return std::all_of(view_.a, view_.a + view_.entries(), [](const Cell& x) { return detail::isFinite(x); });
}

template <class Cell>
double SvdMatrix<Cell>::bytes() const noexcept
{
    return (whole_ ? bytesOf(view_) : 0.0) + (adjoint_ ? adjoint_->bytes() : 0.0) +
           (given_ ? given_->bytes() : 0.0);
}

template <class Cell>
TripletSearch<Cell>::TripletSearch(const SvdMatrix<Cell>& matrix, std::int32_t count, double bytes,
                                   const TruncatedSvdOptions& options, const Cell* start)
    : matrix_(matrix), M_(matrix.products()), options_(options), count_(count), bytes_(bytes),
      sizes_(chosenSizes(bytes)), gramBasis_(chosenGramBasis(bytes)), random_(options.seed), start_(start)
{
}

template <class Cell>
auto TripletSearch<Cell>::leastSizes(std::int32_t side, std::int32_t count, std::int32_t block) ->
    typename Lanczos::Sizes
{
    const std::int32_t own = std::min(block, side);
    return {std::min(count + own + 1, side), own};
}

template <class Cell>
double TripletSearch<Cell>::leastBytes(std::int32_t rows, std::int32_t cols, std::int32_t count,
                                       const TruncatedSvdOptions& options)
{
    const auto [side, longer] = std::minmax(rows, cols);
    return Lanczos::bytesFor(longer, side, leastSizes(side, count, options.block));
}

/// As large as is asked for, or as serves, and as memory allows; of a side that is hardly larger, all of it.
template <class Cell>
auto TripletSearch<Cell>::chosenSizes(double bytes) const -> typename Lanczos::Sizes
{
    const std::int32_t side = M_.cols;
    const auto [least, block] = leastSizes(side, count_, options_.block);
    const std::int32_t some = 2 * count_ + 20 + 2 * block, serves = 5 * some > 4 * side ? side : some;
    std::int32_t basis = std::min(std::max(options_.basis > 0 ? options_.basis : serves, least), side);
    while (basis > least && Lanczos::bytesFor(M_.rows, side, {basis, block}) > bytes) --basis;
    if (Lanczos::bytesFor(M_.rows, side, {basis, block}) > bytes)
        throw OperationFailedException("The memory budget is too small.");
    return {basis, block};
}

/// The same of the search by M^H*M; 0 where that does not serve: for blocks, for left vectors that are to be
/// reorthogonalized, for a tolerance that it hardly reaches, and for so many triplets that there are small
/// ones.
template <class Cell>
std::int32_t TripletSearch<Cell>::chosenGramBasis(double bytes) const
{
    const std::int32_t side = M_.cols, least = count_ + 2;
    if (options_.block > 1 || options_.fullReorthogonalization || options_.tolerance < kFinestByGram ||
        4 * std::int64_t{count_} > 3 * std::int64_t{side} || least > side)
        return 0;
    const std::int32_t narrow = std::max(2 * count_ + 8, 20), wide = std::max(3 * count_ + 30, narrow);
    const std::int32_t serves = std::clamp(kCellsNearby / side, narrow, wide);
    std::int32_t basis = std::min(std::max(options_.basis > 0 ? options_.basis : serves, least), side);
    while (basis >= least && GramSearch<Cell>::bytesFor(M_.rows, side, count_, basis) > bytes) --basis;
    return basis >= least ? basis : 0;
}

template <class Cell>
void TripletSearch<Cell>::run()
{
    if (gramBasis_ == 0 || !findByGram()) find(count_);
    if (options_.certify) certify();
}

/// What the residuals may be.
template <class Cell>
double TripletSearch<Cell>::limit() const
{
    return options_.tolerance * values().front();
}

template <class Cell>
std::int32_t TripletSearch<Cell>::converged() const
{
    return static_cast<std::int32_t>(
        std::count_if(measured_.begin(), measured_.end(), [this](double r) { return r <= limit(); }));
}

template <class Cell>
bool TripletSearch<Cell>::findByGram()
{
    gram_ = std::make_unique<GramSearch<Cell>>(M_, count_, gramBasis_, options_, random_, start_);
    const bool found = gram_->run();
    restarts_ = gram_->restarts();
    if (found) {
        measured_ = gram_->residuals();
        return true;
    }
    beginAnew(count_);
    return false;
}

/// Where the measure does not agree, anew with a finer tolerance.
template <class Cell>
void TripletSearch<Cell>::find(std::int32_t wanted)
{
    double tolerance = options_.tolerance;
    if (!lanczos_) begin();
    for (int k = 0;; ++k) {
        iterate(wanted, tolerance);
        measure(wanted);
        if (converged() == wanted || k == kCorrections || restarts_ >= options_.restarts) return;
        beginAnew(wanted);
        tolerance *= 0.1;
    }
}

/// Steps that nearly exhaust the space meet small singular values, which leave left vectors badly determined.
template <class Cell>
void TripletSearch<Cell>::begin()
{
    const bool full = options_.fullReorthogonalization || 2 * sizes_.basis > M_.cols;
    lanczos_ = std::make_unique<Lanczos>(
        M_, sizes_, full ? Reorthogonalization::Full : Reorthogonalization::Partial, random_, start_);
}

/// From the sum of the right vectors that stand, with all left ones reorthogonalized.
template <class Cell>
void TripletSearch<Cell>::beginAnew(std::int32_t vectors)
{
    std::vector<Cell> sum(static_cast<std::size_t>(M_.cols));
    for (std::int32_t j = 0; j < vectors; ++j) addMultiple(M_.cols, Cell(1.0), right(j), sum.data());
    measuring_ = products();
    gram_.reset();
    lanczos_.reset();
    lanczos_ = std::make_unique<Lanczos>(M_, sizes_, Reorthogonalization::Full, random_, sum.data());
}

/// Ends with the wanted triplets as leading columns of both bases.
template <class Cell>
void TripletSearch<Cell>::iterate(std::int32_t wanted, double tolerance)
{
    for (;;) {
        WorkScope::expect(4.0 * sizes_.basis * sizes_.basis * (double{1.0} * M_.rows + M_.cols));
        if (restarts_ == 0) lanczos_->expand(firstLook(wanted));
        if (restarts_ > 0 || settled(wanted, tolerance) < wanted) lanczos_->expand(sizes_.basis);
        const std::int32_t good = settled(wanted, tolerance);
        const bool done = good == wanted || lanczos_->isExhausted() || restarts_ >= options_.restarts;
        lanczos_->restart(kept(wanted));
        if (done) return;
        ++restarts_;
        if (options_.restarted) options_.restarted(restarts_, std::min(good, count_));
    }
}

/// Leading triplets that are within the tolerance by estimate.
template <class Cell>
std::int32_t TripletSearch<Cell>::settled(std::int32_t wanted, double tolerance) const
{
    const std::vector<double>& estimates = lanczos_->residuals();
    const double most = tolerance * lanczos_->values().front();
    const auto known = std::min(static_cast<std::size_t>(wanted), estimates.size());
    std::size_t good = 0;
    while (good < known && estimates[good] <= most) ++good;
    return static_cast<std::int32_t>(good);
}

/// Some of the others are kept beside the wanted ones, as far as there is room for steps: what decides on the
/// speed is the gap to the first one dropped.
template <class Cell>
std::int32_t TripletSearch<Cell>::kept(std::int32_t wanted) const
{
    return std::min(wanted, lanczos_->size()) +
           static_cast<std::int32_t>(kKept * std::max(lanczos_->size() - wanted, 0));
}

/// The larger of ||M*v - s*u|| and ||M^H*u - s*v|| of each leading triplet.
template <class Cell>
void TripletSearch<Cell>::measure(std::int32_t wanted)
{
    std::vector<Cell> images(static_cast<std::size_t>(M_.rows) * kMeasuredAtOnce);
    measured_.assign(static_cast<std::size_t>(wanted), 0.0);
    const auto compare = [&](std::int32_t first, std::int32_t count, std::int32_t length, auto target) {
        for (std::int32_t j = first; j < first + count; ++j) {
            Cell* const image = images.data() + std::int64_t{length} * (j - first);
            const auto at = static_cast<std::size_t>(j);
            blas::axpy(length, Cell(-lanczos_->values()[at]), target(j), 1, image, 1);
            measured_[at] = std::max(measured_[at], blas::nrm2(length, image, 1));
        }
    };
    for (std::int32_t j = 0; j < wanted; j += kMeasuredAtOnce) {
        const std::int32_t count = std::min(kMeasuredAtOnce, wanted - j);
        M_.times(count, lanczos_->right(j), images.data());
        compare(j, count, M_.rows, [this](std::int32_t i) { return lanczos_->left(i); });
        M_.adjointTimes(count, lanczos_->left(j), images.data());
        compare(j, count, M_.cols, [this](std::int32_t i) { return lanczos_->right(i); });
        WorkScope::tell();
    }
    measuring_ += 2 * std::int64_t{wanted};
}

template <class Cell>
void TripletSearch<Cell>::undecided(std::string_view reason)
{
    certificate_.certainty = TripletsCertainty::Undecided;
    certificate_.reason = reason;
}

/// A little below the last of the values found, and not at the next one as far as that is known; then further
/// off. What is not above 0 is left out.
template <class Cell>
std::vector<double> TripletSearch<Cell>::boundsBelow(std::int32_t found) const
{
    const std::vector<double>& values = this->values();
    const auto next = static_cast<std::size_t>(found);
    const double last = values[next - 1], after = next < values.size() ? values[next] : 0.0;
    double distance = std::max(kNearest, 32.0 * options_.tolerance * std::sqrt(double{1.0} * found));
    std::vector<double> bounds;
    for (int k = 0; k < kBounds; ++k, distance *= kNextBound) {
        const double bound = last - std::max(distance * values.front(),
                                             std::min(kPartOfGap * (last - after), kFarthest * last));
        if (bound > 0.0) bounds.push_back(bound);
    }
    return bounds;
}

/// Orthonormal vectors with small residuals belong to as many singular values, each near its own (Kahan
/// 1967): so if there are no more above the bound than were found above it, none was passed over.
template <class Cell>
void TripletSearch<Cell>::certify()
{
    const bool allOfThem = count_ == M_.cols || values().front() == 0.0;
    if (converged() < count_) return undecided("not all triplets have converged");
    certificate_.certainty = TripletsCertainty::Certain;
    if (allOfThem) return;
    const double room = bytes_ - bytesOf(matrix_.rows());
    if (room < 0.0) return undecided("there is no room for a factor");
    const TallMatrix<Cell> M(matrix_.rows());
    SingularCount<Cell> counter(M.rows(), M.columns(), room, options_.certificateOperations);
    const auto bounds = boundsBelow(count_);
    if (bounds.empty()) return undecided("the last value is zero next to the first");
    const auto answer = counter.firstCertain(bounds);
    if (!answer && counter.doubt() == SingularCount<Cell>::Doubt::TooLarge)
        return undecided("the factor of the augmented matrix is too large");
    if (!answer) return undecided("rounding leaves the inertia uncertain");
    certificate_.bound = answer->bound;
    certificate_.above = answer->above;
    if (answer->above < count_) return undecided("the inertia contradicts the values");
    if (answer->above > count_ && !recover(answer->above)) return;
    certificate_.certainty = TripletsCertainty::Certain;
}

/// Whether the wider basis, beside what stands now, keeps to the limits on memory and operations.
template <class Cell>
bool TripletSearch<Cell>::hasRoomFor(std::int32_t above, std::int32_t vectors) const
{
    const typename Lanczos::Sizes wider = lanczos_->widened(vectors);
    const double cycle = 4.0 * wider.basis * wider.basis * (double{1.0} * M_.rows + M_.cols);
    return above <= wider.basis && 2.0 * Lanczos::bytesFor(M_.rows, M_.cols, wider) <= bytes_ &&
           cycle <= options_.certificateOperations;
}

/// What was found by M^H*M becomes the beginning of a bidiagonalization.
template <class Cell>
void TripletSearch<Cell>::takeOver()
{
    const StandingTriplets<Cell> standing = gram_->standing();
    measuring_ = products();
    gram_.reset();
    lanczos_ = std::make_unique<Lanczos>(M_, sizes_, random_, standing);
}

/// Looks for as many triplets as there are above the bound. Where that ends worse, what was found before
/// stands.
template <class Cell>
bool TripletSearch<Cell>::recover(std::int32_t above)
{
    if (!lanczos_) takeOver();
    const auto found = [&] {
        std::int32_t good = 0;
        for (std::size_t j = 0; j < measured_.size(); ++j)
            if (measured_[j] <= limit() && values()[j] > certificate_.bound) ++good;
        return good;
    };
    const std::int32_t first = found();
    certificate_.certainty = TripletsCertainty::Missed;
    for (int k = 0; k < kRecoveries && found() < above; ++k) {
        const std::int32_t before = found();
        if (!hasRoomFor(above, above - before)) {
            certificate_.reason = "too many values were passed over";
            break;
        }
        auto standing = std::make_unique<Lanczos>(*lanczos_);
        const std::vector<double> measured = measured_;
        lanczos_->widen(above - before);
        sizes_ = lanczos_->sizes();
        find(above);
        if (found() >= before) continue;
        lanczos_ = std::move(standing);
        sizes_ = lanczos_->sizes();
        measured_ = measured;
        break;
    }
    certificate_.recovered = found() - first;
    return found() == above;
}

template class SvdMatrix<double>;
template class SvdMatrix<std::complex<double>>;
template class TripletSearch<double>;
template class TripletSearch<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
