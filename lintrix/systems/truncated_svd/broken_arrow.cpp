#include <lintrix/systems/truncated_svd/broken_arrow.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kShifts = 8;     ///< at which eigenvalues are counted side by side
constexpr int kSections = 17;           ///< each leaves a ninth: 2^-53 in all
constexpr double kLeastPivot = 1e-290;  ///< so that no quotient is 0/0

} // namespace

std::int32_t BrokenArrow::order() const noexcept
{
    return static_cast<std::int32_t>(tips_.size() + diagonal_.size());
}

void BrokenArrow::append(double diagonal, double coupling)
{
    diagonal_.push_back(diagonal);
    couplings_.push_back(coupling);
}

std::vector<double> BrokenArrow::couplingsOfNext() const
{
    if (diagonal_.empty()) return tipCouplings_;
    return {couplings_.back()};
}

void BrokenArrow::uncouple()
{
    if (diagonal_.empty())
        std::ranges::fill(tipCouplings_, 0.0);
    else
        couplings_.back() = 0.0;
}

void BrokenArrow::decompose()
{
    const auto n = static_cast<std::size_t>(order()), tips = tips_.size();
    const std::int32_t order = this->order(), corner = diagonal_.empty() ? 0 : static_cast<std::int32_t>(tips) + 1;
    std::vector<double> d(tips_), e(tips), arrow, tau(tips + 1), z(n * n);
    d.insert(d.end(), diagonal_.begin(), diagonal_.end());
    e.insert(e.end(), couplings_.begin(), couplings_.end());
    constexpr std::int32_t kBlock = 64;
    std::vector<double> work(1 + n * n + kBlock * (n + kBlock + 1)); // of all three routines
    std::vector<std::int32_t> integers(3 + 5 * n);
    std::int32_t info = 0;
    const auto lwork = static_cast<std::int32_t>(work.size()), liwork = static_cast<std::int32_t>(integers.size());
    if (tips > 0 && corner > 0) {
        const auto side = static_cast<std::size_t>(corner);
        arrow.assign(side * side, 0.0);
        for (std::size_t i = 0; i < tips; ++i) {
            arrow[i * side + i] = tips_[i];
            arrow[tips * side + i] = tipCouplings_[i];
        }
        arrow[tips * side + tips] = diagonal_.front();
        lapack::sytrd('U', corner, arrow.data(), corner, d.data(), e.data(), tau.data(), work.data(), lwork, info);
    }
    lapack::stedc('I', order, d.data(), e.data(), z.data(), order, work.data(), lwork, integers.data(), liwork, info);
    if (info != 0) throw OperationFailedException("The small eigenvalue problem was not solved.");
    if (!arrow.empty())
        lapack::ormtr('L', 'U', 'N', corner, order, arrow.data(), corner, tau.data(), z.data(), order, work.data(),
                      lwork, info);
    values_.assign(d.rbegin(), d.rend());
    vectors_.resize(n * n);
    reaches_.resize(n);
    for (std::size_t j = 0; j < n; ++j) {
        const double* const vector = z.data() + (n - 1 - j) * n;
        std::copy_n(vector, n, vectors_.data() + j * n);
        reaches_[j] = std::abs(vector[n - 1] * (couplings_.empty() ? 0.0 : couplings_.back()));
    }
}

void BrokenArrow::keep(std::int32_t count)
{
    const auto kept = static_cast<std::size_t>(count), n = values_.size();
    tips_.assign(values_.begin(), values_.begin() + count);
    tipCouplings_.resize(kept);
    for (std::size_t j = 0; j < kept; ++j) tipCouplings_[j] = vectors_[j * n + n - 1] * couplings_.back();
    diagonal_.clear();
    couplings_.clear();
}

/// Of the eigenvalues, by Gershgorin's disks.
double BrokenArrow::upperBound() const
{
    double bound = 0.0, meeting = 0.0;
    for (std::size_t i = 0; i < tips_.size(); ++i) {
        bound = std::max(bound, tips_[i] + std::abs(tipCouplings_[i]));
        meeting += std::abs(tipCouplings_[i]);
    }
    for (std::size_t i = 0; i < diagonal_.size(); ++i) {
        const double next = i + 1 < diagonal_.size() ? std::abs(couplings_[i]) : 0.0;
        const double before = i > 0 ? std::abs(couplings_[i - 1]) : meeting;
        bound = std::max(bound, diagonal_[i] + next + before);
    }
    return bound;
}

/// Eigenvalues above each of the shifts: as many as pivots of T - s*I are positive.
void BrokenArrow::countAbove(const double* shifts, std::int32_t* counts) const
{
    double pivots[kShifts], positive[kShifts] = {};
    std::fill_n(pivots, kShifts, 1.0);
    for (std::size_t i = diagonal_.size(); i-- > 0;) {
        const double square = i + 1 < diagonal_.size() ? couplings_[i] * couplings_[i] : 0.0;
        for (std::int32_t s = 0; s < kShifts; ++s) {
            const double pivot = std::abs(pivots[s]) < kLeastPivot ? kLeastPivot : pivots[s];
            pivots[s] = diagonal_[i] - shifts[s] - square / pivot;
            positive[s] += i > 0 && pivots[s] > 0.0 ? 1.0 : 0.0;
        }
    }
    for (std::size_t i = 0; i < tips_.size(); ++i) {
        const double square = tipCouplings_[i] * tipCouplings_[i];
        for (std::int32_t s = 0; s < kShifts; ++s) {
            const double tip = tips_[i] - shifts[s];
            pivots[s] -= square / (std::abs(tip) < kLeastPivot ? kLeastPivot : tip);
            positive[s] += tip > 0.0 ? 1.0 : 0.0;
        }
    }
    for (std::int32_t s = 0; s < kShifts; ++s)
        counts[s] = static_cast<std::int32_t>(positive[s]) + (!diagonal_.empty() && pivots[s] > 0.0);
}

BrokenArrow::Estimate BrokenArrow::estimateOf(std::int32_t k) const
{
    double low = 0.0, high = upperBound();
    for (int section = 0; section < kSections; ++section) {
        double shifts[kShifts];
        std::int32_t counts[kShifts];
        const double width = (high - low) / (kShifts + 1);
        for (std::int32_t s = 0; s < kShifts; ++s) shifts[s] = low + width * (s + 1);
        countAbove(shifts, counts);
        const auto above = std::count_if(counts, counts + kShifts, [k](std::int32_t count) { return count >= k; });
        if (above < kShifts) high = shifts[above];
        if (above > 0) low = shifts[above - 1];
    }
    const double value = 0.5 * (low + high);
    std::vector<double> pivots(diagonal_.size() + 1, 1.0);
    for (std::size_t i = diagonal_.size(); i-- > 0;) {
        const double square = i + 1 < diagonal_.size() ? couplings_[i] * couplings_[i] : 0.0;
        pivots[i] = diagonal_[i] - value - square / pivots[i + 1];
        if (std::abs(pivots[i]) < kLeastPivot) pivots[i] = kLeastPivot;
    }
    double last = 1.0, squares = 1.0;
    for (std::size_t i = 0; i < tips_.size(); ++i) {
        const double part = std::max(std::abs(tipCouplings_[i]), kLeastPivot) / (tips_[i] - value);
        squares += part * part;
    }
    for (std::size_t i = 1; i < diagonal_.size(); ++i) {
        last *= couplings_[i - 1] / pivots[i];
        squares += last * last;
    }
    return {value, std::abs(last * couplings_.back()) / std::sqrt(squares)};
}

} // namespace Velmar::Lintrix::detail
