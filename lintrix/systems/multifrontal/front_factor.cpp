#include <lintrix/systems/multifrontal/front_factor.h>

#include <lintrix/services/blas.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail::multifrontal {

namespace {

constexpr std::int32_t kNarrow = 64; ///< triangles that are left to one call

/// C := C - op(A)*B; of one column by a routine for vectors, which reads A where it is.
template <class Cell>
void subtractProduct(char op, std::int32_t rows, std::int32_t columns, std::int32_t inner, const Cell* A,
                     std::int32_t lda, const Cell* B, std::int32_t ldb, Cell* C, std::int32_t ldc)
{
    if (rows == 0 || inner == 0) return;
    if (columns == 1)
        blas::gemv(op, op == 'N' ? rows : inner, op == 'N' ? inner : rows, Cell(-1.0), A, lda, B, 1,
                   Cell(1.0), C, 1);
    else
        blas::gemm(op, 'N', rows, columns, inner, Cell(-1.0), A, lda, B, ldb, Cell(1.0), C, ldc);
}

/// A triangle of a panel and what goes with it.
template <class Cell>
struct Operand {
    Operand(const FrontPanel<Cell>& panel, PanelHalf which)
        : T(panel.lower.get()), ldt(panel.size()), R(which.isLower ? T + panel.pivots : panel.upper.get()),
          ldr(which.isLower ? ldt : panel.pivots), half(which)
    {
    }
    const Cell* T;
    std::int32_t ldt;
    const Cell* R;
    std::int32_t ldr;
    PanelHalf half;

    /// X := op(T)^-1*X, rows begin .. end - 1, by halves: most of the triangle is read once, and not copied.
    void solve(std::int32_t begin, std::int32_t end, std::int32_t columns, Cell* X, std::int32_t ldx) const
    {
        const auto tile = [this](std::int32_t i, std::int32_t j) { return T + std::int64_t{j} * ldt + i; };
        if (end - begin <= kNarrow || columns > 1) {
            blas::trsm('L', half.isLower ? 'L' : 'U', half.op, half.isLower ? 'U' : 'N', end - begin, columns,
                       Cell(1.0), tile(begin, begin), ldt, X + begin, ldx);
            return;
        }
        const std::int32_t middle = begin + (end - begin) / 2;
        const bool isDownward = half.isLower == (half.op == 'N');
        const std::int32_t first = isDownward ? begin : middle, next = isDownward ? middle : begin,
                           firstEnd = isDownward ? middle : end, nextEnd = isDownward ? end : middle;
        solve(first, firstEnd, columns, X, ldx);
        subtractProduct(half.op, nextEnd - next, columns, firstEnd - first,
                        half.op == 'N' ? tile(next, first) : tile(first, next), ldt, X + first, ldx, X + next,
                        ldx);
        solve(next, nextEnd, columns, X, ldx);
    }
};

/// The exponent of the largest element that is a number; 0 if there is none.
template <class Cell>
int unitOf(std::span<const Cell> b, std::span<const int> exponents)
{
    int unit = std::numeric_limits<int>::min();
    for (std::size_t i = 0; i < b.size(); ++i)
        if (const double size = sparse_lu::sizeOf(b[i]); size > 0.0 && std::isfinite(size))
            unit = std::max(unit, exponentOf(size) - 1 + exponents[i]);
    return unit == std::numeric_limits<int>::min() ? 0 : unit;
}

} // namespace

template <class Cell>
FrontColumns<Cell>::FrontColumns(std::span<const Cell> B, const FactorSide& from)
    : stride_(std::ssize(from.positions)), count_(static_cast<std::int32_t>(std::ssize(B) / stride_)),
      given_(B.size()), found_(B.size())
{
    const std::size_t n = from.positions.size();
    for (std::size_t begin = 0; begin < B.size(); begin += n) {
        const std::span<const Cell> b = B.subspan(begin, n);
        const int unit = units_.emplace_back(unitOf(b, from.exponents));
        for (std::size_t i = 0; i < n; ++i)
            given_[begin + static_cast<std::size_t>(from.positions[i])] =
                timesPowerOfTwo(b[i], from.exponents[i] - unit);
    }
}

template <class Cell>
void FrontColumns<Cell>::store(std::span<Cell> X, const FactorSide& to) const
{
    const std::size_t n = to.positions.size();
    for (std::size_t k = 0; k < X.size(); ++k)
        X[k] = timesPowerOfTwo(found_[k - k % n + static_cast<std::size_t>(to.positions[k % n])],
                               to.exponents[k % n] + units_[k / n]);
}

/// to := the given rows, packed: positions.size() x count.
template <class Cell>
void FrontColumns<Cell>::gather(const std::vector<Cell>& from, std::span<const std::int32_t> positions,
                                std::vector<Cell>& to)
{
    to.resize(positions.size() * static_cast<std::size_t>(count_));
    for (std::int32_t c = 0; c < count_; ++c)
        std::ranges::transform(positions, to.begin() + c * std::ssize(positions),
                               [&](std::int32_t p) { return from[c * stride_ + p]; });
}

/// Rows that were gathered, where they belong.
template <class Cell>
void FrontColumns<Cell>::scatter(std::vector<Cell>& to, std::span<const std::int32_t> positions) const
{
    for (std::int32_t c = 0; c < count_; ++c)
        for (std::int64_t k = 0; k < std::ssize(positions); ++k)
            to[c * stride_ + positions[k]] = work_[c * std::ssize(positions) + k];
}

template <class Cell>
void FrontColumns<Cell>::down(const FrontPanel<Cell>& panel, PanelHalf half,
                              std::span<const std::int32_t> names)
{
    const Operand<Cell> operand(panel, half);
    gather(given_, names, work_);
    Cell* const own = work_.data();
    operand.solve(0, panel.pivots, count_, own, panel.size());
    subtractProduct(half.op, panel.left(), count_, panel.pivots, operand.R, operand.ldr, own, panel.size(),
                    own + panel.pivots, panel.size());
    scatter(given_, names);
}

template <class Cell>
void FrontColumns<Cell>::up(const FrontPanel<Cell>& panel, PanelHalf half, std::span<const std::int32_t> from,
                            std::span<const std::int32_t> to)
{
    const auto pivots = static_cast<std::size_t>(panel.pivots);
    const Operand<Cell> operand(panel, half);
    gather(found_, to.subspan(pivots), beside_);
    gather(given_, from.first(pivots), work_);
    subtractProduct(half.op, panel.pivots, count_, panel.left(), operand.R, operand.ldr, beside_.data(),
                    panel.left(), work_.data(), panel.pivots);
    operand.solve(0, panel.pivots, count_, work_.data(), panel.pivots);
    scatter(found_, to.first(pivots));
}

template class FrontColumns<double>;
template class FrontColumns<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
