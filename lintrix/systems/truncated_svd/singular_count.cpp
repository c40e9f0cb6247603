#include <lintrix/systems/truncated_svd/singular_count.h>

#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/shifted_factors.h>

#include <limits>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// [0 M; M^H 0].
template <class Cell>
SparseOf<Cell> augmented(const RowsView<Cell>& rows, const RowsView<Cell>& adjoint)
{
    const std::int32_t order = rows.rows + rows.cols;
    const RowLists<Cell> lists = listRows<Cell>(order, [&](auto take) {
        for (std::int32_t i = 0; i < order; ++i) {
            const bool above = i < rows.rows;
            const RowsView<Cell>& half = above ? rows : adjoint;
            const std::int32_t line = above ? i : i - rows.rows;
            for (std::int32_t k = half.ia[line] - 1; k < half.ia[line + 1] - 1; ++k)
                take(i, half.ja[k] - 1 + (above ? rows.rows : 0), half.a[k]);
        }
    });
    SparseOf<Cell> matrix(lists.values, lists.starts, lists.columns);
    matrix.Cols(order);
    return matrix;
}

} // namespace

template <class Cell>
SingularCount<Cell>::SingularCount(const RowsView<Cell>& rows, const RowsView<Cell>& adjoint, double bytes,
                                   double operations)
    : rows_(rows), adjoint_(adjoint), bytes_(bytes), operations_(operations)
{
}

template <class Cell>
auto SingularCount<Cell>::firstCertain(std::span<const double> bounds) -> std::optional<Answer>
{
    doubt_ = Doubt::TooLarge;
    const std::int64_t order = std::int64_t{rows_.rows} + rows_.cols, entries = 2 * rows_.entries() + order;
    const double own = 3.0 * (sizeof(Cell) + sizeof(std::int32_t)) * static_cast<double>(entries);
    if (entries >= std::numeric_limits<std::int32_t>::max() || own > bytes_) return std::nullopt;
    const SparseOf<Cell> matrix = augmented(rows_, adjoint_);
    ShiftedFactors<Cell> factors(matrix);
    if (!factors.isAffordable(bytes_ - own, operations_)) return std::nullopt;
    doubt_ = Doubt::Signs;
    for (const double bound : bounds) {
        const std::optional<FactorInertia> shifted = factors.at(-bound);
        if (!shifted) continue;
        doubt_ = Doubt::None;
        return Answer{bound, shifted->inertia.negative};
    }
    return std::nullopt;
}

template class SingularCount<double>;
template class SingularCount<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
