#include <lintrix/systems/singular_system.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/least_squares/least_squares.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/structure/near_null.h>

#include <algorithm>
#include <cmath>
#include <tuple>
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
LinearMap<Cell> mapOf(const AnyMatrix<Cell>& A, TransposeMode op)
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

/// Of the solves of a search for directions, on both sides; and operations of a cell of its bases, for each
/// of their columns.
constexpr double kSolvesOfASearch = 22.0, kOperationsOfACell = 8.0;
/// Operations that a search for more of them may take in any case: a fraction of a second, and about a
/// millisecond where nothing tells that there are more.
constexpr double kShort = 5e8, kShortUntold = 5e6;
/// One more than are told: then these are all.
constexpr std::int32_t kFirst = 4, kMostByWork = 33, kMost = 129;

/// How far a search for directions goes.
enum class Search {
    Brief,    ///< as far as it takes no longer than factorization and solve
    Thorough, ///< or a fraction of a second
};

/// Directions for which the solves take no longer than that, and the bases are short.
template <class Cell>
std::int32_t affordable(const Factored<Cell>& factor, std::int32_t order, double operations, Search search)
{
    const double work = search == Search::Thorough
                            ? std::max(kShort, 0.5 * operations)
                            : std::max(kShortUntold, operations + factor.operations(1)),
                 solves = work / (kSolvesOfASearch * factor.operations(1)),
                 inBases = std::sqrt(kShort / (kOperationsOfACell * order));
    const double most = std::min(solves, std::max<double>(inBases, kMostByWork));
    return static_cast<std::int32_t>(std::clamp<double>(most, kFirst, kMost));
}

/// All directions that A sends to zero, if they are no more than 128 and the work is short: first as few as
/// there mostly are, or two more than pivots were replaced.
template <class Cell>
NearNull<Cell> findAllNear(const LinearMap<Cell>& A, const LinearMap<Cell>& inverse, double norm,
                           const Factored<Cell>& factor, const SingularQuestion& asked, Search search)
{
    const std::int32_t most = affordable(factor, A.rows, asked.operations, search),
                       expected = asked.replaced + 2 <= kMostByWork ? asked.replaced + 2 : kFirst;
    return findNearNull<Cell>(
        A, inverse, norm,
        {.vectors = std::clamp(expected, kFirst, most), .most = most, .hermitian = asked.isHermitian});
}

/// By the directions that were found.
template <class Cell>
SingularJudgement<Cell> judgedBy(const NearNull<Cell>& nearNull, const LinearMap<Cell>& A,
                                 const LinearMap<Cell>& inverse, TransposeMode op, const MatrixOf<Cell>& B,
                                 std::int32_t columns)
{
    SingularJudgement<Cell> judgement{.faults = faultsOf(nearNull, op), .isSingular = nearNull.nullity > 0};
    if (!judgement.isSingular || columns == 0) return judgement;
    MatrixOf<Cell> X(B.Rows(), columns);
    judgement.solutions = Solutions::Many;
    for (std::int32_t j = 0; j < columns; ++j) {
        const Consistency<Cell> column =
            judgeConsistency<Cell>(nearNull, A, inverse, columnCells(B, j).data());
        judgement.solutions = worse(judgement.solutions, solutionsOf(column));
        judgement.isShortest &= column.isShortest;
        std::ranges::copy(column.x, columnCells(X, j).begin());
    }
    if (judgement.solutions == Solutions::Many) judgement.x = std::move(X);
    return judgement;
}

/// Where an index stands in a list; below 0 where it does not.
std::vector<std::int32_t> placesIn(const std::vector<std::int32_t>& list, std::int32_t count)
{
    std::vector<std::int32_t> places(static_cast<std::size_t>(count), -1);
    for (std::size_t k = 0; k < list.size(); ++k)
        places[static_cast<std::size_t>(list[k])] = static_cast<std::int32_t>(k);
    return places;
}

