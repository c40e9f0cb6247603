#include <lintrix/systems/quality/factor_quality.h>

#include <lintrix/foundation/random.h>
#include <lintrix/systems/quality/norm_estimate.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <memory>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

/// Vectors of signs, and columns that they tell to be long. Of 4480 inverses of matrices of many kinds the
/// estimate was never below 0.45 of the norm; with three vectors and one column twelve were below a third.
/// Up to so many columns all are tried.
constexpr std::int32_t kSigns = 4, kLongest = 2, kFewColumns = 4;

/// Vectors of signs whose drift is measured: of each its square has the mean ||I - A*M^-1||_F^2, M the
/// factor.
constexpr std::int32_t kWatched = 2;

/// What an estimate may fall short by, as long as the condition leaves the solves that it is made of some
/// digits.
constexpr double kShortfall = 4.0, kSolvable = 1e12;

/// A solution whose correction is below this share of it has settled; after so many corrections, where each
/// takes a seventh of the one before.
constexpr double kSettled = 0x1p-8;
constexpr int kWorstSteps = 3;

/// Columns one behind the other, without values at first.
template <class Cell>
class Block {
public:
    Block(std::int32_t rows, std::int32_t columns)
        : rows_(rows), columns_(columns), cells_(std::make_unique_for_overwrite<Cell[]>(size()))
    {
    }

    std::size_t size() const noexcept
    {
        return static_cast<std::size_t>(rows_) * static_cast<std::size_t>(columns_);
    }
    std::int32_t columns() const noexcept { return columns_; }
    Cell* data() noexcept { return cells_.get(); }
    const Cell* data() const noexcept { return cells_.get(); }
    std::span<Cell> column(std::int32_t c) noexcept
    {
        return {data() + std::int64_t{rows_} * c, static_cast<std::size_t>(rows_)};
    }
    std::span<const Cell> column(std::int32_t c) const noexcept
    {
        return {data() + std::int64_t{rows_} * c, static_cast<std::size_t>(rows_)};
    }

private:
    std::int32_t rows_, columns_;
    std::unique_ptr<Cell[]> cells_;
};

/// Solves that are held against their equations where the drift is asked for, and refined where that is.
template <class Cell>
class WatchedSolves {
public:
    using Apply = typename LinearMap<Cell>::Apply;

    WatchedSolves(const AnyMatrix<Cell>& A, const FactorQuestion& asked, FactorQuality& quality)
        : A_(A), asked_(asked), quality_(quality)
    {
        if (asked.shift) quality_.drift = 0.0;
    }

    /// Of all columns of x; the first `watched` of them are those that are tried. `leftNext`, where it is not
    /// null, takes what the answer leaves of the next one.
    Block<Cell> solve(const Apply& inverse, const Block<Cell>& x, std::int32_t watched,
                      Cell* leftNext = nullptr)
    {
        Block<Cell> y(A_.rows(), x.columns());
        inverse(x.columns(), x.data(), y.data());
        if (!asked_.shift) {
            if (leftNext != nullptr)
                residual(A_, TransposeMode::NotTransposed, 1, x.column(watched).data(),
                         y.column(watched).data(), leftNext);
            return y;
        }
        left_ = Block<Cell>(A_.rows(), watched + (leftNext != nullptr ? 1 : 0)); // of x, by the last answer
        Block<Cell>& left = left_;
        double drift = driftOf(x, y, left, watched);
        if (leftNext != nullptr) std::ranges::copy(left.column(watched), leftNext);
        for (std::int32_t step = 0; step < asked_.steps && !(drift <= asked_.near); ++step) {
            Block<Cell> corrections(A_.rows(), watched);
            inverse(watched, left.data(), corrections.data());
            for (std::size_t i = 0; i < corrections.size(); ++i) y.data()[i] += corrections.data()[i];
            drift = driftOf(x, y, left, watched);
        }
        quality_.drift = largerOrNaN(*quality_.drift, drift);
        return y;
    }

    /// Of a column that was tried last, what its answer leaves. @pre the drift is asked for
    std::span<const Cell> left(std::int32_t c) const { return left_.column(c); }

private:
    /// The largest ||x - (A - shift*I + diag(raised))*y||/||x||_inf of the first `watched` columns of `left`,
    /// which takes what the norms are of; y is the inverse's answer to x.
    double driftOf(const Block<Cell>& x, const Block<Cell>& y, Block<Cell>& left, std::int32_t watched)
    {
        const std::int32_t n = A_.rows();
        residual(A_, TransposeMode::NotTransposed, left.columns(), x.data(), y.data(), left.data());
        double largest = 0.0;
        for (std::int32_t c = 0; c < watched; ++c) {
            takeOff(y.column(c), left.column(c));
            const double size =
                euclideanNorm(left.column(c).data(), n) / largestModulus(x.column(c).data(), n);
            largest = largerOrNaN(largest, size);
        }
        return largest;
    }

