#include <tests/tools/command.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {

namespace {

void require(int error, const char* what)
{
    if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

/// Lowers a soft limit, which a child inherits, for the length of a scope.
class SoftLimit {
public:
    SoftLimit(__rlimit_resource resource, rlim_t value) : resource_(resource)
    {
        getrlimit(resource_, &before_);
        rlimit lowered = before_;
        lowered.rlim_cur = std::min(before_.rlim_cur, value);
        setrlimit(resource_, &lowered);
    }
    ~SoftLimit() { setrlimit(resource_, &before_); }
    SoftLimit(const SoftLimit&) = delete;
    SoftLimit& operator=(const SoftLimit&) = delete;

private:
    __rlimit_resource resource_;
    rlimit before_{};
};

/// The list of what posix_spawn does in the child before the command starts.
class FileActions {
public:
    FileActions() { require(posix_spawn_file_actions_init(&actions_), "file actions"); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void open(int descriptor, const std::string& path, int flags)
    {
        require(posix_spawn_file_actions_addopen(&actions_, descriptor, path.c_str(), flags, 0600),
                "addopen");
    }
    void duplicate(int from, int to)
    {
        require(posix_spawn_file_actions_adddup2(&actions_, from, to), "dup2");
    }
    void close(int descriptor) { require(posix_spawn_file_actions_addclose(&actions_, descriptor), "close"); }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

/// The writing end of a pipe whose reading end is closed.
int brokenPipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) require(errno, "pipe");
    close(ends[0]);
    return ends[1];
}

std::string_view nameIn(std::string_view line)
{
    return line.substr(0, line.find('='));
}

/// The environment with `variables` in place of those of the same name: of two a shell takes the last, and a
/// program the first.
std::vector<char*> environmentWith(const std::vector<std::string>& variables)
{
    std::vector<char*> lines;
    for (const std::string& line : variables) lines.push_back(const_cast<char*>(line.c_str()));
    for (char** line = environ; *line != nullptr; ++line) {
        const bool replaced = std::ranges::any_of(
            variables, [name = nameIn(*line)](const std::string& other) { return nameIn(other) == name; });
        if (!replaced) lines.push_back(*line);
    }
    lines.push_back(nullptr);
    return lines;
}

pid_t spawn(const Invocation& invocation, const FileActions& actions)
{
    std::vector<char*> words{const_cast<char*>("lintrix")};
    for (const std::string& argument : invocation.arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    setenv("OMP_WAIT_POLICY", "passive", 0); // tests run side by side: idle threads must not spin
    pid_t child = 0;
    require(posix_spawn(&child, invocation.program.c_str(), actions.get(), nullptr, words.data(),
                        environmentWith(invocation.variables).data()),
            invocation.program.c_str());
    return child;
}

int waitFor(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) require(errno, "waitpid");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

std::string commandProgram()
{
    return LINTRIX_COMMAND;
}

std::string withoutTimes(std::string_view report)
{
    constexpr std::string_view digits = "0123456789";
    std::string result;
    while (!report.empty()) {
        const std::size_t whole = std::min(report.find_first_not_of(digits), report.size());
        const std::size_t end = std::min(report.find_first_not_of(digits, whole + 1), report.size());
        const bool time = whole > 0 && report.substr(whole).starts_with('.') && end == whole + 7;
        result += time ? "T" : report.substr(0, std::max<std::size_t>(whole, 1));
        report.remove_prefix(time ? end : std::max<std::size_t>(whole, 1));
    }
    return result;
}

Outcome run(const Invocation& invocation)
{
    const Scratch captured;
    const std::string out = invocation.output.empty() ? captured.file("out", "") : invocation.output;
    const std::string err = invocation.error.empty() ? captured.file("err", "") : invocation.error;
    FileActions actions;
    actions.open(STDIN_FILENO, invocation.input, O_RDONLY);
    actions.open(STDOUT_FILENO, out, O_WRONLY);
    actions.open(STDERR_FILENO, err, O_WRONLY | O_NOCTTY);
    const int pipeEnd = invocation.outputBroken ? brokenPipe() : -1;
    if (invocation.outputBroken) actions.duplicate(pipeEnd, STDOUT_FILENO);
    if (invocation.outputClosed) actions.close(STDOUT_FILENO);

    Outcome outcome;
    {
        const SoftLimit memory(RLIMIT_AS, LINTRIX_SANITIZED_MEMORY ? RLIM_INFINITY : rlim_t{1} << 30);
        const SoftLimit fileSize(RLIMIT_FSIZE, invocation.fileLimit.value_or(RLIM_INFINITY));
        const pid_t child = spawn(invocation, actions);
        if (invocation.onceStarted) invocation.onceStarted(child);
        outcome.exitCode = waitFor(child);
    }
    if (pipeEnd >= 0) close(pipeEnd);
    if (invocation.output.empty()) outcome.out = contentOf(out);
    if (invocation.error.empty()) outcome.err = contentOf(err);
    return outcome;
}

Outcome run(std::vector<std::string> arguments)
{
    Invocation invocation;
    invocation.arguments = std::move(arguments);
    return run(invocation);
}

Json reportOf(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "solve");
    arguments.emplace_back("--json");
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return parseJson(outcome.out);
}

} // namespace Velmar::Lintrix::testing
