#pragma once
/// @file
/// Work that is ended at its first, second, ... word of progress.

#include <lintrix/services/work.h>

#include <stdexcept>

namespace Velmar::Lintrix::testing {

/// Ends the work at its k-th word.
class Stopping final : public detail::WorkListener {
public:
    explicit Stopping(int words) : words_(words) {}
    void expect(double) noexcept override {}
    bool hear(double) noexcept override { return --words_ > 0; }
    void require() const override
    {
        if (words_ <= 0) throw std::runtime_error("stopped");
    }

private:
    int words_;
};

/// How many runs are stopped, each a word later than the one before, until one comes to its end.
template <class Work>
int stopsUntilDone(Work work)
{
    for (int stops = 0;; ++stops) {
        Stopping listener(stops + 1);
        const detail::WorkScope scope(listener);
        try {
            work();
            return stops;
        } catch (const std::runtime_error&) {
        }
    }
}

} // namespace Velmar::Lintrix::testing