    /// What the shift and the raised pivots have in the residual of an answer y.
    void takeOff(std::span<const Cell> y, std::span<Cell> left) const
    {
        if (*asked_.shift != 0.0)
            for (std::size_t i = 0; i < left.size(); ++i) left[i] += *asked_.shift * y[i];
        if (!asked_.raised.empty())
            for (std::size_t i = 0; i < left.size(); ++i) left[i] -= asked_.raised[i] * y[i];
    }

    const AnyMatrix<Cell>& A_;
    const FactorQuestion& asked_;
    FactorQuality& quality_;
    Block<Cell> left_{0, 0};
};

/// Of so many random bits each.
template <int bitsOfEach, class Cell, class Number>
void draw(Random& random, std::span<Cell> cells, const Number& number)
{
    constexpr std::size_t kAtOnce = 64 / bitsOfEach;
    for (std::size_t begin = 0; begin < cells.size(); begin += kAtOnce) {
        const std::uint64_t bits = random.NextBits();
        const std::size_t count = std::min(kAtOnce, cells.size() - begin);
        for (std::size_t k = 0; k < count; ++k)
            cells[begin + k] = number(static_cast<int>(bits >> bitsOfEach * k & ((1 << bitsOfEach) - 1)));
    }
}

double signOf(int bits)
{
    return 1.0 - 2.0 * (bits & 1);
}

/// That of ones, and one of random signs: those whose drift is measured.
template <class Cell>
void drawWatched(Random& random, Block<Cell>& signs)
{
    std::ranges::fill(signs.column(0), Cell(1.0));
    for (std::int32_t c = 1; c < kWatched; ++c) draw<1>(random, signs.column(c), signOf);
}

/// The same, and behind them two of random sizes besides, from 1/2 to 1: of a column whose few large elements
/// are alike, such as (1, -1), signs alone often make nothing.
template <class Cell>
Block<Cell> vectorsOfSigns(std::int32_t n)
{
    constexpr double kLargest = 255.0;
    std::array<double, 256> sizes{};
    for (int bits = 0; bits < 256; ++bits)
        sizes[static_cast<std::size_t>(bits)] = signOf(bits) * (kLargest - (bits >> 1)) / kLargest;
    Random random(20001);
    Block<Cell> signs(n, kSigns);
    drawWatched(random, signs);
    for (std::int32_t c = kWatched; c < kSigns; ++c)
        draw<8>(random, signs.column(c), [&](int bits) { return sizes[static_cast<std::size_t>(bits)]; });
    return signs;
}

/// Those whose drift is measured, and behind them a column of any kind where there is one.
template <class Cell>
Block<Cell> watchedBeside(std::int32_t n, const Cell* companion)
{
    Random random(20001);
    Block<Cell> vectors(n, kWatched + (companion != nullptr ? 1 : 0));
    drawWatched(random, vectors);
    if (companion != nullptr) std::copy_n(companion, n, vectors.column(kWatched).begin());
    return vectors;
}

/// Unit vectors, and behind them a column of any kind where there is one.
template <class Cell>
Block<Cell> unitVectors(std::int32_t n, std::span<const std::int32_t> places, const Cell* companion)
{
    const auto count = static_cast<std::int32_t>(places.size());
    Block<Cell> units(n, count + (companion != nullptr ? 1 : 0));
    for (std::int32_t c = 0; c < count; ++c) {
        std::ranges::fill(units.column(c), Cell(0.0));
        units.column(c)[places[c]] = 1.0;
    }
    if (companion != nullptr) std::copy_n(companion, n, units.column(count).begin());
    return units;
}

template <class Cell>
class InverseNorm {
public:
    InverseNorm(const LinearMap<Cell>& inverse, bool isHermitian, WatchedSolves<Cell>& solves,
                const Companion<Cell>& companion)
        : inverse_(inverse), n_(inverse.rows), isHermitian_(isHermitian), solves_(solves),
          companion_(companion)
    {
    }

    double estimate()
    {
        if (n_ == 0) return 0.0;
        const double bySigns = n_ > kFewColumns ? ofSigns() : 0.0;
        const std::vector<std::int32_t> longest = longestColumns({});
        const Block<Cell> units = unitVectors(n_, longest, companion_.b);
        return largerOrNaN(bySigns, ofColumns(longest, units, {}));
    }

