#include <lintrix/systems/structure/near_null.h>

#include <lintrix/services/lapack.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/structure/index_text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr int kIterations = 8, kRitzSteps = 4, kImprovements = 10;
constexpr double kSettled = 0.01;     ///< relative change of all lengths
constexpr double kFarBelow = 0x1p-10; ///< of a threshold: then what is mixed in from above is below it, too

template <class Cell>
bool areFinite(const std::vector<Cell>& cells)
{
    return std::ranges::all_of(cells, [](const Cell& x) { return isFinite(x); });
}

/// Uniform in [-1, 1), both parts; the same on every system.
void draw(std::mt19937_64& generator, double& x)
{
    x = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
}
void draw(std::mt19937_64& generator, std::complex<double>& x)
{
    double re = 0.0, im = 0.0;
    draw(generator, re);
    draw(generator, im);
    x = {re, im};
}

template <class Cell>
using Apply = typename LinearMap<Cell>::Apply;

template <class Cell>
ColumnBlock<Cell> applied(const Apply<Cell>& map, const ColumnBlock<Cell>& x)
{
    ColumnBlock<Cell> y{x.length, x.count};
    if (x.count > 0) map(x.count, x.cells.data(), y.cells.data());
    return y;
}

/// The best of the columns' span: S becomes its `count` directions shortest under `map`, S orthonormal before
/// and after. @return their lengths under `map`, ascending; none if they are not finite
template <class Cell>
std::vector<double> takeShortest(const Apply<Cell>& map, ColumnBlock<Cell>& S, std::int32_t count)
{
    ColumnBlock<Cell> image = applied(map, S);
    if (!areFinite(image.cells)) return {};
    std::vector<double> lengths = orthogonalize(image, &S);
    ColumnBlock<Cell> shortest{S.length, std::min(count, S.count)};
    for (std::int32_t j = 0; j < shortest.count; ++j) {
        const Cell* const from = S.column(S.count - 1 - j);
        std::copy(from, from + S.length, shortest.column(j));
    }
    S = std::move(shortest);
    std::ranges::reverse(lengths);
    lengths.resize(static_cast<std::size_t>(S.count));
    return lengths;
}

/// Whether a block holds nothing but directions that are sent far below the threshold, to these lengths: then
/// the null space has as many at least, and to turn them further within it tells nothing.
bool areNull(const std::vector<double>& lengths, double threshold)
{
    return std::ranges::all_of(lengths, [=](double x) { return x <= kFarBelow * threshold; });
}

/// Rayleigh-Ritz steps, each on the span of V and inverse*(A*V), while they help.
template <class Cell>
std::vector<double> refine(const Apply<Cell>& A, const Apply<Cell>& inverse, double threshold,
                           ColumnBlock<Cell>& V)
{
    std::vector<double> lengths = takeShortest(A, V, V.count);
    for (int step = 1; step < kRitzSteps && !areNull(lengths, threshold); ++step) {
        const ColumnBlock<Cell> more = applied(inverse, applied(A, V));
        if (!areFinite(more.cells)) break;
        ColumnBlock<Cell> S = V; // first, as they stand: their images are orthogonal
        S.count += more.count;
        S.cells.insert(S.cells.end(), more.cells.begin(), more.cells.end());
        takeBasis(S);
        const std::vector<double> before = std::exchange(lengths, takeShortest(A, S, V.count));
        V = std::move(S);
        const auto hardlyFell = [](double x, double y) { return y > 0.5 * x; };
        if (lengths.empty() || std::ranges::equal(before, lengths, hardlyFell)) break;
    }
    return lengths;
}

template <class Cell>
ColumnBlock<Cell> startBlock(std::int32_t order, std::int32_t count)
{
    std::mt19937_64 generator(1);
    ColumnBlock<Cell> V{order, count};
    for (Cell& x : V.cells) draw(generator, x);
    orthonormalize(V);
    return V;
}

/// Whether each length agrees with what it was in the step before.
bool areSettled(const std::vector<double>& before, const std::vector<double>& now)
{
    return std::ranges::equal(before, now,
                              [](double x, double y) { return std::abs(x - y) <= kSettled * y; });
}

/// Turns both blocks towards the singular vectors of the largest singular values of the inverse.
/// @return false  a solve was not finite
template <class Cell>
bool iterate(const LinearMap<Cell>& inverse, double threshold, ColumnBlock<Cell>& U, ColumnBlock<Cell>& V)
{
    std::vector<double> lengths;
    for (int step = 0; step < kIterations; ++step) {
        U = applied(inverse.adjointTimes, V);
        if (!areFinite(U.cells)) return false;
        orthonormalize(U);
        V = applied(inverse.times, U);
        if (!areFinite(V.cells)) return false;
        std::vector<double> next = orthonormalize(V);
        for (double& length : next) length = 1.0 / length; // under the inverse
        const std::vector<double> before = std::exchange(lengths, std::move(next));
        if (areSettled(before, lengths) || areNull(lengths, threshold)) break;
    }
    return true;
}

