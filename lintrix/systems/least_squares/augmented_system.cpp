#include <lintrix/systems/least_squares/augmented_system.h>

#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <limits>
#include <new>
#include <span>

namespace Velmar::Lintrix::detail {

namespace {

/// What waits makes a factor grow beyond its forecast.
constexpr double kWaitingRoom = 4.0;

/// Whether there was memory for all of `work`.
template <class Work>
bool fitsInMemory(const Work& work)
{
    try {
        return work();
    } catch (const NotEnoughMemoryException&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace

template <class Cell>
AugmentedSystem<Cell>::AugmentedSystem(const TallMatrix<Cell>& M, double alpha) : M_(M), alpha_(alpha)
{
    const std::int64_t order = std::int64_t{M.rows().rows} + M.rows().cols;
    if (order + 2 * M.rows().entries() >= std::numeric_limits<std::int32_t>::max()) return;
    const bool isAnalysed = fitsInMemory([&] {
        layOut();
        fill();
        cells_.resize(static_cast<std::size_t>(order));
        ldl_.emplace(entries_, true);
        return true;
    });
    if (!isAnalysed) return;
    const multifrontal::FrontForecast fronts = ldl_->forecast();
    const double cells = static_cast<double>(fronts.entries + fronts.cellsAtOnce);
    constexpr double perCell = sizeof(Cell) == sizeof(double) ? 1.0 : 4.0;
    forecast_ = {fronts.entries, perCell * fronts.operations,
                 sizeof(Cell) * (kWaitingRoom * cells + 2.0 * static_cast<double>(entries_.values.size()))};
}

/// Rows [alpha*I, M*D] and [D*M^H, 0], the zeros of the diagonal among them.
template <class Cell>
void AugmentedSystem<Cell>::layOut()
{
    const RowsView<Cell>&M = M_.rows(), &adjoint = M_.columns();
    const std::int32_t p = M.rows, order = p + M.cols;
    std::vector<std::int32_t>&starts = entries_.pattern.starts, &columns = entries_.pattern.columns;
    entries_.pattern.rows = entries_.pattern.cols = order;
    columns.reserve(static_cast<std::size_t>(order + 2 * M.entries()));
    starts.assign(1, 0);
    for (std::int32_t i = 0; i < order; ++i) {
        const bool isUpper = i < p;
        const RowsView<Cell>& rows = isUpper ? M : adjoint;
        const std::int32_t row = isUpper ? i : i - p;
        if (isUpper) columns.push_back(i);
        for (std::int32_t k = rows.ia[row] - 1; k < rows.ia[row + 1] - 1; ++k)
            columns.push_back(rows.ja[k] - 1 + (isUpper ? p : 0));
        if (!isUpper) columns.push_back(i);
        starts.push_back(static_cast<std::int32_t>(columns.size()));
    }
    entries_.values.resize(columns.size());
}

template <class Cell>
void AugmentedSystem<Cell>::fill()
{
    const RowsView<Cell>&M = M_.rows(), &adjoint = M_.columns();
    const std::vector<double>& scale = M_.scale();
    auto next = entries_.values.begin();
    for (std::int32_t i = 0; i < M.rows; ++i) {
        *next++ = alpha_;
        for (std::int32_t k = M.ia[i] - 1; k < M.ia[i + 1] - 1; ++k)
            *next++ = scale[static_cast<std::size_t>(M.ja[k]) - 1] * M.a[k];
    }
    for (std::int32_t j = 0; j < M.cols; ++j) {
        for (std::int32_t k = adjoint.ia[j] - 1; k < adjoint.ia[j + 1] - 1; ++k)
            *next++ = scale[static_cast<std::size_t>(j)] * adjoint.a[k];
        *next++ = Cell();
    }
}

template <class Cell>
bool AugmentedSystem<Cell>::factorize(double alpha)
{
    alpha_ = alpha;
    fill();
    const multifrontal::FrontForecast fronts = ldl_->forecast();
    const multifrontal::FrontBounds bounds{
        static_cast<std::int64_t>(kWaitingRoom * static_cast<double>(fronts.entries + fronts.cellsAtOnce)),
        kWaitingRoom * kWaitingRoom * fronts.operations};
    return fitsInMemory([&] { return ldl_->factorize(entries_, bounds); });
}

/// t = alpha*s, w = D*y for K*[s; y] = [f; D*g/alpha].
template <class Cell>
void AugmentedSystem<Cell>::solve(const Cell* f, const Cell* g, Cell* t, Cell* w)
{
    const auto p = static_cast<std::size_t>(M_.rows().rows);
    const std::vector<double>& scale = M_.scale();
    std::copy_n(f, p, cells_.begin());
    for (std::size_t j = 0; j < scale.size(); ++j) cells_[p + j] = scale[j] / alpha_ * g[j];
    ldl_->solve(TransposeMode::NotTransposed, cells_);
    for (std::size_t i = 0; i < p; ++i) t[i] = alpha_ * cells_[i];
    for (std::size_t j = 0; j < scale.size(); ++j) w[j] = scale[j] * cells_[p + j];
}

template class AugmentedSystem<double>;
template class AugmentedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