    /// Of inverse*diag(sizes), where that of the inverse has been estimated before.
    double estimateBeside(std::span<const double> sizes)
    {
        const std::vector<std::int32_t> longest = longestColumns(sizes);
        return ofColumns(longest, unitVectors<Cell>(n_, longest, nullptr), sizes);
    }

private:
    /// Columns of the inverse are then known to be long by the rows of z.
    double ofSigns()
    {
        const Block<Cell> z = solves_.solve(isHermitian_ ? inverse_.times : inverse_.adjointTimes,
                                            vectorsOfSigns<Cell>(n_), kWatched);
        double largest = 0.0;
        const std::int32_t asGoodAsAny =
            isHermitian_ ? kWatched : kSigns; // of a Hermitian one they may be refined
        for (std::int32_t c = 0; c < asGoodAsAny; ++c)
            largest = largerOrNaN(largest, largestModulus(z.column(c).data(), n_));
        addModuli(z);
        return largest;
    }

    /// By the sums of moduli: lengths would prefer few large elements to many, which in a large matrix add up
    /// to more.
    void addModuli(const Block<Cell>& z)
    {
        static_assert(kSigns == 4);
        const std::span<const Cell> z0 = z.column(0), z1 = z.column(1), z2 = z.column(2), z3 = z.column(3);
        rows_.resize(static_cast<std::size_t>(n_));
        for (std::size_t i = 0; i < rows_.size(); ++i)
            rows_[i] = modulus(z0[i]) + modulus(z1[i]) + modulus(z2[i]) + modulus(z3[i]);
    }

    /// Where each has its size, times that; the first ones where there are no numbers to go by, and all of
    /// few.
    std::vector<std::int32_t> longestColumns(std::span<const double> sizes) const
    {
        if (n_ <= kFewColumns) {
            std::vector<std::int32_t> all(static_cast<std::size_t>(n_));
            std::iota(all.begin(), all.end(), 0);
            return all;
        }
        static_assert(kLongest == 2);
        const auto lengthOf = [&](std::int32_t j) {
            const auto at = static_cast<std::size_t>(j);
            return sizes.empty() ? rows_[at] : rows_[at] * sizes[at];
        };
        std::int32_t longest = 0, next = 1;
        double ofLongest = lengthOf(longest), ofNext = lengthOf(next);
        const auto order = [&] {
            if (!(ofNext > ofLongest)) return;
            std::swap(longest, next);
            std::swap(ofLongest, ofNext);
        };
        order();
        for (std::int32_t j = kLongest; j < n_; ++j) {
            const double length = lengthOf(j);
            if (!(length > ofNext)) continue;
            next = j;
            ofNext = length;
            order();
        }
        return {longest, next};
    }

    /// The largest 1-norm of some of the inverse's columns, each times its size where there are sizes, and
    /// the answer to the companion where one stands behind their unit vectors.
    double ofColumns(std::span<const std::int32_t> which, const Block<Cell>& units,
                     std::span<const double> sizes)
    {
        const auto columns = static_cast<std::int32_t>(which.size());
        const bool isAccompanied = units.columns() > columns;
        const Block<Cell> y =
            solves_.solve(inverse_.times, units, columns, isAccompanied ? companion_.left : nullptr);
        if (isAccompanied) std::ranges::copy(y.column(columns), companion_.x);
        double largest = 0.0;
        for (std::int32_t c = 0; c < columns; ++c) {
            const double sum = sumOfModuli(y.column(c).data(), n_);
            largest = largerOrNaN(largest, sizes.empty() ? sum : sum * sizes[which[c]]);
        }
        return largest;
    }

    const LinearMap<Cell>& inverse_;
    std::int32_t n_;
    bool isHermitian_;
    WatchedSolves<Cell>& solves_;
    const Companion<Cell>& companion_;
    std::vector<double> rows_{}; ///< sums of moduli in the rows of z
};

/// 1 or -1 where that times A is a Z-matrix with a positive diagonal: of real numbers, and none above 0
/// beside it; 0 where neither is. Cost: a pass over A, which mostly ends at once where it is 0.
template <class Cell>
int signOfZMatrix(const AnyMatrix<Cell>& A)
{
    bool rises = false, falls = false, isComplex = false;
    std::int32_t diagonals = 0;
    for (std::int32_t line = 0; line < A.lines(); ++line) {
        A.forElements(line, 0, A.rows(), [&](std::int32_t place, const Cell& a) {
            if (A.isOneTriangle() && place < line) return;
            const double beside = place == line ? -std::real(a) : std::real(a);
            rises |= beside > 0.0;
            falls |= beside < 0.0;
            diagonals += place == line && beside != 0.0;
            isComplex |= std::imag(a) != 0.0;
        });
        if ((rises && falls) || isComplex || diagonals <= line) return 0;
    }
    return rises ? -1 : 1;
}

