#include <lintrix/systems/multifrontal/square_elimination.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

using sparse_lu::sizeOf;

template <class Cell>
std::int32_t SquareElimination<Cell>::run(const Front<Cell>& front, bool isRoot, std::int32_t& replaced)
{
    this->begin(front);
    this->eliminateCandidates(isRoot);
    if (isRoot) replaced += replaceRest();
    return done_;
}

template <class Cell>
void SquareElimination<Cell>::takeNext()
{
    const std::int32_t j = window_++;
    enter(j);
    if (const std::int32_t row = pivotRow(j); row >= 0) eliminate(j, row);
}

/// U of the panel's rows in column j, and what its pivots do below.
template <class Cell>
void SquareElimination<Cell>::enter(std::int32_t j)
{
    const std::int32_t pivots = done_ - panel_, size = front_.size;
    if (pivots == 0) return;
    Cell* const own = &at(panel_, j);
    blas::trsm('L', 'L', 'N', 'U', pivots, 1, Cell(1.0), &at(panel_, panel_), size, own, size);
    blas::gemv('N', size - done_, pivots, Cell(-1.0), &at(done_, panel_), size, own, 1, Cell(1.0),
               own + pivots, 1);
}

/// -1: there is none.
template <class Cell>
std::int32_t SquareElimination<Cell>::pivotRow(std::int32_t j) const
{
    const Cell* const cells = column(j);
    double best = rule_.least, largest = 0.0;
    std::int32_t row = -1;
    for (std::int32_t i = done_; i < front_.candidates; ++i) {
        const double size = sizeOf(cells[i]);
        if (!(size > best)) continue;
        best = size;
        row = i;
    }
    for (std::int32_t i = front_.candidates; i < front_.size; ++i)
        largest = std::max(largest, sizeOf(cells[i]));
    return best >= rule_.threshold * largest ? row : -1;
}

/// The rest of the window follows at once.
template <class Cell>
void SquareElimination<Cell>::eliminate(std::int32_t j, std::int32_t row)
{
    exchange(done_, j);
    exchangeRows(done_, row);
    Cell* const own = column(done_);
    const sparse_lu::Divisor<Cell> divisor(own[done_]);
    for (std::int32_t i = done_ + 1; i < front_.size; ++i) own[i] = divisor.of(own[i]);
    for (std::int32_t k = done_ + 1; k < window_; ++k)
        blas::axpy(front_.size - done_ - 1, -at(done_, k), own + done_ + 1, 1, column(k) + done_ + 1, 1);
    ++done_;
}

template <class Cell>
void SquareElimination<Cell>::updateRest()
{
    const std::int32_t pivots = done_ - panel_, size = front_.size, below = size - done_,
                       beside = size - window_;
    if (beside == 0) return;
    Cell* const U = &at(panel_, window_);
    blas::trsm('L', 'L', 'N', 'U', pivots, beside, Cell(1.0), &at(panel_, panel_), size, U, size);
    if (below > 0)
        blas::gemm('N', 'N', below, beside, pivots, Cell(-1.0), &at(done_, panel_), size, U, size, Cell(1.0),
                   U + pivots, size);
    WorkScope::tell(sparse_lu::operationsOf(Cell()) * pivots * below * static_cast<double>(beside));
}

/// A root goes on as long as a pass finds a pivot: no element is left that does not count as zero.
template <class Cell>
std::int32_t SquareElimination<Cell>::replaceRest()
{
    const std::int32_t left = front_.candidates - done_;
    for (; done_ < front_.candidates; ++done_) {
        std::fill(column(done_) + front_.candidates - left, column(done_) + front_.size, Cell());
        at(done_, done_) = Cell(1.0);
    }
    return left;
}

template <class Cell>
void SquareElimination<Cell>::exchangeRows(std::int32_t a, std::int32_t b)
{
    if (a == b) return;
    for (std::int32_t j = 0; j < front_.size; ++j) std::swap(at(a, j), at(b, j));
    std::swap(front_.rows[static_cast<std::size_t>(a)], front_.rows[static_cast<std::size_t>(b)]);
}

template <class Cell>
void SquareElimination<Cell>::exchange(std::int32_t a, std::int32_t b)
{
    if (a == b) return;
    std::swap_ranges(column(a), column(a) + front_.size, column(b));
    std::swap(front_.columns[static_cast<std::size_t>(a)], front_.columns[static_cast<std::size_t>(b)]);
}

template class SquareElimination<double>;
template class SquareElimination<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
