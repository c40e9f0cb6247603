#include <lintrix/systems/roads/pivoted_factor.h>

#include <lintrix/systems/roads/column_refinement.h>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

using namespace sparse_lu;

namespace {

constexpr double kThreshold = 0.1, kSymmetricThreshold = 0.01;

// Operations of real numbers an element of L and U up to which columns one by one are faster than supernodes.
// Measured on the circuits, networks and linear programs of the test collection, and on meshes; so are the
// limits below: elements of A a row, rows up to which meshes and full rows pay, and the share of light ones.
constexpr double kMostPerElement = 50.0, kMostPerComplexElement = 25.0;
constexpr double kMostPerRow = 12.0, kLightShare = 0.1;
constexpr std::int32_t kSmallDense = 500, kSmallMesh = 1500, kLight = 3;

/// Rows that are light, or whose column is.
std::ptrdiff_t lightOnes(std::span<const std::int32_t> rowPointers,
                         std::span<const std::int32_t> columnIndices)
{
    std::vector<std::int32_t> lengths(rowPointers.size() - 1); // of columns
    for (const std::int32_t column : columnIndices) ++lengths[static_cast<std::size_t>(column) - 1];
    for (std::size_t i = 0; i < lengths.size(); ++i)
        lengths[i] = std::min(lengths[i], rowPointers[i + 1] - rowPointers[i]);
    return std::ranges::count_if(lengths, [](std::int32_t length) { return length <= kLight; });
}

} // namespace

bool mayPivotedPay(std::span<const std::int32_t> rowPointers, std::span<const std::int32_t> columnIndices)
{
    const auto n = static_cast<double>(rowPointers.size() - 1);
    if (n <= kSmallDense) return true;
    if (static_cast<double>(columnIndices.size()) > kMostPerRow * n) return false;
    return n <= kSmallMesh || static_cast<double>(lightOnes(rowPointers, columnIndices)) >= kLightShare * n;
}

template <class Cell>
PivotedFactor<Cell>::PivotedFactor(const SparseOf<Cell>& A, bool symmetricPattern, std::span<const int> units,
                                   UnitsBy by)
    : A_(&A), threshold_(symmetricPattern ? kSymmetricThreshold : kThreshold),
      lu_(std::make_shared<SparseLU<Cell>>(A, threshold_, units)), unitsBy_(by)
{
}

template <class Cell>
bool PivotedFactor<Cell>::pays() const
{
    if (!isMatched()) return false;
    constexpr double most = std::is_same_v<Cell, double> ? kMostPerElement : kMostPerComplexElement;
    return lu_->plan().operations <= most * 2.0 * static_cast<double>(lu_->plan().lowerNonZeros);
}

template <class Cell>
RoadCost PivotedFactor<Cell>::cost() const
{
    constexpr double perCell = std::is_same_v<Cell, double> ? 1.0 : 4.0;
    constexpr double bytesPerEntry = 2.0 * (sizeof(Cell) + sizeof(std::int32_t)); // the arrays double
    const EliminationPlan& plan = lu_->plan();
    const double bytes = bytesPerEntry * (2.0 * static_cast<double>(plan.lowerNonZeros) +
                                          static_cast<double>(A_->NumElements()));
    return {plan.lowerNonZeros, perCell * plan.operations, bytes, bytes, bytes};
}

template <class Cell>
EngineAnswer PivotedFactor<Cell>::answerOf(LuOutcome outcome) const
{
    switch (outcome) {
    case LuOutcome::Done:
        return {};
    case LuOutcome::TooMuchFill:
        return {.error = kTooMuchFill};
    case LuOutcome::Singular:
        return {kEngineNumeric, lu_->singularColumn() + 1, lu_->singularBlock() + 1};
    case LuOutcome::NotFinite:
    case LuOutcome::StructurallySingular:
    case LuOutcome::PivotsSpoilt:
        break;
    }
    return {.error = kEngineNumeric};
}

template <class Cell>
EngineAnswer PivotedFactor<Cell>::factorize(const LuBounds& bounds)
{
    isComplete_ = false;
    const LuOutcome outcome = lu_->factorize(*A_, bounds);
    isComplete_ = outcome == LuOutcome::Done;
    return answerOf(outcome);
}

template <class Cell>
EngineAnswer PivotedFactor<Cell>::refactorize(const LuBounds& bounds, std::span<const int> units)
{
    if (isComplete_ && lu_->refactorize(*A_, units) == LuOutcome::Done) return {};
    isComplete_ = false;
    lu_ = std::make_shared<SparseLU<Cell>>(*A_, threshold_, units);
    return factorize(bounds);
}

template <class Cell>
double PivotedFactor<Cell>::operations(std::int32_t rightHands) const
{
    constexpr double perEntry = std::is_same_v<Cell, double> ? 2.0 : 8.0;
    return perEntry * static_cast<double>(entries()) * rightHands;
}

template <class Cell>
EngineAnswer PivotedFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                        std::optional<std::int32_t> steps)
{
    return answerTo(operations(B.Cols()), steps_,
                    [&] { return solveRefined<Cell>(*A_, *lu_, B, X, op, std::abs(steps.value_or(0))); });
}

template <class Cell>
EngineAnswer PivotedFactor<Cell>::refine(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                         std::int32_t steps)
{
    return answerTo(operations(B.Cols()), steps_,
                    [&] { return refineColumns<Cell>(*A_, *lu_, B, X, op, std::abs(steps)); });
}

template <class Cell>
EngineAnswer PivotedFactor<Cell>::apply(std::int32_t size, std::int32_t columns, const Cell* x, Cell* y,
                                        TransposeMode op, Refining)
try {
    const std::size_t cells = static_cast<std::size_t>(size) * static_cast<std::size_t>(columns);
    lu_->solve(op, {x, cells}, {y, cells});
    WorkScope::tell(operations(columns));
    return {};
} catch (const std::bad_alloc&) {
    return {.error = kEngineNoMemory};
}

template class PivotedFactor<double>;
template class PivotedFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
