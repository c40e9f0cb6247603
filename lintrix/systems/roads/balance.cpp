#include <lintrix/systems/roads/balance.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

using Numbers = std::vector<double>;

constexpr double kAlikeExponents = 20.0; // of two, between units
constexpr double kAlike = 0x1p20;        // times, between the largest elements of rows, or of columns
constexpr int kSteps = 60;               // of conjugate gradients
constexpr double kNear = 0.25;      // powers of two that are left of the residual, in the mean of a column
constexpr double kFarthest = 960.0; // powers of two that unknowns differ by at most

/// work(i, j, |a_ij|) for the elements that are finite and not 0.
template <class Cell, class Work>
void forSizes(const AnyMatrix<Cell>& A, Work work)
{
    const std::int32_t places = A.isDense() ? A.rows() : A.cols();
    for (std::int32_t line = 0; line < A.lines(); ++line) {
        A.forElements(line, 0, places, [&](std::int32_t place, const Cell& a) {
            const double size = modulus(a);
            if (size == 0.0 || !std::isfinite(size)) return;
            const auto i = static_cast<std::size_t>(A.isDense() ? place : line),
                       j = static_cast<std::size_t>(A.isDense() ? line : place);
            if (A.isOneTriangle() && j < i) return;
            work(i, j, size);
            if (A.isOneTriangle() && i != j) work(j, i, size);
        });
    }
}

/// Whether the largest is no more than so many times the smallest.
bool areAlike(const Spread& spread)
{
    return spread.most == 0.0 || spread.most / spread.least <= kAlike;
}

double dot(const Numbers& x, const Numbers& y)
{
    return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
}

/// With M and N the counts of elements in rows and columns, E their pattern, s and t the sums of logarithms,
///
///     M*d + E*e = -s,  E'*d + N*e = -t,  so  (N - E'*M^-1*E)*e = E'*M^-1*s - t
///
/// which is semidefinite and consistent.
template <class Cell>
class LogarithmicFit {
public:
    explicit LogarithmicFit(const AnyMatrix<Cell>& A)
        : A_(A), rowSums_(static_cast<std::size_t>(A.rows())), colSums_(static_cast<std::size_t>(A.cols())),
          rowCounts_(rowSums_.size()), colCounts_(colSums_.size())
    {
        forSizes(A, [&](std::size_t i, std::size_t j, double size) {
            const double logarithm = std::log2(size);
            rowSums_[i] += logarithm;
            colSums_[j] += logarithm;
            ++rowCounts_[i];
            ++colCounts_[j];
            ++counted_;
        });
    }

    /// e, by conjugate gradients with N for a preconditioner.
    Numbers columns() const
    {
        Numbers e(colSums_.size()), residual = byColumns(overCounts(rowSums_, rowCounts_));
        for (std::size_t j = 0; j < e.size(); ++j) residual[j] -= colSums_[j];
        Numbers z = overCounts(residual, colCounts_), p = z;
        double size = dot(residual, z);
        for (int step = 0; step < kSteps && !isNear(z); ++step) {
            const Numbers image = reduced(p);
            const double alpha = size / dot(p, image);
            for (std::size_t j = 0; j < e.size(); ++j) {
                e[j] += alpha * p[j];
                residual[j] -= alpha * image[j];
            }
            z = overCounts(residual, colCounts_);
            const double next = dot(residual, z);
            for (std::size_t j = 0; j < e.size(); ++j) p[j] = z[j] + next / size * p[j];
            size = next;
        }
        return e;
    }

    /// d, from e.
    Numbers rows(const Numbers& e) const
    {
        Numbers d = byRows(e);
        for (std::size_t i = 0; i < d.size(); ++i) d[i] = -d[i] - rowSums_[i];
        return overCounts(std::move(d), rowCounts_);
    }

private:
    static bool isNear(const Numbers& z)
    {
        return std::ranges::all_of(z, [](double value) { return std::abs(value) <= kNear; });
    }

