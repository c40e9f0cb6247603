#pragma once
/// @file
/// What configures the out-of-core mode of `pardiso`, before a handle reads it.

#include <lintrix/services/export.h>

#include <optional>

namespace Velmar::Lintrix {

/// What environment and configuration file say, where `pardiso` would take it; elsewhere its defaults hold.
struct OutOfCoreConfiguration {
    static constexpr int kLongestPath = 1015; ///< characters of one that is taken

    char path[1024] = {};           ///< how the names of the files begin, zero-terminated; empty: not said
    std::optional<int> megabytes;   ///< of the core
    std::optional<bool> keepsFiles; ///< after the release of the handle
};

/// As it is now. A program that stores the variables that nobody has set gives defaults of its own.
LINTRIX_EXPORT OutOfCoreConfiguration ReadOutOfCoreConfiguration() noexcept;

/// While it lives, what is said here is so for handles that this thread has `pardiso` analyse, where neither
/// environment nor configuration file says otherwise. `ReadOutOfCoreConfiguration` does not see it.
class LINTRIX_EXPORT OutOfCoreDefaults {
public:
    /// Refers to `defaults`.
    explicit OutOfCoreDefaults(const OutOfCoreConfiguration& defaults) noexcept;
    ~OutOfCoreDefaults();
    OutOfCoreDefaults(const OutOfCoreDefaults&) = delete;
    OutOfCoreDefaults& operator=(const OutOfCoreDefaults&) = delete;

private:
    const OutOfCoreConfiguration* before_;
};

/// While it lives, the core of handles that this thread has `pardiso` analyse has so many megabytes at most,
/// whatever is configured.
class LINTRIX_EXPORT OutOfCoreLimit {
public:
    explicit OutOfCoreLimit(int megabytes) noexcept;
    ~OutOfCoreLimit();
    OutOfCoreLimit(const OutOfCoreLimit&) = delete;
    OutOfCoreLimit& operator=(const OutOfCoreLimit&) = delete;

private:
    int before_;
};

} // namespace Velmar::Lintrix
