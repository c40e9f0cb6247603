#include <lintrix/systems/factor_seconds.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <vector>

#include <time.h>

namespace Velmar::Lintrix {

namespace {

/// Of one core.
struct Rates {
    double operations; ///< a second, of a product of panels
    double bytes;      ///< a second, read from memory
};

/// Of this thread, so that what else runs on the machine does not count.
double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// The shortest of a few runs, the first of which warms up.
template <class Work>
double leastSeconds(const Work& work)
{
    constexpr int kRuns = 3;
    double least = std::numeric_limits<double>::infinity();
    for (int run = 0; run < kRuns; ++run) {
        const double begin = threadSeconds();
        work();
        least = std::min(least, threadSeconds() - begin);
    }
    return std::max(least, 1e-7);
}

double measureOperations()
{
    constexpr int kOrder = 128;
    const std::vector<double> a(std::size_t{kOrder} * kOrder, 1.0);
    std::vector<double> c(a.size());
    const detail::SequentialBlasScope sequential;
    const double seconds = leastSeconds([&] {
        detail::blas::gemm('N', 'N', kOrder, kOrder, kOrder, 1.0, a.data(), kOrder, a.data(), kOrder, 0.0,
                           c.data(), kOrder);
    });
    return 2.0 * kOrder * kOrder * kOrder / seconds;
}

/// Of more than the caches that one core has to itself.
double measureBytes()
{
    std::vector<double> cells(std::size_t{1} << 19, 1.0);
    double sum = 0.0;
    const double seconds =
        leastSeconds([&] { sum += detail::blas::asum(static_cast<int>(cells.size()), cells.data(), 1); });
    if (sum < 0.0) return 0.0; // which it is not: the sum is made use of
    return sizeof(double) * static_cast<double>(cells.size()) / seconds;
}

/// What is done sooner than the measuring is not worth it: a modest machine's will do.
const Rates& ratesFor(const FactorWork& work)
{
    static constexpr Rates kModest{1e10, 5e9};
    if (work.operations < 1e6 && work.bytes < 1e6) return kModest;
    static const Rates measured{measureOperations(), measureBytes()};
    return measured;
}

} // namespace

FactorSeconds SecondsFor(const FactorWork& work)
{
    // Measured with matrices of many kinds.
    constexpr double kPanels = 0.45; // of the speed of square panels, that those of a factor come to
    constexpr double kPasses = 16.0; // through the factor, that its narrow panels are worth
    constexpr double kSolve = 2.0;   // likewise, of a solve, with what it does beside reading
    constexpr double kGain = 0.8;    // of each thread beside the first
    const double threads = 1.0 + kGain * (detail::threadsInForce() - 1);
    const Rates& rates = ratesFor(work);
    const double panels = work.operations / (kPanels * rates.operations), pass = work.bytes / rates.bytes;
    return {(panels + kPasses * pass) / threads, kSolve * pass};
}

} // namespace Velmar::Lintrix
