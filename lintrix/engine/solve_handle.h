#pragma once
/// @file
/// A handle for solves with the factors of another handle, so that several threads solve at once.

#include <lintrix/services/export.h>

#include <array>

namespace Velmar::Lintrix {

/// 64 slots that read analysis and factors of the handle `pt` of `pardiso` and own nothing but what a solve
/// writes: the control block and the work space. Phases 33 and 331 to 333 with `Slots()` answer as with `pt`,
/// bit for bit; every other phase is refused with `error` -1, and so is a solve with a factor that is not
/// there. Each thread takes a handle of its own, with an `iparm` copied from the one of the factorization.
///
/// While one lives, no call with `pt` may analyse, factorize or release, and `pt` must outlive it. A solve
/// with `pt` itself is one more solver, for one thread at a time.
///
///     std::array<int, 64> own;                       // of this thread
///     std::copy_n(iparm, 64, own.begin());
///     SolveHandle handle(pt);
///     pardiso(handle.Slots(), ..., 33, ..., own.data(), ..., b, x, error);
///
/// Cost: a kilobyte, and the work space of each solve, kept until the end.
class LINTRIX_EXPORT SolveHandle {
public:
    explicit SolveHandle(void* const pt[64]) noexcept;
    ~SolveHandle();
    SolveHandle(const SolveHandle&) = delete;
    SolveHandle& operator=(const SolveHandle&) = delete;

    /// Whether it can solve: `pt` has been analysed, its factors are in memory, and there was memory for the
    /// control block. A solve with one that cannot is `error` -1, but for a diagonal matrix, whose solve
    /// needs no handle.
    bool IsReady() const noexcept;
    void** Slots() noexcept { return slots_.data(); }
    void* const* Slots() const noexcept { return slots_.data(); }

private:
    std::array<void*, 64> slots_{};
};

} // namespace Velmar::Lintrix
