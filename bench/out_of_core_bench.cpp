// Factors in files beside factors in memory: times of factorization and solves, what is moved, what is
// hidden.
//
//     out_of_core_bench FOLDER [SIDE [PAIRS [TYPE [solves]]]]
//
// The matrix is the Laplacian of a grid of SIDE^3 points (default 50) in the storage of each type, or of TYPE
// alone, the core a quarter of its factor, the folder that of the files. Both ways are timed in turn, PAIRS
// (default 3) times; reported are medians, and the medians of the ratios pair by pair. The files stay in the
// page cache of the system, as they do on a machine whose memory they fit.
//
// Then they are timed on a slow disk: this program's own pread and pwrite sleep as long as one of a gigabyte
// a second is busy, which takes nothing from the arithmetic. Beside what that takes stand the arithmetic
// alone, which is the time in memory, and the disk alone. Of the shorter one the share is told that the
// longer one hid.
//
// With `solves` it is solves alone: direct, refined and by iteration, with one right-hand side and with
// eight. Reported are minima and their ratio, since what takes a few milliseconds shows neighbours most.

#include <lintrix/engine/pardiso.h>
#include <lintrix/services/export.h>
#include <lintrix/services/threads.h>

#include "bench/laplacian.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/syscall.h>
#include <unistd.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::bench;

namespace {

using Clock = std::chrono::steady_clock;

// One transfer at a time; while it is busy, others queue. The system reads and writes some of it while nobody
// asks.
struct Disk {
    static constexpr double kBytesPerSecond = 1e9;
    static constexpr std::chrono::milliseconds kAhead{4};

    void move(std::size_t bytes)
    {
        if (!isSlow) return;
        const auto time = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(bytes) / kBytesPerSecond));
        Clock::time_point done;
        {
            const std::lock_guard lock(queue);
            done = free = std::max(free, Clock::now() - kAhead) + time;
        }
        std::this_thread::sleep_until(done);
    }

    std::atomic<bool> isSlow = false;
    std::mutex queue;
    Clock::time_point free;
} disk;

} // namespace

// The library calls these.
extern "C" LINTRIX_EXPORT ssize_t pread(int descriptor, void* into, size_t count, off_t offset)
{
    disk.move(count);
    return syscall(SYS_pread64, descriptor, into, count, offset);
}

extern "C" LINTRIX_EXPORT ssize_t pwrite(int descriptor, const void* from, size_t count, off_t offset)
{
    disk.move(count);
    return syscall(SYS_pwrite64, descriptor, from, count, offset);
}

