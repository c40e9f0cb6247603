#pragma once
/// @file
/// Nested dissection that threads share.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// While it lives, nested dissection that the calling thread asks `pardiso` for (`iparm(2)` = 2) is done by
/// the engine's own dissection instead of METIS: by all threads in force, from many systems at once, and with
/// an end within milliseconds where the work is to stop. The order is another one, of about the same fill; it
/// is the same for any number of threads. The report names METIS all the same.
///
/// Scopes may be nested; each belongs to its thread. `NestedDissectionOrder` works this way without one.
class LINTRIX_EXPORT ThreadedDissectionScope {
public:
    ThreadedDissectionScope() noexcept;
    ~ThreadedDissectionScope();
    ThreadedDissectionScope(const ThreadedDissectionScope&) = delete;
    ThreadedDissectionScope& operator=(const ThreadedDissectionScope&) = delete;

    /// Whether one lives on the calling thread.
    static bool IsInForce() noexcept;

private:
    bool outer_; ///< another one lives around it
};

} // namespace Velmar::Lintrix
