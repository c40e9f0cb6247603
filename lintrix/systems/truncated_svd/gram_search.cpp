#include <lintrix/systems/truncated_svd/gram_search.h>

#include <lintrix/services/thread_scope.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/truncated_svd/basis_products.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr double kRoundings = 16.0;        ///< of the largest value's square, in an eigenvalue of M^H*M
constexpr double kOrthonormal = 1e-13;     ///< what left vectors may be off by,
constexpr double kOblique = 0.01;          ///< and what can be mended
constexpr double kLarger = 1e-9;           ///< by which a value stands out from one that was found before
constexpr int kSearches = 4;               ///< for more of a multiple value
constexpr double kKept = 0.3;              ///< of the vectors beside the wanted ones
constexpr std::int32_t kColumnsAtOnce = 8; ///< of a product with several

/// Enough for a larger value that stands apart: it shows long before it has converged. Where convergence
/// takes long, so does this.
std::int32_t stepsBeside(std::int32_t count, std::int64_t stepsBefore)
{
    constexpr std::int64_t kPart = 8;
    return static_cast<std::int32_t>(std::max(std::int64_t{4} + count / 10, stepsBefore / kPart));
}

} // namespace

template <class Cell>
double GramSearch<Cell>::bytesFor(std::int32_t rows, std::int32_t cols, std::int32_t count,
                                  std::int32_t basis)
{
    const double triplets = double{1.0} * count * (double{1.0} * rows + cols);
    return GramLanczos<Cell>::bytesFor(rows, cols, basis) +
           sizeof(Cell) * (double{1.0} * count * rows + triplets + (kColumnsAtOnce + 2.0) * cols);
}

template <class Cell>
GramSearch<Cell>::GramSearch(const LinearMap<Cell>& M, std::int32_t count, std::int32_t basis,
                             const TruncatedSvdOptions& options, Random& random, const Cell* start)
    : M_(M), options_(options), count_(count), basis_(basis), lanczos_(M, basis, random, start)
{
}

/// Whether rounding leaves the last value as many digits as the tolerance asks for, and its left vector a
/// direction.
template <class Cell>
bool GramSearch<Cell>::isReachable() const
{
    return kRoundings * kEps < ratioOfLast() * options_.tolerance &&
           kRoundings * kEps < ratioOfLast() * ratioOfLast() * kOblique;
}

/// The last value, relative to the largest.
template <class Cell>
double GramSearch<Cell>::ratioOfLast() const
{
    const std::vector<double>& values = lanczos_.values();
    return values.front() > 0.0 ? values[static_cast<std::size_t>(count_) - 1] / values.front() : 0.0;
}

template <class Cell>
bool GramSearch<Cell>::run()
{
    const SequentialBlasScope unlessLong(double{1.0} * M_.cols * basis_);
    int searches = 0;
    for (;;) {
        WorkScope::expect(4.0 * basis_ * basis_ * M_.cols);
        const bool done = lanczos_.expand(count_, options_.tolerance);
        if (!isReachable()) return false;
        if (done || restarts_ >= options_.restarts) {
            values_ = lanczos_.values();
            lanczos_.restart(count_);
            next_.assign(lanczos_.right(count_), lanczos_.right(count_) + M_.cols);
            couplings_ = lanczos_.couplings();
            if (!done || ++searches > kSearches || !seesMore()) break;
            continue;
        }
        lanczos_.restart(kept());
        ++restarts_;
        if (options_.restarted) options_.restarted(restarts_, lanczos_.settled(count_, options_.tolerance));
    }
    formLeft();
    const double ratio = ratioOfLast();
    if (searches > 1 || kRoundings * kEps > kOrthonormal * ratio * ratio) makeOrthonormal();
    measureRight();
    const double most = options_.tolerance * values_.front();
    return restarts_ >= options_.restarts ||
           std::ranges::all_of(measured_, [most](double r) { return r <= most; });
}