namespace {

constexpr int kMostSides = 8;
constexpr double kSolved = 1e-13, kIterated = 1e-11;

std::string folder;
int side = 50, pairs = 3;

bool isComplex(int mtype)
{
    return mtype == 3 || std::abs(mtype) == 4 || mtype == 6 || mtype == 13;
}

// With a shift of the diagonal, but for Hermitian matrices, where the elements are complex.
Rows matrixFor(int mtype)
{
    Rows A = laplacian(side, 3, mtype % 2 == 0, isComplex(mtype));
    for (std::size_t k = 1; std::abs(mtype) == 4 && k < A.a.size(); k += 2) A.a[k] = 0.;
    return A;
}

double secondsNow()
{
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Bytes that this process has moved by calls of read and write.
struct Moved {
    static Moved now()
    {
        Moved moved;
        std::ifstream io("/proc/self/io");
        std::string name;
        for (double value = 0; io >> name >> value;) {
            if (name == "rchar:") moved.read = value;
            if (name == "wchar:") moved.written = value;
        }
        return moved;
    }
    double read = 0, written = 0;
};

// A system with its factor in memory, or in files beside a core of so many megabytes.
class System {
public:
    System(int mtype, int megabytes, int refinement = 0, int iteration = 0)
        : A_(matrixFor(mtype)), mtype_(mtype)
    {
        const PardisoParameters parameters(iparm_);
        parameters[PardisoParameter::CallersValues] = 1;
        parameters[PardisoParameter::Ordering] = 2;
        parameters[PardisoParameter::PivotExponent] = 13;
        parameters[PardisoParameter::FactorNonZeros] = -1;
        parameters[PardisoParameter::RefinementLimit] = refinement;
        parameters[PardisoParameter::IterativePath] = iteration;
        parameters[PardisoParameter::OutOfCore] = megabytes > 0 ? 2 : 0;
        setenv("MKL_PARDISO_OOC_MAX_CORE_SIZE", std::to_string(megabytes).c_str(), 1);
        b_.assign(std::size_t{kMostSides} * A_.n * width(), 1.);
        x_ = b_;
        call(11, kMostSides);
    }
    ~System() { call(-1, 1); }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    double megabytesOfFactor() const
    {
        return 8. * width() * iparm_[static_cast<int>(PardisoParameter::FactorNonZeros) - 1] / (1 << 20);
    }
    int leastCore() const { return iparm_[static_cast<int>(PardisoParameter::OutOfCoreMegabytes) - 1]; }

    double seconds(int phase, int sides)
    {
        const double start = secondsNow();
        call(phase, sides);
        return secondsNow() - start;
    }

    /// The factor is that of a matrix nearby from now on, which gives an iteration something to do.
    void changeMatrix()
    {
        for (std::size_t k = 0; k < A_.a.size(); ++k) A_.a[k] *= 1. + 1e-4 * static_cast<double>(k % 7);
    }

    // |b - A*x| over |A|*|x| + |b|, infinity norms, of the first right-hand side.
    double residual() const
    {
        const auto at = [&](const std::vector<double>& values, std::size_t k) {
            return width() == 2 ? std::complex(values[2 * k], values[2 * k + 1]) : std::complex(values[k]);
        };
        std::vector<std::complex<double>> r(static_cast<std::size_t>(A_.n));
        double largest = 0., normX = 0.;
        for (std::size_t i = 0; i < r.size(); ++i) {
            r[i] += at(b_, i);
            normX = std::max(normX, std::abs(at(x_, i)));
            for (auto k = static_cast<std::size_t>(A_.ia[i] - 1);
                 k < static_cast<std::size_t>(A_.ia[i + 1] - 1); ++k) {
                const auto j = static_cast<std::size_t>(A_.ja[k] - 1);
                r[i] -= at(A_.a, k) * at(x_, j);
                if (mtype_ % 2 == 0 && i != j) r[j] -= at(A_.a, k) * at(x_, i); // real off the diagonal
            }
        }
        for (const auto value : r) largest = std::max(largest, std::abs(value));
        return largest / (12. * normX + 1.);
    }

private:
    int width() const { return isComplex(mtype_) ? 2 : 1; }
    void call(int phase, int sides)
    {
        int error = 0;
        pardiso(pt_, 1, 1, mtype_, phase, A_.n, A_.a.data(), A_.ia.data(), A_.ja.data(), nullptr, sides,
                iparm_, 0, b_.data(), x_.data(), error);
        if (error == 0) return;
        std::fprintf(stderr, "type %d, phase %d: error %d\n", mtype_, phase, error);
        std::exit(1);
    }

    Rows A_;
    int mtype_;
    void* pt_[64] = {};
    int iparm_[PardisoParameters::kSlots] = {};
    std::vector<double> b_, x_;
};

// Medians of one step of both ways.
struct Paired {
    Paired(System& memory, System& files, int phase, int sides)
    {
        std::vector<double> own, others, ratios;
        memory.seconds(phase, sides);
        const Moved before = Moved::now();
        files.seconds(phase, sides);
        const Moved after = Moved::now();
        megabytesRead = (after.read - before.read) / (1 << 20);
        megabytesWritten = (after.written - before.written) / (1 << 20);
        for (int pair = 0; pair < pairs; ++pair) {
            own.push_back(memory.seconds(phase, sides));
            others.push_back(files.seconds(phase, sides));
            ratios.push_back(others.back() / own.back());
        }
        inMemory = medianOf(own);
        inFiles = medianOf(others);
        ratio = medianOf(ratios);
    }
    double inMemory, inFiles, ratio, megabytesRead, megabytesWritten;
};

// A step on the slow disk, and of the shorter one of arithmetic and transfers the part that the longer one
// hid.
struct Slowed {
    Slowed(const Paired& step, System& files, int phase)
    {
        std::vector<double> seconds;
        disk.isSlow = true;
        for (int pair = 0; pair < pairs; ++pair) seconds.push_back(files.seconds(phase, 1));
        disk.isSlow = false;
        total = medianOf(seconds);
        transfers = (step.megabytesRead + step.megabytesWritten) * (1 << 20) / Disk::kBytesPerSecond;
        hidden = std::clamp((step.inMemory + transfers - total) / std::min(step.inMemory, transfers), 0., 1.);
    }
    double total, transfers, hidden;
};

// A quarter of the factor, more where that is not enough.
int coreBeside(const System& memory)
{
    return std::max(static_cast<int>(memory.megabytesOfFactor() / 4), memory.leastCore());
}

void measure(int mtype, int threads)
{
    MKL_Set_Num_Threads(threads);
    System memory(mtype, 0);
    const int core = coreBeside(memory);
    System files(mtype, core);
    const Paired factorization(memory, files, 22, 1), one(memory, files, 33, 1), eight(memory, files, 33, 8);
    const double both = (factorization.inFiles + one.inFiles) / (factorization.inMemory + one.inMemory);
    const double ofMemory = memory.residual(), ofFiles = files.residual();
    if (!(ofMemory < kSolved && ofFiles < kSolved)) std::exit(1);
    const Slowed slowFactorization(factorization, files, 22), slowSolve(one, files, 33);
    std::printf("| %2d | %d | %4.0f | %3d | %6.3f %6.3f %5.2f |", mtype, threads, memory.megabytesOfFactor(),
                core, factorization.inMemory, factorization.inFiles, factorization.ratio);
    for (const Paired& solve : {one, eight})
        std::printf(" %6.1f %6.1f %5.2f |", 1e3 * solve.inMemory, 1e3 * solve.inFiles, solve.ratio);
    std::printf(" %5.2f | %5.0f %5.0f | %5.0f | %.0e %.0e |", both, factorization.megabytesRead,
                factorization.megabytesWritten, one.megabytesRead, ofMemory, ofFiles);
    for (const Slowed& slow : {slowFactorization, slowSolve})
        std::printf(" %.3f %.3f %3.0f %% |", slow.transfers, slow.total, 100. * slow.hidden);
    std::printf("\n");
    std::fflush(stdout);
}

// What follows the direct solve.
struct Improving {
    int refinement, iteration;
};

void measureSolves(int mtype, Improving improving)
{
    System memory(mtype, 0, improving.refinement, improving.iteration);
    System files(mtype, coreBeside(memory), improving.refinement, improving.iteration);
    for (System* const system : {&memory, &files}) {
        system->seconds(22, 1);
        if (improving.iteration != 0) system->changeMatrix();
    }
    for (const int sides : {1, kMostSides}) {
        double own = 1e9, others = 1e9;
        for (int pair = 0; pair < pairs; ++pair) {
            own = std::min(own, memory.seconds(33, sides));
            others = std::min(others, files.seconds(33, sides));
        }
        const double solved = improving.iteration != 0 ? kIterated : kSolved;
        if (!(memory.residual() < solved && files.residual() < solved)) std::exit(1);
        std::printf(" %.1f → %.1f | %.2f |", 1e3 * own, 1e3 * others, others / own);
    }
    std::fflush(stdout);
}

void tableOfSolves(const std::vector<int>& types)
{
    std::printf(
        "| type | threads | solve of 1, ms | ratio | of 8 | ratio | refined, of 1 | ratio | of 8 | ratio |"
        " iterated, of 1 | ratio | of 8 | ratio "
        "|\n|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const int mtype : types) {
        const int iteration = mtype == 2 ? 62 : 61;
        for (const int threads : {1, 2}) {
            MKL_Set_Num_Threads(threads);
            std::printf("| %d | %d |", mtype, threads);
            for (const Improving improving : {Improving{0, 0}, {2, 0}, {0, iteration}})
                measureSolves(mtype, improving);
            std::printf("\n");
        }
    }
}

void table(const std::vector<int>& types)
{
    std::printf(
        "| type | threads | factor MB | core MB | factorization s, in memory, in files, ratio |"
        " solve of 1 ms | solve of 8 ms | factorization and solve | MB read, written | by a solve |"
        " residuals | slow disk: transfers and factorization s, hidden | transfers and solve s, hidden |\n"
        "|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const int mtype : types) {
        for (const int threads : {1, 2}) measure(mtype, threads);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "out_of_core_bench FOLDER [SIDE [PAIRS [TYPE [solves]]]]\n");
        return 2;
    }
    folder = std::string(argv[1]) + "/out_of_core_bench";
    if (argc > 2) side = std::max(2, std::atoi(argv[2]));
    if (argc > 3) pairs = std::max(1, std::atoi(argv[3]));
    std::filesystem::create_directories(folder);
    setenv("MKL_PARDISO_OOC_PATH", (folder + "/factor").c_str(), 1);
    setenv("MKL_PARDISO_OOC_KEEP_FILE", "0", 1);
    MKL_Set_Dynamic(0);
    std::vector<int> types{1, 2, -2, 3, 4, -4, 6, 11, 13};
    if (argc > 4) types.assign(1, std::atoi(argv[4]));
    argc > 5 ? tableOfSolves(types) : table(types);
    std::filesystem::remove_all(folder);
    return 0;
}
