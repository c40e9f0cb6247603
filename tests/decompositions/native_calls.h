#pragma once
/// @file
/// How a program writes down the calls of LAPACK and BLAS that the library makes.
///
/// Such a program defines the routines itself. Its definitions come before those of the library of routines,
/// so that every call arrives there, is written down, and goes on to the routine proper.

#include <lintrix/foundation/allocators.h>

#include <dlfcn.h>

#include <complex>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

inline std::vector<std::string> calls;
inline std::vector<std::string> complaints; ///< of the routines about their arguments
inline bool inverseFails = false;           ///< getri then answers INFO = 1 without doing anything
inline bool iterationStops = false; ///< gesdd, syev, heev and geevx then answer INFO = 1 after their work
inline thread_local int depth = 0;  ///< the routines call one another; only the outermost call is ours

/// How many cells the block of the library holds that starts at `cells`.
template <class Cell>
std::string block(const char* name, const Cell* cells)
{
    const std::string text = std::string(" ") + name;
    if (cells == nullptr) return text + "=null";
    return text + '[' + std::to_string(detail::blockBytes(cells) / sizeof(Cell)) + ']';
}

inline std::string letters(std::initializer_list<const char*> modes)
{
    std::string text;
    for (const char* mode : modes) text += std::string(" ") + *mode;
    return text;
}

inline std::string number(const char* name, const int* value)
{
    return std::string(" ") + name + '=' + std::to_string(*value);
}

/// Writes the call down; `describe` is not called within another routine, where blocks are not the library's.
template <class Describe>
void record(const char* routine, Describe describe)
{
    if (depth == 0) calls.push_back(routine + describe());
}

template <class... Args>
void passOn(const char* symbol, Args... args)
{
    const auto routine = reinterpret_cast<void (*)(Args...)>(dlsym(RTLD_NEXT, symbol));
    ++depth;
    routine(args...);
    --depth;
}

template <class Operation>
std::vector<std::string> callsOf(Operation operation)
{
    calls.clear();
    operation();
    return calls;
}

/// While it lives, the iterations report that they did not converge.
class StoppedIterations {
public:
    StoppedIterations() { iterationStops = true; }
    ~StoppedIterations() { iterationStops = false; }
};

} // namespace Velmar::Lintrix::testing

#define STANDS_IN extern "C" __attribute__((visibility("default"))) void

// The routines call this when an argument is illegal; the library's own prints a complaint.
STANDS_IN xerbla_(const char* routine, const int* argument, std::size_t length)
{
    Velmar::Lintrix::testing::complaints.push_back(std::string(routine, length) + ' ' +
                                                   std::to_string(*argument));
}