/// Some of the others are kept beside the wanted ones, as far as there is room for steps: what decides on the
/// speed is the gap to the first one dropped.
template <class Cell>
std::int32_t GramSearch<Cell>::kept() const
{
    return count_ + static_cast<std::int32_t>(kKept * (lanczos_.size() - count_));
}

/// Whether a few steps from a random vector, which holds a part of all that the triplets leave, meet a larger
/// value.
template <class Cell>
bool GramSearch<Cell>::seesMore()
{
    const double last = values_[static_cast<std::size_t>(count_) - 1];
    return lanczos_.meetsMoreThan((1.0 + kLarger) * last, stepsBeside(count_, lanczos_.products() / 2));
}

/// u = M*v/s with s = ||M*v||, but for rounding, which may put values out of order.
template <class Cell>
void GramSearch<Cell>::formLeft()
{
    left_ = ColumnBlock<Cell>{M_.rows, count_};
    measured_.assign(static_cast<std::size_t>(count_), 0.0);
    for (std::int32_t j = 0; j < count_; j += kColumnsAtOnce)
        M_.times(std::min(kColumnsAtOnce, count_ - j), lanczos_.right(j), left_.column(j));
    measuring_ += count_;
    for (std::int32_t j = 0; j < count_; ++j) {
        const auto at = static_cast<std::size_t>(j);
        const double length = norm(M_.rows, left_.column(j));
        values_[at] = j > 0 ? std::min(length, values_[at - 1]) : length;
        measured_[at] = length - values_[at];
        blas::scal(M_.rows, 1.0 / length, left_.column(j), 1);
    }
}

/// U := U*(3*I - U^H*U)/2 while that is needed; what U^H*U is off by becomes as small as its square was
/// (Bjorck and Bowie, SIAM J. Numer. Anal. 8 (1971)).
template <class Cell>
void GramSearch<Cell>::makeOrthonormal()
{
    constexpr int kPasses = 3;
    const auto k = static_cast<std::size_t>(count_);
    std::vector<Cell> turn(k * k);
    for (int pass = 0; pass < kPasses; ++pass) {
        blas::gemm('C', 'N', count_, count_, M_.rows, Cell(-0.5), left_.column(0), M_.rows, left_.column(0),
                   M_.rows, Cell(0.0), turn.data(), count_);
        double farthest = 0.0;
        for (std::size_t j = 0; j < k; ++j) {
            turn[j * k + j] += 0.5;
            const double moved = norm(count_, turn.data() + j * k);
            measured_[j] += moved * values_[j];
            farthest = std::max(farthest, moved);
            turn[j * k + j] += 1.0;
        }
        if (farthest < kOrthonormal) return;
        rotate(M_.rows, count_, left_.column(0), turn.data(), count_);
    }
}

template <class Cell>
void GramSearch<Cell>::measureRight()
{
    std::vector<Cell> images(static_cast<std::size_t>(M_.cols) * std::min(kColumnsAtOnce, count_));
    for (std::int32_t first = 0; first < count_; first += kColumnsAtOnce) {
        const std::int32_t columns = std::min(kColumnsAtOnce, count_ - first);
        M_.adjointTimes(columns, left_.column(first), images.data());
        for (std::int32_t j = 0; j < columns; ++j) {
            Cell* const image = images.data() + std::int64_t{M_.cols} * j;
            const auto at = static_cast<std::size_t>(first + j);
            blas::axpy(M_.cols, Cell(-values_[at]), lanczos_.right(first + j), 1, image, 1);
            measured_[at] = std::max(measured_[at], norm(M_.cols, image));
        }
        WorkScope::tell();
    }
    measuring_ += count_;
}

template <class Cell>
StandingTriplets<Cell> GramSearch<Cell>::standing() const
{
    StandingTriplets<Cell> all{left_, ColumnBlock<Cell>{M_.cols, count_ + 1}, values_, couplings_};
    all.values.resize(static_cast<std::size_t>(count_));
    std::copy_n(lanczos_.right(0), std::int64_t{M_.cols} * count_, all.right.column(0));
    std::ranges::copy(next_, all.right.column(count_));
    return all;
}

template class GramSearch<double>;
template class GramSearch<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
