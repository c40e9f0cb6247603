#pragma once
/// @file
/// What may be configured, and the text of the configuration file.

#include <lintrix/engine/out_of_core/file_name.h>
#include <lintrix/services/export.h>

#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// The three values, by default as nobody has configured them. The path is a view of the text it came from.
/// Each is taken from a text if it is one, blanks around it left out; any other text changes nothing.
struct LINTRIX_TESTABLE OutOfCoreSettings {
    /// @return  whether it was taken
    bool takePath(std::string_view text) noexcept;      ///< 1 to kLongestPrefix characters, none for control
    bool takeMegabytes(std::string_view text) noexcept; ///< an int above 0
    bool takeKeep(std::string_view text) noexcept;      ///< an int

    std::string_view path = "ooc_temp"; ///< how the names of the files begin, folder included
    int megabytes = 2000;               ///< that the factor and the work on it may take
    int keep = 1;                       ///< 0: the files go when the handle is done with them

    /// Which of them were taken from a text.
    bool pathIsTaken = false, megabytesAreTaken = false, keepIsTaken = false;
};

/// Takes what the lines of the text say: a key, a `=` or blanks, a value; `#` starts a comment. Lines that
/// say anything else are skipped, and of several values for a key the last counts.
LINTRIX_TESTABLE void readConfigurationText(std::string_view text, OutOfCoreSettings& settings) noexcept;

} // namespace Velmar::Lintrix::detail::engine
