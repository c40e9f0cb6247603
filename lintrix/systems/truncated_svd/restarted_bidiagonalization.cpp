#include <lintrix/systems/truncated_svd/restarted_bidiagonalization.h>

#include <lintrix/complex/access.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/access.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/truncated_svd/basis_products.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
/// What is left of a vector next to what it was: below this it is rounding,
constexpr double kDependent = 16.0 * kEps;
/// and below this it is projected once more (Daniel, Gragg, Kaufman, Stewart, Math. Comp. 30 (1976)).
constexpr double kCancelled = 0.1;
/// A left vector, or a retained value, of this size relative to ||M|| leads to orthogonality of some 1e-13.
constexpr double kWellDetermined = 1e-3;

template <class Cell>
using SvdOf = std::conditional_t<std::is_same_v<Cell, double>, SVD, CSVD>;

} // namespace

template <class Cell>
double RestartedBidiagonalization<Cell>::bytesFor(std::int32_t rows, std::int32_t cols, Sizes sizes)
{
    const double basis = std::int64_t{sizes.basis} + sizes.block;
    return sizeof(Cell) *
           ((double{1.0} * rows + cols) * (basis + sizes.block) + 12.0 * basis * basis + 512.0 * basis);
}

template <class Cell>
RestartedBidiagonalization<Cell>::RestartedBidiagonalization(const LinearMap<Cell>& M, Sizes sizes,
                                                             Reorthogonalization left, Random& random,
                                                             const Cell* start)
    : M_(M), random_(random), reorthogonalization_(left), sizes_{0, 0}, U_{M.rows, 0}, V_{M.cols, 0}
{
    allot({std::min(sizes.basis, M.cols), std::min(sizes.block, M.cols)});
    next_ = sizes_.block;
    for (Cell* x = V_.column(0); x != V_.column(next_); ++x) draw(random_, *x);
    if (start != nullptr) std::copy_n(start, M.cols, V_.column(0));
    orthonormalizeLast(V_, 0, next_, nullptr, 0);
}

template <class Cell>
RestartedBidiagonalization<Cell>::RestartedBidiagonalization(const LinearMap<Cell>& M, Sizes sizes,
                                                             Random& random,
                                                             const StandingTriplets<Cell>& standing)
    : M_(M), random_(random),
      reorthogonalization_(Reorthogonalization::Partial), sizes_{0, 0}, U_{M.rows, 0}, V_{M.cols, 0}
{
    const auto count = static_cast<std::int32_t>(standing.values.size());
    allot({std::min(sizes.basis, M.cols), std::min(sizes.block, M.cols)});
    std::ranges::copy(standing.left.cells, U_.column(0));
    std::ranges::copy(standing.right.cells, V_.column(0));
    size_ = count;
    next_ = standing.right.count - count;
    values_ = standing.values;
    scale_ = values_.front();
    for (std::int32_t j = 0; j < count; ++j) {
        b(j, j) = values_[static_cast<std::size_t>(j)];
        if (next_ > 0) b(j, count) = standing.couplings[static_cast<std::size_t>(j)];
    }
    if (values_.back() < kWellDetermined * values_.front()) reorthogonalization_ = Reorthogonalization::Full;
}

/// Room for the basis, the block that may stand out of it, and the next one. Grown, it keeps what there is.
template <class Cell>
void RestartedBidiagonalization<Cell>::allot(Sizes sizes)
{
    const std::int32_t room = std::min(sizes.basis + sizes.block, M_.cols);
    std::vector<Cell> grown(static_cast<std::size_t>(room) * static_cast<std::size_t>(room));
    for (std::int32_t j = 0; j < std::min(room_, room); ++j)
        std::copy_n(&b(0, j), std::min(room_, room), grown.data() + std::size_t(j) * room);
    U_.shrink(room);
    V_.shrink(std::min(room + sizes.block, M_.cols));
    coefficients_.resize(static_cast<std::size_t>(V_.count) * static_cast<std::size_t>(sizes.block));
    S_.resize(static_cast<std::size_t>(sizes.block) * static_cast<std::size_t>(std::max(sizes.block, room)));
    B_.swap(grown);
    room_ = room;
    sizes_ = sizes;
}

/// x -= X*(X^H*x) with the columns first .. behind-1 of the basis, for `count` vectors; the coefficients are
/// kept. @return what is left of the shortest, relative to what it was
template <class Cell>
double RestartedBidiagonalization<Cell>::project(const ColumnBlock<Cell>& basis, std::int32_t first,
                                                 std::int32_t behind, Cell* x, std::int32_t count,
                                                 Cell* coefficients)
{
    if (behind == first) return 1.0;
    const std::int32_t n = basis.length, columns = behind - first;
    multiplyAdjoint(n, columns, basis.column(first), x, count, coefficients);
    subtractProduct(n, columns, basis.column(first), coefficients, columns, count, x);
    double least = 1.0;
    for (std::int32_t c = 0; c < count; ++c) {
        const double after = norm(n, x + std::int64_t{n} * c);
        const double before = std::hypot(after, norm(columns, coefficients + std::int64_t{columns} * c));
        least = std::min(least, before > 0.0 ? after / before : 0.0);
    }
    return least;
}

