#include <tests/faults/memory_sweep.h>
#include <tests/tools/command.h>

#include <gmock/gmock.h>

#include <sstream>

namespace Velmar::Lintrix::testing {

namespace {

using ::testing::Contains;

/// One thread: a team would be the OpenMP runtime's to start, which ends the process when it cannot.
Invocation without(const std::string& program, const std::vector<std::string>& arguments,
                   const std::string& variable)
{
    Invocation invocation;
    invocation.program = program;
    invocation.arguments = arguments;
    invocation.variables = {"LD_PRELOAD=" LINTRIX_FAILING_MEMORY, "OMP_NUM_THREADS=1", variable};
    return invocation;
}

long requestsOf(const std::string& program, const std::vector<std::string>& arguments)
{
    const Scratch scratch;
    const Outcome outcome = run(without(program, arguments, "COUNT_MEMORY_IN=" + scratch.at("count")));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return std::stol(contentOf(scratch.at("count")));
}

} // namespace

void sweep(const std::string& program, const std::vector<std::string>& arguments,
           const std::vector<int>& exits, long step)
{
    const long requests = requestsOf(program, arguments);
    EXPECT_GT(requests, 0);
    for (long k = 0; k < requests; k += step) {
        SCOPED_TRACE("memory for " + std::to_string(k) + " requests");
        const Outcome outcome = run(without(program, arguments, "FAIL_MEMORY_FROM=" + std::to_string(k)));
        EXPECT_THAT(exits, Contains(outcome.exitCode)) << outcome.err;
        EXPECT_TRUE(outcome.exitCode == 0 || !outcome.err.empty());
    }
}

void sweepCommand(long step)
{
    const std::string unsymmetric = dataFile("b1_ss.mtx"), definite = dataFile("bcsstk04.mtx"),
                      wide = dataFile("lp_afiro.mtx"), complex = dataFile("young1c.mtx.gz");
    const Scratch scratch;
    const std::vector<std::vector<std::string>> calls{{"solve", unsymmetric, "--out", scratch.at("x.mtx")},
                                                      {"solve", definite, "--json"},
                                                      {"solve", wide},
                                                      {"info", unsymmetric, "--plot", scratch.at("p.png")},
                                                      {"info", wide, "--json"},
                                                      {"analyse", unsymmetric, "--plot", scratch.at("p.svg")},
                                                      {"svd", wide, "-k", "2", "--out", scratch.at("t")},
                                                      {"--version"},
                                                      {"solve", "--help"}};
    for (const auto& arguments : calls) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        sweep(commandProgram(), arguments, {0, 1, 2}, step);
    }
}

void sweepClasses(long step)
{
    Invocation names;
    names.program = LINTRIX_CLASS_OPERATIONS;
    std::istringstream lines(run(names).out);
    int operations = 0;
    for (std::string name; std::getline(lines, name); ++operations) {
        SCOPED_TRACE(name);
        sweep(LINTRIX_CLASS_OPERATIONS, {name}, {0, 3}, step);
    }
    EXPECT_GE(operations, 50);
}

} // namespace Velmar::Lintrix::testing
