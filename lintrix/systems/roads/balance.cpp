#include <lintrix/systems/roads/balance.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

using Numbers = std::vector<double>;

constexpr double kAlikeExponents = 20.0; // of two, between units
constexpr double kAlike = 0x1p20;        // times, between the largest elements of rows, or of columns
constexpr int kSteps = 60;               // of conjugate gradients
constexpr double kNear = 0.25;      // powers of two that are left of the residual, in the mean of a column
constexpr double kFarthest = 960.0; // powers of two that unknowns differ by at most

/// Of those that tell a size.
bool counts(double size)
{
    return size != 0.0 && std::isfinite(size);
}

/// work(i, j, |a_ij|) for the elements that are finite and not 0.
template <class Cell, class Work>
void forSizes(const AnyMatrix<Cell>& A, Work work)
{
    const std::int32_t places = A.isDense() ? A.rows() : A.cols();
    for (std::int32_t line = 0; line < A.lines(); ++line) {
        A.forElements(line, 0, places, [&](std::int32_t place, const Cell& a) {
            const double size = modulus(a);
            if (!counts(size)) return;
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

/// log2 of a positive number within a hundredth, by a parabola through those of 1, 1.5 and 2.
double roughLog2(double size)
{
    constexpr int kFromSubnormal = 60;
    if (size < std::numeric_limits<double>::min())
        return roughLog2(size * powerOfTwo(kFromSubnormal)) - kFromSubnormal;
    const int exponent = exponentOf(size);
    const double mantissa = size * powerOfTwo(1 - exponent);
    constexpr double kOfHalf = 0.58496250072115618; // log2(1.5)
    const double part = mantissa - 1.0, bend = 4.0 * kOfHalf - 2.0;
    return exponent - 1 + part * (1.0 + bend * (1.0 - part));
}

/// A sum in four parts that do not wait for each other.
class QuickSum {
public:
    void add(std::size_t k, double term) { parts_[k % 4] += term; }
    double value() const { return (parts_[0] + parts_[1]) + (parts_[2] + parts_[3]); }

private:
    std::array<double, 4> parts_{};
};

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
        std::int64_t stored = 0;
        forSizes(A, [&](std::size_t i, std::size_t j, double size) {
            const double logarithm = roughLog2(size);
            rowSums_[i] += logarithm;
            colSums_[j] += logarithm;
            ++rowCounts_[i];
            ++colCounts_[j];
            stored += !A.isOneTriangle() || i <= j;
        });
        listPlaces(stored);
        rowShares_ = sharesOf(rowCounts_);
        colShares_ = sharesOf(colCounts_);
    }

    /// e, by conjugate gradients with N for a preconditioner.
    Numbers columns() const
    {
        Numbers e(colSums_.size()), residual = byColumns(times(rowSums_, rowShares_)), z(e.size());
        for (std::size_t j = 0; j < e.size(); ++j) {
            residual[j] -= colSums_[j];
            z[j] = residual[j] * colShares_[j];
        }
        Numbers p = z, image;
        double size = dot(residual, z);
        for (int step = 0; step < kSteps && !isNear(z); ++step) {
            const double alpha = size / reduce(p, image);
            QuickSum next;
            for (std::size_t j = 0; j < e.size(); ++j) {
                e[j] += alpha * p[j];
                residual[j] -= alpha * image[j];
                z[j] = residual[j] * colShares_[j];
                next.add(j, residual[j] * z[j]);
            }
            const double beta = next.value() / size;
            for (std::size_t j = 0; j < e.size(); ++j) p[j] = z[j] + beta * p[j];
            size = next.value();
        }
        return e;
    }

    /// d, from e.
    Numbers rows(const Numbers& e) const
    {
        Numbers d = byRows(e);
        for (std::size_t i = 0; i < d.size(); ++i) d[i] = (-d[i] - rowSums_[i]) * rowShares_[i];
        return d;
    }

private:
    static bool isNear(const Numbers& z)
    {
        return std::ranges::all_of(z, [](double value) { return std::abs(value) <= kNear; });
    }
    static Numbers sharesOf(const Numbers& counts)
    {
        Numbers shares(counts.size());
        std::ranges::transform(counts, shares.begin(),
                               [](double count) { return 1.0 / std::max(count, 1.0); });
        return shares;
    }
    static Numbers times(Numbers x, const Numbers& y)
    {
        for (std::size_t k = 0; k < x.size(); ++k) x[k] *= y[k];
        return x;
    }
    static double dot(const Numbers& x, const Numbers& y)
    {
        QuickSum sum;
        for (std::size_t k = 0; k < x.size(); ++k) sum.add(k, x[k] * y[k]);
        return sum.value();
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

    /// E'*M^-1*E*x.
    Numbers throughRows(const Numbers& x) const
    {
        if (A_.isDense()) return byColumns(times(byRows(x), rowShares_));
        if (A_.isOneTriangle()) return byTriangle(times(byTriangle(x), rowShares_));
        Numbers y(colSums_.size());
        for (std::int32_t i = 0; i < A_.rows(); ++i) { // is read once: a row that has its sum hands it on
            double sum = 0.0;
            forPlaces(i, [&](std::int32_t j) { sum += x[static_cast<std::size_t>(j)]; });
            sum *= rowShares_[static_cast<std::size_t>(i)];
            forPlaces(i, [&](std::int32_t j) { y[static_cast<std::size_t>(j)] += sum; });
        }
        return y;
    }
    /// E*x of a triangle, where E is its own transpose.
    Numbers byTriangle(const Numbers& x) const
    {
        Numbers y(x.size());
        for (std::int32_t i = 0; i < A_.rows(); ++i) {
            const double own = x[static_cast<std::size_t>(i)];
            double sum = 0.0;
            forPlaces(i, [&](std::int32_t j) {
                sum += x[static_cast<std::size_t>(j)];
                if (j != i) y[static_cast<std::size_t>(j)] += own;
            });
            y[static_cast<std::size_t>(i)] += sum;
        }
        return y;
    }
    /// work(j) for the elements of row i that count.
    template <class Work>
    void forPlaces(std::int32_t i, const Work& work) const
    {
        if (places_.empty())
            return A_.forElements(i, 0, A_.cols(), [&](std::int32_t j, const Cell&) { work(j); });
        for (std::int64_t p = starts_[static_cast<std::size_t>(i)];
             p < starts_[static_cast<std::size_t>(i) + 1]; ++p)
            work(places_[static_cast<std::size_t>(p)]);
    }
    /// Where others than those that count are stored, a branch for each would take longer than its work.
    void listPlaces(std::int64_t count)
    {
        if (A_.isDense() || count == A_.elements()) return;
        places_.reserve(static_cast<std::size_t>(count));
        for (std::int32_t i = 0; i < A_.rows(); ++i) {
            A_.forElements(i, 0, A_.cols(), [&](std::int32_t j, const Cell& a) {
                if (counts(modulus(a)) && !(A_.isOneTriangle() && j < i)) places_.push_back(j);
            });
            starts_.push_back(static_cast<std::int64_t>(places_.size()));
        }
    }

    /// y = (N - E'*M^-1*E)*x. @return  x'*y
    double reduce(const Numbers& x, Numbers& y) const
    {
        y = throughRows(x);
        QuickSum sum;
        for (std::size_t j = 0; j < y.size(); ++j) {
            y[j] = colCounts_[j] * x[j] - y[j];
            sum.add(j, x[j] * y[j]);
        }
        return sum.value();
    }

    const AnyMatrix<Cell>& A_;
    Numbers rowSums_, colSums_, rowCounts_, colCounts_;
    Numbers rowShares_{}, colShares_{}; ///< one over the counts
    /// Columns of the elements that count, row by row; none where all do that are stored.
    std::vector<std::int32_t> places_{};
    std::vector<std::int64_t> starts_{0};
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