/// A random column, orthonormal to those before it.
template <class Cell>
void RestartedBidiagonalization<Cell>::makeRandom(ColumnBlock<Cell>& basis, std::int32_t column)
{
    Cell* const x = basis.column(column);
    std::vector<Cell> ignored(static_cast<std::size_t>(column));
    for (std::int32_t i = 0; i < basis.length; ++i) draw(random_, x[i]);
    for (int pass = 0; pass < 3; ++pass) {
        project(basis, 0, column, x, 1, ignored.data());
        blas::scal(basis.length, 1.0 / norm(basis.length, x), x, 1);
    }
}

/// Makes column first + c orthogonal to the c before it; where little is left, to all of the basis anew.
template <class Cell>
void RestartedBidiagonalization<Cell>::separate(ColumnBlock<Cell>& basis, std::int32_t first, std::int32_t c,
                                                Cell* sums)
{
    Cell* const x = basis.column(first + c);
    const double left = project(basis, first, first + c, x, 1, sums);
    const std::int32_t begin = left > kCancelled ? first : 0;
    std::vector<Cell> more(static_cast<std::size_t>(first + c - begin));
    project(basis, begin, first + c, x, 1, more.data());
    for (std::int32_t i = 0; i < c; ++i) sums[i] += more[std::size_t(first - begin) + std::size_t(i)];
}

/// Of the `count` columns from `first` on, which are orthogonal to those before them, X = Q*R: Q stands in
/// their place, R in `triangle`. What is dependent becomes random, with a zero in R.
/// @return the least diagonal element of R
template <class Cell>
double RestartedBidiagonalization<Cell>::orthonormalizeLast(ColumnBlock<Cell>& basis, std::int32_t first,
                                                            std::int32_t count, Cell* triangle,
                                                            std::int32_t stride)
{
    const std::int32_t n = basis.length;
    std::vector<Cell> sums(static_cast<std::size_t>(count));
    double least = HUGE_VAL;
    for (std::int32_t c = 0; c < count; ++c) {
        Cell* const x = basis.column(first + c);
        const double before = std::max(scale_, c > 0 ? norm(n, x) : 0.0);
        std::fill(sums.begin(), sums.end(), Cell{});
        if (c > 0) separate(basis, first, c, sums.data());
        double length = norm(n, x);
        if (length > kDependent * before) {
            blas::scal(n, 1.0 / length, x, 1);
        } else {
            length = 0.0;
            makeRandom(basis, first + c);
        }
        least = std::min(least, length);
        if (triangle == nullptr) continue;
        sums[c] = length;
        for (std::int32_t i = 0; i < count; ++i) triangle[std::int64_t{stride} * c + i] = sums[i];
        for (std::int32_t i = 0; i <= c; ++i) scale_ = std::max(scale_, std::abs(sums[i]));
    }
    return least;
}

/// The next block of U: W = M*N - U*B(:, next), of which the coupling is known; B gets its triangle.
template <class Cell>
void RestartedBidiagonalization<Cell>::stepLeft()
{
    const std::int32_t width = next_, at = size_;
    Cell* const W = U_.column(at);
    M_.times(width, V_.column(at), W);
    products_ += width;
    subtractProduct(U_.length, at - coupled_, U_.column(coupled_), &b(coupled_, at), room_, width, W);
    double shortest = HUGE_VAL;
    for (std::int32_t c = 0; c < width; ++c)
        shortest = std::min(shortest, norm(U_.length, U_.column(at + c)));
    if (reorthogonalization_ == Reorthogonalization::Full || !(shortest > kWellDetermined * scale_)) {
        for (int pass = 0; pass < 2 && at > 0; ++pass)
            if (project(U_, 0, at, W, width, coefficients_.data()) > kCancelled) break;
    }
    orthonormalizeLast(U_, at, width, &b(at, at), room_);
    coupled_ = at;
    last_ = width;
}

/// The next block of V: Z = M^H*U_last - V*B^H, Z = N*S, and the rows of B with which it couples.
template <class Cell>
void RestartedBidiagonalization<Cell>::stepRight()
{
    const std::int32_t first = size_, width = last_;
    size_ += width;
    next_ = std::min(width, V_.length - size_);
    ColumnBlock<Cell> outer{V_.length, next_ < width ? width : 0};
    Cell* const Z = next_ < width ? outer.column(0) : V_.column(size_);
    M_.adjointTimes(width, U_.column(first), Z);
    products_ += width;
    std::vector<Cell> triangle(static_cast<std::size_t>(width) * static_cast<std::size_t>(width));
    for (std::int32_t i = 0; i < width; ++i)
        for (std::int32_t j = i; j < width; ++j)
            triangle[std::size_t(i) * std::size_t(width) + std::size_t(j)] =
                conjugate(b(first + i, first + j));
    subtractProduct(V_.length, width, V_.column(first), triangle.data(), width, width, Z);
    for (int pass = 0; pass < 2; ++pass)
        if (project(V_, 0, size_, Z, width, coefficients_.data()) > kCancelled) break;
    if (next_ < width) std::copy_n(Z, std::int64_t{V_.length} * next_, V_.column(size_));
    std::fill(S_.begin(), S_.end(), Cell{});
    if (next_ == 0) return;
    orthonormalizeLast(V_, size_, next_, S_.data(), next_);
    if (next_ < width) // the others lie in what is now spanned
        multiplyAdjoint(V_.length, next_, V_.column(size_), outer.column(next_), width - next_,
                        S_.data() + std::int64_t{next_} * next_);
    for (std::int32_t j = 0; j < next_ && size_ < room_; ++j)
        for (std::int32_t i = 0; i < width && size_ + j < room_; ++i)
            b(first + i, size_ + j) = conjugate(S_[std::size_t(i) * std::size_t(next_) + std::size_t(j)]);
}