/// Rows of op(A), fewer columns in which alone these have elements, and the elements.
template <class Cell>
struct OverDetermined {
    OverDetermined(const SparseEntries<Cell>& A, const StructuralFaults& faults, TransposeMode op)
    {
        const bool plain = op == TransposeMode::NotTransposed;
        for (const UnevenBlock& block : plain ? faults.overDetermined : faults.underDetermined) {
            const auto &own = plain ? block.rows : block.columns,
                       &others = plain ? block.columns : block.rows;
            rows.insert(rows.end(), own.begin(), own.end());
            columns.insert(columns.end(), others.begin(), others.end());
        }
        const std::vector<std::int32_t> rowAt = placesIn(rows, plain ? A.rows : A.cols),
                                        columnAt = placesIn(columns, plain ? A.cols : A.rows);
        const auto visit = [&](auto take) {
            for (std::int32_t i = 0; i < A.rows; ++i) {
                for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k) {
                    const std::int32_t j = A.columns[k], row = rowAt[plain ? i : j],
                                       column = columnAt[plain ? j : i];
                    const bool turns = op == TransposeMode::ConjugateTransposed;
                    if (row >= 0 && column >= 0)
                        take(row, column, turns ? conjugate(A.values[k]) : A.values[k]);
                }
            }
        };
        elements = listRows<Cell>(static_cast<std::int32_t>(rows.size()), visit);
        for (std::vector<std::int32_t>* const indices : {&elements.starts, &elements.columns})
            for (std::int32_t& index : *indices) ++index;
    }

    /// From 1.
    RowsView<Cell> view() const
    {
        return {static_cast<std::int32_t>(rows.size()), static_cast<std::int32_t>(columns.size()),
                elements.values.data(), elements.starts.data(), elements.columns.data()};
    }

    std::vector<std::int32_t> rows{}, columns{};
    RowLists<Cell> elements{};
};

/// Whether an empty row asks for anything but 0.
template <class Cell>
bool asksOfNothing(const MatrixOf<Cell>& B, const std::vector<std::int32_t>& emptyRows)
{
    return std::ranges::any_of(emptyRows, [&B](std::int32_t i) {
        for (std::int32_t j = 0; j < B.Cols(); ++j)
            if (B(i, j) != 0.0) return true;
        return false;
    });
}

} // namespace

template <class Cell>
Solutions judgeStructurallySingular(const SparseEntries<Cell>& A, const StructuralFaults& faults,
                                    TransposeMode op, const MatrixOf<Cell>& B)
{
    const bool plain = op == TransposeMode::NotTransposed;
    if (asksOfNothing<Cell>(B, plain ? faults.emptyRows : faults.emptyColumns)) return Solutions::None;
    const OverDetermined<Cell> part(A, faults, op);
    if (part.rows.empty()) return Solutions::Unknown;
    LeastSquares<Cell> solver(part.view());
    std::vector<Cell> b(part.rows.size());
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        std::ranges::transform(part.rows, b.begin(), [&](std::int32_t i) { return B(i, j); });
        const LeastSquaresAnswer<Cell> answer = solver.solve(b.data());
        if (answer.settled && !answer.consistent) return Solutions::None;
    }
    return Solutions::Unknown;
}

template <class Cell>
SingularJudgement<Cell> judgeSingular(const AnyMatrix<Cell>& A, Factored<Cell>& factor, TransposeMode op,
                                      const MatrixOf<Cell>& B, const SingularQuestion& asked)
{
    const LinearMap<Cell> map = mapOf(A, op), inverse = inverseBy(factor, A.rows(), op, Refining::Never);
    const double norm = op == TransposeMode::NotTransposed ? infinityNorm(A) : oneNorm(A);
    const auto judged = [&](Search search) {
        const NearNull<Cell> nearNull = findAllNear(map, inverse, norm, factor, asked, search);
        return std::pair(judgedBy(nearNull, map, inverse, op, B, asked.columns), nearNull.complete);
    };
    const bool areTold = asked.replaced > 0;
    auto [judgement, isComplete] = judged(areTold ? Search::Thorough : Search::Brief);
    const bool isOpen =
        judgement.isSingular && asked.columns > 0 && !isComplete && judgement.solutions == Solutions::Unknown;
    if (isOpen && !areTold) std::tie(judgement, isComplete) = judged(Search::Thorough);
    return std::move(judgement);
}

template Solutions judgeStructurallySingular(const SparseEntries<double>&, const StructuralFaults&,
                                             TransposeMode, const Matrix&);
template Solutions judgeStructurallySingular(const SparseEntries<Complex>&, const StructuralFaults&,
                                             TransposeMode, const CMatrix&);
template SingularJudgement<double> judgeSingular<double>(const AnyMatrix<double>&, Factored<double>&,
                                                         TransposeMode, const Matrix&,
                                                         const SingularQuestion&);
template SingularJudgement<Complex> judgeSingular<Complex>(const AnyMatrix<Complex>&, Factored<Complex>&,
                                                           TransposeMode, const CMatrix&,
                                                           const SingularQuestion&);

} // namespace Velmar::Lintrix::detail
