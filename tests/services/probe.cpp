// Answers questions about the kernel services of a fresh process, one line `key=value` for each fact.
// Arguments are done in order; see `commands` for what there is.

#include "tests/support/sanitized.h"
#include <lintrix/engine/factorization/supernode_update.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/services/attendants.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/blas_identity.h>
#include <lintrix/services/blas_kernels.h>
#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/processor.h>
#include <lintrix/services/system_allocator.h>
#include <lintrix/services/threads.h>
#include <lintrix/services/topology.h>
#include <lintrix/sparse/kernels.h>

#include <omp.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/single_threaded.h>
#include <unistd.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail;

namespace {

void say(const char* key, long value)
{
    std::printf("%s=%ld\n", key, value);
}

long osThreads()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                         std::filesystem::directory_iterator{});
}

// Threads of this process at the start of main. A sanitizer's own helper, which comes with the first thread
// that the process starts, is among them. That thread is not: it may be listed for a moment after it was
// joined.
long threadsAtStart()
{
    std::filesystem::path first("/proc/self/task");
    std::thread([&] { first /= std::to_string(gettid()); }).join();
    while (std::filesystem::exists(first)) std::this_thread::yield();
    return osThreads();
}

void multiply(int n)
{
    const auto cells = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    const std::vector<double> a(cells, 1.0), b(cells, 2.0);
    std::vector<double> c(cells);
    blas::gemm('N', 'N', n, n, n, 1.0, a.data(), n, b.data(), n, 0.0, c.data(), n);
    if (c.front() != 2.0 * n || c.back() != 2.0 * n) std::abort();
}

void answerThreads(int)
{
    say("all", MKL_Get_Max_Threads());
    say("blas", domainThreads(Domain::Blas));
    say("fft", domainThreads(Domain::Fft));
    say("vml", domainThreads(Domain::Vml));
    say("dynamic", MKL_Get_Dynamic());
    say("omp-max", omp_get_max_threads());
}

// What each of two threads in an active region is told, which must be the same.
void answerRegion(int)
{
    int told[2] = {-1, -1};
#pragma omp parallel num_threads(2)
    told[omp_get_thread_num()] = MKL_Get_Max_Threads();
    say("region-first", told[0]);
    say("region-second", told[1]);
}

void answerGemm(int n)
{
    multiply(n);
    say("omp-max", omp_get_max_threads());
}

void answerRegionGemm(int n)
{
    int maximum[2][2] = {};
#pragma omp parallel num_threads(2)
    {
        const int me = omp_get_thread_num();
        maximum[me][0] = omp_get_max_threads();
        multiply(n);
        maximum[me][1] = omp_get_max_threads();
    }
    say("region-restored", maximum[0][0] == maximum[0][1] && maximum[1][0] == maximum[1][1]);
}

void answerProcessor(int)
{
    const Processor& processor = thisProcessor();
    say("class", static_cast<long>(processor.processorClass));
    say("path", processor.codePath);
    say("amd", processor.amdFamilyFlag);
    say("vsmp", processor.vsmp);
    say("instruction-set", static_cast<long>(processor.kernels));
}

/// Where a kernel set stands among those by feature bits; -1 for none of them.
long levelOf(std::string_view kernels)
{
    for (int set = 0; set <= static_cast<int>(InstructionSet::Avx512); ++set) {
        if (kernels == blasKernelsFor(static_cast<InstructionSet>(set))) return set;
    }
    return -1;
}

const bool aloneAtStart = __libc_single_threaded != 0;

void answerKernels(int)
{
    const BlasKernelControl blas = blasKernelControl();
    say("kernels-adjustable", aloneAtStart && blas.drop != nullptr && blas.choose != nullptr);
    say("kernels-in-use", blas.name == nullptr ? -1 : levelOf(blas.name()));
    say("kernels-variable", std::getenv("OPENBLAS_CORETYPE") != nullptr);
    say("kernels-found", levelOf(blasKernels().found));
    say("kernels-noted", !DescribeBlas().coreNote.empty());
}

