// Truncated SVD beside ARPACK (symmetric Lanczos on A'*A, implicit restarts) and Spectra's PartialSVDSolver,
// in turn in one process:
//
//     sparse_svd_bench [--k 10,50] [--tol 1e-10] [--runs 5] FILE.mtx.gz ...
//
// A Markdown row for each file and count: the Lanczos steps; own time over the faster peer's, and the same of
// the floor and of the floor with dbdsdc; the least seconds of all runs; the largest residual of all
// triplets, max(||A*v - s*u||, ||A'*u - s*v||)/s(0), and the last value of each. The values differ where the
// matrix has multiple ones: a single Krylov space holds each of them once.
//
// The floor is the least time of the reorthogonalization that the contract prescribes (see lanczos_floor.h),
// under rates measured before the first row; dbdsdc is the time in that routine, measured in each run.

#include <bench/lanczos_floor.h>
#include <bench/paired.h>
#include <bench/svd_peers.h>

#include <lintrix/dense/access.h>
#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <omp.h>

namespace {
double secondsInBdsdc = 0.0;
}

// Stands before the routine of LAPACK, for the library too, and times it.
extern "C" [[gnu::visibility("default")]] void dbdsdc_(const char* uplo, const char* compq, const int* n,
                                                       double* d, double* e, double* u, const int* ldu,
                                                       double* vt, const int* ldvt, double* q, int* iq,
                                                       double* work, int* iwork, int* info,
                                                       std::size_t uploLength, std::size_t compqLength)
{
    static const auto next = reinterpret_cast<decltype(&dbdsdc_)>(dlsym(RTLD_NEXT, "dbdsdc_"));
    secondsInBdsdc += Velmar::Lintrix::bench::secondsOf(1, [&] {
        next(uplo, compq, n, d, e, u, ldu, vt, ldvt, q, iq, work, iwork, info, uploLength, compqLength);
    });
}

namespace Velmar::Lintrix::bench {
namespace {

std::optional<Decomposition> byLintrix(const Task& task)
{
    LanczosObserver observer;
    observer.afterPass = [&](const LanczosPass& pass) { return pass.steps < task.smallerSide(); };
    const SparseSVD svd(task.A, task.k, task.tolerance, observer);
    if (!(svd.LastPass().residual <= svd.LastPass().tolerance)) return std::nullopt;
    using detail::DenseAccess;
    return Decomposition{
        ::Eigen::Map<const ::Eigen::MatrixXd>(DenseAccess::cells(svd.U()), task.A.Rows(), task.k),
        ::Eigen::Map<const ::Eigen::MatrixXd>(DenseAccess::cells(svd.V()), task.A.Cols(), task.k),
        ::Eigen::Map<const ::Eigen::VectorXd>(DenseAccess::cells(svd.S()), task.k), svd.LastPass().steps};
}

struct Contestant {
    const char* name;
    std::function<std::optional<Decomposition>(const Task&)> work;
    std::optional<Decomposition> found;
    std::vector<double> seconds;

    double time() const { return found ? leastOf(seconds) : std::numeric_limits<double>::infinity(); }
    std::string figures(const Task& task) const
    {
        if (!found) return "- | - | -";
        char text[80];
        std::snprintf(text, sizeof text, "%.5f | %.1e | %.10g", time(), residualOf(task, *found),
                      found->s[task.k - 1]);
        return text;
    }
};

void compare(const std::string& file, const Task& task, int runs, const LanczosFloor& machine)
{
    std::vector<Contestant> all{
        {"lintrix", byLintrix, {}, {}}, {"arpack", byArpack, {}, {}}, {"spectra", bySpectra, {}, {}}};
    std::vector<double> bdsdcSeconds;
    for (int run = 0; run < runs; ++run) {
        secondsInBdsdc = 0.0;
        for (Contestant& one : all) {
            one.seconds.push_back(secondsOf(1, [&] { one.found = one.work(task); }));
        }
        bdsdcSeconds.push_back(secondsInBdsdc);
    }
    const int m = task.A.Rows(), n = task.A.Cols(), steps = all[0].found ? all[0].found->steps : 0;
    const double best = std::min(all[1].time(), all[2].time()), floor = machine.seconds(m, n, steps),
                 bdsdc = leastOf(bdsdcSeconds);
    std::printf("| %s | %d x %d | %d | %d | %.2f | %.2f | %.2f | %.5f | %.5f | %s | %s | %s |\n",
                nameOf(file).c_str(), m, n, task.k, steps, all[0].time() / best, floor / best,
                (floor + bdsdc) / best, floor, bdsdc, all[0].figures(task).c_str(),
                all[1].figures(task).c_str(), all[2].figures(task).c_str());
    std::fflush(stdout);
}

void tellMachine(const LanczosFloor& machine)
{
    std::printf("%d threads; fused loop in the first cache: %.1f GFlop/s; reading GB/s:",
                omp_get_max_threads(), machine.operationsPerSecond() * 1e-9);
    for (const double mebibytes : {0.02, 1.0, 2.0, 4.0, 16.0, 128.0}) {
        std::printf(" %.3g MiB: %.0f", mebibytes, machine.bytesPerSecond(mebibytes * 0x1p20) * 1e-9);
    }
    std::puts("\n");
}

int run(const std::vector<std::string>& words)
{
    std::vector<int> counts{10, 50};
    double tolerance = 1e-10;
    int runs = 5;
    const LanczosFloor machine(omp_get_max_threads());
    tellMachine(machine);
    std::puts(
        "| matrix | size | k | steps | own / best peer | floor / best | floor + dbdsdc / best | floor s | "
        "dbdsdc s | own s | residual | s(k) | ARPACK s | residual | s(k) | Spectra s | residual | s(k) |\n"
        "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|");
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool valued = i + 1 < words.size();
        if (words[i] == "--tol" && valued) {
            tolerance = std::atof(words[++i].c_str());
        } else if (words[i] == "--runs" && valued) {
            runs = std::atoi(words[++i].c_str());
        } else if (words[i] == "--k" && valued) {
            counts.clear();
            std::istringstream list(words[++i]);
            for (std::string word; std::getline(list, word, ',');) counts.push_back(std::atoi(word.c_str()));
        } else {
            const SparseMatrix A =
                MatrixMarketReader(words[i]).ReadSparse(MatrixMarketStorage::BothTriangles);
            const Rows rows = rowsOf(A);
            for (const int k : counts) {
                if (k > std::min(A.Rows(), A.Cols())) continue;
                compare(words[i], Task{A, rows, Rows(rows.transpose()), k, tolerance}, runs, machine);
            }
        }
    }
    return 0;
}

} // namespace
} // namespace Velmar::Lintrix::bench

int main(int argc, char** argv)
{
    return Velmar::Lintrix::bench::run({argv + 1, argv + argc});
}
