#pragma once
/// @file
/// A listener that keeps what a factorization tells it.

#include <lintrix/engine/call/progress_scope.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

struct Heard {
    int thread, percent;
    std::string text;
};

struct Listener {
    std::vector<Heard> heard;
    int stopFrom = 101;

    detail::engine::ProgressCallback callback()
    {
        return {[](void* self, int thread, int percent, const char* text, int length) {
                    auto& listener = *static_cast<Listener*>(self);
                    listener.heard.push_back({thread, percent, std::string(text, std::size_t(length))});
                    return percent >= listener.stopFrom ? 7 : 0;
                },
                this};
    }
};

} // namespace Velmar::Lintrix::testing
