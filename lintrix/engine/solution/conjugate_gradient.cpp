#include <lintrix/engine/solution/conjugate_gradient.h>

#include <lintrix/engine/report/iteration_log.h>
#include <lintrix/services/work.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class T>
class ConjugateGradient {
public:
    ConjugateGradient(const IterativeSystem<T>& system, const IterationTerms& terms, T* work,
                      GradientScalars* scalars)
        : system_(system), terms_(terms), p_(work), r_(p_ + system.size()), z_(r_ + system.size()),
          q_(z_ + system.size()), scalars_(scalars)
    {
    }

    IterationOutcome run()
    {
        start();
        double best = 1e30;
        int count = 1;
        while (count < terms_.most && WorkScope::goesOn()) {
            system_.solve(r_, z_);
            const double value = largestRate();
            const bool sound = advance();
            logIteration("(' cg-iteration:',f4.0,e12.3)", {static_cast<double>(++count), value});
            if (value < terms_.tolerance) return {IterationStatus::Converged, count};
            if (!sound) return {IterationStatus::Breakdown, count};
            if (value > terms_.divergence) return {IterationStatus::Diverged, count};
            best = std::min(best, value);
            if (count >= terms_.half && std::sqrt(terms_.tolerance) < best) {
                return {IterationStatus::Slow, count};
            }
        }
        return {IterationStatus::BudgetUsed, count};
    }

private:
    T* column(T* block, int c) const { return block + std::ptrdiff_t{system_.n} * c; }

    // r := b - A*x, and no direction yet.
    void start()
    {
        system_.A.residual(system_.b, system_.x, r_, system_.count);
        double largest = 0.0;
        for (int c = 0; c < system_.count; ++c) {
            scalars_[c] = {0.0, norm(column(system_.x, c), system_.n), false};
            largest = largerOf(largest, norm(column(r_, c), system_.n));
        }
        std::fill_n(p_, system_.size(), T(0));
        logIteration("(' cg-iteration:',2e12.3)", {terms_.tolerance, largest});
    }

    // The root of ||z||^2 over that of the start.
    double rate(int c) const { return rateOf(norm(column(z_, c), system_.n), scalars_[c].startNorm); }
    double largestRate() const
    {
        double largest = 0.0;
        for (int c = 0; c < system_.count; ++c) {
            if (!scalars_[c].finished) largest = largerOf(largest, rate(c));
        }
        return largest;
    }

    // False at a breakdown.
    bool advance()
    {
        for (int c = 0; c < system_.count; ++c) turn(c);
        system_.A.multiply(p_, q_, system_.count);
        bool sound = true;
        for (int c = 0; c < system_.count; ++c) sound = move(c) && sound;
        return sound;
    }

    // p := z + beta*p
    void turn(int c)
    {
        const int n = system_.n;
        T *const p = column(p_, c), *const z = column(z_, c);
        const double now = innerProduct(column(r_, c), z, n);
        double& old = scalars_[c].product;
        const double beta = old == 0.0 ? 1.0 : now / old;
        old = now;
        const T factor(static_cast<T>(beta));
        for (int i = 0; i < n; ++i) p[i] = z[i] + factor * p[i];
    }

    bool move(int c)
    {
        const int n = system_.n;
        if (scalars_[c].finished) return true;
        const double value = rate(c);
        scalars_[c].finished = value < terms_.tolerance;
        if (value == 0.0) return true;
        const double curvature = innerProduct(column(p_, c), column(q_, c), n);
        const double alpha = scalars_[c].product / curvature;
        if (!isUsable(alpha)) return false;
        addMultiple(alpha, column(p_, c), column(system_.x, c), n);
        addMultiple(-alpha, column(q_, c), column(r_, c), n);
        return true;
    }

    const IterativeSystem<T>& system_;
    const IterationTerms& terms_;
    T *p_, *r_, *z_, *q_;
    GradientScalars* scalars_;
};

} // namespace

template <class T>
IterationOutcome conjugateGradient(const IterativeSystem<T>& system, const IterationTerms& terms, T* work,
                                   GradientScalars* scalars)
{
    return ConjugateGradient<T>(system, terms, work, scalars).run();
}

template IterationOutcome conjugateGradient(const IterativeSystem<float>&, const IterationTerms&, float*,
                                            GradientScalars*);
template IterationOutcome conjugateGradient(const IterativeSystem<double>&, const IterationTerms&, double*,
                                            GradientScalars*);

} // namespace Velmar::Lintrix::detail::engine