    static Numbers overCounts(Numbers x, const Numbers& counts)
    {
        for (std::size_t k = 0; k < x.size(); ++k) x[k] /= std::max(counts[k], 1.0);
        return x;
    }
    Numbers byRows(const Numbers& x) const
    {
        Numbers y(rowSums_.size());
        forSizes(A_, [&](std::size_t i, std::size_t j, double) { y[i] += x[j]; });
        return y;
    }
    Numbers byColumns(const Numbers& y) const
    {
        Numbers x(colSums_.size());
        forSizes(A_, [&](std::size_t i, std::size_t j, double) { x[j] += y[i]; });
        return x;
    }
    /// E'*M^-1*E*x. What is stored by rows is read once: a row that has its sum hands it on.
    Numbers throughRows(const Numbers& x) const
    {
        if (A_.isDense() || A_.isOneTriangle()) return byColumns(overCounts(byRows(x), rowCounts_));
        if (counted_ == A_.elements()) return throughRows(x, [](const Cell&) { return 1.0; });
        // Where zeros are stored among the others, a branch for each would take longer than its work.
        return throughRows(
            x, [](const Cell& a) { return static_cast<double>(int{a != 0.0} & int{isFinite(a)}); });
    }
    template <class Tells>
    Numbers throughRows(const Numbers& x, Tells tells) const
    {
        Numbers y(colSums_.size());
        for (std::int32_t i = 0; i < A_.rows(); ++i) {
            double sum = 0.0;
            A_.forElements(i, 0, A_.cols(), [&](std::int32_t j, const Cell& a) {
                sum += tells(a) * x[static_cast<std::size_t>(j)];
            });
            sum /= std::max(rowCounts_[static_cast<std::size_t>(i)], 1.0);
            A_.forElements(i, 0, A_.cols(), [&](std::int32_t j, const Cell& a) {
                y[static_cast<std::size_t>(j)] += tells(a) * sum;
            });
        }
        return y;
    }
    Numbers reduced(const Numbers& x) const
    {
        Numbers y = throughRows(x);
        for (std::size_t j = 0; j < y.size(); ++j) y[j] = colCounts_[j] * x[j] - y[j];
        return y;
    }

    const AnyMatrix<Cell>& A_;
    Numbers rowSums_, colSums_, rowCounts_, colCounts_;
    std::int64_t counted_ = 0; ///< elements
};

} // namespace

template <class Cell>
const std::vector<int>& KnownUnits<Cell>::ofUnknowns(const AnyMatrix<Cell>& A, TransposeMode op, UnitsBy by)
{
    if (by == UnitsBy::LargestElements && areAlike(A)) return none_;
    const std::lock_guard turn(turn_);
    if (!ofRows_) fit(A);
    const Fitted& fitted = op == TransposeMode::NotTransposed ? *ofColumns_ : *ofRows_;
    return by == UnitsBy::Fit && !fitted.differ ? none_ : fitted.exponents;
}

template <class Cell>
bool KnownUnits<Cell>::areAlike(const AnyMatrix<Cell>& A)
{
    const MatrixSizes& all = sizes(A);
    return roads::areAlike(all.largestOfRows) && roads::areAlike(all.largestOfColumns);
}

template <class Cell>
const MatrixSizes& KnownUnits<Cell>::sizes(const AnyMatrix<Cell>& A)
{
    const std::lock_guard turn(turn_);
    if (!sizes_) sizes_ = sizesOf(A);
    return *sizes_;
}

template <class Cell>
void KnownUnits<Cell>::forget()
{
    const std::lock_guard turn(turn_);
    sizes_.reset();
    ofRows_.reset();
    ofColumns_.reset();
}

template <class Cell>
void KnownUnits<Cell>::fit(const AnyMatrix<Cell>& A)
{
    const LogarithmicFit<Cell> logarithms(A);
    const auto rounded = [](const Numbers& units) {
        if (units.empty()) return Fitted();
        const auto [least, most] = std::ranges::minmax_element(units);
        const double largest = *most;
        Fitted fitted{std::vector<int>(units.size()), largest - *least > kAlikeExponents};
        std::ranges::transform(units, fitted.exponents.begin(), [largest](double unit) {
            return static_cast<int>(std::lround(std::max(unit - largest, -kFarthest)));
        });
        return fitted;
    };
    const Numbers columns = logarithms.columns();
    Fitted ofRows = rounded(logarithms.rows(columns));
    ofColumns_ = rounded(columns);
    ofRows_ = std::move(ofRows);
}

template <class Cell>
std::vector<int> unitsOfUnknowns(const AnyMatrix<Cell>& A, TransposeMode op, UnitsBy by)
{
    return KnownUnits<Cell>().ofUnknowns(A, op, by);
}

template <class Cell>
int exponentToMiddle(std::span<const Cell> cells)
{
    constexpr int kFar = 300, kLeast = -960;
    int most = std::numeric_limits<int>::min(), least = std::numeric_limits<int>::max();
    for (const Cell& cell : cells) {
        if (!isFinite(cell)) return 0;
        for (const double part : {std::real(cell), std::imag(cell)}) {
            if (part == 0.0) continue;
            most = std::max(most, std::ilogb(part));
            least = std::min(least, std::ilogb(part));
        }
    }
    if (most < least || std::abs(most) <= kFar) return 0;
    return most < 0 ? most : std::clamp(least - kLeast, 0, most);
}

template class KnownUnits<double>;
template class KnownUnits<std::complex<double>>;
template int exponentToMiddle(std::span<const double>);
template int exponentToMiddle(std::span<const std::complex<double>>);
template std::vector<int> unitsOfUnknowns(const AnyMatrix<double>&, TransposeMode, UnitsBy);
template std::vector<int> unitsOfUnknowns(const AnyMatrix<std::complex<double>>&, TransposeMode, UnitsBy);

} // namespace Velmar::Lintrix::detail::roads
