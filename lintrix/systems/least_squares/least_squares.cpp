#include <lintrix/systems/least_squares/least_squares.h>

#include <lintrix/services/blas.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/verdict.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();

// Relative to the bound of D*M^H*M*D.
constexpr double kShift = 0x1p-40;           // its square root parts range and null space
constexpr double kFineShift = 0x1p-48;       // just above the rounding of the normal equations
constexpr std::int32_t kMostDirections = 24; // that are looked for together
constexpr double kClearlyRegular = 1e-6;     // least singular value over the norm that needs no second look

// When an answer will do.
constexpr double kNormalTolerance = 1e-14;      // a normal residual that nobody tries to lower
constexpr double kResidualTolerance = 4 * kEps; // a backward error likewise
constexpr double kSettled = 1e-13;              // a normal residual with which no other method is tried
constexpr double kConsistent = 32 * kEps;       // ||r|| as rounding of what A*x and b are summed up of
constexpr double kRounding = 8 * kEps;          // of the former in r
constexpr double kSmallResidual = 1e-6;         // beside b
constexpr double kNoWorse = 1.0 + 0x1p-20;      // rounding of a residual that is all of b
constexpr double kGain = 0.5;                   // a step that leaves more of the error is the last

// How much a method may do.
constexpr int kRefinements = 10;
constexpr std::int32_t kFactorSteps = 200; // of LSMR with a factor
constexpr double kRestart = 1e-3;          // of its rounds: the factor's rounding is not far below
constexpr double kLsmrCells = 4e9;         // that LSMR without a factor may pass by: seconds
constexpr double kCheaperThanTrying = 1e8; // operations of a factor
constexpr double kTrial = 0.05;            // of them may go into a trial without it
constexpr double kOperationsACell = 10.0;  // that a step of LSMR takes the time of, for each entry and row
constexpr double kFairAlpha = 0x1p-10;     // of the augmented system at first
constexpr double kBearableCost = 50.0;     // of its factor, times the operations of the normal equations, and
constexpr double kCheapFactor = 1e9;       // operations that are always bearable

template <class Cell>
double norm(const std::vector<Cell>& x)
{
    return blas::nrm2(static_cast<int>(x.size()), x.data(), 1);
}

template <class Cell>
void addTo(const std::vector<Cell>& x, std::vector<Cell>& y)
{
    for (std::size_t i = 0; i < x.size(); ++i) y[i] += x[i];
}

} // namespace

std::string_view nameOf(LeastSquaresMethod method)
{
    constexpr std::array<std::string_view, 5> kNames{"nothing", "normal equations", "augmented system",
                                                     "LSMR with a factor", "LSMR"};
    return kNames[static_cast<std::size_t>(method)];
}

/// One right-hand side on its way: the best answer so far, and the methods that try to better it.
template <class Cell>
class LeastSquares<Cell>::Attempt {
public:
    Attempt(LeastSquares& system, const Cell* b)
        : system_(system), M_(system.M_), A_(system.A_), b_(b), r_(static_cast<std::size_t>(A_.rows)),
          g_(static_cast<std::size_t>(A_.cols)), bNorm_(blas::nrm2(A_.rows, b, 1))
    {
        best_.x.resize(g_.size());
        measure(best_);
    }

    /// Zero may have a small normal residual, and no digit of a small solution.
    bool isTried() const { return best_.method != LeastSquaresMethod::Nothing; }
    bool done() const { return (best_.settled && isTried()) || best_.stopped; }
    bool roundedOff() const
    {
        return isTried() &&
               (best_.backwardError <= kResidualTolerance || best_.normalResidual <= kNormalTolerance);
    }
    Answer take() { return std::move(best_); }

    void refineByNormalEquations(NormalEquations<Cell>& inverse);
    void refineAugmented(AugmentedSystem<Cell>& augmented);
    void iterate(NormalEquations<Cell>& inverse);
    void iterateScaled();
    void iteratePlain(std::int32_t limit);
    void projectToRange(NormalEquations<Cell>& inverse);
    bool isSolvedByZero();
    bool refineBy(const AugmentedEquations<Cell>& equations, LeastSquaresMethod method, double unseen);
    const Answer& best() const { return best_; }

private:
    bool step(NormalEquations<Cell>& inverse, std::vector<Cell>& change);
    void measure(Answer& answer);
    bool offer(Answer&& answer);
    void runLsmr(const LinearMap<Cell>* right, double restart, std::int32_t limit, LeastSquaresMethod method);

