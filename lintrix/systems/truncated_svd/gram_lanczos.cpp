#include <lintrix/systems/truncated_svd/gram_lanczos.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/truncated_svd/basis_products.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
/// What is left of a vector next to what it was: below this it is rounding,
constexpr double kDependent = 16.0 * kEps;
/// and below this it is projected once more (Daniel, Gragg, Kaufman, Stewart, Math. Comp. 30 (1976)).
constexpr double kCancelled = 0.1;
/// Of a basis that is run through twice for each vector, so that it stays in a processor's own cache.
constexpr double kBytesAtOnce = 0x1p19;
constexpr double kRounding = 1e-14;   ///< by which an eigenvalue may seem to have become smaller
constexpr double kPartOfTheWay = 0.8; ///< to where convergence is foreseen, until the next look

} // namespace

template <class Cell>
double GramLanczos<Cell>::bytesFor(std::int32_t rows, std::int32_t cols, std::int32_t basis)
{
    const double columns = basis;
    return sizeof(Cell) * (cols * (columns + 1.0) + rows + 512.0 * columns) +
           8.0 * (sizeof(Cell) / 8.0 + 4.0) * columns * columns;
}

template <class Cell>
GramLanczos<Cell>::GramLanczos(const LinearMap<Cell>& M, std::int32_t basis, Random& random,
                               const Cell* start)
    : M_(M), random_(random), length_(M.cols), basis_(std::min(basis, M.cols)),
      V_(std::make_unique_for_overwrite<Cell[]>(static_cast<std::size_t>(length_) *
                                                (static_cast<std::size_t>(basis_) + 1))),
      image_(static_cast<std::size_t>(M.rows)), coefficients_(static_cast<std::size_t>(basis_) + 1)
{
    if (start != nullptr)
        std::copy_n(start, length_, V_.get());
    else
        for (std::int32_t i = 0; i < length_; ++i) draw(random_, V_[static_cast<std::size_t>(i)]);
    const double before = norm(length_, V_.get());
    if (before > 0.0)
        blas::scal(length_, 1.0 / before, V_.get(), 1);
    else
        makeRandom(0);
}

/// x -= V*(V^H*x) with so many columns; the coefficients are kept. @return what is left of x, relative to
/// what it was
template <class Cell>
double GramLanczos<Cell>::project(std::int32_t columns, Cell* x)
{
    const double column = sizeof(Cell) * static_cast<double>(length_);
    const auto atOnce = static_cast<std::int32_t>(std::max(4.0, kBytesAtOnce / column));
    for (std::int32_t j = 0; j < columns; j += atOnce) {
        const std::int32_t count = std::min(atOnce, columns - j);
        multiplyAdjoint(length_, count, this->column(j), x, 1, coefficients_.data() + j);
        subtractProduct(length_, count, this->column(j), coefficients_.data() + j, count, 1, x);
    }
    const double after = norm(length_, x), before = std::hypot(after, norm(columns, coefficients_.data()));
    return before > 0.0 ? after / before : 0.0;
}

/// A random column, orthonormal to those before it.
template <class Cell>
void GramLanczos<Cell>::makeRandom(std::int32_t j)
{
    Cell* const x = column(j);
    for (std::int32_t i = 0; i < length_; ++i) draw(random_, x[i]);
    for (int pass = 0; pass < 3; ++pass) {
        project(j, x);
        blas::scal(length_, 1.0 / norm(length_, x), x, 1);
    }
}

/// x -= V*T(:, last), of which all but the diagonal element is known, and x is what it is found by: what is
/// left for the projection is rounding. @return the diagonal element
template <class Cell>
double GramLanczos<Cell>::subtractRecurrence(Cell* x)
{
    const std::int32_t last = size();
    const std::vector<double> above = small_.couplingsOfNext();
    const auto count = static_cast<std::int32_t>(above.size());
    std::copy(above.begin(), above.end(), coefficients_.begin());
    subtractProduct(length_, count, column(last - count), coefficients_.data(), count, 1, x);
    multiplyAdjoint(length_, 1, column(last), x, 1, coefficients_.data());
    const double diagonal = std::real(coefficients_.front());
    blas::axpy(length_, Cell(-diagonal), column(last), 1, x, 1);
    return diagonal;
}

