#pragma once
/// @file
/// The one header that knows the family of the processor the library is compiled for: the forms of vector
/// kernels, the instructions that have no word in C++, and what can be asked. All else is written over
/// vectors of a width, which a compiler turns into registers of any family.

#include <array>
#include <cstdint>
#include <optional>

#if defined(__x86_64__)
#include <cpuid.h>
#include <emmintrin.h>

/// Of a function: what it is compiled for. FMA is a matter of its own: GCC fuses complex products into
/// additions even where contraction is forbidden, so that a form which must have the bits of any other does
/// without.
#define LINTRIX_FOR_AVX2 [[gnu::target("avx2")]]
#define LINTRIX_FOR_AVX2_AND_FMA [[gnu::target("avx2,fma")]]
#define LINTRIX_FOR_AVX512 [[gnu::target("avx512f,avx512dq,avx512vl,avx2,fma")]]
#else
// Forms that are never chosen, and so in whatever instructions there are.
#define LINTRIX_FOR_AVX2
#define LINTRIX_FOR_AVX2_AND_FMA
#define LINTRIX_FOR_AVX512
#endif

namespace Velmar::Lintrix::detail::processor_family {

/// What the form of lowest rank is compiled for: vectors of 16 bytes on every processor of the family.
#if defined(__x86_64__)
inline constexpr const char* kBaseline = "SSE2";
#elif defined(__aarch64__)
inline constexpr const char* kBaseline = "NEON";
#else
inline constexpr const char* kBaseline = "portable";
#endif

/// In a loop that waits for another thread: leaves the processor to its neighbour for a moment.
inline void pause() noexcept
{
#if defined(__x86_64__)
    _mm_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

/// *to = value without a place in the caches, for an address that is a multiple of the vector's size. A line
/// that is written whole is then not read before. `orderStores` comes before other threads may read it.
template <class Vector>
[[gnu::always_inline]] inline void storePastCaches(Vector* to, const Vector& value) noexcept
{
#if defined(__x86_64__)
    if constexpr (sizeof(Vector) == 16) {
        __asm__("movntpd %1, %0" : "=m"(*to) : "x"(value));
    } else {
        __asm__("vmovntpd %1, %0" : "=m"(*to) : "v"(value));
    }
#else
    *to = value;
#endif
}

/// Stores past the caches are seen by other threads before any store that follows.
inline void orderStores() noexcept
{
#if defined(__x86_64__)
    __asm__ __volatile__("sfence" ::: "memory");
#endif
}

/// eax, ebx, ecx and edx of a leaf.
using CpuidRegisters = std::array<std::uint32_t, 4>;

/// Nothing where the processor has no such leaf, or is of a family without any.
inline std::optional<CpuidRegisters> cpuid([[maybe_unused]] std::uint32_t leaf) noexcept
{
#if defined(__x86_64__)
    CpuidRegisters r{};
    if (__get_cpuid_count(leaf, 0, &r[0], &r[1], &r[2], &r[3]) != 0) return r;
#endif
    return std::nullopt;
}

/// The low half of XCR0. To be asked only where `cpuid` tells that the operating system uses XSAVE.
inline std::uint32_t savedState() noexcept
{
    std::uint32_t low = 0;
#if defined(__x86_64__)
    std::uint32_t high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
#endif
    return low;
}

} // namespace Velmar::Lintrix::detail::processor_family
