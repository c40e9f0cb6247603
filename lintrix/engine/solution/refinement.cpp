#include <lintrix/engine/solution/refinement.h>

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/report/iteration_log.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr double kContraction = 0.9;
constexpr double kLargestChange = 0.5;
constexpr std::int64_t kAutomaticSteps = 2, kPatientSteps = 4;

template <class T>
double sumOfMagnitudes(const T* values, std::ptrdiff_t count)
{
    return std::accumulate(values, values + count, 0.0,
                           [](double sum, T value) { return sum + modulus(value); });
}

// The sums of magnitudes that one step is judged by.
struct StepSums {
    double residual, change, solution;
};

void logStep(std::int64_t step, const StepSums& sums, double rightHandSide)
{
    const auto k = static_cast<double>(step);
    if (rightHandSide == 0.0 || sums.solution == 0.0) {
        logIteration("(' ref_it:',f3.0,' sumdx,sumx',2e12.3)", {k, sums.change, sums.solution});
        logIteration("(' ref_it:',f3.0,' sumres,sumrhs',2e12.3)", {k, sums.residual, rightHandSide});
        return;
    }
    logIteration("(' ref_it:',f3.0,' rel res',e12.3,' rel err',e12.3)",
                 {k, sums.residual / rightHandSide, sums.change / sums.solution});
}

template <class T>
class Refiner {
public:
    Refiner(const SparseOperator<T>& A, const Preconditioner<T>& solve, const T* b, T* x, int n, int count,
            int limit, T* residual)
        : A_(A), solve_(solve), b_(b), x_(x), count_(count), size_(std::ptrdiff_t{n} * count),
          extended_(limit < 0), limit_(std::abs(std::int64_t{limit})), r_(residual),
          rightHandSide_(sumOfMagnitudes(b, size_))
    {
    }

    Refinement run()
    {
        double previous = 1e30;
        const std::int64_t most = limit_ == 0 ? kAutomaticSteps : limit_;
        for (std::int64_t k = 1; k <= most; ++k) {
            if (!WorkScope::goesOn()) return {stopped(), static_cast<int>(k - 1), false};
            const StepSums sums = step();
            logStep(k, sums, rightHandSide_);
            if (k == kAutomaticSteps && limit_ == 0) return {{}, static_cast<int>(k), true};
            if (k == 1 && sums.residual > rightHandSide_) {
                logIteration("('*** warning ref_it:',f3.0,' sumres,sumrhs',2e12.3)",
                             {1.0, sums.residual, rightHandSide_});
                previous = 2 * sums.residual;
            }
            if (k == limit_) return {{}, static_cast<int>(k), false};
            if (kContraction * previous > sums.residual) {
                previous = sums.residual;
            } else if (k >= kPatientSteps || k >= limit_) {
                return {judge(sums), static_cast<int>(k), false};
            }
        }
        return {{Error::Numeric, -111}, static_cast<int>(most), false};
    }

private:
    StepSums step()
    {
        if (extended_) {
            A_.extendedResidual(b_, x_, r_, count_);
        } else {
            A_.residual(b_, x_, r_, count_);
        }
        const double residual = sumOfMagnitudes(r_, size_);
        solve_(r_, r_);
        for (std::ptrdiff_t i = 0; i < size_; ++i) x_[i] += r_[i];
        return {residual, sumOfMagnitudes(r_, size_), sumOfMagnitudes(x_, size_)};
    }

    static Failure judge(const StepSums& sums)
    {
        const bool stillChanges = std::abs(sums.change / sums.solution) > kLargestChange;
        return stillChanges ? Failure{Error::Numeric, -112} : Failure{};
    }

    const SparseOperator<T>& A_;
    const Preconditioner<T>& solve_;
    const T* b_;
    T* x_;
    int count_;
    std::ptrdiff_t size_;
    bool extended_;
    std::int64_t limit_;
    T* r_; // the residual, and then the correction
    double rightHandSide_;
};

} // namespace

template <class T>
Refinement refine(const SparseOperator<T>& A, const Preconditioner<T>& solve, const T* b, T* x, int n,
                  int count, int limit, T* residual)
{
    return Refiner<T>(A, solve, b, x, n, count, limit, residual).run();
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template Refinement refine(const SparseOperator<T>&, const Preconditioner<T>&, const T*, T*, int, int,   \
                               int, T*);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
