#include <lintrix/systems/iterations/lsmr.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kRoundGain = 1e-2; // a round lowers ||(A*P)^H r|| at least by this before it may end
constexpr double kWorthwhile = 0.5; // a round that leaves more than this of the figure is the last

template <class Cell>
double norm(const std::vector<Cell>& x)
{
    return blas::nrm2(static_cast<int>(x.size()), x.data(), 1);
}

/// y := x + factor*y
template <class Cell>
void addTo(const std::vector<Cell>& x, double factor, std::vector<Cell>& y)
{
    for (std::size_t i = 0; i < x.size(); ++i) y[i] = x[i] + factor * y[i];
}

/// y := (x - factor*y) / ||x - factor*y||. @return the norm; of 0, y is left undivided
template <class Cell>
double normalized(const std::vector<Cell>& x, double factor, std::vector<Cell>& y)
{
    addTo(x, -factor, y);
    const double length = norm(y);
    if (length > 0.0) {
        for (Cell& cell : y) cell /= length;
    }
    return length;
}

/// The rotation that takes (a, b) to (r, 0).
struct Rotation {
    double c, s, r;

    Rotation(double a, double b) : c(1.0), s(0.0), r(std::hypot(a, b))
    {
        if (r == 0.0) return;
        c = a / r;
        s = b / r;
    }
};

/// The scalars of the two QR factorizations behind the method, in the names of the paper, and the norm of the
/// residual that they imply.
class Recurrence {
public:
    /// Factors for the vectors: hbar := h - ofBar*hbar, z := z + step*hbar, h := v - ofH*h.
    struct Factors {
        double ofBar, step, ofH;
    };

    Recurrence(double alpha, double beta) : alphaBar(alpha), zetaBar(alpha * beta), betaDd(beta) {}

    Factors advance(double alpha, double beta)
    {
        const double rhoOld = rho, rhoBarOld = rhoBar, zetaOld = zeta, cBarOld = cBar;
        const Rotation first(alphaBar, beta);
        rho = first.r;
        const double theta = first.s * alpha, thetaBar = sBar * rho;
        alphaBar = first.c * alpha;
        const Rotation second(cBarOld * rho, theta);
        cBar = second.c;
        sBar = second.s;
        rhoBar = second.r;
        zeta = cBar * zetaBar;
        zetaBar *= -sBar;
        trackResidual(first, thetaBar, zetaOld);
        return {thetaBar * rho / (rhoOld * rhoBarOld), zeta / (rho * rhoBar), theta / rho};
    }

    double residual() const { return residual_; }
    double normalResidual() const { return std::abs(zetaBar); }

private:
    void trackResidual(const Rotation& first, double thetaBar, double zetaOld)
    {
        const double betaHat = first.c * betaDd;
        betaDd *= -first.s;
        const Rotation tilde(rhoD, thetaBar);
        const double thetaOld = std::exchange(thetaTilde, tilde.s * rhoBar);
        rhoD = tilde.c * rhoBar;
        betaD = -tilde.s * betaD + tilde.c * betaHat;
        tauTilde = (zetaOld - thetaOld * tauTilde) / tilde.r;
        const double tau = (zeta - thetaTilde * tauTilde) / rhoD;
        residual_ = std::hypot(betaD - tau, betaDd);
    }

    double alphaBar, zetaBar, betaDd;
    double rho = 1.0, rhoBar = 1.0, cBar = 1.0, sBar = 0.0, zeta = 0.0;
    double rhoD = 1.0, thetaTilde = 0.0, tauTilde = 0.0, betaD = 0.0;
    double residual_ = 0.0;
};

template <class Cell>
class Run {
public:
    Run(const LinearMap<Cell>& A, const LinearMap<Cell>* right, const Cell* b, Cell* x,
        const LsmrOptions& options);
    LsmrOutcome go();

private:
    enum class RoundEnd { Told, Limit, Stopped, NotFinite };

    void measure();
    bool settled();
    bool worthwhile();
    RoundEnd round();
    bool roundIsDone(const Recurrence& recurrence, double first, double operatorNorm) const;
    double nextLeft(double alpha);
    double nextRight(double beta);
    const std::vector<Cell>& adjoint();
    void commit();
    bool told(const Recurrence& recurrence);