template <class Cell>
void RestartedBidiagonalization<Cell>::expand(std::int32_t size)
{
    while (size_ < std::min(size, sizes_.basis) && next_ > 0) {
        stepLeft();
        stepRight();
        WorkScope::tell(4.0 * last_ * size_ * (double{1.0} * V_.length + U_.length));
    }
    decompose();
}

/// B = P*diag(values)*Q^H.
template <class Cell>
void RestartedBidiagonalization<Cell>::decompose()
{
    using Access = AccessTo<Cell>;
    const auto order = static_cast<std::size_t>(size_);
    auto small = Access::uninitialised(size_, size_);
    for (std::int32_t j = 0; j < size_; ++j)
        std::copy_n(&b(0, j), order, Access::cells(small) + std::size_t(j) * order);
    const SvdOf<Cell> svd(small);
    if (!svd.Succeeded()) throw OperationFailedException("The small singular value problem was not solved.");
    const auto left = *svd.U(), right = *svd.V();
    leftOfB_.assign(Access::cells(left), Access::cells(left) + order * order);
    rightOfB_.assign(Access::cells(right), Access::cells(right) + order * order);
    values_.resize(order);
    residuals_.assign(order, 0.0);
    std::vector<Cell> image(static_cast<std::size_t>(next_));
    for (std::size_t j = 0; j < order; ++j) {
        values_[j] = svd.SingularValue(static_cast<std::int32_t>(j));
        std::fill(image.begin(), image.end(), Cell{});
        for (std::int32_t i = 0; i < last_; ++i)
            addMultiple(next_, leftOfB_[j * order + order - std::size_t(last_) + std::size_t(i)],
                        S_.data() + std::int64_t{next_} * i, image.data());
        residuals_[j] = norm(next_, image.data());
    }
}

template <class Cell>
void RestartedBidiagonalization<Cell>::restart(std::int32_t count)
{
    const auto order = static_cast<std::size_t>(size_);
    std::vector<Cell> coupling(static_cast<std::size_t>(next_) * std::size_t(count)); // S*E^H*P
    for (std::int32_t j = 0; j < count; ++j)
        for (std::int32_t i = 0; i < last_; ++i)
            addMultiple(next_, leftOfB_[std::size_t(j) * order + order - std::size_t(last_) + std::size_t(i)],
                        S_.data() + std::int64_t{next_} * i, coupling.data() + std::int64_t{next_} * j);
    rotate(U_.length, size_, U_.column(0), leftOfB_.data(), count);
    rotate(V_.length, size_, V_.column(0), rightOfB_.data(), count);
    std::copy_n(V_.column(size_), std::int64_t{V_.length} * next_, V_.column(count));
    std::fill(B_.begin(), B_.end(), Cell{});
    for (std::int32_t j = 0; j < count; ++j) {
        b(j, j) = values_[j];
        for (std::int32_t i = 0; i < next_; ++i)
            b(j, count + i) = conjugate(coupling[std::size_t(j) * std::size_t(next_) + std::size_t(i)]);
    }
    size_ = count;
    coupled_ = 0;
    if (values_[static_cast<std::size_t>(count) - 1] < kWellDetermined * values_[0])
        reorthogonalization_ = Reorthogonalization::Full;
}

template <class Cell>
auto RestartedBidiagonalization<Cell>::widened(std::int32_t vectors) const noexcept -> Sizes
{
    const std::int32_t width = std::min(next_ + vectors, V_.length - size_);
    return {static_cast<std::int32_t>(
                std::min(sizes_.basis + std::int64_t{4} * vectors, std::int64_t{V_.length})),
            std::max(width, sizes_.block)};
}

template <class Cell>
void RestartedBidiagonalization<Cell>::widen(std::int32_t vectors)
{
    const std::int32_t width = std::min(next_ + vectors, V_.length - size_);
    allot(widened(vectors));
    for (; next_ < width; ++next_) {
        makeRandom(V_, size_ + next_);
        for (std::int32_t i = 0; i < size_; ++i) b(i, size_ + next_) = Cell{};
    }
}

template class RestartedBidiagonalization<double>;
template class RestartedBidiagonalization<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