/// Of a Hermitian Z-matrix A, by x with A*x near ones. If x > 0 and A*x > 0, it is an M-matrix, whose inverse
/// has no negative elements (A. Berman, R. J. Plemmons, Nonnegative Matrices in the Mathematical Sciences,
/// SIAM 1994, chapter 6, theorem 2.3, I27 and N38). Where besides ||ones - A*x||_inf <= e < 1, the sums of
/// its columns, which make its norm, are between x/(1 + e) and x/(1 - e): no estimate, but a proof.
///
/// Takes the norms into `quality`, and answers the companion. @return  whether it is proved
template <class Cell>
bool takePositiveInverse(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse,
                         const FactorQuestion& asked, const Companion<Cell>& companion, double oneNorm,
                         WatchedSolves<Cell>& solves, FactorQuality& quality)
{
    constexpr double kMostOff = 0.5, kUnit = 0x1p-53;
    static_assert(1.0 / (1.0 - kMostOff) <= kShortfall);
    static_assert(kWatched == kLongest); // the companion's block has one size
    const std::int32_t n = A.rows();
    const int sign = n > kFewColumns ? signOfZMatrix(A) : 0;
    if (sign == 0) return false;
    const Block<Cell> y =
        solves.solve(inverse.times, watchedBeside(n, companion.b), kWatched, companion.left);
    if (companion.b != nullptr) std::ranges::copy(y.column(kWatched), companion.x);
    const auto sumOf = [&, x = y.column(0)](std::size_t j) { return sign * std::real(x[j]); };
    double least = std::numeric_limits<double>::infinity(), most = 0.0, byRows = 0.0;
    for (std::size_t j = 0; j < static_cast<std::size_t>(n); ++j) {
        least = std::min(least, sumOf(j));
        most = std::max(most, sumOf(j));
        if (!asked.rowSums.empty()) byRows = std::max(byRows, asked.rowSums[j] * sumOf(j));
    }
    const double off =
        largestModulus(solves.left(0).data(), n) + kUnit * (n + 2.0) * (oneNorm * most + 1.0); // rounding
    if (!(least > 0.0) || !(off <= kMostOff)) return false;
    quality.inverseNorm = most;
    if (!asked.rowSums.empty()) quality.inverseNormByRows = byRows;
    return true;
}

/// Of R^-1*A, R = diag(the row sums of A), the sum of the moduli in each column; NaN where a row is zero.
template <class Cell>
std::vector<double> columnSumsByRows(const AnyMatrix<Cell>& A, std::span<const double> rowSums)
{
    const std::vector<Cell> none(rowSums.size());
    std::vector<Cell> over(rowSums.size());
    std::ranges::transform(rowSums, over.begin(), [](double sum) { return Cell(1.0 / sum); });
    std::vector<double> sums(rowSums.size());
    residualScale(A, TransposeMode::Transposed, 1, none.data(), over.data(), sums.data());
    return sums;
}

/// Where the inverse makes a unit vector long: the row i of A times the column i of the inverse is a sum of
/// numbers whose own sum is 1, and that of their moduli, which no unit of rows or columns changes, is large
/// where A is near to a singular matrix. With the sizes c of the columns of R^-1*A and s of the signs of
/// random numbers, it is about r_i*|inverse^H*(c*s)|_i.
template <class Cell>
std::size_t worstRow(const LinearMap<Cell>& inverse, std::span<const double> rowSums,
                     std::span<const double> columnSizes)
{
    const auto n = static_cast<std::size_t>(inverse.rows);
    Random random(20002);
    std::vector<Cell> weights(n), z(n);
    draw<1>(random, std::span(weights), [](int bit) { return 1.0 - 2.0 * bit; });
    for (std::size_t j = 0; j < n; ++j) weights[j] *= columnSizes[j];
    inverse.adjointTimes(1, weights.data(), z.data());
    std::size_t worst = 0;
    const auto lengthOf = [&](std::size_t i) { return modulus(z[i]) * rowSums[i]; };
    for (std::size_t i = 1; i < n; ++i)
        if (lengthOf(i) > lengthOf(worst)) worst = i;
    return worst;
}