    LeastSquares& system_;
    const TallMatrix<Cell>& M_;
    const LinearMap<Cell>& A_;
    const Cell* b_;
    std::vector<Cell> r_, g_; // r and A^H r of the answer measured last
    double bNorm_;
    Answer best_;
};

template <class Cell>
void LeastSquares<Cell>::Attempt::measure(Answer& answer)
{
    A_.times(1, answer.x.data(), r_.data());
    for (std::size_t i = 0; i < r_.size(); ++i) r_[i] = b_[i] - r_[i];
    A_.adjointTimes(1, r_.data(), g_.data());
    const double r = norm(r_), scale = M_.norm() * r;
    const double terms = system_.termsOf(answer.x.data()), fit = r / (terms + bNorm_);
    answer.residual = r;
    answer.normalResidual = scale == 0.0 ? 0.0 : norm(g_) / scale;
    answer.backwardError = scale == 0.0 ? 0.0 : std::min(answer.normalResidual, fit);
    if (r > kNoWorse * bNorm_) answer.backwardError = 1.0; // than x = 0
    answer.consistent = scale == 0.0 || fit <= kConsistent;
    // r is known to eps*terms, and so is A^H r. A small r may yet become rounding altogether.
    const double known = r > kSmallResidual * bNorm_ ? std::max(kSettled, kRounding * terms / r) : kSettled;
    answer.settled = answer.consistent || answer.normalResidual <= known;
}

/// Keeps the answer if it is the best. @return whether it is by much
template <class Cell>
bool LeastSquares<Cell>::Attempt::offer(Answer&& answer)
{
    measure(answer);
    const double before = best_.backwardError, now = answer.backwardError;
    answer.refinements += best_.refinements;
    answer.iterations += best_.iterations;
    const bool isNumber = !std::isnan(now) || std::isnan(before);
    if (isNumber && (!(now >= before) || best_.method == LeastSquaresMethod::Nothing)) {
        best_ = std::move(answer);
    } else {
        best_.refinements = answer.refinements;
        best_.iterations = answer.iterations;
        best_.stopped = answer.stopped;
    }
    return now <= kGain * before;
}

/// x := x + W*A^H*r, of a wide A x + A^H*W*r: each step takes the error down to the part of it that the shift
/// and the rounding of the factor make.
template <class Cell>
void LeastSquares<Cell>::Attempt::refineByNormalEquations(NormalEquations<Cell>& inverse)
{
    std::vector<Cell> change(g_.size());
    bool again = true;
    for (int k = 0; again && k < kRefinements && !roundedOff(); ++k) {
        if (!step(inverse, change)) return;
        Answer next{best_.x};
        next.method = LeastSquaresMethod::NormalEquations;
        next.refinements = 1;
        addTo(change, next.x);
        again = offer(std::move(next));
    }
}

/// W*A^H*r or A^H*W*r of the best answer. @return  whether it could be had
template <class Cell>
bool LeastSquares<Cell>::Attempt::step(NormalEquations<Cell>& inverse, std::vector<Cell>& change)
{
    measure(best_);
    if (!M_.isAdjoint()) return inverse.apply(g_.data(), change.data());
    std::vector<Cell> y(r_.size());
    if (!inverse.apply(r_.data(), y.data())) return false;
    M_.times(y.data(), change.data());
    return true;
}

/// Whether A^H*b is zero in twice the working precision.
template <class Cell>
bool LeastSquares<Cell>::Attempt::isSolvedByZero()
{
    if (norm(g_) != 0.0) return false;
    const AugmentedEquations<Cell> views = system_.equations({});
    const std::vector<Cell> zero(g_.size());
    const auto [A, op] =
        M_.isAdjoint() ? std::pair(views.tall, views.op) : std::pair(views.wide, views.adjointOp);
    residualInTwicePrecision(A, op, 1, zero.data(), b_, static_cast<const Cell*>(nullptr), g_.data());
    if (norm(g_) != 0.0) return false;
    best_.errorBound = 0.0;
    return true;
}

