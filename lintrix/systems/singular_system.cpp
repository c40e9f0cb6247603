#include <lintrix/systems/singular_system.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/structure/near_null.h>

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// conj(M)*x is conj(M*conj(x)).
template <class Cell>
typename LinearMap<Cell>::Apply conjugated(typename LinearMap<Cell>::Apply apply, std::int32_t order)
{
    return [apply = std::move(apply), order](std::int32_t columns, const Cell* x, Cell* y) {
        const auto count = static_cast<std::size_t>(order) * static_cast<std::size_t>(columns);
        std::vector<Cell> turned(x, x + count);
        for (Cell& cell : turned) cell = conjugate(cell);
        apply(columns, turned.data(), y);
        for (std::size_t k = 0; k < count; ++k) y[k] = conjugate(y[k]);
    };
}

/// op(A) of a square A.
template <class Cell>
LinearMap<Cell> mapOf(const MatrixView<Cell>& A, TransposeMode op)
{
    LinearMap<Cell> map = mapOf(A);
    if (op == TransposeMode::NotTransposed) return map;
    std::swap(map.times, map.adjointTimes);
    if (op == TransposeMode::ConjugateTransposed || std::is_same_v<Cell, double>) return map;
    return {map.rows, map.cols, conjugated<Cell>(map.times, map.rows),
            conjugated<Cell>(map.adjointTimes, map.rows)};
}

Solutions worse(Solutions one, Solutions other)
{
    if (one == Solutions::None || other == Solutions::None) return Solutions::None;
    return one == Solutions::Unknown ? one : other;
}

template <class Cell>
Solutions solutionsOf(const Consistency<Cell>& consistency)
{
    using Told = typename Consistency<Cell>::Verdict;
    if (consistency.verdict == Told::Consistent) return Solutions::Many;
    return consistency.verdict == Told::Inconsistent ? Solutions::None : Solutions::Unknown;
}

/// In the rows and columns of A; without the vectors.
template <class Cell>
MatrixFaults faultsOf(NearNull<Cell> nearNull, TransposeMode op)
{
    if (nearNull.singularValues.empty()) return {};
    nearNull.left = nearNull.right = {};
    if (op != TransposeMode::NotTransposed) std::swap(nearNull.rows, nearNull.columns);
    return MatrixFaults([nearNull](std::int32_t firstIndex) { return explain(nearNull, firstIndex); });
}

} // namespace

template <class Cell>
SingularJudgement<Cell> judgeSingular(const SparseOf<Cell>& A, Factored<Cell>& factor, TransposeMode op,
                                      const MatrixOf<Cell>& B, std::int32_t columns)
{
    const MatrixView<Cell> view(A);
    const LinearMap<Cell> map = mapOf(view, op), inverse = inverseBy(factor, A.Rows(), op);
    const double norm = op == TransposeMode::NotTransposed ? infinityNorm(view) : oneNorm(view);
    const NearNull<Cell> nearNull = findNearNull<Cell>(map, inverse, norm);
    SingularJudgement<Cell> judgement{.faults = faultsOf(nearNull, op)};
    if (nearNull.nullity == 0 || columns == 0) return judgement;
    MatrixOf<Cell> X(B.Rows(), columns);
    judgement.solutions = Solutions::Many;
    for (std::int32_t j = 0; j < columns; ++j) {
        const Consistency<Cell> column =
            judgeConsistency<Cell>(nearNull, map, inverse, columnCells(B, j).data());
        judgement.solutions = worse(judgement.solutions, solutionsOf(column));
        std::ranges::copy(column.x, columnCells(X, j).begin());
    }
    if (judgement.solutions == Solutions::Many) judgement.x = std::move(X);
    return judgement;
}

template SingularJudgement<double> judgeSingular<double>(const SparseMatrix&, Factored<double>&,
                                                         TransposeMode, const Matrix&, std::int32_t);
template SingularJudgement<Complex> judgeSingular<Complex>(const CSparseMatrix&, Factored<Complex>&,
                                                           TransposeMode, const CMatrix&, std::int32_t);

} // namespace Velmar::Lintrix::detail
