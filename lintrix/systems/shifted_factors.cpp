#include <lintrix/systems/shifted_factors.h>

#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/quality/factor_quality.h>
#include <lintrix/systems/roads/factored.h>

#include <utility>

namespace Velmar::Lintrix::detail {

using namespace roads;

template <class Cell>
ShiftedFactors<Cell>::ShiftedFactors(SystemMatrix<Cell>& system, Road road)
    : system_(system), matrix_(system.As(MatrixType::Indefinite)),
      original_(static_cast<const Cell*>(matrix_.a), static_cast<const Cell*>(matrix_.a) + matrix_.entries()),
      values_(original_)
{
    matrix_.a = values_.data();
    run_ = std::make_unique<DirectRun>(road, matrix_, FillInReducingMethod::MinimumDegree, EngineSettings{});
    run_->keepSmallPivots();
}

template <class Cell>
void ShiftedFactors<Cell>::shiftBy(double shift)
{
    values_ = original_;
    for (std::int32_t i = 0; i < matrix_.n; ++i) values_[matrix_.ia[i] - 1] -= shift; // leads its row
}

template <class Cell>
bool ShiftedFactors<Cell>::analyse(double left, double operations, double shift)
{
    const double own = 2.0 * sizeof(Cell) * static_cast<double>(values_.size());
    shiftBy(shift);
    if (left <= own || run_->analyse(FactorStore::Memory, 1).error != 0) return false;
    return own + run_->bytesInMemory() <= left && run_->cost().operations <= operations;
}

template <class Cell>
std::optional<Inertia> ShiftedFactors<Cell>::inertiaAt(double shift)
{
    shiftBy(shift);
    if (run_->factorize().error != 0) return std::nullopt;
    const std::optional<Inertia> inertia = run_->inertia();
    EngineFactor<Cell> factor(std::move(run_));
    const FactorQuality quality = qualityOfFactor<Cell>(
        MatrixView<Cell>(system_.Matrix()), inverseBy<Cell>(factor, matrix_.n, TransposeMode::NotTransposed),
        {.columns = 2, .shift = shift});
    run_ = factor.release();
    return *quality.drift <= kSureDrift && inertia->zero == 0 ? inertia : std::nullopt;
}

template class ShiftedFactors<double>;
template class ShiftedFactors<Complex>;

} // namespace Velmar::Lintrix::detail
