#pragma once
/// @file
/// One handle of the direct solver with everything its entry is called with.

#include <lintrix/engine/analysis_summary.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>

namespace Velmar::Lintrix::detail {

/// The shape of the engine's entry, `pardiso`.
using EngineEntry = void (*)(void* pt[64], const int& maxfct, const int& mnum, const int& mtype,
                             const int& phase, const int& n, const void* a, int* ia, int* ja, int* perm,
                             const int& nrhs, int* iparm, const int& msglvl, void* b, void* x, int& error);

/// Through which every session calls the engine. Tests put a recorder in its place; nothing else does.
LINTRIX_TESTABLE EngineEntry& engineEntry() noexcept;

/// The compressed rows of a matrix as the engine takes them: one-based, and written to while a call runs.
struct EngineMatrix {
    std::int32_t n = 0;
    const void* a = nullptr;
    std::int32_t* ia = nullptr;
    std::int32_t* ja = nullptr;
};

/// Owns a handle: 64 slots from the plain heap, all zero; a permutation of n and 64 parameters from the
/// counted allocator. The destructor gives the engine's memory back (phase -1) before its own. Movable; the
/// source is left released.
class EngineSession {
public:
    /// Told the percentage of the factorization, 0 to 100; false stops it.
    using ProgressFunction = std::function<bool(int)>;

    /// All parameters are 0. @throws NotEnoughMemoryException
    EngineSession(std::int32_t mtype, const EngineMatrix& matrix);
    EngineSession(EngineSession&&) noexcept = default;
    EngineSession& operator=(EngineSession&& other) noexcept;
    ~EngineSession() { release(); }

    /// Runs one phase on one right-hand side, and remembers the engine's error number. What the listener
    /// throws stops the engine and is thrown on from here.
    /// @return the error number; 0 is success
    /// @throws InvalidOperationException  released
    std::int32_t call(std::int32_t phase, const void* b, void* x);

    /// Phase -1, whose outcome is ignored, then the own memory; may be repeated.
    void release() noexcept;

    /// @throws InvalidOperationException  released
    std::int32_t& iparm(PardisoParameter slot);
    std::int32_t iparm(PardisoParameter slot) const { return const_cast<EngineSession&>(*this).iparm(slot); }

    void matrix(const EngineMatrix& matrix) noexcept { fixed_.matrix = matrix; }
    std::int32_t mtype() const noexcept { return fixed_.mtype; }
    void mtype(std::int32_t value) noexcept { fixed_.mtype = value; }
    /// What the analysis found; nothing of a diagonal matrix, which has none.
    std::optional<AnalysisSummary> summary() const noexcept { return AnalysisView(pt_.get()).Summary(); }
    std::int32_t error() const noexcept { return fixed_.error; } ///< of the last call, 0 before
    bool stopped() const noexcept { return fixed_.stopped; }     ///< the listener ended the last call
    void progress(ProgressFunction listener) noexcept { listener_ = std::move(listener); }

private:
    struct FreeHandle {
        void operator()(void** slots) const noexcept;
    };
    struct Hearing;

    void enter(std::int32_t phase, const void* b, void* x, std::int32_t& error);

    /// The arguments that are plain values.
    struct Fixed {
        std::int32_t maxfct = 1, mnum = 1, mtype = 0;
        EngineMatrix matrix;
        std::int32_t msglvl = 0, error = 0;
        bool stopped = false;
    };

    Fixed fixed_;
    std::unique_ptr<void*[], FreeHandle> pt_;
    Block<std::int32_t> perm_, iparm_;
    ProgressFunction listener_;
};

} // namespace Velmar::Lintrix::detail
