#include <tools/support/temporary_files.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

// Of files and folders, more than any command has at once. Names are read by the signal handler, wherever the
// threads are.
constinit std::array<std::atomic<const char*>, 8> names{};

// While a file is being made and its name not yet known, the handler only notes the signal.
constinit std::atomic<bool> making{false};
constinit std::atomic<int> pending{0};

// Of what a signal handler may call: no folder stream, which takes memory.

void removeEntries(int folder)
{
    alignas(dirent64) char entries[4096];
    for (ssize_t length; (length = getdents64(folder, entries, sizeof entries)) > 0;) {
        for (ssize_t place = 0; place < length;) {
            const auto* entry = reinterpret_cast<const dirent64*>(entries + place);
            unlinkat(folder, entry->d_name, 0); // "." and ".." stay, being folders
            place += entry->d_reclen;
        }
    }
}

/// A folder with the files in it. Where threads go on making files, it takes more than one turn.
void removeFolder(const char* name)
{
    constexpr int kTurns = 100;
    for (int turn = 0; turn < kTurns && rmdir(name) != 0 && errno == ENOTEMPTY; ++turn) {
        const int folder = open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
        if (folder < 0) return;
        removeEntries(folder);
        close(folder);
    }
}

void removeAt(const char* name)
{
    if (unlink(name) != 0 && errno == EISDIR) removeFolder(name);
}

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

int TemporaryPath::make(const std::string& path, int (*maker)(char* name))
{
    name_ = path + ".XXXXXX";
    const SignalsHeld held;
    const int answer = maker(name_.data());
    if (answer < 0)
        name_.clear();
    else
        replaceName(nullptr, name_.c_str());
    return answer;
}

int TemporaryFile::create(const std::string& path)
{
    return make(path, [](char* name) { return mkostemp(name, O_CLOEXEC); });
}

bool TemporaryFolder::create(const std::string& path)
{
    return make(path, [](char* name) { return mkdtemp(name) == nullptr ? -1 : 0; }) == 0;
}

bool TemporaryFile::renameTo(const std::string& path)
{
    if (std::rename(name().c_str(), path.c_str()) != 0) return false;
    forget();
    return true;
}

void TemporaryPath::forget()
{
    replaceName(name_.c_str(), nullptr);
    name_.clear();
}

void TemporaryPath::remove()
{
    if (name_.empty()) return;
    removeAt(name_.c_str());
    forget();
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
        if (const char* known = name.load()) removeAt(known);
    }
}

} // namespace Velmar::Lintrix::tools
