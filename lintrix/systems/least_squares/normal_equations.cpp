#include <lintrix/systems/least_squares/normal_equations.h>

#include <lintrix/services/work.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kManyProducts = 0x1p33;
constexpr double kDenseRow = 4.0;     // times the root of the number of columns, and
constexpr std::int32_t kLongRow = 64; // at least so many entries, make a row dense
constexpr std::int32_t kPortion = 64; // columns of the product between two looks at whether the work goes on
constexpr double kWorthABorder = 0.5; // where dense rows make less of the products, none is kept aside

} // namespace

template <class Cell>
NormalEquations<Cell>::NormalEquations(const TallMatrix<Cell>& M)
    : M_(M), borderOf_(static_cast<std::size_t>(M.rows().rows), -1)
{
    findDenseRows();
    if (products_ > kManyProducts) return;
    layOut();
    if (factor_.ja.empty()) return;
    right_.resize(static_cast<std::size_t>(factor_.order()));
    solution_.resize(right_.size());
    analysed_ = factor_.analyse(dense_.empty() ? FactorKind::Definite : FactorKind::Indefinite);
}

template <class Cell>
NormalEquations<Cell>::~NormalEquations() = default;

/// products_ counts what the rows that stay take.
template <class Cell>
void NormalEquations<Cell>::findDenseRows()
{
    const RowsView<Cell>& M = M_.rows();
    const double limit = std::max<double>(kLongRow, kDenseRow * std::sqrt(M.cols));
    double aside = 0.0;
    for (std::int32_t k = 0; k < M.rows; ++k) {
        const double length = static_cast<double>(M.ia[k + 1]) - M.ia[k];
        if (length > limit) dense_.push_back(k);
        (length > limit ? aside : products_) += length * length;
    }
    if (aside < kWorthABorder * (aside + products_)) {
        dense_.clear();
        products_ += aside;
    }
    for (std::size_t d = 0; d < dense_.size(); ++d)
        borderOf_[static_cast<std::size_t>(dense_[d])] = static_cast<std::int32_t>(d);
}

/// Calls visit(j, place in columns of M, place in rows of M) for all M(k,i), M(k,j), j <= i, with k sparse.
template <class Cell>
template <class Visit>
void NormalEquations<Cell>::overColumn(std::int32_t i, Visit visit) const
{
    const RowsView<Cell>&columns = M_.columns(), &rows = M_.rows();
    for (std::int32_t s = columns.ia[i] - 1; s < columns.ia[i + 1] - 1; ++s) {
        const std::int32_t k = columns.ja[s] - 1;
        if (borderOf_[static_cast<std::size_t>(k)] >= 0) continue;
        for (std::int32_t t = rows.ia[k] - 1; t < rows.ia[k + 1] - 1 && rows.ja[t] <= i + 1; ++t)
            visit(rows.ja[t] - 1, s, t);
    }
}

/// Column i of the product down to its diagonal is met at one go, for i ascending: appended to the rows j it
/// meets, the entries stand in order without sorting, and those of the border come last. The diagonal is
/// stored throughout. No pattern is left where it has more entries than the engine can count.
template <class Cell>
void NormalEquations<Cell>::layOut()
{
    const RowsView<Cell>& M = M_.rows();
    const std::int32_t q = M.cols, order = q + denseRows();
    std::vector<std::int32_t> mark(static_cast<std::size_t>(q));
    const auto overPattern = [&](auto&& take) {
        std::fill(mark.begin(), mark.end(), -1);
        for (std::int32_t i = 0; i < q; ++i) {
            if (i % kPortion == 0) WorkScope::tell();
            const auto once = [&](std::int32_t j, std::int32_t, std::int32_t) {
                if (std::exchange(mark[static_cast<std::size_t>(j)], i) != i) take(j, i);
            };
            overColumn(i, once);
            once(i, 0, 0);
        }
        for (std::int32_t d = 0; d < denseRows(); ++d) {
            const std::int32_t k = dense_[static_cast<std::size_t>(d)];
            for (std::int32_t t = M.ia[k] - 1; t < M.ia[k + 1] - 1; ++t) take(M.ja[t] - 1, q + d);
            take(q + d, q + d);
        }
    };
    std::vector<std::int64_t> next(static_cast<std::size_t>(order) + 1, 0);
    overPattern([&](std::int32_t j, std::int32_t) { ++next[static_cast<std::size_t>(j) + 1]; });
    std::partial_sum(next.begin(), next.end(), next.begin());
    factor_.ia.assign(next.size(), 1);
    if (next.back() >= std::numeric_limits<std::int32_t>::max()) return;
    std::transform(next.begin(), next.end(), factor_.ia.begin(),
                   [](std::int64_t start) { return static_cast<std::int32_t>(start) + 1; });
    factor_.ja.resize(static_cast<std::size_t>(next.back()));
    factor_.a.resize(factor_.ja.size());
    overPattern([&](std::int32_t j, std::int32_t i) {
        factor_.ja[static_cast<std::size_t>(next[static_cast<std::size_t>(j)]++)] = i + 1;
    });
}

