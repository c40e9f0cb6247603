#include <lintrix/systems/multifrontal/front_elimination.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

using sparse_lu::sizeOf;

namespace {

constexpr std::int32_t kNarrow = 192; ///< columns of a triangle that are updated together

/// Of a product and a sum.
template <class Cell>
const double kOperationsOf = sparse_lu::operationsOf(Cell());

} // namespace

template <class Cell>
Cell FrontElimination<Cell>::mirrored(const Cell& x) const noexcept
{
    return rule_.conjugates ? conjugate(x) : x;
}

template <class Cell>
Cell FrontElimination<Cell>::onDiagonal(const Cell& x) const noexcept
{
    return rule_.conjugates ? Cell(std::real(x)) : x;
}

template <class Cell>
std::int32_t FrontElimination<Cell>::run(const Front<Cell>& front, bool isRoot, Pivots<Cell>& pivots)
{
    this->begin(front);
    pivots_ = &pivots;
    products_.resize(static_cast<std::size_t>(front.size) * (static_cast<std::size_t>(this->width_) + 1));
    places_.resize(static_cast<std::size_t>(front.candidates));
    std::iota(places_.begin(), places_.end(), 0);
    placesThen_.clear();
    this->eliminateCandidates(isRoot);
    if (isRoot) replaceRest();
    bringRowsToPlace();
    return done_;
}

template <class Cell>
void FrontElimination<Cell>::takeNext()
{
    enter(window_);
    if (const std::int32_t width = choose(window_ - 1); width > 0) eliminate(width);
}

/// Column j is the next one in the window: what the panel's pivots do to it is done.
template <class Cell>
void FrontElimination<Cell>::enter(std::int32_t j)
{
    exchange(window_, j);
    const std::int32_t t = window_++, pivots = done_ - panel_;
    if (pivots == 0) return;
    factors_.resize(static_cast<std::size_t>(pivots));
    for (std::int32_t p = 0; p < pivots; ++p) factors_[p] = mirrored(product(panel_ + p)[t]);
    blas::gemv('N', front_.size - t, pivots, Cell(-1.0), &at(t, panel_), front_.size, factors_.data(), 1,
               Cell(1.0), &at(t, t), 1);
}

/// The largest of column j of the symmetric front, beside its diagonal and the element of another row.
/// @pre j and what stands between done_ and j is in the window
template <class Cell>
double FrontElimination<Cell>::largestBeside(std::int32_t j, std::int32_t other) const
{
    double largest = 0.0;
    for (std::int32_t k = done_; k < j; ++k)
        if (k != other) largest = std::max(largest, sizeOf(at(j, k)));
    const Cell* const cells = column(j);
    for (std::int32_t i = j + 1; i < front_.size; ++i)
        if (i != other) largest = std::max(largest, sizeOf(cells[i]));
    return largest;
}

/// The candidate with which column j of the window has its largest element beside its diagonal, which is in
/// the window then; -1 where that is no larger than `least`. @param size  of the element
template <class Cell>
std::int32_t FrontElimination<Cell>::partnerOf(std::int32_t j, double& size)
{
    std::int32_t partner = -1;
    for (std::int32_t k = done_; k < front_.candidates; ++k) {
        if (k == j) continue;
        const double own = sizeOf(k < j ? at(j, k) : at(k, j));
        if (!(own > size)) continue;
        size = own;
        partner = k;
    }
    if (partner < window_) return partner;
    enter(partner);
    return window_ - 1;
}

/// A pivot by way of column j, the last of the window, moved to the front of it: itself; or, from the largest
/// element of a column to that of the next one, a block of two or one alone. The elements grow on the way, so
/// it has an end, and where a candidate has the largest element of its column, that is a pivot (C. Ashcraft,
/// R. G. Grimes, J. G. Lewis, "Accurate symmetric indefinite linear equation solvers", SIAM J. Matrix Anal.
/// Appl. 20 (1998)).
template <class Cell>
std::int32_t FrontElimination<Cell>::choose(std::int32_t j)
{
    if (isPivot(j, largestBeside(j, -1))) return moveToFront(j);
    double size = rule_.least;
    for (std::int32_t partner = partnerOf(j, size); partner >= 0;) {
        if (isPivot(partner, largestBeside(partner, -1))) return moveToFront(partner);
        if (isPair(j, partner)) return moveToFront(j, partner);
        j = partner;
        partner = partnerOf(j, size);
    }
    return 0;
}

