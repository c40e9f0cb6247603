// A curve through 100,000 noisy observations: cubic B-splines over 200 intervals, in the least-squares sense.
// Each observation is a row with four entries, of which no dense copy is made. Then all observations between
// 0.40 and 0.45 are lost: nothing tells the splines in between, the matrix has not full rank, and the answer
// says so. A slight demand for smoothness determines them again.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <random>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

constexpr int observations = 100000, intervals = 200, splines = intervals + 3;
constexpr double noise = 0.1, smoothness = 1e-3;

struct Observation {
    double t, y;
};

double truth(double t)
{
    return std::sin(6.0 * std::numbers::pi * t) * std::exp(-t);
}

std::vector<Observation> measure()
{
    std::mt19937_64 generator(7);
    const auto uniform = [&generator] { return static_cast<double>(generator() >> 11) * 0x1p-53; };
    std::vector<Observation> all(observations);
    for (Observation& one : all) {
        one.t = uniform();
        one.y = truth(one.t) + noise * (2.0 * uniform() - 1.0);
    }
    return all;
}

int intervalOf(double t)
{
    return std::min(static_cast<int>(t * intervals), intervals - 1);
}

// The four splines that are not 0 in the interval of t; the first has the interval's number.
std::array<double, 4> splinesAt(double t)
{
    const double s = t * intervals - intervalOf(t), r = 1.0 - s;
    return {r * r * r / 6.0, (3.0 * s * s * s - 6.0 * s * s + 4.0) / 6.0,
            (3.0 * r * r * r - 6.0 * r * r + 4.0) / 6.0, s * s * s / 6.0};
}

// A row for each observation, and where the curve is to be smooth one for each second difference.
SparseMatrix rowsFor(const std::vector<Observation>& data, bool smooth)
{
    const int first = static_cast<int>(data.size());
    SparseAssembler entries(first + (smooth ? splines - 2 : 0), splines);
    for (int i = 0; i < first; ++i) {
        const double t = data[static_cast<std::size_t>(i)].t;
        int j = intervalOf(t);
        for (const double value : splinesAt(t)) entries.Add(i, j++, value);
    }
    for (int j = 0; smooth && j + 2 < splines; ++j) {
        entries.Add(first + j, j, smoothness);
        entries.Add(first + j, j + 1, -2.0 * smoothness);
        entries.Add(first + j, j + 2, smoothness);
    }
    return entries.Assemble();
}

void fit(const char* name, const std::vector<Observation>& data, bool smooth)
{
    const auto begin = std::chrono::steady_clock::now();
    LinearSystem system(rowsFor(data, smooth));
    Vector y(system.Rows());
    for (std::size_t i = 0; i < data.size(); ++i) y[static_cast<int>(i)] = data[i].y;
    const auto answer = system.Solve(y);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;

    double worst = 0.0;
    for (int k = 0; k <= 1000; ++k) {
        const double t = k / 1000.0;
        double value = 0.0;
        int j = intervalOf(t);
        for (const double part : splinesAt(t)) value += part * (*answer.x)(j++, 0);
        worst = std::max(worst, std::abs(value - truth(t)));
    }
    std::printf("%s: %d x %d, %s%s%s\n", name, system.Rows(), system.Cols(),
                std::string(NameOf(answer.verdict)).c_str(), answer.reason.empty() ? "" : ", ",
                answer.reason.c_str());
    std::printf("  normal equations met to rounding: %s, in less than 30 s: %s, off the true curve by %.2f\n",
                *answer.normalResidual < 1e-12 ? "yes" : "no", seconds.count() < 30.0 ? "yes" : "no", worst);
}

} // namespace

int main()
{
    std::vector<Observation> data = measure();
    fit("all observations", data, false);
    std::erase_if(data, [](const Observation& one) { return one.t > 0.40 && one.t < 0.45; });
    fit("some lost", data, false);
    fit("some lost, smooth", data, true);
}