/// Refines the best answer by residuals in twice the working precision, and bounds its error: one that leaves
/// most digits settles it, whatever of A^H*r rounding hides. Where the bound is no better than that of the
/// answer before, that one stays.
/// @return  whether it is settled so
template <class Cell>
bool LeastSquares<Cell>::Attempt::refineBy(const AugmentedEquations<Cell>& equations,
                                           LeastSquaresMethod method, double unseen)
{
    const Answer before = best_;
    best_.method = method;
    const RefinedColumn refined = refine(equations, M_.isAdjoint(), 1, b_, best_.x.data()).front();
    measure(best_);
    best_.settled |= before.settled && before.method != LeastSquaresMethod::Nothing;
    const double error = system_.boundOf(refined, unseen, best_);
    best_.errorBound = std::isnan(error) ? HUGE_VAL : error;
    if (before.errorBound && !(*best_.errorBound < *before.errorBound)) best_ = before;
    const bool isGood = *best_.errorBound <= kFewDigits;
    best_.settled |= isGood;
    return isGood;
}

/// t + M*w = f, M^H*t = g, with f = b, g = 0 and the answer w, or of a wide A with f = 0, g = b and the
/// answer t. Both unknowns are refined, so that a large t does not hide what w lacks. Where that gains no
/// more in a tall system, t is begun anew in each step: of a b that all but fits it is just what w lacks.
template <class Cell>
void LeastSquares<Cell>::Attempt::refineAugmented(AugmentedSystem<Cell>& augmented)
{
    const bool wide = M_.isAdjoint();
    const auto p = static_cast<std::size_t>(M_.rows().rows), q = static_cast<std::size_t>(M_.rows().cols);
    std::vector<Cell> t(p), w(q), f(p), g(q), dt(p), dw(q);
    bool coupled = true;
    for (int k = 0; k < 2 * kRefinements && !roundedOff(); ++k) {
        if (!coupled) std::fill(t.begin(), t.end(), Cell{});
        M_.times(w.data(), f.data());
        for (std::size_t i = 0; i < p; ++i) f[i] = (wide ? Cell{} : b_[i]) - t[i] - f[i];
        M_.adjointTimes(t.data(), g.data());
        for (std::size_t j = 0; j < q; ++j) g[j] = (wide ? b_[j] : Cell{}) - g[j];
        augmented.solve(f.data(), g.data(), dt.data(), dw.data());
        addTo(dt, t);
        addTo(dw, w);
        Answer next{wide ? t : w};
        next.method = LeastSquaresMethod::AugmentedSystem;
        next.refinements = 1;
        if (offer(std::move(next)) || k == 0) continue;
        if (wide || !coupled) return;
        coupled = false;
        w = best_.x;
    }
}

/// With P = (A^H*A + shift*I)^-1*A^H up to the scales: of length m, so that A*P is nearly a projector.
template <class Cell>
void LeastSquares<Cell>::Attempt::iterate(NormalEquations<Cell>& inverse)
{
    std::vector<Cell> g(M_.scale().size()), y(g.size());
    const auto apply = [&inverse](const Cell* x, Cell* solution, std::size_t size) {
        if (!inverse.apply(x, solution))
            std::fill_n(solution, size, Cell(std::numeric_limits<double>::quiet_NaN()));
    };
    const auto inner = [&](std::int32_t, const Cell* x, Cell* result) { // W*M^H
        M_.adjointTimes(x, g.data());
        apply(g.data(), result, g.size());
    };
    const auto outer = [&](std::int32_t, const Cell* x, Cell* result) { // M*W
        apply(x, y.data(), y.size());
        M_.times(y.data(), result);
    };
    LinearMap<Cell> P{A_.cols, A_.rows, inner, outer};
    if (M_.isAdjoint()) std::swap(P.times, P.adjointTimes);
    runLsmr(&P, kRestart, kFactorSteps, LeastSquaresMethod::PreconditionedLsmr);
}

