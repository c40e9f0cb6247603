#include <lintrix/systems/structure/near_null.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/structure/index_text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr int kIterations = 8, kRitzSteps = 4, kImprovements = 10;
constexpr double kShort = 2e8;        ///< operations in dense storage: some milliseconds
constexpr double kSettled = 0.01;     ///< relative change of all lengths
constexpr double kFarBelow = 0x1p-10; ///< of a threshold: then what is mixed in from above is below it, too
constexpr double kFarAbove = 0x1p10;  ///< likewise

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

/// The columns of both.
template <class Cell>
ColumnBlock<Cell> beside(ColumnBlock<Cell> left, const ColumnBlock<Cell>& right)
{
    left.count += right.count;
    left.cells.insert(left.cells.end(), right.cells.begin(), right.cells.end());
    return left;
}

template <class Cell>
ColumnBlock<Cell> columnsOf(const ColumnBlock<Cell>& block, std::int32_t begin, std::int32_t end)
{
    ColumnBlock<Cell> part{block.length, end - begin};
    std::copy(block.column(begin), block.column(end), part.cells.begin());
    return part;
}

/// The best of the columns' span: S becomes its `count` directions shortest under `map`, S orthonormal before
/// and after. @return their lengths under `map`, ascending; none if they are not finite
template <class Cell>
std::vector<double> takeShortest(const Apply<Cell>& map, ColumnBlock<Cell>& S, std::int32_t count)
{
    ColumnBlock<Cell> image = applied(map, S);
    if (!areFinite(image.cells)) return {};
    std::vector<double> lengths = turnByLengths(image, S);
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

/// Directions on one side of A, and how long A leaves them.
template <class Cell>
struct Directions {
    ColumnBlock<Cell> vectors{};
    std::vector<double> lengths{}; ///< ascending
};

/// Finds a block of directions after the other, each across those that are known.
template <class Cell>
class NullSearch {
public:
    NullSearch(const LinearMap<Cell>& A, const LinearMap<Cell>& inverse, double threshold, bool isHermitian)
        : A_(A), inverse_(inverse), threshold_(threshold),
          far_(kFarAbove * std::sqrt(static_cast<double>(A.rows)) * threshold), isHermitian_(isHermitian)
    {
    }

    /// So many more on each side. @return  false: a solve was not finite, and nothing was found
    bool findMore(std::int32_t count);
    bool areAllNull() const;
    /// What was found one after the other, as one: the directions that are left shortest first.
    void bringTogether();

    Directions<Cell> left{}, right{};

private:
    using Lengths = std::vector<double>;

    ColumnBlock<Cell> start(std::int32_t count);
    bool turn(ColumnBlock<Cell>& U, ColumnBlock<Cell>& V) const;
    bool turnUntilSettled(ColumnBlock<Cell>& U, ColumnBlock<Cell>& V) const;
    Directions<Cell> refined(const Apply<Cell>& A, const Apply<Cell>& inverse, const Directions<Cell>& known,
                             ColumnBlock<Cell> V) const;
    void refine(const ColumnBlock<Cell>& U, const ColumnBlock<Cell>& V);
    void turnRest(std::int32_t nulls);
    void add(std::int32_t begin, std::int32_t end);
    std::int32_t nullsOf(const Directions<Cell>& found) const;
    bool areNull(const Lengths& lengths) const;
    bool areApart(const Lengths& lengths) const;
    bool areSettled(const Lengths& before, const Lengths& now) const;
    bool areClear(const Lengths& lengths) const { return areNull(lengths) || areApart(lengths); }

    const LinearMap<Cell>&A_, &inverse_;
    double threshold_, far_;
    bool isHermitian_;
    std::int32_t rounds_ = 0;
    Directions<Cell> newLeft_{}, newRight_{};
    std::mt19937_64 generator_{1};
};

template <class Cell>
bool NullSearch<Cell>::areAllNull() const
{
    const auto isNull = [this](double x) { return x <= threshold_; };
    return std::ranges::all_of(right.lengths, isNull) && std::ranges::all_of(left.lengths, isNull);
}

/// Whether a block holds nothing but directions that are sent far below the threshold, to these lengths: then
/// the null space has as many at least, and to turn them further within it tells nothing.
template <class Cell>
bool NullSearch<Cell>::areNull(const Lengths& lengths) const
{
    return std::ranges::all_of(lengths, [this](double x) { return x <= kFarBelow * threshold_; });
}

/// Whether some are null, and stay so beside others, and all others far from it. A random vector that was
/// divided by the singular values is sent as far only where directions near the threshold have next to no
/// part in it: the mean part of each is 1/sqrt(order).
template <class Cell>
bool NullSearch<Cell>::areApart(const Lengths& lengths) const
{
    constexpr double kBelow = 0x1p-3;
    const auto isNull = [this](double x) { return x <= kBelow * threshold_; };
    return !lengths.empty() && isNull(lengths.front()) &&
           std::ranges::all_of(lengths, [&](double x) { return isNull(x) || x >= far_; });
}

/// Whether each length agrees with what it was in the step before, or is null in both.
template <class Cell>
bool NullSearch<Cell>::areSettled(const Lengths& before, const Lengths& now) const
{
    return std::ranges::equal(before, now, [this](double x, double y) {
        return std::max(x, y) <= threshold_ || std::abs(x - y) <= kSettled * y;
    });
}

template <class Cell>
ColumnBlock<Cell> NullSearch<Cell>::start(std::int32_t count)
{
    ColumnBlock<Cell> V{A_.rows, count};
    for (Cell& x : V.cells) draw(generator_, x);
    clearOf(right.vectors, V);
    takeBasis(V);
    return V;
}

/// Turns both blocks towards the singular vectors of the largest singular values of the inverse.
/// @return false  a solve was not finite
template <class Cell>
bool NullSearch<Cell>::turn(ColumnBlock<Cell>& U, ColumnBlock<Cell>& V) const
{
    const auto step = [](const Apply<Cell>& map, const ColumnBlock<Cell>& from, const Directions<Cell>& known,
                         ColumnBlock<Cell>& to) {
        to = applied(map, from);
        if (!areFinite(to.cells)) return false;
        for (int times = known.vectors.count > 0 ? 2 : 1; times > 0; --times) { // twice is enough
            clearOf(known.vectors, to);
            takeBasis(to);
        }
        return true;
    };
    if (isHermitian_) return step(inverse_.times, V, right, V);
    return step(inverse_.adjointTimes, V, left, U) && step(inverse_.times, U, right, V);
}

/// The same as long as it helps. @return likewise
template <class Cell>
bool NullSearch<Cell>::turnUntilSettled(ColumnBlock<Cell>& U, ColumnBlock<Cell>& V) const
{
    Lengths before;
    for (int step = 1; step < kIterations; ++step) {
        if (!turn(U, V)) return false;
        Lengths now = takeShortest(A_.times, V, V.count);
        if (now.empty() || areSettled(before, now) || areNull(now)) break;
        before = std::move(now);
    }
    return true;
}

/// Rayleigh-Ritz steps, each on the span of V and inverse*(A*V), while they help.
template <class Cell>
Directions<Cell> NullSearch<Cell>::refined(const Apply<Cell>& A, const Apply<Cell>& inverse,
                                           const Directions<Cell>& known, ColumnBlock<Cell> V) const
{
    Lengths lengths = takeShortest(A, V, V.count);
    for (int step = 1; step < kRitzSteps && !areClear(lengths); ++step) {
        ColumnBlock<Cell> more = applied(inverse, applied(A, V));
        if (!areFinite(more.cells)) break;
        clearOf(known.vectors, more);
        ColumnBlock<Cell> S = beside(V, more);
        takeBasis(S);
        const Lengths before = std::exchange(lengths, takeShortest(A, S, V.count));
        V = std::move(S);
        const auto hardlyFell = [](double x, double y) { return y > 0.5 * x; };
        if (lengths.empty() || std::ranges::equal(before, lengths, hardlyFell)) break;
    }
    return {std::move(V), std::move(lengths)};
}

template <class Cell>
void NullSearch<Cell>::refine(const ColumnBlock<Cell>& U, const ColumnBlock<Cell>& V)
{
    newRight_ = refined(A_.times, inverse_.times, right, V);
    newLeft_ = isHermitian_ ? newRight_ : refined(A_.adjointTimes, inverse_.adjointTimes, left, U);
}

template <class Cell>
std::int32_t NullSearch<Cell>::nullsOf(const Directions<Cell>& found) const
{
    return static_cast<std::int32_t>(
        std::ranges::count_if(found.lengths, [this](double x) { return x <= threshold_; }));
}

/// Columns of what was found become known.
template <class Cell>
void NullSearch<Cell>::add(std::int32_t begin, std::int32_t end)
{
    const auto move = [=](const Directions<Cell>& from, Directions<Cell>& to) {
        to.vectors.length = from.vectors.length;
        to.vectors = beside(std::move(to.vectors), columnsOf(from.vectors, begin, end));
        to.lengths.insert(to.lengths.end(), from.lengths.begin() + begin, from.lengths.begin() + end);
    };
    move(newRight_, right);
    move(newLeft_, left);
}

/// What is not null is turned once more across what is: one random vector may have next to no part in the
/// smallest singular value.
template <class Cell>
void NullSearch<Cell>::turnRest(std::int32_t nulls)
{
    ColumnBlock<Cell> U = columnsOf(newLeft_.vectors, nulls, newLeft_.vectors.count),
                      V = columnsOf(newRight_.vectors, nulls, newRight_.vectors.count);
    if (!turn(U, V)) return;
    const auto take = [nulls](const Apply<Cell>& A, ColumnBlock<Cell>& rest, Directions<Cell>& found) {
        const Lengths lengths = takeShortest(A, rest, rest.count);
        if (lengths.empty()) return;
        std::ranges::copy(rest.cells, found.vectors.column(nulls));
        std::ranges::copy(lengths, found.lengths.begin() + nulls);
    };
    take(A_.times, V, newRight_);
    if (isHermitian_)
        newLeft_ = newRight_;
    else
        take(A_.adjointTimes, U, newLeft_);
}

template <class Cell>
bool NullSearch<Cell>::findMore(std::int32_t wanted)
{
    ColumnBlock<Cell> V = start(wanted), U = V;
    if (!turn(U, V)) return false;
    refine(U, V);
    if (!areClear(newRight_.lengths) || !areClear(newLeft_.lengths)) {
        if (!turnUntilSettled(U, V)) return false;
        refine(U, V);
    }
    const std::int32_t count = std::min(newRight_.vectors.count, newLeft_.vectors.count);
    if (newRight_.lengths.empty() || newLeft_.lengths.empty()) return false;
    const std::int32_t nulls =
        isHermitian_ ? nullsOf(newRight_) : std::min(nullsOf(newRight_), nullsOf(newLeft_));
    add(0, nulls);
    if (nulls > 0 && nulls < count) turnRest(nulls);
    add(nulls, count);
    ++rounds_;
    return true;
}

template <class Cell>
void NullSearch<Cell>::bringTogether()
{
    if (rounds_ < 2) return;
    takeBasis(right.vectors);
    right.lengths = takeShortest(A_.times, right.vectors, right.vectors.count);
    if (isHermitian_) {
        left = right;
        return;
    }
    takeBasis(left.vectors);
    left.lengths = takeShortest(A_.adjointTimes, left.vectors, left.vectors.count);
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

/// Solves off the null space: r is only told up to a left null vector, x up to a right one. Where all that
/// the inverse is off is within the null spaces, its x less their part will do. Else inverse*(r + U*c) is
/// taken with the c for which x has no part in V: where the inverse is that of A + E, this solves with what E
/// is off the null spaces, however badly it fills them. That takes the inverse of U, once.
template <class Cell>
class DeflatedInverse {
public:
    DeflatedInverse(const NearNull<Cell>& nearNull, const LinearMap<Cell>& inverse)
        : U_(nearNull.left), V_(nearNull.right), inverse_(inverse)
    {
        U_.shrink(nearNull.nullity);
        V_.shrink(nearNull.nullity);
    }

    double removeLeftPart(std::vector<Cell>& r) const { return removePart(U_, r); }

    std::vector<Cell> simply(const std::vector<Cell>& r) const
    {
        std::vector<Cell> x(r.size());
        inverse_.times(1, r.data(), x.data());
        removePart(V_, x);
        return x;
    }

    std::vector<Cell> operator()(const std::vector<Cell>& r)
    {
        if (V_.count == 0) return simply(r);
        if (W_.count == 0) prepare();
        std::vector<Cell> x(r.size()), c;
        inverse_.times(1, r.data(), x.data());
        for (std::int32_t j = 0; j < V_.count; ++j)
            c.push_back(scalarProduct(V_.length, V_.column(j), x.data()));
        if (info_ == 0) {
            const SequentialBlasScope sequential(kMultiplications<Cell> * V_.count * V_.count);
            int info = 0;
            lapack::getrs('N', V_.count, 1, VW_.data(), V_.count, pivots_.data(), c.data(), V_.count, info);
            for (std::int32_t j = 0; j < V_.count; ++j) addMultiple(V_.length, -c[j], W_.column(j), x.data());
        }
        removePart(V_, x);
        return x;
    }

private:
    void prepare()
    {
        W_ = applied(inverse_.times, U_);
        for (std::int32_t j = 0; j < W_.count; ++j)
            for (std::int32_t i = 0; i < V_.count; ++i)
                VW_.push_back(scalarProduct(V_.length, V_.column(i), W_.column(j)));
        pivots_.resize(static_cast<std::size_t>(V_.count));
        const SequentialBlasScope sequential(kMultiplications<Cell> * V_.count * V_.count * V_.count);
        lapack::getrf(V_.count, V_.count, VW_.data(), V_.count, pivots_.data(), info_);
    }

    ColumnBlock<Cell> U_, V_, W_{}; ///< the null vectors, and inverse*U
    const LinearMap<Cell>& inverse_;
    std::vector<Cell> VW_{}; ///< V^H*W, factorized
    std::vector<int> pivots_{};
    int info_ = 0;
};

/// Solves off the right null space without any inverse: by an orthogonal factorization of A*P, where the
/// columns of P are a basis of what is across it. What is null takes no part, however small the pivots are
/// that it leaves to a factor.
template <class Cell>
class SolverAcross {
public:
    SolverAcross(const LinearMap<Cell>& A, const NearNull<Cell>& nearNull)
        : P_{A.cols, A.cols - nearNull.nullity}, tau_(static_cast<std::size_t>(P_.count))
    {
        ColumnBlock<Cell> V = nearNull.right;
        V.shrink(nearNull.nullity);
        std::mt19937_64 generator(1);
        for (Cell& x : P_.cells) draw(generator, x);
        for (int times = 0; times < 2; ++times) {
            clearOf(V, P_);
            takeBasis(P_);
        }
        factors_ = applied(A.times, P_);
        std::vector<Cell> work(tau_.size() * 32);
        const SequentialBlasScope sequential(kMultiplications<Cell> * P_.length * P_.count * P_.count);
        int info = 0;
        lapack::geqrf(factors_.length, factors_.count, factors_.cells.data(), factors_.length, tau_.data(),
                      work.data(), static_cast<std::int32_t>(work.size()), info);
    }

    /// In the order of what it takes to make it.
    static double operations(std::int32_t order, std::int32_t nullity)
    {
        return 8.0 * order * (order - nullity) * static_cast<double>(order - nullity);
    }

    std::vector<Cell> operator()(std::vector<Cell> r) const
    {
        constexpr char adjoint = std::is_same_v<Cell, double> ? 'T' : 'C';
        const std::int32_t n = factors_.length, count = factors_.count;
        std::vector<Cell> work(32), x(r.size());
        const SequentialBlasScope sequential(kMultiplications<Cell> * n * count);
        int info = 0;
        lapack::ormqr('L', adjoint, n, 1, count, factors_.cells.data(), n, tau_.data(), r.data(), n,
                      work.data(), static_cast<std::int32_t>(work.size()), info);
        blas::trsm('L', 'U', 'N', 'N', count, 1, Cell(1.0), factors_.cells.data(), n, r.data(), n);
        for (std::int32_t j = 0; j < count; ++j) addMultiple(n, r[j], P_.column(j), x.data());
        return x;
    }

private:
    ColumnBlock<Cell> P_, factors_{};
    std::vector<Cell> tau_;
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
    constexpr std::int32_t kGrowth = 3;
    NearNull<Cell> result;
    result.norm = norm;
    result.threshold = settings.threshold > 0.0 ? settings.threshold : A.rows * kEps * norm;
    if (A.rows == 0) return result;
    const std::int32_t most = std::clamp(std::max(settings.most, settings.vectors), 1, A.rows);
    NullSearch<Cell> search(A, inverse, result.threshold, settings.hermitian);
    for (std::int32_t known = 0, count = std::clamp(settings.vectors, 1, most); known < most;
         known = count, count = std::min(kGrowth * count, most))
        if (!search.findMore(count - known) || !search.areAllNull()) break;
    search.bringTogether();
    const std::vector<double>&right = search.right.lengths, &left = search.left.lengths;
    const std::int32_t count = std::min(search.left.vectors.count, search.right.vectors.count);
    if (right.empty() || left.empty()) return result;
    result.left = std::move(search.left.vectors);
    result.right = std::move(search.right.vectors);
    result.left.shrink(count);
    result.right.shrink(count);
    for (std::int32_t i = 0; i < count; ++i) result.singularValues.push_back(std::max(left[i], right[i]));
    result.nullity = static_cast<std::int32_t>(std::ranges::count_if(
        result.singularValues, [&](double value) { return value <= result.threshold; }));
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
    DeflatedInverse<Cell> solve(nearNull, inverse);
    const auto order = static_cast<std::size_t>(A.rows);
    Consistency<Cell> result;
    std::vector<Cell> inRange(b, b + order), rest;
    result.leftPart = solve.removeLeftPart(inRange);
    const double rounding = A.rows * kEps, ofA = std::max(rounding * nearNull.norm, nearNull.threshold),
                 ofB = rounding * euclideanNorm(A.rows, b);
    const auto isExplained = [&] { return result.residual <= (nearNull.complete ? result.bound : ofB); };
    const auto improveWhileItHelps = [&](const auto& solved) {
        result.x.assign(order, Cell(0.0));
        rest = inRange;
        double before = std::numeric_limits<double>::infinity(), left = 0.0;
        for (int done = 0; done <= kImprovements; ++done, before = left) {
            const std::vector<Cell> step = solved(rest);
            for (std::size_t i = 0; i < order; ++i) result.x[i] += step[i];
            rest = residualOf(A, result.x, b);
            result.residual = euclideanNorm(A.rows, rest.data());
            result.bound = ofA * euclideanNorm(A.rows, result.x.data()) + ofB;
            solve.removeLeftPart(rest);
            left = euclideanNorm(A.rows, rest.data());
            const bool isEnough = done > 0 && isExplained();
            if (isEnough || !(left < 0.5 * before)) break;
        }
        return areFinite(result.x) && areFinite(rest) && isExplained();
    };
    bool isSolved = improveWhileItHelps([&](const auto& r) { return solve.simply(r); }) ||
                    improveWhileItHelps([&](const auto& r) { return solve(r); });
    const bool maySolveAcross = nearNull.complete && nearNull.nullity > 0 && nearNull.nullity < A.rows &&
                                SolverAcross<Cell>::operations(A.rows, nearNull.nullity) <= kShort;
    if (!isSolved && !(result.leftPart > result.bound) && maySolveAcross)
        isSolved = improveWhileItHelps(SolverAcross<Cell>(A, nearNull));
    if (!areFinite(result.x) || !areFinite(rest)) return result;
    result.isShortest = isSolved && nearNull.complete;
    if (isSolved)
        result.verdict = Verdict::Consistent;
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
