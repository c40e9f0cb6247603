// Rates of the numeric factorization on grids, as shares of dgemm's, each taken in turn with its own dgemm;
// for the definite type beside CHOLMOD's supernodal factorization where SuiteSparse is installed.
//
//     factorization_rates [THREADS]
//
// With one thread (the default) times are processor times, which neighbours on the machine hardly disturb.

#include <lintrix/engine/analysis/symbolic/forecast.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/threads.h>

#include "bench/laplacian.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#ifdef LINTRIX_HAS_CHOLMOD
#include <cholmod.h>
#endif

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::bench;
using namespace Velmar::Lintrix::detail::engine;

namespace {

constexpr int kRepeats = 4;

int threads = 1;

double seconds()
{
    timespec time{};
    clock_gettime(threads == 1 ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

template <class Work>
double best(Work work)
{
    double least = 1e30;
    for (int repeat = 0; repeat < kRepeats; ++repeat) {
        const double start = seconds();
        work();
        least = std::min(least, seconds() - start);
    }
    return least;
}

double gemmRate()
{
    constexpr int n = 1000;
    const std::vector<double> a(n * n, 1.), b(n * n, 1.);
    std::vector<double> c(n * n);
    const double time =
        best([&] { detail::blas::gemm('N', 'N', n, n, n, 1., a.data(), n, b.data(), n, 0., c.data(), n); });
    return 2. * n * n * n / time * 1e-9;
}

#ifdef LINTRIX_HAS_CHOLMOD
double cholmodTime(Rows A, int dimensions)
{
    cholmod_common common;
    cholmod_start(&common);
    common.supernodal = CHOLMOD_SUPERNODAL;
    common.nmethods = 1;
    common.method[0].ordering = dimensions == 2 ? CHOLMOD_AMD : CHOLMOD_METIS;
    for (int& start : A.ia) --start;
    for (int& column : A.ja) --column;
    // Rows of the upper triangle are columns of the lower one.
    cholmod_sparse lower{};
    lower.nrow = lower.ncol = static_cast<std::size_t>(A.n);
    lower.nzmax = A.ja.size();
    lower.p = A.ia.data();
    lower.i = A.ja.data();
    lower.x = A.a.data();
    lower.stype = -1;
    lower.itype = CHOLMOD_INT;
    lower.xtype = CHOLMOD_REAL;
    lower.sorted = lower.packed = 1;
    cholmod_factor* factor = cholmod_analyze(&lower, &common);
    const double time = best([&] { cholmod_factorize(&lower, factor, &common); });
    cholmod_free_factor(&factor, &common);
    cholmod_finish(&common);
    return time;
}
#endif

void measure(int mtype, int side, int dimensions)
{
    const bool complex = mtype == 6 || mtype == 13, upper = mtype % 2 == 0;
    Rows A = laplacian(side, dimensions, upper, complex);
    void* pt[64] = {};
    int iparm[PardisoParameters::kSlots] = {}, error = 0;
    const PardisoParameters parameters(iparm);
    parameters[PardisoParameter::CallersValues] = 1;
    parameters[PardisoParameter::Ordering] = dimensions == 2 ? 0 : 2;
    parameters[PardisoParameter::PivotExponent] = 13;
    const auto call = [&](int phase) {
        pardiso(pt, 1, 1, mtype, phase, A.n, A.a.data(), A.ia.data(), A.ja.data(), nullptr, 1, iparm, 0,
                nullptr, nullptr, error);
        if (error != 0) std::exit(1);
    };
    call(11);
    const double operations = operationCount(PermanentStructure(Handle(pt)).structure(), !upper, complex);
    const double gemm = gemmRate(), time = best([&] { call(22); }), rate = operations / time * 1e-9;
    std::printf("| %2d | %d-D grid, side %3d | %9.3f | %6.1f | %3.0f %% |", mtype, dimensions, side, time,
                rate, 100. * rate / gemm);
#ifdef LINTRIX_HAS_CHOLMOD
    if (mtype == 2) std::printf(" %.2f", time / cholmodTime(A, dimensions));
#endif
    std::printf(" |\n");
    call(-1);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1) threads = std::max(1, std::atoi(argv[1]));
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(threads);
    std::printf(
        "| type | matrix | seconds | GF/s | of dgemm | of CHOLMOD's time |\n|---|---|---|---|---|---|\n");
    for (const int mtype : {2, -2, 11, 6, 13}) {
        measure(mtype, 300, 2);
        measure(mtype, 30, 3);
    }
    measure(2, 500, 2);
    measure(2, 40, 3);
    measure(2, 50, 3);
    return 0;
}
