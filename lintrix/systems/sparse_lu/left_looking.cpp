#include <lintrix/systems/sparse_lu/left_looking.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <complex>
#include <utility>

namespace Velmar::Lintrix::detail::sparse_lu {

namespace {

constexpr double kPortion = 1e6; // operations, a millisecond

std::size_t orderOf(std::span<const std::int32_t> blockStarts)
{
    return static_cast<std::size_t>(blockStarts.back());
}

/// work -= factor * (column j of L); @return  its entries
template <class Cell>
std::int64_t subtractColumn(const GrowingColumns<Cell>& L, std::int32_t j, const Cell& factor, Cell* work)
{
    const std::int32_t* const rows = L.rows();
    const Cell* const values = L.values();
    const std::int64_t begin = L.begin(j), end = L.end(j);
    for (std::int64_t l = begin; l < end; ++l) work[rows[l]] -= product(values[l], factor);
    return end - begin;
}

} // namespace

template <class Cell>
LeftLooking<Cell>::LeftLooking(LuArrays<Cell>& arrays, double threshold, const LuBounds& bounds)
    : arrays_(arrays), threshold_(threshold), bounds_(bounds), rows_(orderOf(arrays.blockStarts)),
      rowOf_(rows_.size()), work_(rows_.size()), way_(std::make_unique_for_overwrite<Step[]>(rows_.size())),
      order_(rows_.size()), searches_(std::make_unique_for_overwrite<Search[]>(rows_.size()))
{
}

template <class Cell>
LuOutcome LeftLooking<Cell>::run()
{
    const auto starts = arrays_.blockStarts;
    for (; block_ + 1 < static_cast<std::int32_t>(starts.size()); ++block_) {
        const std::int32_t end = starts[block_ + 1];
        for (column_ = starts[block_]; column_ < end; ++column_) {
            const LuOutcome outcome =
                end - starts[block_] == 1 ? eliminateSingle(column_) : eliminate(column_, end);
            if (outcome != LuOutcome::Done) return outcome;
        }
    }
    tellWork(0.0);
    nameRowsByPosition();
    arrays_.L.shrink();
    arrays_.U.shrink();
    return LuOutcome::Done;
}

/// A block of one: its element is the pivot.
template <class Cell>
LuOutcome LeftLooking<Cell>::eliminateSingle(std::int32_t k)
{
    const Cell pivot = arrays_.A.values[arrays_.A.ownStarts[k]];
    if (pivot == 0.0) return LuOutcome::Singular;
    rows_[k].position = rowOf_[k] = k;
    arrays_.pivots[k] = pivot;
    arrays_.L.append(0);
    arrays_.U.append(0);
    arrays_.growth = std::max(arrays_.growth, 1.0);
    return LuOutcome::Done;
}

template <class Cell>
LuOutcome LeftLooking<Cell>::eliminate(std::int32_t k, std::int32_t blockEnd)
{
    if (!isWithinBounds()) return LuOutcome::TooMuchFill;
    tellWork(kPortion);
    const std::int32_t blockStart = arrays_.blockStarts[block_];
    arrays_.L.makeRoom(blockEnd - k);
    arrays_.U.makeRoom(k - blockStart);
    first_ = blockEnd;
    below_ = 0;
    const double largest = scatter(k);
    const double largestAbove = substitute();
    const std::int32_t pivotRow = choosePivot(k);
    if (pivotRow == kNone) return LuOutcome::Singular;
    rows_[pivotRow].position = k;
    rowOf_[k] = pivotRow;
    arrays_.pivots[k] = work_[pivotRow];
    divide(pivotRow);
    arrays_.U.append(blockEnd - first_);
    arrays_.L.append(below_ - 1);
    searches_[k] = {arrays_.L.begin(k), arrays_.L.end(k), false};
    prune(k, pivotRow);
    arrays_.growth = std::max(arrays_.growth, std::max(largestAbove, sizeOf(arrays_.pivots[k])) / largest);
    return LuOutcome::Done;
}

/// The column of A, and where entries of L and U arise from it. @return  the largest size
template <class Cell>
double LeftLooking<Cell>::scatter(std::int32_t k)
{
    const PlacedColumns<Cell>& A = arrays_.A;
    double largest = 0.0;
    for (std::int32_t a = A.ownStarts[k]; a < A.starts[k + 1]; ++a) {
        const std::int32_t row = A.rows[a];
        work_[row] = A.values[a];
        largest = std::max(largest, sizeOf(A.values[a]));
        if (rows_[row].metBy != k) searchFrom(row, k);
    }
    return largest;
}

/// A row without pivot goes to L. One with a pivot is entered to U, behind all that its column leads to.
template <class Cell>
void LeftLooking<Cell>::searchFrom(std::int32_t row, std::int32_t k)
{
    const std::int32_t* const rows = arrays_.L.rows();
    std::int32_t* const below = arrays_.L.rows() + arrays_.L.entries();
    rows_[row].metBy = k;
    std::int32_t depth = -1;
    const auto enter = [&](std::int32_t position) {
        const Search& search = searches_[position];
        if (search.begin == search.end)
            order_[--first_] = position;
        else
            way_[++depth] = {position, search.begin, search.end};
    };
    if (rows_[row].position == kNone) {
        below[below_++] = row;
        return;
    }
    enter(rows_[row].position);
    while (depth >= 0) {
        Step& step = way_[depth];
        if (step.next == step.end) {
            order_[--first_] = step.column;
            --depth;
            continue;
        }
        const std::int32_t i = rows[step.next++];
        Row& next = rows_[i];
        if (std::exchange(next.metBy, k) == k) continue;
        if (next.position == kNone)
            below[below_++] = i;
        else
            enter(next.position);
    }
}

/// The column of U, and below it that of L but for the pivot. @return  the largest size above the pivot
template <class Cell>
double LeftLooking<Cell>::substitute()
{
    std::int64_t u = arrays_.U.entries(), multiplied = 0;
    double largest = 0.0;
    const std::int32_t end = arrays_.blockStarts[block_ + 1];
    for (std::int32_t t = first_; t < end; ++t, ++u) {
        const std::int32_t j = order_[t];
        const Cell factor = std::exchange(work_[rowOf_[j]], Cell());
        arrays_.U.rows()[u] = j;
        arrays_.U.values()[u] = factor;
        if (factor == 0.0) continue;
        largest = std::max(largest, sizeOf(factor));
        multiplied += subtractColumn(arrays_.L, j, factor, work_.data());
    }
    arrays_.operations += operationsOf(Cell()) * static_cast<double>(multiplied + below_);
    return largest;
}

/// The matched row if it is still there and large enough, else the largest; kNone where all are zero.
template <class Cell>
std::int32_t LeftLooking<Cell>::choosePivot(std::int32_t k) const
{
    const std::int32_t* const rows = arrays_.L.rows() + arrays_.L.entries();
    std::int32_t found = kNone;
    double largest = 0.0;
    for (std::int32_t l = 0; l < below_; ++l) {
        const double size = sizeOf(work_[rows[l]]);
        if (!(size > largest)) continue;
        largest = size;
        found = rows[l];
    }
    const bool isMatchedFree = found != kNone && rows_[k].position == kNone && rows_[k].metBy == k;
    return isMatchedFree && sizeOf(work_[k]) >= threshold_ * largest ? k : found;
}

/// What is below the pivot becomes the column of L.
template <class Cell>
void LeftLooking<Cell>::divide(std::int32_t pivotRow)
{
    std::int32_t* const rows = arrays_.L.rows() + arrays_.L.entries();
    Cell* const values = arrays_.L.values() + arrays_.L.entries();
    const Divisor<Cell> divisor(work_[pivotRow]);
    work_[pivotRow] = Cell();
    std::int32_t kept = 0;
    for (std::int32_t l = 0; l < below_; ++l) {
        const std::int32_t row = rows[l];
        if (row == pivotRow) continue;
        rows[kept] = row;
        values[kept++] = divisor.of(std::exchange(work_[row], Cell()));
    }
}

/// What the columns of U lead to below the new pivot, the new column of L leads to as well.
template <class Cell>
void LeftLooking<Cell>::prune(std::int32_t k, std::int32_t pivotRow)
{
    for (std::int64_t u = arrays_.U.begin(k); u < arrays_.U.end(k); ++u) {
        const std::int32_t j = arrays_.U.rows()[u];
        if (!searches_[j].isPruned) prune(j, pivotRow, arrays_.L.end(j));
    }
}

/// Moves the rows with pivots to the front, if the new one is among them.
template <class Cell>
void LeftLooking<Cell>::prune(std::int32_t j, std::int32_t pivotRow, std::int64_t end)
{
    std::int32_t* const rows = arrays_.L.rows();
    Cell* const values = arrays_.L.values();
    std::int64_t front = arrays_.L.begin(j);
    if (std::find(rows + front, rows + end, pivotRow) == rows + end) return;
    for (std::int64_t back = end; front < back;) {
        if (rows_[rows[front]].position != kNone) {
            ++front;
            continue;
        }
        --back;
        std::swap(rows[front], rows[back]);
        std::swap(values[front], values[back]);
    }
    searches_[j].end = front;
    searches_[j].isPruned = true;
}

template <class Cell>
bool LeftLooking<Cell>::isWithinBounds() const
{
    return arrays_.operations <= bounds_.operations &&
           arrays_.L.entries() + arrays_.U.entries() <= bounds_.entries;
}

/// Where more than `most` operations are untold. @throws as `WorkScope::tell`
template <class Cell>
void LeftLooking<Cell>::tellWork(double most)
{
    const double untold = arrays_.operations - told_;
    if (untold <= most) return;
    told_ = arrays_.operations;
    WorkScope::expect(untold);
    WorkScope::tell(untold);
}

template <class Cell>
void LeftLooking<Cell>::nameRowsByPosition()
{
    for (std::int32_t& row : arrays_.A.rows) row = rows_[row].position;
    std::int32_t* const rows = arrays_.L.rows();
    for (std::int64_t l = 0; l < arrays_.L.entries(); ++l) rows[l] = rows_[rows[l]].position;
}

namespace {

/// Column k with its pivot kept.
template <class Cell>
LuOutcome computeAgain(LuArrays<Cell>& arrays, std::int32_t k, double threshold, Cell* work)
{
    const PlacedColumns<Cell>& A = arrays.A;
    double largestOfA = 0.0, largestOfU = 0.0, largestBelow = 0.0;
    for (std::int32_t a = A.ownStarts[k]; a < A.starts[k + 1]; ++a) {
        work[A.rows[a]] = A.values[a];
        largestOfA = std::max(largestOfA, sizeOf(A.values[a]));
    }
    for (std::int64_t u = arrays.U.begin(k); u < arrays.U.end(k); ++u) {
        const std::int32_t j = arrays.U.rows()[u];
        const Cell factor = arrays.U.values()[u] = std::exchange(work[j], Cell());
        largestOfU = std::max(largestOfU, sizeOf(factor));
        if (factor != 0.0) subtractColumn(arrays.L, j, factor, work);
    }
    const Cell pivot = arrays.pivots[k] = std::exchange(work[k], Cell());
    const Divisor<Cell> divisor(pivot);
    for (std::int64_t l = arrays.L.begin(k); l < arrays.L.end(k); ++l) {
        const Cell value = std::exchange(work[arrays.L.rows()[l]], Cell());
        largestBelow = std::max(largestBelow, sizeOf(value));
        arrays.L.values()[l] = divisor.of(value);
    }
    arrays.growth = std::max(arrays.growth, std::max(largestOfU, sizeOf(pivot)) / largestOfA);
    const bool serves = sizeOf(pivot) > 0.0 && sizeOf(pivot) >= threshold * largestBelow;
    return serves ? LuOutcome::Done : LuOutcome::PivotsSpoilt;
}

} // namespace

template <class Cell>
LuOutcome eliminateAgain(LuArrays<Cell>& arrays, double threshold)
{
    std::vector<Cell> work(arrays.pivots.size());
    const auto n = static_cast<std::int32_t>(arrays.pivots.size());
    arrays.growth = 0.0;
    LuOutcome outcome = LuOutcome::Done;
    for (std::int32_t k = 0; k < n && outcome == LuOutcome::Done; ++k)
        outcome = computeAgain(arrays, k, threshold, work.data());
    return outcome;
}

template class LeftLooking<double>;
template class LeftLooking<std::complex<double>>;
template LuOutcome eliminateAgain(LuArrays<double>&, double);
template LuOutcome eliminateAgain(LuArrays<std::complex<double>>&, double);

} // namespace Velmar::Lintrix::detail::sparse_lu
