#include "tests/services/probe_runner.h"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <sstream>
#include <string_view>

namespace Velmar::Lintrix::testing {

namespace {

bool concernsThreads(std::string_view variable)
{
    constexpr std::array<std::string_view, 8> prefixes{"MKL_",  "OMP_",  "I_MPI_", "OPENBLAS_",
                                                       "GOTO_", "GOMP_", "KMP_",   "LINTRIX_"};
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](std::string_view prefix) { return variable.starts_with(prefix); });
}

std::vector<std::string> environmentWith(const Variables& variables)
{
    std::vector<std::string> lines;
    for (char** line = environ; *line != nullptr; ++line)
        if (!concernsThreads(*line)) lines.emplace_back(*line);
    for (const auto& [name, value] : variables) lines.push_back(name + "=" + value);
    return lines;
}

std::vector<char*> pointersTo(std::vector<std::string>& lines)
{
    std::vector<char*> pointers;
    for (std::string& line : lines) pointers.push_back(line.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::string readAll(int file)
{
    std::string all;
    std::array<char, 4096> part;
    for (ssize_t length; (length = read(file, part.data(), part.size())) > 0;)
        all.append(part.data(), static_cast<std::size_t>(length));
    return all;
}

} // namespace

ProbeAnswers::ProbeAnswers(const std::string& output)
{
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) facts_[line.substr(0, equals)] = std::stol(line.substr(equals + 1));
    }
}

long ProbeAnswers::operator[](const std::string& key) const
{
    const auto fact = facts_.find(key);
    if (fact != facts_.end()) return fact->second;
    ADD_FAILURE() << "the probe says nothing about " << key;
    return std::numeric_limits<long>::min();
}

ProbeAnswers askProbe(const std::vector<std::string>& arguments, const Variables& variables)
{
    std::vector<std::string> words{SERVICES_PROBE};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = environmentWith(variables);

    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        ADD_FAILURE() << "no pipe";
        return ProbeAnswers("");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    pid_t child = 0;
    const int error = posix_spawn(&child, SERVICES_PROBE, &actions, nullptr, pointersTo(words).data(),
                                  pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    EXPECT_EQ(error, 0) << SERVICES_PROBE;
    const std::string output = readAll(ends[0]);
    close(ends[0]);
    int status = -1;
    if (error == 0) waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    return ProbeAnswers(output);
}

std::vector<Variables> environmentsThatBind()
{
#ifdef __clang__
    return {Variables{{"KMP_AFFINITY", "compact"}}, Variables{{"KMP_AFFINITY", "scatter"}}};
#else
    return {Variables{{"OMP_PROC_BIND", "true"}}, Variables{{"OMP_PROC_BIND", "close"}},
            Variables{{"OMP_PROC_BIND", "spread"}}};
#endif
}

} // namespace Velmar::Lintrix::testing
