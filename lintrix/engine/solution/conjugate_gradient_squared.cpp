#include <lintrix/engine/solution/conjugate_gradient_squared.h>

#include <lintrix/engine/report/iteration_log.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class T>
constexpr std::string_view kStepFormat =
    kIsComplex<T> ? "(' cgs-iteration:',f3.0,e12.3)" : "(' cgs-iteration:',f4.0,e12.3)";

template <class T>
class SquaredIteration {
public:
    SquaredIteration(const IterativeSystem<T>& system, const IterationTerms& terms, T* work,
                     SquaredScalars<T>* scalars)
        : system_(system), terms_(terms), shadow_(work), z_(shadow_ + system.size()), u_(z_ + system.size()),
          p_(u_ + system.size()), q_(p_ + system.size()), v_(q_ + system.size()), t_(v_ + system.size()),
          scalars_(scalars)
    {
    }

    IterationOutcome run()
    {
        start();
        double value = std::sqrt(largestRate());
        logIteration("(' cgs-init:',f4.0,2(e12.3))", {1.0, terms_.tolerance, value});
        if (value < terms_.tolerance) return {IterationStatus::Converged, 1};
        double best = 1e30;
        int count = 1;
        while (count < terms_.most && WorkScope::goesOn()) {
            const bool sound = advance();
            value = std::sqrt(largestRate());
            logIteration(kStepFormat<T>, {static_cast<double>(++count), value});
            if (!sound) return {IterationStatus::Breakdown, count};
            if (value < terms_.tolerance) return {IterationStatus::Converged, count};
            if (value > terms_.divergence) return {IterationStatus::Diverged, count};
            best = std::min(best, value);
            if (count == terms_.half && std::sqrt(terms_.tolerance) < best) {
                return {IterationStatus::Slow, count};
            }
        }
        return {IterationStatus::BudgetUsed, count};
    }

private:
    using S = IterationScalar<T>;

    T* column(T* block, int c) const { return block + std::ptrdiff_t{system_.n} * c; }
    template <class Step>
    bool forUnfinished(const Step& step) const
    {
        bool sound = true;
        for (int c = 0; c < system_.count; ++c) {
            if (!scalars_[c].finished) sound = step(c) && sound;
        }
        return sound;
    }

    // z := inv(M)*(b - A*x), the shadow too; no directions yet.
    void start()
    {
        system_.A.residual(system_.b, system_.x, t_, system_.count);
        system_.solve(t_, z_);
        std::copy_n(z_, system_.size(), shadow_);
        std::fill_n(p_, system_.size(), T(0));
        std::fill_n(q_, system_.size(), T(0));
        for (int c = 0; c < system_.count; ++c) {
            scalars_[c] = {S(1), S(0), norm(column(system_.x, c), system_.n), false};
        }
    }

    // The largest ||z|| / ||start||; a right-hand side that is below the tolerance is finished.
    double largestRate()
    {
        double largest = 0.0;
        forUnfinished([&](int c) {
            const double rate = rateOf(norm(column(z_, c), system_.n), scalars_[c].startNorm);
            scalars_[c].finished = std::sqrt(rate) < terms_.tolerance;
            largest = largerOf(largest, rate);
            return true;
        });
        return largest;
    }

    // One iteration; false at a breakdown.
    bool advance()
    {
        if (!forUnfinished([&](int c) { return turn(c); })) return false;
        precondition(p_, v_);
        if (!forUnfinished([&](int c) { return halve(c); })) return false;
        precondition(v_, t_); // v holds u + q now
        return forUnfinished([&](int c) {
            addMultiple(scalars_[c].step, column(v_, c), column(system_.x, c), system_.n);
            addMultiple(-scalars_[c].step, column(t_, c), column(z_, c), system_.n);
            return true;
        });
    }

    // to := inv(M)*A*from
    void precondition(const T* from, T* to)
    {
        system_.A.multiply(from, t_, system_.count);
        system_.solve(t_, to);
    }

    // u := z + beta*q, p := u + beta*(q + beta*p)
    bool turn(int c)
    {
        const S rho = innerProduct(column(shadow_, c), column(z_, c), system_.n);
        const S ratio = rho / scalars_[c].rho;
        scalars_[c].rho = rho;
        if (!isUsable(rho) || !isUsable(ratio)) return false;
        const T beta(ratio);
        T *const u = column(u_, c), *const p = column(p_, c);
        const T *const z = column(z_, c), *const q = column(q_, c);
        for (int i = 0; i < system_.n; ++i) {
            u[i] = z[i] + product(beta, q[i]);
            p[i] = u[i] + product(beta, q[i] + product(beta, p[i]));
        }
        return true;
    }

    // q := u - alpha*v, v := u + q
    bool halve(int c)
    {
        const S alpha = scalars_[c].rho / innerProduct(column(shadow_, c), column(v_, c), system_.n);
        if (!isUsable(alpha)) return false;
        scalars_[c].step = alpha;
        const T factor(alpha);
        const T* const u = column(u_, c);
        T *const q = column(q_, c), *const v = column(v_, c);
        for (int i = 0; i < system_.n; ++i) {
            q[i] = u[i] - product(factor, v[i]);
            v[i] = u[i] + q[i];
        }
        return true;
    }

    const IterativeSystem<T>& system_;
    const IterationTerms& terms_;
    T *shadow_, *z_, *u_, *p_, *q_, *v_, *t_;
    SquaredScalars<T>* scalars_;
};

} // namespace

template <class T>
IterationOutcome conjugateGradientSquared(const IterativeSystem<T>& system, const IterationTerms& terms,
                                          T* work, SquaredScalars<T>* scalars)
{
    return SquaredIteration<T>(system, terms, work, scalars).run();
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template IterationOutcome conjugateGradientSquared(const IterativeSystem<T>&, const IterationTerms&, T*, \
                                                       SquaredScalars<T>*);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
