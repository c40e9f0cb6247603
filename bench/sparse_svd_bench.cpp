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

#include <lintrix/dense/access.h>
#include <lintrix/lintrix.h>

#include <Eigen/SparseCore>
#include <Spectra/contrib/PartialSVDSolver.h>

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

extern "C" {
void dsaupd_(int* ido, const char* bmat, const int* n, const char* which, const int* nev, const double* tol,
             double* resid, const int* ncv, double* v, const int* ldv, int* iparam, int* ipntr, double* workd,
             double* workl, const int* lworkl, int* info, std::size_t, std::size_t);
void dseupd_(const int* rvec, const char* howmny, int* select, double* d, double* z, const int* ldz,
             const double* sigma, const char* bmat, const int* n, const char* which, const int* nev,
             const double* tol, double* resid, const int* ncv, double* v, const int* ldv, int* iparam,
             int* ipntr, double* workd, double* workl, const int* lworkl, int* info, std::size_t, std::size_t,
             std::size_t);
}

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

using Rows = ::Eigen::SparseMatrix<double, ::Eigen::RowMajor>;

struct Decomposition {
    ::Eigen::MatrixXd U, V;
    ::Eigen::VectorXd s;
    int steps = 0; ///< of Lanczos without restarts
};

struct Task {
    SparseMatrix A;
    Rows rows, transposed; ///< the same for the peers
    int k;
    double tolerance;

    bool tall() const { return A.Rows() >= A.Cols(); }
    int smallerSide() const { return std::min(A.Rows(), A.Cols()); }
    /// The size of the restarted space: its usual choice.
    int space() const { return std::min(smallerSide(), std::max(2 * k + 1, 20)); }
};

Rows rowsOf(const SparseMatrix& A)
{
    std::vector<::Eigen::Triplet<double>> elements;
    const auto pointers = A.RowPointers();
    for (int r = 0; r < A.Rows(); ++r) {
        for (int p = pointers[static_cast<std::size_t>(r)] - 1;
             p < pointers[static_cast<std::size_t>(r) + 1] - 1; ++p) {
            elements.emplace_back(r, A.ColumnIndices()[static_cast<std::size_t>(p)] - 1,
                                  A.Values()[static_cast<std::size_t>(p)]);
        }
    }
    Rows rows(A.Rows(), A.Cols());
    rows.setFromTriplets(elements.begin(), elements.end());
    return rows;
}

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

std::optional<Decomposition> bySpectra(const Task& task)
{
    if (task.k >= task.space()) return std::nullopt;
    Spectra::PartialSVDSolver<Rows> svd(task.rows, task.k, task.space());
    if (svd.compute(1000, task.tolerance) < task.k) return std::nullopt;
    return Decomposition{svd.matrix_U(task.k), svd.matrix_V(task.k), svd.singular_values(), 0};
}

// The symmetric eigenproblem of B'*B, where B is A or its transpose, whichever is tall.
std::optional<Decomposition> byArpack(const Task& task)
{
    if (task.k >= task.space()) return std::nullopt;
    const Rows &B = task.tall() ? task.rows : task.transposed,
               &Bt = task.tall() ? task.transposed : task.rows;
    const int n = task.smallerSide(), space = task.space(), k = task.k, lengthOfWork = space * (space + 8);
    ::Eigen::VectorXd residual(n), work(3 * n), small(lengthOfWork), image(B.rows()), values(k);
    ::Eigen::MatrixXd basis(n, space);
    int ido = 0, info = 0, parameters[11] = {1, 0, 10000, 1, 0, 0, 1}, pointers[14] = {};
    for (;;) {
        dsaupd_(&ido, "I", &n, "LM", &k, &task.tolerance, residual.data(), &space, basis.data(), &n,
                parameters, pointers, work.data(), small.data(), &lengthOfWork, &info, 1, 2);
        if (ido != 1 && ido != -1) break;
        image.noalias() = B * work.segment(pointers[0] - 1, n);
        work.segment(pointers[1] - 1, n).noalias() = Bt * image;
    }
    if (info != 0) return std::nullopt;
    std::vector<int> select(static_cast<std::size_t>(space));
    const int wanted = 1;
    const double shift = 0.0;
    dseupd_(&wanted, "A", select.data(), values.data(), basis.data(), &n, &shift, "I", &n, "LM", &k,
            &task.tolerance, residual.data(), &space, basis.data(), &n, parameters, pointers, work.data(),
            small.data(), &lengthOfWork, &info, 1, 1, 2);
    if (info != 0) return std::nullopt;
    Decomposition found;
    found.s = values.reverse().cwiseMax(0.0).cwiseSqrt();
    ::Eigen::MatrixXd narrow = basis.leftCols(k).rowwise().reverse();
    ::Eigen::MatrixXd wide = B * narrow * found.s.cwiseInverse().asDiagonal();
    found.U = task.tall() ? wide : narrow;
    found.V = task.tall() ? narrow : wide;
    return found;
}

double residualOf(const Task& task, const Decomposition& d)
{
    const ::Eigen::MatrixXd left = task.rows * d.V - d.U * d.s.asDiagonal(),
                            right = task.transposed * d.U - d.V * d.s.asDiagonal();
    return std::max(left.colwise().norm().maxCoeff(), right.colwise().norm().maxCoeff()) / d.s[0];
}

double leastOf(const std::vector<double>& seconds)
{
    return *std::min_element(seconds.begin(), seconds.end());
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

std::string nameOf(const std::string& file)
{
    const std::size_t begin = file.rfind('/') + 1;
    return file.substr(begin, file.find(".mtx", begin) - begin);
}

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
