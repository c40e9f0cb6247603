#include <lintrix/engine/solution/conjugate_gradient.h>

#include <lintrix/engine/report/iteration_log.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

// In place of a norm: the right-hand side was below the tolerance and is left alone, as its rate of 0 says.
constexpr double kFinished = std::numeric_limits<double>::infinity();

template <class T>
class ConjugateGradient {
public:
    ConjugateGradient(const IterativeSystem<T>& system, const IterationTerms& terms, T* work, double* scalars)
        : system_(system), terms_(terms), p_(work), r_(p_ + system.size()), z_(r_ + system.size()),
          q_(z_ + system.size()), oldProduct_(scalars), startNorm_(scalars + system.count)
    {
    }

    IterationOutcome run()
    {
        start();
        double best = 1e30;
        int count = 1;
        while (count < terms_.most) {
            system_.solve(r_, z_);
            const double rate = largestRate();
            const bool sound = advance();
            const double value = std::sqrt(rate);
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
            startNorm_[c] = squaredNorm(column(system_.x, c), system_.n);
            largest = largerOf(largest, squaredNorm(column(r_, c), system_.n));
            oldProduct_[c] = 0.0;
        }
        std::fill_n(p_, system_.size(), T(0));
        logIteration("(' cg-iteration:',2e12.3)", {terms_.tolerance, std::sqrt(largest)});
    }

    // ||z||^2 over that of the start; nothing is left to do where z is 0.
    double rateOf(int c) const
    {
        const double norm = squaredNorm(column(z_, c), system_.n);
        return norm == 0.0 ? 0.0 : norm / startNorm_[c];
    }
    double largestRate() const
    {
        double largest = 0.0;
        for (int c = 0; c < system_.count; ++c) largest = largerOf(largest, rateOf(c));
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
        const double beta = oldProduct_[c] == 0.0 ? 1.0 : now / oldProduct_[c];
        oldProduct_[c] = now;
        const T factor(static_cast<T>(beta));
        for (int i = 0; i < n; ++i) p[i] = z[i] + factor * p[i];
    }

    bool move(int c)
    {
        const int n = system_.n;
        const double rate = rateOf(c);
        if (rate == 0.0) return true;
        if (std::sqrt(rate) < terms_.tolerance) startNorm_[c] = kFinished;
        const double curvature = innerProduct(column(p_, c), column(q_, c), n);
        const double alpha = oldProduct_[c] / curvature;
        if (!isUsable(alpha)) return false;
        addMultiple(alpha, column(p_, c), column(system_.x, c), n);
        addMultiple(-alpha, column(q_, c), column(r_, c), n);
        return true;
    }

    const IterativeSystem<T>& system_;
    const IterationTerms& terms_;
    T *p_, *r_, *z_, *q_;
    double* oldProduct_; // (r, z) of the iteration before
    double* startNorm_;  // ||x||^2 at the start, or kFinished
};

} // namespace

template <class T>
IterationOutcome conjugateGradient(const IterativeSystem<T>& system, const IterationTerms& terms, T* work,
                                   double* scalars)
{
    return ConjugateGradient<T>(system, terms, work, scalars).run();
}

template IterationOutcome conjugateGradient(const IterativeSystem<float>&, const IterationTerms&, float*,
                                            double*);
template IterationOutcome conjugateGradient(const IterativeSystem<double>&, const IterationTerms&, double*,
                                            double*);

} // namespace Velmar::Lintrix::detail::engine