/// The rows whose part in the first `count` columns is the given share of the largest part, or more.
template <class Cell>
std::vector<std::int32_t> carriersOf(const ColumnBlock<Cell>& block, std::int32_t count, double share)
{
    std::vector<double> part(static_cast<std::size_t>(block.length));
    for (std::int32_t j = 0; j < count; ++j)
        for (std::int32_t i = 0; i < block.length; ++i) part[i] += std::norm(block.column(j)[i]);
    const double largest = std::sqrt(std::ranges::max(part));
    std::vector<std::int32_t> carriers;
    for (std::int32_t i = 0; i < block.length; ++i) {
        part[i] = std::sqrt(part[i]) / largest;
        if (part[i] >= share) carriers.push_back(i);
    }
    std::ranges::stable_sort(carriers, std::greater<>(),
                             [&](std::int32_t i) { return std::round(8.0 * part[i]); });
    return carriers;
}

/// x := x - Q*(Q^H*x), Q orthonormal. @return ||Q^H*x|| of the x before
template <class Cell>
double removePart(const ColumnBlock<Cell>& Q, std::vector<Cell>& x)
{
    double sum = 0.0;
    for (std::int32_t j = 0; j < Q.count; ++j) {
        const Cell part = scalarProduct(Q.length, Q.column(j), x.data());
        addMultiple(Q.length, -part, Q.column(j), x.data());
        sum = std::hypot(sum, std::abs(part));
    }
    return sum;
}

/// r = b - A*x.
template <class Cell>
std::vector<Cell> residualOf(const LinearMap<Cell>& A, const std::vector<Cell>& x, const Cell* b)
{
    std::vector<Cell> r(x.size());
    A.times(1, x.data(), r.data());
    for (std::size_t i = 0; i < r.size(); ++i) r[i] = b[i] - r[i];
    return r;
}

/// Solves off the null space: r is only told up to a left null vector, x up to a right one. So inverse*(r +
/// U*c) is taken with the c for which x has no part in V. Where the inverse is that of A + E, this solves
/// with what E is off the null spaces, however badly it fills them.
template <class Cell>
class DeflatedInverse {
public:
    DeflatedInverse(const NearNull<Cell>& nearNull, const LinearMap<Cell>& inverse)
        : U_(nearNull.left), V_(nearNull.right), inverse_(inverse)
    {
        U_.shrink(nearNull.nullity);
        V_.shrink(nearNull.nullity);
        W_ = applied(inverse.times, U_);
        for (std::int32_t j = 0; j < W_.count; ++j)
            for (std::int32_t i = 0; i < V_.count; ++i)
                VW_.push_back(scalarProduct(V_.length, V_.column(i), W_.column(j)));
        pivots_.resize(static_cast<std::size_t>(V_.count));
        if (V_.count > 0) lapack::getrf(V_.count, V_.count, VW_.data(), V_.count, pivots_.data(), info_);
    }

    double removeLeftPart(std::vector<Cell>& r) const { return removePart(U_, r); }

    std::vector<Cell> operator()(const std::vector<Cell>& r) const
    {
        std::vector<Cell> x(r.size()), c;
        inverse_.times(1, r.data(), x.data());
        for (std::int32_t j = 0; j < V_.count; ++j)
            c.push_back(scalarProduct(V_.length, V_.column(j), x.data()));
        if (V_.count > 0 && info_ == 0) {
            int info = 0;
            lapack::getrs('N', V_.count, 1, VW_.data(), V_.count, pivots_.data(), c.data(), V_.count, info);
            for (std::int32_t j = 0; j < V_.count; ++j) addMultiple(V_.length, -c[j], W_.column(j), x.data());
        }
        removePart(V_, x);
        return x;
    }

private:
    ColumnBlock<Cell> U_, V_, W_{}; ///< the null vectors, and inverse*U
    const LinearMap<Cell>& inverse_;
    std::vector<Cell> VW_{}; ///< V^H*W, factorized
    std::vector<int> pivots_{};
    int info_ = 0;
};

/// In any locale: "2.1e-17".
std::string shortNumber(double value)
{
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.begin(), text.end(), value, std::chars_format::scientific, 1).ptr;
    return {text.begin(), end};
}

} // namespace

