#pragma once
// A line on standard error that tells what long work is at, when a person is there to read it.

#include <string_view>

namespace Velmar::Lintrix::tools {

/// Shows one line at a time, each over the one before, and leaves an empty line behind. Without a terminal on
/// standard error nothing is ever written.
class Progress {
public:
    Progress();
    ~Progress() { erase(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::string_view text);
    /// Before anything else is written to the terminal.
    void erase();

private:
    bool terminal_;
    bool shown_ = false;
};

} // namespace Velmar::Lintrix::tools