/// The unknowns are measured by what they are in the row of e. Where w^H*A = 0, a residual r = e - A*x has
/// the part w^H*e in w whatever x is, and so no correction is shorter than the first solution.
template <class Cell>
double worstSolve(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse, std::span<const double> rowSums,
                  std::span<const double> columnSizes)
{
    const auto n = static_cast<std::size_t>(inverse.rows);
    const std::size_t row = worstRow(inverse, rowSums, columnSizes);
    const std::vector<Cell> none(n);
    std::vector<Cell> e(n), x(n), left(n), correction(n);
    std::vector<double> sizes(n);
    const auto sizeOf = [&](const std::vector<Cell>& y) {
        residualScale(A, TransposeMode::NotTransposed, 1, none.data(), y.data(), sizes.data());
        return sizes[row];
    };
    e[row] = 1.0;
    inverse.times(1, e.data(), x.data());
    if (sizeOf(x) <= kSolvable) return 0.0;
    double last = 1.0;
    for (int step = 0; step < kWorstSteps && !(last < kSettled); ++step) {
        residualInTwicePrecision<Cell>(A, TransposeMode::NotTransposed, 1, e.data(), x.data(), nullptr,
                                       left.data());
        inverse.times(1, left.data(), correction.data());
        for (std::size_t i = 0; i < n; ++i) x[i] += correction[i];
        last = sizeOf(correction) / sizeOf(x);
    }
    return last;
}

/// What is told by rows, where the condition leaves the solves too few digits.
template <class Cell>
void lookByRows(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse, std::span<const double> rowSums,
                InverseNorm<Cell>& norm, FactorQuality& quality)
{
    const std::vector<double> columnSums = columnSumsByRows(A, rowSums);
    const double byRows = norm.estimateBeside(rowSums);
    if (byRows * largestModulus(columnSums.data(), A.cols()) <= kSolvable)
        quality.inverseNormByRows = byRows;
    else
        quality.worstSolve = worstSolve<Cell>(A, inverse, rowSums, columnSums);
}

template <class Cell>
std::vector<double> ownRowSums(const AnyMatrix<Cell>& A)
{
    std::vector<double> sums(static_cast<std::size_t>(A.rows()));
    rowSums(A, TransposeMode::NotTransposed, sums.data());
    return sums;
}

} // namespace

double FactorQuality::inverseNormAtMost() const noexcept
{
    const bool isTrusted = std::isfinite(inverseNorm) && condition && *condition <= kSolvable;
    return isTrusted ? kShortfall * inverseNorm : std::numeric_limits<double>::infinity();
}

double FactorQuality::inverseNormByRowsAtMost() const noexcept
{
    return std::isnan(inverseNormByRows) ? std::numeric_limits<double>::infinity()
                                         : kShortfall * inverseNormByRows;
}

bool FactorQuality::mayBeSingular() const noexcept
{
    return std::isfinite(worstSolve) && worstSolve >= kSettled;
}

std::int32_t companionBlock(std::int32_t order) noexcept
{
    return (order <= kFewColumns ? order : kLongest) + 1;
}

template <class Cell>
FactorQuality qualityOfFactor(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse,
                              const FactorQuestion& asked, const Companion<Cell>& companion)
{
    FactorQuality quality;
    WatchedSolves<Cell> solves(A, asked, quality);
    const bool isHermitian = asked.shift.has_value(),
               isOfA = asked.shift.value_or(0.0) == 0.0 && asked.raised.empty();
    const double ofA = asked.oneNorm ? *asked.oneNorm : oneNorm(A);
    const bool isProved =
        isHermitian && isOfA && takePositiveInverse(A, inverse, asked, companion, ofA, solves, quality);
    InverseNorm<Cell> norm(inverse, isHermitian, solves, companion);
    if (!isProved) quality.inverseNorm = norm.estimate();
    const double condition = conditionOf(ofA, quality.inverseNorm, A.rows());
    if (!std::isnan(condition)) quality.condition = condition;
    if (!(condition > kSolvable) || !isOfA || isProved) return quality;
    if (asked.rowSums.empty())
        lookByRows<Cell>(A, inverse, ownRowSums(A), norm, quality);
    else
        lookByRows<Cell>(A, inverse, asked.rowSums, norm, quality);
    return quality;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template FactorQuality qualityOfFactor(const AnyMatrix<Cell>&, const LinearMap<Cell>&,                   \
                                           const FactorQuestion&, const Companion<Cell>&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
