// Times of solves with a stored factor, one thread and several in turn, and what several gain.
//
//     solve_rates [THREADS]
//
// Both are timed in turn, so that the ratio holds while the machine's speed drifts: reported are the least
// time of one thread and the ratio of the least times.

#include <lintrix/engine/pardiso.h>
#include <lintrix/services/threads.h>

#include "bench/laplacian.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::bench;

namespace {

constexpr int kRepeats = 25;

int threads = 2;

/// A factored Laplacian.
class Factored {
public:
    Factored(int mtype, int ordering, int side, int dimensions)
        : A_(laplacian(side, dimensions, mtype % 2 == 0, mtype == 6 || mtype == 13)), mtype_(mtype),
          width_(mtype == 6 || mtype == 13 ? 2 : 1)
    {
        const PardisoParameters parameters(iparm_);
        parameters[PardisoParameter::CallersValues] = 1;
        parameters[PardisoParameter::Ordering] = ordering;
        parameters[PardisoParameter::PivotExponent] = 13;
        MKL_Set_Num_Threads(threads);
        call(12, 1);
    }
    ~Factored() { call(-1, 1); }
    Factored(const Factored&) = delete;
    Factored& operator=(const Factored&) = delete;

    void measure(int sides)
    {
        b_.assign(static_cast<std::size_t>(width_) * A_.n * sides, 1.);
        x_ = b_;
        double one = 1e30, several = 1e30;
        for (int repeat = 0; repeat < kRepeats; ++repeat) {
            one = std::min(one, secondsOn(1, sides));
            several = std::min(several, secondsOn(threads, sides));
        }
        std::printf(" %7.3f ms %4.2f |", 1e3 * one, one / several);
    }

private:
    double secondsOn(int count, int sides)
    {
        MKL_Set_Num_Threads(count);
        const auto start = std::chrono::steady_clock::now();
        call(33, sides);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    void call(int phase, int sides)
    {
        int error = 0;
        pardiso(pt_, 1, 1, mtype_, phase, A_.n, A_.a.data(), A_.ia.data(), A_.ja.data(), nullptr, sides,
                iparm_, 0, b_.data(), x_.data(), error);
        if (error != 0) std::exit(1);
    }

    Rows A_;
    int mtype_, width_;
    void* pt_[64] = {};
    int iparm_[PardisoParameters::kSlots] = {};
    std::vector<double> b_, x_;
};

void measure(int mtype, int ordering, int side, int dimensions)
{
    Factored factored(mtype, ordering, side, dimensions);
    std::printf("| %2d | %d-D grid, side %3d, order %d |", mtype, dimensions, side, ordering);
    for (const int sides : {1, 2, 4, 8, 16, 32}) factored.measure(sides);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1) threads = std::max(1, std::atoi(argv[1]));
    MKL_Set_Dynamic(0);
    std::printf("| type | matrix | 1 side | 2 sides | 4 sides | 8 sides | 16 sides | 32 sides |\n"
                "|---|---|---|---|---|---|---|---|\n");
    for (const int mtype : {2, -2, 11, 6, 13}) {
        measure(mtype, 0, 300, 2);
        measure(mtype, 2, 30, 3);
    }
    for (const int side : {40, 60, 100}) measure(2, 2, side, 2);
    measure(2, 3, 300, 2);
    measure(2, 0, 30, 3);
    measure(2, 2, 50, 3);
    return 0;
}
