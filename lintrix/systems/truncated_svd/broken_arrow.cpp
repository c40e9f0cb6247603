#include <lintrix/systems/truncated_svd/broken_arrow.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kShifts = 8;     ///< at which eigenvalues are counted side by side
constexpr double kResolution = 0x1p-51; ///< of an eigenvalue, relative to the largest
constexpr double kLeastPivot = 1e-290;  ///< so that no quotient is 0/0
constexpr std::size_t kBlock = 64;      ///< columns that LAPACK takes together

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

/// Eigenvalues in rising order, and eigenvectors, of the rows that are not decoupled, the `coupled` tips
/// first.
/// @return the eigenvectors, column after column
std::vector<double> BrokenArrow::decomposeCoupled(const std::vector<std::size_t>& coupled,
                                                  std::vector<double>& values) const
{
    const std::size_t tips = coupled.size(), n = tips + diagonal_.size();
    const auto order = static_cast<std::int32_t>(n), corner = static_cast<std::int32_t>(tips) + 1;
    std::vector<double> couplings(tips), z(n * n);
    values.clear();
    for (const std::size_t i : coupled) values.push_back(tips_[i]);
    values.insert(values.end(), diagonal_.begin(), diagonal_.end());
    couplings.insert(couplings.end(), couplings_.begin(), couplings_.end());
    std::vector<double> work(1 + n * n + kBlock * (n + kBlock + 1)); // of all three routines
    std::vector<std::int32_t> integers(3 + 5 * n);
    const auto lwork = static_cast<std::int32_t>(work.size()),
               liwork = static_cast<std::int32_t>(integers.size());
    std::vector<double> arrow, tau(tips + 1);
    std::int32_t info = 0;
    if (tips > 0) {
        const std::size_t side = tips + 1;
        arrow.resize(side * side);
        for (std::size_t i = 0; i < tips; ++i) {
            arrow[i * side + i] = values[i];
            arrow[tips * side + i] = tipCouplings_[coupled[i]];
        }
        arrow.back() = diagonal_.front();
        lapack::sytrd('U', corner, arrow.data(), corner, values.data(), couplings.data(), tau.data(),
                      work.data(), lwork, info);
    }
    lapack::stedc('I', order, values.data(), couplings.data(), z.data(), order, work.data(), lwork,
                  integers.data(), liwork, info);
    if (info != 0) throw OperationFailedException("The small eigenvalue problem was not solved.");
    if (tips > 0)
        lapack::ormtr('L', 'U', 'N', corner, order, arrow.data(), corner, tau.data(), z.data(), order,
                      work.data(), lwork, info);
    return z;
}

void BrokenArrow::decompose()
{
    const auto n = static_cast<std::size_t>(order()), tips = tips_.size();
    std::vector<std::size_t> coupled, rows;            // rows: of the coupled part, where they stand in T
    std::vector<std::pair<double, std::size_t>> pairs; // eigenvalue, column of the coupled part or n + tip
    const double negligible = std::numeric_limits<double>::epsilon() * upperBound();
    for (std::size_t i = 0; i < tips; ++i) {
        if (std::abs(tipCouplings_[i]) > negligible)
            coupled.push_back(i);
        else
            pairs.emplace_back(tips_[i], n + i);
    }
    rows = coupled;
    for (std::size_t i = tips; i < n; ++i) rows.push_back(i);
    std::vector<double> values;
    const std::vector<double> z = decomposeCoupled(coupled, values);
    for (std::size_t j = 0; j < values.size(); ++j) pairs.emplace_back(values[j], j);
    std::ranges::stable_sort(pairs, std::ranges::greater{}, [](const auto& pair) { return pair.first; });
    values_.resize(n);
    reaches_.assign(n, 0.0);
    vectors_.assign(n * n, 0.0);
    for (std::size_t j = 0; j < n; ++j) {
        double* const vector = vectors_.data() + j * n;
        const auto [value, column] = pairs[j];
        values_[j] = value;
        if (column >= n) {
            vector[column - n] = 1.0;
            continue;
        }
        for (std::size_t i = 0; i < rows.size(); ++i) vector[rows[i]] = z[column * rows.size() + i];
        reaches_[j] = std::abs(vector[n - 1] * couplings_.back());
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

bool BrokenArrow::hasBehindTips(double bound) const
{
    const double shifts[kShifts] = {bound, bound, bound, bound, bound, bound, bound, bound};
    std::int32_t counts[kShifts];
    countAbove(shifts, counts);
    return counts[0] > std::ranges::count_if(tips_, [bound](double tip) { return tip > bound; });
}

BrokenArrow::Estimate BrokenArrow::estimateOf(std::int32_t k, double atLeast) const
{
    constexpr double kNear[kShifts] = {1e-13, 1e-11, 1e-9, 1e-7, 1e-5, 1e-3, 0.03, 0.3};
    double low = atLeast, high = upperBound();
    const double narrow = kResolution * high;
    for (bool first = true; high - low > narrow; first = false) {
        double shifts[kShifts];
        std::int32_t counts[kShifts];
        for (std::int32_t s = 0; s < kShifts; ++s)
            shifts[s] = low + (high - low) * (first ? kNear[s] : (s + 1.0) / (kShifts + 1.0));
        countAbove(shifts, counts);
        const auto above =
            std::count_if(counts, counts + kShifts, [k](std::int32_t count) { return count >= k; });
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
