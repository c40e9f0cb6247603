#pragma once
// Factors in files: where the direct solver puts them, how much memory it keeps beside them, and what is said
// when they fail.

#include <tools/support/temporary_files.h>

#include <lintrix/lintrix.h>

#include <optional>
#include <string>

namespace Velmar::Lintrix::tools {

/// A variable of the environment that has a value while this lives, and then that which it had before.
class StoredVariable {
public:
    StoredVariable(const char* name, const std::string& value);
    ~StoredVariable();
    StoredVariable(const StoredVariable&) = delete;
    StoredVariable& operator=(const StoredVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

/// While it lives, the out-of-core mode of the direct solver is configured. What the user's variables or
/// configuration file say stands. Else files stand in a folder of their own, below the one that TMPDIR names
/// or /var/tmp, which goes with this object and when a signal ends the process. Who wants files kept and does
/// not say where finds them where the direct solver puts them.
class FactorFiles final : public FactorPlace {
public:
    /// `megabytes` of the core, before what the user's variables say; else after them three quarters of the
    /// bytes that are left.
    /// @throws InputError  there cannot be a folder
    FactorFiles(std::optional<int> megabytes, double memoryLeft);

    int CoreMegabytes() const override { return coreMegabytes_; }
    std::string Fault(FileFault fault, int least) const override;

private:
    void makeFolder();
    std::string place() const;

    TemporaryFolder folder_;
    std::optional<StoredVariable> path_, core_, keep_;
    std::string prefix_; ///< how the names of the files begin
    int coreMegabytes_ = 0;
};

} // namespace Velmar::Lintrix::tools