template <class Cell>
bool FrontElimination<Cell>::isPivot(std::int32_t j, double largest) const
{
    const double own = sizeOf(at(j, j));
    return own > rule_.least && own >= rule_.threshold * largest;
}

/// Of D = (a, m; b, c): |D^-1| times the largest elements beside it may not pass 1 / threshold.
template <class Cell>
bool FrontElimination<Cell>::isPair(std::int32_t j, std::int32_t partner) const
{
    const Cell a = at(j, j), c = at(partner, partner), b = at(std::max(j, partner), std::min(j, partner));
    const double besideJ = largestBeside(j, partner), besidePartner = largestBeside(partner, j),
                 most = sizeOf(a * c - b * mirrored(b)) / rule_.threshold;
    return most > 0.0 && sizeOf(c) * besideJ + sizeOf(b) * besidePartner <= most &&
           sizeOf(b) * besideJ + sizeOf(a) * besidePartner <= most;
}

template <class Cell>
std::int32_t FrontElimination<Cell>::moveToFront(std::int32_t j)
{
    exchange(done_, j);
    return 1;
}
template <class Cell>
std::int32_t FrontElimination<Cell>::moveToFront(std::int32_t j, std::int32_t partner)
{
    exchange(done_, std::min(j, partner));
    exchange(done_ + 1, std::max(j, partner));
    return 2;
}

/// A root goes on as long as a pass finds a pivot: no element is left that does not count as zero.
template <class Cell>
void FrontElimination<Cell>::replaceRest()
{
    placesThen_.push_back({done_, front_.candidates - done_, places_});
    for (; done_ < front_.candidates; ++done_) {
        std::fill(column(done_) + done_, column(done_) + front_.size, Cell());
        pivots_->diagonal.push_back(Cell(rule_.least));
        pivots_->below.push_back(Cell());
        ++pivots_->replaced;
    }
}

/// The rows of L follow the exchanges that came after them.
template <class Cell>
void FrontElimination<Cell>::bringRowsToPlace()
{
    std::vector<Cell> moved(places_.size());
    for (const PlacesThen& then : placesThen_) {
        for (std::int32_t k = then.first; k < then.first + then.pivots; ++k) {
            for (std::size_t i = 0; i < places_.size(); ++i) moved[then.places[i]] = column(k)[i];
            for (std::size_t i = 0; i < places_.size(); ++i) column(k)[i] = moved[places_[i]];
        }
    }
}

template <class Cell>
void FrontElimination<Cell>::eliminate(std::int32_t width)
{
    for (std::int32_t k = done_; k < done_ + width; ++k)
        std::copy(column(k) + k, column(k) + front_.size, product(k) + k);
    if (width == 1)
        eliminateOne();
    else
        eliminateTwo();
    done_ += width;
    updateWindow(width);
}

template <class Cell>
void FrontElimination<Cell>::eliminateOne()
{
    Cell* const cells = column(done_);
    const Cell pivot = onDiagonal(cells[done_]);
    const sparse_lu::Divisor<Cell> divisor(pivot);
    for (std::int32_t i = done_ + 1; i < front_.size; ++i) cells[i] = divisor.of(cells[i]);
    cells[done_] = Cell();
    pivots_->diagonal.push_back(pivot);
    pivots_->below.push_back(Cell());
}