/// 0 - (-(1 + 2^-29)*1 + (1 + 2^-30)^2) for eight rows: -2^-60 where products are fused with their sum, and 0
/// where they are rounded, as SSE2 has to.
void answerFused(int)
{
    constexpr int rows = 8;
    const double factor = 1.0 + 0x1p-30;
    double a[2 * rows];
    std::fill_n(a, rows, -1.0 - 0x1p-29);
    std::fill_n(a + rows, rows, factor);
    const double b[2] = {1.0, factor};
    const int row[rows] = {0, 1, 2, 3, 4, 5, 6, 7};
    double cells[rows] = {}, buffer[engine::updateBufferSize(1, 2, 1)];
    const engine::UpdatePanel<double> panel{cells, rows, 1, 0};
    engine::subtractProduct<double>({a, rows, b, 1, rows, 1, 2, 0}, {{&panel, 1}, row}, false, buffer);
    say("fused", cells[0] != 0.0 && cells[rows - 1] != 0.0);
}

/// Binds the first thread to the first of its processors.
void bindFirstThread(int)
{
    cpu_set_t mask;
    sched_getaffinity(0, sizeof mask, &mask);
    int first = 0;
    while (!CPU_ISSET(first, &mask)) ++first;
    CPU_ZERO(&mask);
    CPU_SET(first, &mask);
    if (sched_setaffinity(0, sizeof mask, &mask) != 0) std::abort();
}

/// A tridiagonal matrix by its upper triangle, as one of type 2 or -2, or a general one with these entries.
struct Chain {
    std::vector<int> ia{1}, ja;
    std::vector<double> a, b, x;

    explicit Chain(int n) : b(static_cast<std::size_t>(n), 1.0), x(b.size(), 0.0)
    {
        for (int i = 1; i <= n; ++i) {
            for (int j = i; j <= std::min(i + 1, n); ++j) {
                ja.push_back(j);
                a.push_back(i == j ? 4.0 : 1.0);
            }
            ia.push_back(static_cast<int>(ja.size()) + 1);
        }
    }
    int n() const { return static_cast<int>(b.size()); }
};

/// y := A*x of `n` rows, as a general matrix and as a symmetric one.
void answerSparseProduct(int n)
{
    Chain chain(n);
    for (const char* const descriptor : {"GUNF", "SUNF"}) {
        mkl_dcsrmv("N", n, n, 1.0, descriptor, chain.a.data(), chain.ja.data(), chain.ia.data(),
                   chain.ia.data() + 1, chain.b.data(), 0.0, chain.x.data());
    }
}

/// Solves a system of `n` equations by each kind of factorization, with refinement.
void answerDirectSolve(int n)
{
    for (const int mtype : {2, -2, 11, 1}) {
        Chain chain(n);
        void* pt[64] = {};
        int iparm[64] = {1, 2}, error = 0;
        iparm[7] = 3;
        iparm[9] = 13;
        for (const int phase : {13, -1}) {
            pardiso(pt, 1, 1, mtype, phase, n, chain.a.data(), chain.ia.data(), chain.ja.data(), nullptr, 1,
                    iparm, 0, chain.b.data(), chain.x.data(), error);
            if (error != 0) std::abort();
        }
        if (mtype == 2) say("engine-threads", iparm[2]);
    }
}

int systemCalls = 0;

// A pooled request asks the system for a pool and a padded block, and its repetition for nothing.
void answerPool(int)
{
    SystemAllocatorSlots().malloc = [](std::size_t size) {
        ++systemCalls;
        return std::malloc(size);
    };
    for (int i = 0; i < 3; ++i) poolRelease(poolAllocate(1000, 64));
    say("pool-system-calls", systemCalls);
    MKL_FreeBuffers();
}

