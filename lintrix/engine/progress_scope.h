#pragma once
/// @file
/// Who hears how far a factorization has come.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Gets the thread's number, the percentage and the text of the phase with its length; an answer other than 0
/// stops the factorization. Called by one thread at a time, which may be any of the team: it must not throw.
struct ProgressCallback {
    int (*call)(void* context, int thread, int percent, const char* text, int length) = nullptr;
    void* context = nullptr;
};

/// While it lives, engine calls of this thread tell `callback`; afterwards the one before it again. Without a
/// scope nobody is told, which is an answer of 0 every time. The setting is the thread's own: two handles in
/// two threads do not meet.
class LINTRIX_TESTABLE ProgressScope {
public:
    explicit ProgressScope(ProgressCallback callback) noexcept;
    ~ProgressScope();
    ProgressScope(const ProgressScope&) = delete;
    ProgressScope& operator=(const ProgressScope&) = delete;

    /// The callback in force for this thread.
    static ProgressCallback current() noexcept;

private:
    ProgressCallback before_;
};

} // namespace Velmar::Lintrix::detail::engine