    const LinearMap<Cell>&A_, *P_;
    const Cell* b_;
    Cell* x_;
    const LsmrOptions& options_;
    std::int32_t limit_;
    std::vector<Cell> u_, left_;               // of length m: u, and a product
    std::vector<Cell> gradient_, best_, step_; // of length n: A^H r or A^H u, the best x, P*z
    std::vector<Cell> v_, h_, hBar_, z_;       // of length k
    std::vector<Cell> product_;                // of length k with a P
    double bNorm_, figure_ = HUGE_VAL;
    LsmrOutcome outcome_;
};

template <class Cell>
Run<Cell>::Run(const LinearMap<Cell>& A, const LinearMap<Cell>* right, const Cell* b, Cell* x,
               const LsmrOptions& options)
    : A_(A), P_(right), b_(b), x_(x), options_(options),
      limit_(options.limit > 0 ? options.limit
                               : static_cast<std::int32_t>(std::min<std::int64_t>(
                                     4 * std::int64_t{std::min(A.rows, A.cols)} + 100, INT32_MAX))),
      u_(static_cast<std::size_t>(A.rows)), left_(u_.size()), gradient_(static_cast<std::size_t>(A.cols)),
      best_(x, x + A.cols), step_(right != nullptr ? gradient_.size() : 0),
      v_(static_cast<std::size_t>(right != nullptr ? right->cols : A.cols)), h_(v_.size()), hBar_(v_.size()),
      z_(v_.size()), product_(right != nullptr ? v_.size() : 0), bNorm_(blas::nrm2(A.rows, b, 1))
{
    outcome_.norm = options.norm;
}

/// The residual of x_ stands in u_ afterwards, A^H r in gradient_.
template <class Cell>
void Run<Cell>::measure()
{
    A_.times(1, x_, left_.data());
    for (std::size_t i = 0; i < u_.size(); ++i) u_[i] = b_[i] - left_[i];
    A_.adjointTimes(1, u_.data(), gradient_.data());
    outcome_.residual = norm(u_);
    const double gradient = norm(gradient_);
    if (options_.norm == 0.0 && outcome_.residual > 0.0)
        outcome_.norm = std::max(outcome_.norm, gradient / outcome_.residual);
    const double scale = outcome_.norm * outcome_.residual;
    outcome_.normalResidual = scale == 0.0 ? gradient : gradient / scale;
}

/// Whether x_ is a solution to the tolerances; tells which.
template <class Cell>
bool Run<Cell>::settled()
{
    const double xNorm = blas::nrm2(A_.cols, x_, 1);
    if (outcome_.residual <= options_.residualTolerance * (outcome_.norm * xNorm + bNorm_))
        outcome_.end = LsmrEnd::Consistent;
    else if (outcome_.normalResidual <= options_.normalTolerance)
        outcome_.end = LsmrEnd::LeastSquares;
    else
        return false;
    return true;
}

/// Keeps x_ if it is the best so far, and tells whether it is enough better for another round. What falls is
/// ||A^H r||, by consistent systems through ||r||.
template <class Cell>
bool Run<Cell>::worthwhile()
{
    const double figure = outcome_.normalResidual * outcome_.residual;
    const bool gain = figure <= kWorthwhile * figure_;
    if (figure < figure_) {
        figure_ = figure;
        std::copy_n(x_, A_.cols, best_.begin());
        return gain;
    }
    std::copy(best_.begin(), best_.end(), x_);
    measure();
    return false;
}

template <class Cell>
LsmrOutcome Run<Cell>::go()
{
    measure();
    while (true) {
        if (!std::isfinite(outcome_.residual) || !std::isfinite(outcome_.normalResidual)) break;
        const bool again = worthwhile();
        if (settled()) return outcome_;
        outcome_.end = LsmrEnd::Stagnation;
        if (!again) return outcome_;
        const RoundEnd end = round();
        if (end == RoundEnd::NotFinite) break;
        commit();
        measure();
        if (end == RoundEnd::Told) continue;
        if (std::isfinite(outcome_.residual)) worthwhile();
        if (!settled()) outcome_.end = end == RoundEnd::Limit ? LsmrEnd::Limit : LsmrEnd::Stopped;
        return outcome_;
    }
    std::copy(best_.begin(), best_.end(), x_);
    outcome_.end = LsmrEnd::NotFinite;
    return outcome_;
}