/// With scaled columns; of a wide or deficient A as it stands, for the sake of the least norm.
template <class Cell>
void LeastSquares<Cell>::Attempt::iterateScaled()
{
    const double cells = static_cast<double>(M_.rows().entries()) + A_.rows + A_.cols;
    const auto limit = static_cast<std::int32_t>(std::clamp(kLsmrCells / cells, 200.0, 20000.0));
    if (M_.isAdjoint() || system_.rank_.deficient) return iteratePlain(limit);
    const auto multiply = [this](std::int32_t, const Cell* x, Cell* y) {
        for (std::size_t j = 0; j < g_.size(); ++j) y[j] = M_.scale()[j] * x[j];
    };
    const LinearMap<Cell> D{A_.cols, A_.cols, multiply, multiply};
    runLsmr(&D, 0.0, limit, LeastSquaresMethod::Lsmr);
}

template <class Cell>
void LeastSquares<Cell>::Attempt::iteratePlain(std::int32_t limit)
{
    runLsmr(nullptr, 0.0, limit, LeastSquaresMethod::Lsmr);
}

/// From 0: an answer that has not settled may have large parts where A is small, which are a bad start.
template <class Cell>
void LeastSquares<Cell>::Attempt::runLsmr(const LinearMap<Cell>* right, double restart, std::int32_t limit,
                                          LeastSquaresMethod method)
{
    Answer next{std::vector<Cell>(g_.size())};
    next.method = method;
    const LsmrOptions options{kNormalTolerance, kResidualTolerance, M_.norm(), restart, limit,
                              system_.progress_};
    const LsmrOutcome outcome = lsmr<Cell>(A_, right, b_, next.x.data(), options);
    next.iterations = outcome.iterations;
    next.stopped = outcome.end == LsmrEnd::Stopped;
    offer(std::move(next));
}

/// Rounding in W*M^H brings in a little of the null space, amplified by the shift. F = M^H*M*W, of a wide A
/// F = M*W*M^H, ends in the range of A^H, and differs there from the identity by shift/sigma^2 only, which
/// x := x + F*W*F*A^H*r makes good, of a wide A x + M*W*W*M^H*A^H*r: what is done to A^H*r first keeps its
/// rounding, which goes by ||r||, from being amplified twice.
template <class Cell>
void LeastSquares<Cell>::Attempt::projectToRange(NormalEquations<Cell>& inverse)
{
    if (best_.stopped) return;
    const bool wide = M_.isAdjoint();
    std::vector<Cell> inner(M_.scale().size()), other(inner.size()),
        outer(static_cast<std::size_t>(M_.rows().rows));
    const auto filter = [&](std::vector<Cell>& x, int powerOfW) {
        std::vector<Cell>& source = wide ? inner : x;
        if (wide) M_.adjointTimes(x.data(), inner.data());
        for (int k = 0; k < powerOfW; ++k) {
            if (!inverse.apply(source.data(), other.data())) return;
            source.swap(other);
        }
        M_.times(source.data(), wide ? x.data() : outer.data());
        if (!wide) M_.adjointTimes(outer.data(), x.data());
    };
    Answer next = best_;
    filter(next.x, 1);
    filter(next.x, 1); // the first has left what it was given times the amplified rounding
    measure(next);
    for (int k = 0; k < kRefinements && next.normalResidual > kNormalTolerance && !next.consistent; ++k) {
        const double before = next.backwardError;
        filter(g_, wide ? 2 : 1);
        if (!wide) filter(g_, 2);
        addTo(g_, next.x);
        ++next.refinements;
        measure(next);
        if (!(next.backwardError <= kGain * before)) break;
    }
    if (next.settled || !best_.settled) best_ = std::move(next);
}

template <class Cell>
LeastSquares<Cell>::LeastSquares(const RowsView<Cell>& A) : M_(A), A_(M_.asGiven()), m_(A.rows), n_(A.cols)
{
    measureColumns();
    if (M_.norm() == 0.0) rank_ = {HUGE_VAL, std::min(m_, n_) > 0, std::min(m_, n_)};
    if (!hasWork()) return;
    inverse_ = std::make_unique<NormalEquations<Cell>>(M_);
    if (inverse_->analysed())
        forecast_ = inverse_->forecast();
    else
        inverse_.reset();
}