/// L = (L*D)*D^-1. Of D = (a, m; b, c), m the mirrored b, the inverse is (c, -m; -b, a) / (a*c - b*m); all is
/// divided by b or m first, which are not small.
template <class Cell>
void FrontElimination<Cell>::eliminateTwo()
{
    using sparse_lu::product;
    Cell *const first = column(done_), *const second = column(done_ + 1);
    const Cell b = first[done_ + 1];
    const Cell a = onDiagonal(first[done_]), c = onDiagonal(second[done_ + 1]);
    const Cell byB = Cell(1.0) / b, byM = Cell(1.0) / mirrored(b);
    const Cell alpha = product(a, byB), gamma = product(c, byM);
    const Cell scale = Cell(1.0) / (product(alpha, gamma) - Cell(1.0));
    for (std::int32_t i = done_ + 2; i < front_.size; ++i) {
        const Cell p = product(first[i], byB), q = product(second[i], byM);
        first[i] = product(scale, product(gamma, p) - q);
        second[i] = product(scale, product(alpha, q) - p);
    }
    first[done_] = first[done_ + 1] = second[done_ + 1] = Cell();
    pivots_->diagonal.insert(pivots_->diagonal.end(), {a, c});
    pivots_->below.insert(pivots_->below.end(), {b, Cell()});
}

/// F := F - L*(L*D)^H of the last pivots, within the window.
template <class Cell>
void FrontElimination<Cell>::updateWindow(std::int32_t width)
{
    for (std::int32_t j = done_; j < window_; ++j)
        for (std::int32_t p = done_ - width; p < done_; ++p)
            blas::axpy(front_.size - j, -mirrored(product(p)[j]), column(p) + j, 1, column(j) + j, 1);
}

/// The same of all pivots of the panel, behind the window.
template <class Cell>
void FrontElimination<Cell>::updateRest()
{
    updateTriangle(window_, front_.size);
    const double pivots = done_ - panel_, rest = front_.size - window_;
    WorkScope::tell(kOperationsOf<Cell> * pivots * rest * (rest + 1.0) / 2.0);
}

/// Columns begin .. end - 1 down to row end - 1: a square between two triangles of half the size.
template <class Cell>
void FrontElimination<Cell>::updateTriangle(std::int32_t begin, std::int32_t end)
{
    if (end - begin <= kNarrow) return updateBlock(begin, end, begin, end);
    const std::int32_t middle = begin + (end - begin) / 2;
    updateTriangle(begin, middle);
    updateBlock(middle, end, begin, middle);
    updateTriangle(middle, end);
}

template <class Cell>
void FrontElimination<Cell>::updateBlock(std::int32_t row, std::int32_t rowEnd, std::int32_t j,
                                         std::int32_t end)
{
    if (row == rowEnd || j == end) return;
    const char mirror = rule_.conjugates ? 'C' : 'T';
    const std::int32_t size = front_.size;
    blas::gemm('N', mirror, rowEnd - row, end - j, done_ - panel_, Cell(-1.0), &at(row, panel_), size,
               product(panel_) + j, size, Cell(1.0), &at(row, j), size);
}

/// Rows and columns a and b of the symmetric front, in its lower triangle and in the panel's columns of L.
/// The columns before follow at the end.
template <class Cell>
void FrontElimination<Cell>::exchange(std::int32_t a, std::int32_t b)
{
    if (a == b) return;
    if (a > b) std::swap(a, b);
    for (std::int32_t k = panel_; k < a; ++k) std::swap(at(a, k), at(b, k));
    std::swap(at(a, a), at(b, b));
    for (std::int32_t k = a + 1; k < b; ++k) {
        const Cell inColumn = at(k, a);
        at(k, a) = mirrored(at(b, k));
        at(b, k) = mirrored(inColumn);
    }
    at(b, a) = mirrored(at(b, a));
    std::swap_ranges(column(a) + b + 1, column(a) + front_.size, column(b) + b + 1);
    for (std::int32_t p = panel_; p < done_; ++p) std::swap(product(p)[a], product(p)[b]);
    std::swap(front_.rows[static_cast<std::size_t>(a)], front_.rows[static_cast<std::size_t>(b)]);
    std::swap(places_[static_cast<std::size_t>(a)], places_[static_cast<std::size_t>(b)]);
}

template class FrontElimination<double>;
template class FrontElimination<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
