#pragma once
// What the user decides of the way of a sparse system.

#include <lintrix/lintrix.h>

#include <optional>
#include <string>

namespace Velmar::Lintrix::tools {

struct SparseOptions {
    SystemOptions system;
    /// That are used beside files; none: by the user's variables, or by what is left.
    std::optional<int> coreMegabytes{};
    std::string factor{};     ///< a saved system to go on with; empty: none
    std::string saveFactor{}; ///< where matrix, analysis and factor go; empty: they are not kept
};

} // namespace Velmar::Lintrix::tools