template <class Cell>
LeastSquares<Cell>::~LeastSquares() = default;

template <class Cell>
void LeastSquares<Cell>::measureColumns()
{
    const RowsView<Cell>& columns = M_.isAdjoint() ? M_.rows() : M_.columns(); // of A, or their conjugates
    for (std::int32_t j = 0; j < n_; ++j) {
        const std::int32_t start = columns.ia[j] - 1;
        columnNorms_.push_back(blas::nrm2(columns.ia[j + 1] - 1 - start, columns.a + start, 1));
    }
}

/// Of what A*x is summed up: the root of the sum of (||a_j|| |x_j|)^2, which unlike ||A|| ||x|| does not
/// change with the scales of columns.
template <class Cell>
double LeastSquares<Cell>::termsOf(const Cell* x) const
{
    std::vector<double> terms(columnNorms_.size());
    for (std::size_t j = 0; j < terms.size(); ++j) terms[j] = columnNorms_[j] * std::abs(x[j]);
    return norm(terms);
}

template <class Cell>
bool LeastSquares<Cell>::isNullVector(const Cell* x) const
{
    std::vector<Cell> image(static_cast<std::size_t>(m_));
    A_.times(1, x, image.data());
    const double terms = termsOf(x);
    return terms > 0.0 && norm(image) <= std::max(m_, n_) * kEps * terms;
}

template <class Cell>
std::optional<LeastSquaresRank> LeastSquares<Cell>::knownRank() const
{
    return factorized_ || rank_.deficient ? std::optional(rank_) : std::nullopt;
}

template <class Cell>
bool LeastSquares<Cell>::hasWork() const
{
    return M_.norm() > 0.0 && std::isfinite(M_.norm());
}

/// The factor of a product that is shifted down tells how many eigenvalues are below the shift. Mostly none:
/// A is regular. Else inverse iteration shows whether A is deficient; the factor serves for that, too, since
/// it is regular all the same and W*M^H looks at the range alone. What is neither gets a finer one.
template <class Cell>
void LeastSquares<Cell>::prepare()
{
    if (std::exchange(prepared_, true) || !inverse_) return;
    if (!hasRoomFor(forecast_->bytes, 0.0)) return;
    rank_.small = inverse_->factorizeAndCount(-kShift);
    factorized_ = rank_.small >= 0;
    if (factorized_) probe(1);
    if (rank_.small == 0) return;
    if (!rank_.deficient) {
        factorized_ = inverse_->factorize(kFineShift) || inverse_->factorize(kShift);
        if (factorized_) probe(std::clamp(rank_.small + 1, 1, kMostDirections));
        if (rank_.deficient) keepRange();
    } else if (M_.isEvened()) {
        keepRange();
    }
    rank_.small = std::max(rank_.small, rank_.deficient ? 1 : 0);
}

/// A factor that keeps the range of A^H.
template <class Cell>
void LeastSquares<Cell>::keepRange()
{
    M_.scaleAlike();
    inverse_->rescaled();
    factorized_ = inverse_->factorize(kShift);
}

/// Makes U orthonormal and P = M*D*U. @return  the least singular value of P, relative to the norm: of M*D it
/// is a bound from above, infinite where no direction is left
template <class Cell>
double LeastSquares<Cell>::leastOn(ColumnBlock<Cell>& U, ColumnBlock<Cell>& P) const
{
    if (!std::isfinite(norm(U.cells)) || orthonormalize(U).empty()) return HUGE_VAL;
    P = ColumnBlock<Cell>{P.length, U.count};
    std::vector<Cell> z(M_.scale().size());
    for (std::int32_t c = 0; c < U.count; ++c) {
        for (std::size_t j = 0; j < z.size(); ++j) z[j] = M_.scale()[j] * U.column(c)[j];
        M_.times(z.data(), P.column(c));
    }
    ColumnBlock<Cell> rotated = P;
    return orthogonalize(rotated).back() / std::sqrt(inverse_->bound());
}