template <class Cell>
void GramLanczos<Cell>::step()
{
    const std::int32_t last = size();
    Cell* const x = column(last + 1);
    M_.times(1, column(last), image_.data());
    M_.adjointTimes(1, image_.data(), x);
    products_ += 2;
    ++steps_;
    double diagonal = subtractRecurrence(x);
    for (int pass = 0; pass < 2; ++pass) {
        const double left = project(last + 1, x);
        diagonal += std::real(coefficients_[static_cast<std::size_t>(last)]);
        if (left > kCancelled) break;
    }
    double coupling = norm(length_, x);
    scale_ = std::max(scale_, std::abs(diagonal));
    if (last + 1 < length_ && coupling > kDependent * scale_) {
        blas::scal(length_, 1.0 / coupling, x, 1);
    } else {
        coupling = 0.0;
        if (last + 1 < length_) makeRandom(last + 1);
    }
    scale_ = std::max(scale_, coupling);
    small_.append(diagonal, coupling);
    WorkScope::tell(4.0 * (last + 1.0) * length_);
}

template <class Cell>
void GramLanczos<Cell>::decompose()
{
    small_.decompose();
    const std::size_t order = small_.values().size();
    scale_ = std::max(scale_, small_.values().front());
    values_.resize(order);
    residuals_.resize(order);
    for (std::size_t j = 0; j < order; ++j) {
        values_[j] = std::sqrt(std::max(small_.values()[j], 0.0));
        const double reach = small_.reaches()[j];
        residuals_[j] = reach == 0.0 ? 0.0 : reach / values_[j];
    }
}

template <class Cell>
std::int32_t GramLanczos<Cell>::settled(std::int32_t wanted, double tolerance) const
{
    const double most = tolerance * values_.front();
    const auto known = std::min(static_cast<std::size_t>(wanted), residuals_.size());
    std::size_t good = 0;
    while (good < known && residuals_[good] <= most) ++good;
    return static_cast<std::int32_t>(good);
}

/// Residuals fall by about the same factor each step.
template <class Cell>
std::int32_t GramLanczos<Cell>::stepsToNextLook(std::int32_t wanted, double tolerance, double residual)
{
    std::int32_t steps = std::max(3, wanted / 6);
    if (lastLook_ > 0 && residual < lastResidual_) {
        const double rate = std::log(lastResidual_ / residual) / static_cast<double>(steps_ - lastLook_);
        const double foreseen = kPartOfTheWay * std::log(residual / tolerance) / rate;
        steps = static_cast<std::int32_t>(std::ceil(std::clamp(foreseen, 1.0, 4.0 * steps)));
    }
    lastLook_ = steps_;
    lastResidual_ = residual;
    return steps;
}

template <class Cell>
bool GramLanczos<Cell>::expand(std::int32_t wanted, double tolerance)
{
    if (steps_ == 0) nextLook_ = wanted + std::max(wanted / 2, 4);
    while (size() < basis_) {
        step();
        if (size() == basis_ || size() < wanted || steps_ < nextLook_) continue;
        const BrokenArrow::Estimate last = small_.estimateOf(wanted, atLeast_);
        atLeast_ = (1.0 - kRounding) * last.value;
        double residual = last.reach / std::sqrt(last.value * scale_);
        if (!(residual > tolerance)) {
            decompose();
            if (settled(wanted, tolerance) == wanted) return true;
            const auto worst = std::max_element(residuals_.begin(), residuals_.begin() + wanted);
            residual = *worst / values_.front();
        }
        nextLook_ = steps_ + stepsToNextLook(wanted, tolerance, residual);
    }
    decompose();
    return settled(wanted, tolerance) == wanted;
}

template <class Cell>
bool GramLanczos<Cell>::meetsMoreThan(double value, std::int32_t steps)
{
    small_.uncouple();
    makeRandom(size());
    for (; steps > 0 && size() < basis_; --steps) step();
    lastLook_ = 0;
    return small_.hasBehindTips(value * value);
}

template <class Cell>
void GramLanczos<Cell>::restart(std::int32_t count)
{
    const std::int32_t order = size();
    const std::vector<double>& vectors = small_.vectors();
    const std::vector<Cell> Q(vectors.begin(), vectors.begin() + std::int64_t{order} * count);
    rotate(length_, order, V_.get(), Q.data(), count);
    if (count < order) std::copy_n(column(order), length_, column(count));
    small_.keep(count);
}

template <class Cell>
std::vector<Cell> GramLanczos<Cell>::couplings() const
{
    std::vector<Cell> couplings;
    const std::vector<double> reaches = small_.couplingsOfNext();
    for (std::size_t j = 0; j < reaches.size(); ++j) couplings.push_back(reaches[j] / values_[j]);
    return couplings;
}

template class GramLanczos<double>;
template class GramLanczos<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
