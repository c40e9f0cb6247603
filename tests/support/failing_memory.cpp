// A library to be preloaded: from the k-th request on, memory is refused to the whole process. Requests count
// from main on, since what the loader and the libraries do before is nobody's to answer.
//
// FAIL_MEMORY_FROM=k    request k (from 0) and all after it are refused
// COUNT_MEMORY_IN=FILE  the number of requests is written there at the end
//
// A process that hangs is ended by SIGALRM.

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

constexpr unsigned kPatience = 60; // seconds

using Main = int (*)(int, char**, char**);

std::atomic<bool> inMain{false};
std::atomic<long> requests{0};
long firstRefused = LONG_MAX;
Main programsMain = nullptr;

bool refuses()
{
    if (!inMain.load(std::memory_order_relaxed)) return false;
    if (requests.fetch_add(1, std::memory_order_relaxed) < firstRefused) return false;
    errno = ENOMEM;
    return true;
}

int countedMain(int count, char** arguments, char** environment)
{
    if (const char* k = std::getenv("FAIL_MEMORY_FROM")) firstRefused = std::strtol(k, nullptr, 10);
    alarm(kPatience);
    inMain = true;
    return programsMain(count, arguments, environment);
}

__attribute__((destructor)) void tell()
{
    const char* const file = std::getenv("COUNT_MEMORY_IN");
    if (file == nullptr) return;
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%ld\n", requests.load());
    const int out = open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out < 0 || write(out, text, static_cast<std::size_t>(length)) != length) abort();
    close(out);
}

} // namespace

extern "C" {

int __libc_start_main(Main main, int count, char** arguments, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stack)
{
    programsMain = main;
    const auto real = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return real(countedMain, count, arguments, init, fini, loaderFini, stack);
}

void* malloc(std::size_t size)
{
    return refuses() ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size)
{
    return refuses() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size)
{
    return refuses() ? nullptr : __libc_realloc(block, size);
}
void* memalign(std::size_t alignment, std::size_t size)
{
    return refuses() ? nullptr : __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    void* const taken = memalign(alignment, size);
    if (taken == nullptr) return ENOMEM;
    *block = taken;
    return 0;
}

} // extern "C"
