#pragma once
/// @file
/// Two pieces of work timed in turn within one run, so that their ratio holds while the machine's speed
/// drifts.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace Velmar::Lintrix::bench {

inline double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <class Work>
double secondsOf(int batch, Work work)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < batch; ++i) work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / batch;
}

/// Each iteration times `raw` and `own`, `batch` calls each, the order changing from pair to pair. Reported
/// are the medians in microseconds, the extra time of `own`, and the median of the ratios own/raw pair by
/// pair.
template <class Raw, class Own>
void runPaired(benchmark::State& state, int batch, Raw raw, Own own)
{
    std::vector<double> rawSeconds, ownSeconds, ratios;
    bool rawFirst = true;
    for (auto _ : state) {
        double r = rawFirst ? secondsOf(batch, raw) : 0.0;
        const double o = secondsOf(batch, own);
        if (!rawFirst) r = secondsOf(batch, raw);
        rawFirst = !rawFirst;
        rawSeconds.push_back(r);
        ownSeconds.push_back(o);
        ratios.push_back(o / r);
        state.SetIterationTime(batch * (r + o));
    }
    const double r = medianOf(rawSeconds), o = medianOf(ownSeconds);
    state.counters["raw_us"] = r * 1e6;
    state.counters["own_us"] = o * 1e6;
    state.counters["extra_us"] = (o - r) * 1e6;
    state.counters["ratio"] = medianOf(ratios);
}

/// As many calls as one sample of about 50 microseconds needs at small sizes.
inline int batchFor(int n)
{
    return n <= 8 ? 200 : n <= 64 ? 10 : 1;
}

} // namespace Velmar::Lintrix::bench