void answerTopology(int)
{
    const Topology& topology = machineTopology();
    say("logical", topology.logical);
    say("cores", topology.cores);
    say("packages", topology.packages);
    say("cores-per-package", topology.coresPerPackage);
    say("hyper-threading", topology.hyperThreading);
}

// From here on the address space may grow by so many megabytes.
void limitMemory(int megabytes)
{
    std::ifstream sizes("/proc/self/statm");
    rlim_t pages = 0;
    sizes >> pages;
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    if (LINTRIX_SANITIZED_MEMORY) return;
    limit.rlim_cur =
        pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (static_cast<rlim_t>(megabytes) << 20);
    setrlimit(RLIMIT_AS, &limit);
}

// Processors and stack of an attendant that this thread starts.
void answerAttendant(int)
{
    struct Seen {
        std::atomic<bool> isDone{false};
        long processors = 0, stackBytes = 0;
    } seen;
    const auto serve = [](void* context) {
        auto& answer = *static_cast<Seen*>(context);
        if (answer.isDone) return false;
        cpu_set_t set;
        sched_getaffinity(0, sizeof set, &set);
        answer.processors = CPU_COUNT(&set);
        pthread_attr_t attributes;
        std::size_t bytes = 0;
        if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
            pthread_attr_getstacksize(&attributes, &bytes);
            pthread_attr_destroy(&attributes);
        }
        answer.stackBytes = static_cast<long>(bytes);
        answer.isDone = true;
        return false;
    };
    {
        const Attendants attendants(1, serve, &seen);
        while (!seen.isDone) std::this_thread::yield();
    }
    cpu_set_t own;
    sched_getaffinity(0, sizeof own, &own);
    say("processors-of-caller", CPU_COUNT(&own));
    say("processors-of-attendant", seen.processors);
    say("stack-of-attendant", seen.stackBytes);
}

const std::map<std::string, std::function<void(int)>> commands{
    {"attendant", answerAttendant},
    {"limit-memory", limitMemory},
    {"set-threads", [](int n) { MKL_Set_Num_Threads(n); }},
    {"set-dynamic", [](int flag) { MKL_Set_Dynamic(flag); }},
    {"set-omp", [](int n) { omp_set_num_threads(n); }},
    {"threads", answerThreads},
    {"region", answerRegion},
    {"gemm", answerGemm},
    {"region-gemm", answerRegionGemm},
    {"processor", answerProcessor},
    {"kernels", answerKernels},
    {"fused", answerFused},
    {"bind", bindFirstThread},
    {"sparse-product", answerSparseProduct},
    {"direct-solve", answerDirectSolve},
    {"pool", answerPool},
    {"topology", answerTopology},
};

char* variable(const char* name)
{
    const std::size_t length = std::strlen(name);
    for (char** line = environ; line != nullptr && *line != nullptr; ++line) {
        if (std::strncmp(*line, name, length) == 0 && (*line)[length] == '=') return *line + length + 1;
    }
    return nullptr;
}

} // namespace

// The program's own stands before that of the system for all that it has loaded. The first to ask for
// OPENBLAS_CORETYPE is OpenBLAS when it starts: with PROBE_TAKEN_FOR it chooses those kernels, as on a
// processor that it takes for an old one, and nobody else learns of it.
extern "C" [[gnu::visibility("default")]] char* getenv(const char* name) noexcept
{
    static bool asked = false;
    if (std::strcmp(name, "OPENBLAS_CORETYPE") == 0 && !std::exchange(asked, true)) {
        if (char* const takenFor = variable("PROBE_TAKEN_FOR")) return takenFor;
    }
    return variable(name);
}

int main(int count, char** arguments)
{
    const long before = threadsAtStart();
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const std::size_t equals = argument.find('=');
        const auto command = commands.find(argument.substr(0, equals));
        if (command == commands.end()) return 2;
        command->second(equals == std::string::npos ? 0 : std::atoi(argument.c_str() + equals + 1));
    }
    say("os-threads", 1 + osThreads() - before);
    return 0;
}
