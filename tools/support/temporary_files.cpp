#include <tools/support/temporary_files.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

// More than any command has at once. Names are read by the signal handler, wherever the threads are.
constinit std::array<std::atomic<const char*>, 8> names{};

// While a file is being made and its name not yet known, the handler only notes the signal.
constinit std::atomic<bool> making{false};
constinit std::atomic<int> pending{0};

void endBySignal(int number)
{
    if (making) {
        pending = number;
        return;
    }
    removeTemporaries();
    std::signal(number, SIG_DFL);
    raise(number); // comes through when this handler returns
}

class SignalsHeld {
public:
    SignalsHeld() { making = true; }
    ~SignalsHeld()
    {
        making = false;
        if (const int number = pending.exchange(0)) raise(number);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
};

void replaceName(const char* known, const char* name)
{
    const auto slot = std::ranges::find_if(names, [known](const auto& held) { return held == known; });
    if (slot != names.end()) *slot = name;
}

} // namespace

int TemporaryFile::create(const std::string& path)
{
    name_ = path + ".XXXXXX";
    const SignalsHeld held;
    const int descriptor = mkostemp(name_.data(), O_CLOEXEC);
    if (descriptor < 0)
        name_.clear();
    else
        replaceName(nullptr, name_.c_str());
    return descriptor;
}

bool TemporaryFile::renameTo(const std::string& path)
{
    if (std::rename(name_.c_str(), path.c_str()) != 0) return false;
    replaceName(name_.c_str(), nullptr);
    name_.clear();
    return true;
}

void TemporaryFile::remove()
{
    if (name_.empty()) return;
    unlink(name_.c_str());
    replaceName(name_.c_str(), nullptr);
    name_.clear();
}

void removeTemporariesOnSignals()
{
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action = {};
        action.sa_handler = endBySignal;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

void removeTemporaries() noexcept
{
    for (const auto& name : names) {
        if (const char* known = name.load()) unlink(known);
    }
}

} // namespace Velmar::Lintrix::tools
