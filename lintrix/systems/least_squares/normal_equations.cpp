#include <lintrix/systems/least_squares/normal_equations.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

/// Calls visit(j, place in columns of i, place in rows of M) for all stored M(k,i), M(k,j) with j <= i.
template <class Cell, class Visit>
void overColumnProducts(const TallMatrix<Cell>& M, std::int32_t i, Visit visit)
{
    const RowsView<Cell>&columns = M.columns(), &rows = M.rows();
    for (std::int32_t s = columns.ia[i] - 1; s < columns.ia[i + 1] - 1; ++s) {
        const std::int32_t k = columns.ja[s] - 1;
        for (std::int32_t t = rows.ia[k] - 1; t < rows.ia[k + 1] - 1 && rows.ja[t] <= i + 1; ++t)
            visit(rows.ja[t] - 1, s, t);
    }
}

} // namespace

template <class Cell>
double NormalEquations<Cell>::products(const TallMatrix<Cell>& M)
{
    double sum = 0.0;
    for (std::int32_t k = 0; k < M.rows().rows; ++k) {
        const double length = static_cast<double>(M.rows().ia[k + 1]) - M.rows().ia[k];
        sum += length * length;
    }
    return sum;
}

template <class Cell>
NormalEquations<Cell>::NormalEquations(const TallMatrix<Cell>& M)
    : M_(M), work_(static_cast<std::size_t>(M.rows().cols)), solution_(work_.size())
{
    layOut();
    if (factor_.ja.empty()) return;
    analysed_ = factor_.analyse(FactorKind::Definite);
}

/// Column i of S down to its diagonal is met at one go, for i ascending: appended to the rows j it meets, the
/// entries stand in order without sorting. The diagonal is stored throughout. No pattern is left where it
/// has more entries than the engine can count.
template <class Cell>
void NormalEquations<Cell>::layOut()
{
    const std::int32_t q = M_.rows().cols;
    std::vector<std::int32_t> mark(static_cast<std::size_t>(q), -1);
    std::vector<std::int32_t>&ia = factor_.ia, &ja = factor_.ja;
    const auto visitDistinct = [&](auto&& take) {
        std::fill(mark.begin(), mark.end(), -1);
        for (std::int32_t i = 0; i < q; ++i) {
            const auto once = [&](std::int32_t j, std::int32_t, std::int32_t) {
                if (std::exchange(mark[static_cast<std::size_t>(j)], i) != i) take(j, i);
            };
            overColumnProducts(M_, i, once);
            once(i, 0, 0);
        }
    };
    std::vector<std::int64_t> count(static_cast<std::size_t>(q) + 1, 0);
    visitDistinct([&](std::int32_t j, std::int32_t) { ++count[static_cast<std::size_t>(j) + 1]; });
    for (std::size_t j = 1; j < count.size(); ++j) count[j] += count[j - 1];
    ia.assign(count.size(), 1);
    if (count.back() >= std::numeric_limits<std::int32_t>::max()) return;
    std::transform(count.begin(), count.end(), ia.begin(),
                   [](std::int64_t start) { return static_cast<std::int32_t>(start) + 1; });
    ja.resize(static_cast<std::size_t>(count.back()));
    factor_.a.resize(ja.size());
    visitDistinct([&](std::int32_t j, std::int32_t i) {
        ja[static_cast<std::size_t>(count[static_cast<std::size_t>(j)]++)] = i + 1;
    });
}

/// The values by the walk of `layOut`; bound_ becomes the largest sum of magnitudes of a row.
template <class Cell>
void NormalEquations<Cell>::fill()
{
    const std::int32_t q = M_.rows().cols;
    const std::vector<double>& scale = M_.scale();
    std::vector<Cell>& a = factor_.a;
    std::fill(a.begin(), a.end(), Cell{});
    // While column i is at work, last[j] is the place of S(j, i): rows fill up in the order of the columns.
    std::vector<std::int32_t> mark(static_cast<std::size_t>(q), -1),
        last(factor_.ia.begin(), factor_.ia.end() - 1);
    for (std::int32_t& place : last) place -= 2; // before the first
    std::vector<double> sums(static_cast<std::size_t>(q), 0.0);
    std::vector<std::int32_t> met;
    for (std::int32_t i = 0; i < q; ++i) {
        const auto column = static_cast<std::size_t>(i);
        met.clear();
        const auto place = [&](std::int32_t j) -> Cell& {
            const auto row = static_cast<std::size_t>(j);
            if (std::exchange(mark[row], i) != i) {
                ++last[row];
                met.push_back(j);
            }
            return a[static_cast<std::size_t>(last[row])];
        };
        overColumnProducts(M_, i, [&](std::int32_t j, std::int32_t s, std::int32_t t) {
            // M(k,j) and M(k,i); the columns hold the conjugate of the latter
            place(j) +=
                (M_.rows().a[t] * scale[static_cast<std::size_t>(j)]) * (M_.columns().a[s] * scale[column]);
        });
        place(i);
        for (const std::int32_t j : met) {
            Cell& value = place(j);
            if constexpr (!std::is_same_v<Cell, double>) value = std::conj(value);
            sums[column] += std::abs(value);
            if (j != i) sums[static_cast<std::size_t>(j)] += std::abs(value);
        }
    }
    bound_ = q > 0 ? *std::max_element(sums.begin(), sums.end()) : 0.0;
}

template <class Cell>
void NormalEquations<Cell>::addToDiagonal(double shift)
{
    for (std::int32_t i = 0; i < factor_.order(); ++i)
        factor_.a[static_cast<std::size_t>(factor_.ia[static_cast<std::size_t>(i)]) - 1] += shift;
}

template <class Cell>
bool NormalEquations<Cell>::factorize(double relative)
{
    fill();
    addToDiagonal(relative * bound_);
    return factor_.factorize(FactorKind::Definite);
}

template <class Cell>
bool NormalEquations<Cell>::apply(const Cell* g, Cell* y)
{
    const std::vector<double>& scale = M_.scale();
    for (std::size_t j = 0; j < work_.size(); ++j) work_[j] = scale[j] * g[j];
    if (!factor_.solve(work_.data(), solution_.data())) return false;
    for (std::size_t j = 0; j < work_.size(); ++j) y[j] = scale[j] * solution_[j];
    return true;
}

/// Sylvester: S - t*I has as many negative pivots as S has eigenvalues below t.
template <class Cell>
std::int32_t NormalEquations<Cell>::countBelow(double relative)
{
    fill();
    addToDiagonal(-relative * bound_);
    return factor_.factorize(FactorKind::Indefinite) ? factor_.negativePivots() : -1;
}

template class NormalEquations<double>;
template class NormalEquations<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