/// The directions that M*D shrinks most, by inverse iteration: first by the factor alone, then by
/// Z := Z - W*M^H*M*Z, in which M's own products keep the rounding of the factor out. To what lies below its
/// shift a factor is blind: `count` has to be as many singular values as there are for the least to be found.
template <class Cell>
void LeastSquares<Cell>::probe(std::int32_t count)
{
    const std::vector<double>& scale = M_.scale();
    std::vector<Cell> work(scale.size()), z(scale.size());
    ColumnBlock<Cell> U{static_cast<std::int32_t>(scale.size()), count}, P{M_.rows().rows, count};
    std::mt19937_64 generator(1);
    for (Cell& cell : U.cells) cell = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
    for (int k = 0; k < 2; ++k) {
        for (std::int32_t c = 0; c < count; ++c) {
            for (std::size_t j = 0; j < z.size(); ++j) work[j] = U.column(c)[j] / scale[j];
            if (!inverse_->apply(work.data(), z.data())) return;
            for (std::size_t j = 0; j < z.size(); ++j) U.column(c)[j] = z[j] / scale[j];
        }
    }
    const double negligible = std::max(m_, n_) * kEps;
    double least = leastOn(U, P);
    for (int k = 0; k < 4 && least < kClearlyRegular && least > negligible; ++k) {
        for (std::int32_t c = 0; c < U.count; ++c) {
            M_.adjointTimes(P.column(c), work.data());
            if (!inverse_->apply(work.data(), z.data())) return;
            for (std::size_t j = 0; j < z.size(); ++j) U.column(c)[j] -= z[j] / scale[j];
        }
        least = std::min(least, leastOn(U, P));
    }
    rank_.condition = std::max(rank_.condition, least > 0.0 ? 1.0 / least : HUGE_VAL);
    rank_.deficient = least <= negligible;
}

template <class Cell>
LeastSquaresAnswer<Cell> LeastSquares<Cell>::solve(const Cell* b)
{
    Attempt attempt(*this, b);
    if (!std::isfinite(M_.norm()) || !std::isfinite(blas::nrm2(m_, b, 1))) {
        Answer answer = attempt.take();
        answer.x.assign(answer.x.size(), Cell(std::numeric_limits<double>::quiet_NaN()));
        answer.residual = answer.normalResidual = std::numeric_limits<double>::quiet_NaN();
        answer.consistent = answer.settled = false;
        return answer;
    }
    if (!hasWork() || attempt.isSolvedByZero()) return attempt.take();
    if (const std::int32_t steps = stepsWorthTrying(); steps > 0) attempt.iteratePlain(steps);
    if (attempt.done()) return attempt.take();
    prepare();
    if (rank_.deficient)
        solveDeficient(attempt);
    else
        solveRegular(attempt);
    if (!attempt.done()) attempt.iterateScaled();
    return attempt.take();
}

/// Of LSMR from 0, before there is a factor: as many as a small part of it would cost. They settle a system
/// of small condition, and cost others little.
template <class Cell>
std::int32_t LeastSquares<Cell>::stepsWorthTrying() const
{
    if (prepared_ || M_.isEvened() || !forecast_ || forecast_->operations < kCheaperThanTrying) return 0;
    const double step = kOperationsACell * (static_cast<double>(M_.rows().entries()) + m_ + n_);
    return static_cast<std::int32_t>(std::min(kTrial * forecast_->operations / step, 1000.0));
}

template <class Cell>
const LeastSquaresRank& LeastSquares<Cell>::rank()
{
    if (hasWork()) prepare();
    return rank_;
}

template <class Cell>
void LeastSquares<Cell>::solveDeficient(Attempt& attempt)
{
    if (!factorized_) return;
    attempt.iterate(*inverse_);
    attempt.projectToRange(*inverse_);
}

/// An answer is good once its error is bounded. The augmented system begins with a fair alpha; where that
/// does not do, with the one that the condition asks for.
template <class Cell>
void LeastSquares<Cell>::solveRegular(Attempt& attempt)
{
    if (!factorized_) return;
    attempt.refineByNormalEquations(*inverse_);
    if (isGoodByNormalEquations(attempt)) return;
    if (!attempt.done()) {
        attempt.iterate(*inverse_);
        if (isGoodByNormalEquations(attempt)) return;
    }
    AugmentedSystem<Cell>* const augmented = augmentedOnce();
    if (augmented == nullptr) return;
    for (const double alpha : {kFairAlpha, std::sqrt(inverse_->bound()) / rank_.condition}) {
        if (!augmented->factorize(alpha)) continue;
        if (!attempt.done()) attempt.refineAugmented(*augmented);
        if (isGoodByAugmentedSystem(attempt)) return;
    }
}

