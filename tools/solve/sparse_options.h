#pragma once
// What the user decides of the way of a sparse system.

#include <lintrix/lintrix.h>

#include <optional>

namespace Velmar::Lintrix::tools {

struct SparseOptions {
    SystemOptions system;
    /// That are used beside files; none: by the user's variables, or by what is left.
    std::optional<int> coreMegabytes{};
};

} // namespace Velmar::Lintrix::tools
