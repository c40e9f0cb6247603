#include <lintrix/systems/least_squares/augmented_system.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail {

template <class Cell>
AugmentedSystem<Cell>::AugmentedSystem(const TallMatrix<Cell>& M, double alpha) : M_(M), alpha_(alpha)
{
    const std::int64_t order = std::int64_t{M.rows().rows} + M.rows().cols;
    if (order + M.rows().entries() >= std::numeric_limits<std::int32_t>::max()) return;
    right_.resize(static_cast<std::size_t>(order));
    solution_.resize(right_.size());
    layOut();
    fill();
    analysed_ = factor_.analyse(FactorKind::Matched);
}

template <class Cell>
AugmentedSystem<Cell>::~AugmentedSystem() = default;

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

/// The zeros of the last block are stored: its diagonal has to be.
template <class Cell>
void AugmentedSystem<Cell>::fill()
{
    const RowsView<Cell>& M = M_.rows();
    auto next = factor_.a.begin();
    for (std::int32_t i = 0; i < M.rows; ++i) {
        *next++ = alpha_;
        for (std::int32_t k = M.ia[i] - 1; k < M.ia[i + 1] - 1; ++k)
            *next++ = M_.scale()[static_cast<std::size_t>(M.ja[k]) - 1] * M.a[k];
    }
    std::fill(next, factor_.a.end(), Cell{});
}

template <class Cell>
bool AugmentedSystem<Cell>::factorize(double alpha)
{
    alpha_ = alpha;
    fill();
    return factor_.factorize(FactorKind::Matched);
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

template <class Cell>
std::int32_t AugmentedSystem<Cell>::replacedPivots() const
{
    return factor_.replacedPivots();
}

template class AugmentedSystem<double>;
template class AugmentedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
