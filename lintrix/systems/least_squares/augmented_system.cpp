#include <lintrix/systems/least_squares/augmented_system.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail {

template <class Cell>
AugmentedSystem<Cell>::AugmentedSystem(const TallMatrix<Cell>& M) : M_(M)
{
    const std::int64_t order = std::int64_t{M.rows().rows} + M.rows().cols;
    if (order + M.rows().entries() >= std::numeric_limits<std::int32_t>::max()) return;
    right_.resize(static_cast<std::size_t>(order));
    solution_.resize(right_.size());
    layOut();
    boundNorm();
    fill(-alpha_);
    analysed_ = factor_.analyse(FactorKind::Indefinite);
}

template <class Cell>
void AugmentedSystem<Cell>::layOut()
{
    const RowsView<Cell>& M = M_.rows();
    const std::int32_t p = M.rows, order = p + M.cols;
    std::vector<std::int32_t>& ja = factor_.ja;
    ja.reserve(static_cast<std::size_t>(order + M.entries()));
    factor_.ia.reserve(static_cast<std::size_t>(order) + 1);
    factor_.ia.push_back(1);
    for (std::int32_t i = 0; i < order; ++i) {
        ja.push_back(i + 1);
        for (std::int32_t k = i < p ? M.ia[i] - 1 : 0; i < p && k < M.ia[i + 1] - 1; ++k)
            ja.push_back(p + M.ja[k]);
        factor_.ia.push_back(static_cast<std::int32_t>(ja.size()) + 1);
    }
    factor_.a.resize(ja.size());
}

template <class Cell>
void AugmentedSystem<Cell>::fill(double corner)
{
    const RowsView<Cell>& M = M_.rows();
    auto next = factor_.a.begin();
    for (std::int32_t i = 0; i < M.rows; ++i) {
        *next++ = alpha_;
        for (std::int32_t k = M.ia[i] - 1; k < M.ia[i + 1] - 1; ++k)
            *next++ = M_.scale()[static_cast<std::size_t>(M.ja[k]) - 1] * M.a[k];
    }
    std::fill(next, factor_.a.end(), Cell(corner));
}

/// ||M*D||^2 <= ||M*D||_1 * ||M*D||_inf
template <class Cell>
void AugmentedSystem<Cell>::boundNorm()
{
    const RowsView<Cell>& M = M_.rows();
    double row = 0.0;
    std::vector<double> columns(static_cast<std::size_t>(M.cols), 0.0);
    for (std::int32_t i = 0; i < M.rows; ++i) {
        double sum = 0.0;
        for (std::int32_t k = M.ia[i] - 1; k < M.ia[i + 1] - 1; ++k) {
            const auto j = static_cast<std::size_t>(M.ja[k]) - 1;
            const double size = M_.scale()[j] * std::abs(M.a[k]);
            sum += size;
            columns[j] += size;
        }
        row = std::max(row, sum);
    }
    bound_ = row * (columns.empty() ? 0.0 : *std::max_element(columns.begin(), columns.end()));
}

template <class Cell>
bool AugmentedSystem<Cell>::factorize(double relative)
{
    boundNorm(); // the scales may have changed
    fill(-relative * bound_ / alpha_);
    return factor_.factorize(FactorKind::Indefinite);
}

/// With f = 0 the second block is -alpha*(S + shift*I)^-1 g.
template <class Cell>
bool AugmentedSystem<Cell>::apply(const Cell* g, Cell* y)
{
    const auto p = static_cast<std::size_t>(M_.rows().rows);
    const std::vector<double>& scale = M_.scale();
    std::fill_n(right_.begin(), p, Cell{});
    for (std::size_t j = 0; j < scale.size(); ++j) right_[p + j] = -scale[j] * g[j];
    if (!factor_.solve(right_.data(), solution_.data())) return false;
    for (std::size_t j = 0; j < scale.size(); ++j) y[j] = alpha_ * scale[j] * solution_[p + j];
    return true;
}

/// t = alpha*s, w = D*y for K*[s; y] = [f; D*g/alpha].
template <class Cell>
bool AugmentedSystem<Cell>::solve(const Cell* f, const Cell* g, Cell* t, Cell* w)
{
    const auto p = static_cast<std::size_t>(M_.rows().rows);
    const std::vector<double>& scale = M_.scale();
    std::copy_n(f, p, right_.begin());
    for (std::size_t j = 0; j < scale.size(); ++j) right_[p + j] = scale[j] / alpha_ * g[j];
    if (!factor_.solve(right_.data(), solution_.data())) return false;
    for (std::size_t i = 0; i < p; ++i) t[i] = alpha_ * solution_[i];
    for (std::size_t j = 0; j < scale.size(); ++j) w[j] = scale[j] * solution_[p + j];
    return true;
}

/// With t/alpha in the corner the Schur complement is (t*I - S)/alpha, positive where an eigenvalue of S is
/// below t.
template <class Cell>
std::int32_t AugmentedSystem<Cell>::countBelow(double relative)
{
    fill(relative * bound_ / alpha_);
    return factor_.factorize(FactorKind::Indefinite) ? M_.rows().cols - factor_.negativePivots() : -1;
}

template class AugmentedSystem<double>;
template class AugmentedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