/// (A*P)^H u, which stands in gradient_ or product_ until the next call. The norm of A is at least that of
/// A^H u, u being of length 1.
template <class Cell>
const std::vector<Cell>& Run<Cell>::adjoint()
{
    A_.adjointTimes(1, u_.data(), gradient_.data());
    if (options_.norm == 0.0) outcome_.norm = std::max(outcome_.norm, norm(gradient_));
    if (P_ == nullptr) return gradient_;
    P_->adjointTimes(1, gradient_.data(), product_.data());
    return product_;
}

/// u := (A*P*v - alpha*u)/beta. @return beta
template <class Cell>
double Run<Cell>::nextLeft(double alpha)
{
    if (P_ != nullptr) P_->times(1, v_.data(), step_.data());
    A_.times(1, P_ != nullptr ? step_.data() : v_.data(), left_.data());
    return normalized(left_, alpha, u_);
}

/// v := ((A*P)^H u - beta*v)/alpha. @return alpha
template <class Cell>
double Run<Cell>::nextRight(double beta)
{
    return normalized(adjoint(), beta, v_);
}

template <class Cell>
bool Run<Cell>::told(const Recurrence& recurrence)
{
    return !options_.progress ||
           options_.progress({outcome_.iterations, recurrence.residual(), recurrence.normalResidual()});
}

/// By the recurrences, whose operator is A*P; `first` is ||(A*P)^H r|| at the start of the round.
template <class Cell>
bool Run<Cell>::roundIsDone(const Recurrence& recurrence, double first, double operatorNorm) const
{
    const double r = recurrence.residual(), g = recurrence.normalResidual();
    if (g > kRoundGain * first) return false;
    return g <= options_.restart * first || g <= options_.normalTolerance * operatorNorm * r ||
           r <= options_.residualTolerance * (operatorNorm * norm(z_) + bNorm_);
}

/// One run of the recurrences, from the residual in u_ to z_.
template <class Cell>
typename Run<Cell>::RoundEnd Run<Cell>::round()
{
    ++outcome_.rounds;
    double beta = normalized(u_, 0.0, u_);
    std::fill(v_.begin(), v_.end(), Cell{});
    double alpha = nextRight(0.0);
    Recurrence recurrence(alpha, beta);
    const double first = recurrence.normalResidual();
    double operatorNorm = 0.0;
    h_ = v_;
    std::fill(hBar_.begin(), hBar_.end(), Cell{});
    std::fill(z_.begin(), z_.end(), Cell{});
    while (alpha > 0.0 && beta > 0.0) {
        if (outcome_.iterations == limit_) return RoundEnd::Limit;
        ++outcome_.iterations;
        WorkScope::tell();
        const double alphaOld = alpha;
        beta = nextLeft(alpha);
        alpha = beta > 0.0 ? nextRight(beta) : 0.0;
        operatorNorm = std::max(operatorNorm, std::hypot(alphaOld, beta));
        const auto [ofBar, step, ofH] = recurrence.advance(alpha, beta);
        if (!std::isfinite(step)) return RoundEnd::NotFinite;
        addTo(h_, -ofBar, hBar_);
        for (std::size_t i = 0; i < z_.size(); ++i) z_[i] += step * hBar_[i];
        addTo(v_, -ofH, h_);
        if (!told(recurrence)) return RoundEnd::Stopped;
        if (roundIsDone(recurrence, first, operatorNorm)) break;
    }
    return RoundEnd::Told;
}

/// x := x + P*z
template <class Cell>
void Run<Cell>::commit()
{
    if (P_ != nullptr) P_->times(1, z_.data(), step_.data());
    const std::vector<Cell>& gain = P_ != nullptr ? step_ : z_;
    for (std::size_t i = 0; i < gain.size(); ++i) x_[i] += gain[i];
}

} // namespace

template <class Cell>
LsmrOutcome lsmr(const LinearMap<Cell>& A, const LinearMap<Cell>* right, const Cell* b, Cell* x,
                 const LsmrOptions& options)
{
    return Run<Cell>(A, right, b, x, options).go();
}

template LsmrOutcome lsmr(const LinearMap<double>&, const LinearMap<double>*, const double*, double*,
                          const LsmrOptions&);
template LsmrOutcome lsmr(const LinearMap<std::complex<double>>&, const LinearMap<std::complex<double>>*,
                          const std::complex<double>*, std::complex<double>*, const LsmrOptions&);

} // namespace Velmar::Lintrix::detail