/// Where its factor costs bearably more than that of the normal equations.
template <class Cell>
AugmentedSystem<Cell>* LeastSquares<Cell>::augmentedOnce()
{
    if (!askedForAugmented_) {
        auto made = std::make_unique<AugmentedSystem<Cell>>(M_);
        const double most = std::max(kCheapFactor, kBearableCost * forecast_->operations);
        if (made->analysed() && made->forecast().operations <= most) augmented_ = std::move(made);
        askedForAugmented_ = true;
    }
    const bool hasRoom = augmented_ && hasRoomFor(augmented_->forecast().bytes, forecast_->bytes);
    return hasRoom ? augmented_.get() : nullptr;
}

template <class Cell>
AugmentedEquations<Cell> LeastSquares<Cell>::equations(typename AugmentedEquations<Cell>::Solve solve) const
{
    const auto view = [](const RowsView<Cell>& rows) {
        return AnyMatrix<Cell>(rows.rows, rows.cols, rows.a, rows.ia, rows.ja);
    };
    return {view(M_.rows()), TransposeMode::NotTransposed, view(M_.columns()), TransposeMode::NotTransposed,
            std::move(solve)};
}

/// By solves that are backward stable, or see a correction too small by `unseen`.
template <class Cell>
double LeastSquares<Cell>::boundOf(const RefinedColumn& column, double unseen, const Answer& answer) const
{
    const AugmentedEquations<Cell> views = equations({});
    const std::int32_t longest =
        std::max(longestRow(views.tall, views.op), longestRow(views.wide, views.adjointOp));
    const auto terms =
        M_.isAdjoint() ? std::nullopt : std::optional(solutionTerms(columnNorms_, answer.x.data()));
    return detail::boundOf(column, {longest + 1.0, rank_.condition, unseen}, terms);
}

/// W sees a correction in a direction of singular value s too small by s^2/(s^2 + shift).
template <class Cell>
bool LeastSquares<Cell>::isGoodByNormalEquations(Attempt& attempt)
{
    if (attempt.best().stopped) return true;
    std::vector<Cell> g(M_.scale().size()), y(static_cast<std::size_t>(M_.rows().rows));
    const auto solve = [&](std::int32_t, Cell* F, Cell* G) {
        M_.adjointTimes(F, g.data());
        for (std::size_t j = 0; j < g.size(); ++j) g[j] -= G[j];
        if (!inverse_->apply(g.data(), G))
            std::fill_n(G, g.size(), Cell(std::numeric_limits<double>::quiet_NaN()));
        M_.times(G, y.data());
        for (std::size_t i = 0; i < y.size(); ++i) F[i] -= y[i];
    };
    const double unseen = kShift * rank_.condition * rank_.condition;
    const auto method = attempt.isTried() ? attempt.best().method : LeastSquaresMethod::NormalEquations;
    return attempt.refineBy(equations(solve), method, unseen);
}

template <class Cell>
bool LeastSquares<Cell>::isGoodByAugmentedSystem(Attempt& attempt)
{
    if (attempt.best().stopped) return true;
    std::vector<Cell> t(static_cast<std::size_t>(M_.rows().rows)), w(M_.scale().size());
    const auto solve = [&](std::int32_t, Cell* F, Cell* G) {
        augmented_->solve(F, G, t.data(), w.data());
        std::ranges::copy(t, F);
        std::ranges::copy(w, G);
    };
    // Pivots that are only so large let elements grow, and with them what is wrong with a solve.
    constexpr double kGrowth = 0x1p16;
    const double wrong = kGrowth * std::max(m_, n_) * kEps * rank_.condition,
                 unseen = augmented_->replacedPivots() == 0 ? wrong : HUGE_VAL;
    return attempt.refineBy(equations(solve), LeastSquaresMethod::AugmentedSystem, unseen);
}

template class LeastSquares<double>;
template class LeastSquares<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