/// The values of column i are summed up in `sum` and then put behind those that the rows j have already, by
/// the walk of `layOut`. bound_ becomes the largest sum of magnitudes of a row of the product, and what the
/// dense rows add to its norm at most.
template <class Cell>
void NormalEquations<Cell>::fill()
{
    const RowsView<Cell>&M = M_.rows(), &columns = M_.columns();
    const std::vector<double>& scale = M_.scale();
    const auto q = static_cast<std::size_t>(M.cols);
    std::vector<std::int32_t> next(factor_.ia.begin(), factor_.ia.end() - 1), met;
    std::vector<Cell> sum(q, Cell{});
    std::vector<std::int32_t> mark(q, -1);
    std::vector<double> rowSums(q, 0.0);
    const auto put = [&](std::int32_t row, Cell value) {
        factor_.a[static_cast<std::size_t>(next[static_cast<std::size_t>(row)]++) - 1] = value;
    };
    for (std::int32_t i = 0; i < M.cols; ++i) {
        if (i % kPortion == 0) WorkScope::tell();
        met.assign(1, i);
        mark[static_cast<std::size_t>(i)] = i;
        overColumn(i, [&](std::int32_t j, std::int32_t s, std::int32_t t) {
            const auto row = static_cast<std::size_t>(j);
            if (std::exchange(mark[row], i) != i) met.push_back(j);
            sum[row] += M.a[t] * columns.a[s]; // M(k,j)*conj(M(k,i)), conjugate to what is stored
        });
        for (const std::int32_t j : met) {
            const auto row = static_cast<std::size_t>(j), column = static_cast<std::size_t>(i);
            const Cell value = scale[row] * scale[column] * conjugate(std::exchange(sum[row], Cell{}));
            put(j, value);
            rowSums[column] += std::abs(value);
            if (j != i) rowSums[row] += std::abs(value);
        }
    }
    bound_ = *std::max_element(rowSums.begin(), rowSums.end());
    for (std::int32_t d = 0; d < denseRows(); ++d) {
        const std::int32_t k = dense_[static_cast<std::size_t>(d)];
        for (std::int32_t t = M.ia[k] - 1; t < M.ia[k + 1] - 1; ++t) {
            const Cell value = scale[static_cast<std::size_t>(M.ja[t]) - 1] * conjugate(M.a[t]);
            put(M.ja[t] - 1, value);
            bound_ += std::norm(value);
        }
        put(M.cols + d, Cell(-1.0));
    }
}

template <class Cell>
bool NormalEquations<Cell>::factorizeShifted(double relative, FactorKind kind)
{
    const auto place = [this](std::size_t j) -> Cell& {
        return factor_.a[static_cast<std::size_t>(factor_.ia[j]) - 1];
    };
    if (diagonal_.empty()) {
        fill();
        for (std::size_t j = 0; j < M_.scale().size(); ++j) diagonal_.push_back(place(j));
    }
    for (std::size_t j = 0; j < diagonal_.size(); ++j) place(j) = diagonal_[j] + relative * bound_;
    return factor_.factorize(kind);
}

template <class Cell>
bool NormalEquations<Cell>::factorize(double relative)
{
    return factorizeShifted(relative, dense_.empty() ? FactorKind::Definite : FactorKind::Indefinite);
}

template <class Cell>
bool NormalEquations<Cell>::apply(const Cell* g, Cell* y)
{
    const std::vector<double>& scale = M_.scale();
    for (std::size_t j = 0; j < scale.size(); ++j) right_[j] = scale[j] * g[j]; // the border's stay 0
    if (!factor_.solve(right_.data(), solution_.data())) return false;
    for (std::size_t j = 0; j < scale.size(); ++j) y[j] = scale[j] * solution_[j];
    return true;
}

/// Each row of the border makes one negative pivot more.
template <class Cell>
std::int32_t NormalEquations<Cell>::factorizeAndCount(double relative)
{
    if (!factorizeShifted(relative, FactorKind::Indefinite)) return -1;
    return factor_.negativePivots() - denseRows();
}

template class NormalEquations<double>;
template class NormalEquations<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