template <class Cell>
NearNull<Cell> findNearNull(const LinearMap<Cell>& A, const LinearMap<Cell>& inverse, double norm,
                            const NearNullSettings& settings)
{
    NearNull<Cell> result;
    result.norm = norm;
    result.threshold = settings.threshold > 0.0 ? settings.threshold : A.rows * kEps * norm;
    ColumnBlock<Cell> U, V = startBlock<Cell>(A.rows, std::clamp(settings.vectors, 1, std::max(A.rows, 1)));
    if (A.rows == 0 || !iterate(inverse, result.threshold, U, V)) return result;
    const std::vector<double> right = refine(A.times, inverse.times, result.threshold, V),
                              left = refine(A.adjointTimes, inverse.adjointTimes, result.threshold, U);
    if (right.empty() || left.empty()) return result;
    const std::int32_t count = std::min(U.count, V.count);
    U.shrink(count);
    V.shrink(count);
    for (std::int32_t i = 0; i < count; ++i) result.singularValues.push_back(std::max(left[i], right[i]));
    result.nullity = static_cast<std::int32_t>(std::ranges::count_if(
        result.singularValues, [&](double value) { return value <= result.threshold; }));
    result.left = std::move(U);
    result.right = std::move(V);
    result.complete = result.nullity < count || result.nullity == A.rows;
    const std::int32_t told = std::max(result.nullity, 1);
    result.rows = carriersOf(result.left, told, settings.share);
    result.columns = carriersOf(result.right, told, settings.share);
    return result;
}

template <class Cell>
Consistency<Cell> judgeConsistency(const NearNull<Cell>& nearNull, const LinearMap<Cell>& A,
                                   const LinearMap<Cell>& inverse, const Cell* b)
{
    using Verdict = typename Consistency<Cell>::Verdict;
    const DeflatedInverse<Cell> solve(nearNull, inverse);
    const auto order = static_cast<std::size_t>(A.rows);
    Consistency<Cell> result;
    std::vector<Cell> rest(b, b + order);
    result.leftPart = solve.removeLeftPart(rest);
    result.x.assign(order, Cell(0.0));
    const double rounding = A.rows * kEps, ofA = std::max(rounding * nearNull.norm, nearNull.threshold),
                 ofB = rounding * euclideanNorm(A.rows, b);
    double before = std::numeric_limits<double>::infinity(), left = 0.0;
    for (int done = 0; done <= kImprovements; ++done, before = left) {
        const std::vector<Cell> step = solve(rest);
        for (std::size_t i = 0; i < order; ++i) result.x[i] += step[i];
        rest = residualOf(A, result.x, b);
        result.residual = euclideanNorm(A.rows, rest.data());
        result.bound = ofA * euclideanNorm(A.rows, result.x.data()) + ofB;
        solve.removeLeftPart(rest);
        left = euclideanNorm(A.rows, rest.data());
        if (!(result.residual > result.bound && left < 0.5 * before)) break;
    }
    if (!areFinite(result.x) || !areFinite(rest)) return result;
    if (result.residual <= result.bound)
        result.verdict = nearNull.complete ? Verdict::Consistent : Verdict::Unknown;
    else if (result.leftPart > result.bound)
        result.verdict = Verdict::Inconsistent;
    return result;
}

template <class Cell>
std::string explain(const NearNull<Cell>& nearNull, std::int32_t firstIndex)
{
    if (nearNull.singularValues.empty()) return {};
    const double smallest = nearNull.singularValues.front();
    const bool isNull = nearNull.nullity > 0;
    std::string text = isNull ? "The matrix is singular to working precision: its" : "The";
    text += " smallest singular value is " + shortNumber(smallest) + ", " +
            shortNumber(smallest / nearNull.norm) + " of the norm. ";
    if (nearNull.nullity > 1 || (isNull && !nearNull.complete))
        text += std::string(nearNull.complete ? "" : "At least ") + std::to_string(nearNull.nullity) +
                (nearNull.nullity == 1 ? " direction is" : " directions are") + " sent to zero. ";
    const auto dependent = [&](std::string_view noun, const std::vector<std::int32_t>& indices) {
        const std::string what = isNull ? "" : "closest to being ";
        return indexText(noun, indices, firstIndex) + (indices.size() == 1
                                                           ? " is " + what + "zero or dependent on others"
                                                           : " are " + what + "linearly dependent");
    };
    return text + capitalized(dependent("column", nearNull.columns)) + ", " +
           dependent("row", nearNull.rows) + ".";
}

template LINTRIX_TESTABLE NearNull<double> findNearNull(const LinearMap<double>&, const LinearMap<double>&,
                                                        double, const NearNullSettings&);
template LINTRIX_TESTABLE NearNull<std::complex<double>> findNearNull(const LinearMap<std::complex<double>>&,
                                                                      const LinearMap<std::complex<double>>&,
                                                                      double, const NearNullSettings&);
template LINTRIX_TESTABLE Consistency<double>
judgeConsistency(const NearNull<double>&, const LinearMap<double>&, const LinearMap<double>&, const double*);
template LINTRIX_TESTABLE Consistency<std::complex<double>>
judgeConsistency(const NearNull<std::complex<double>>&, const LinearMap<std::complex<double>>&,
                 const LinearMap<std::complex<double>>&, const std::complex<double>*);
template LINTRIX_TESTABLE std::string explain(const NearNull<double>&, std::int32_t);
template LINTRIX_TESTABLE std::string explain(const NearNull<std::complex<double>>&, std::int32_t);

} // namespace Velmar::Lintrix::detail
