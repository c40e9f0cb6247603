#include <tests/faults/memory_sweep.h>
#include <tests/tools/command.h>

#include <gmock/gmock.h>

#include <cctype>
#include <sstream>

namespace Velmar::Lintrix::testing {

namespace {

using ::testing::Contains;

// OpenBLAS's kernels for small products on the widest processors take memory and do not look whether they got
// it.
constexpr const char* kSoundKernels = "OPENBLAS_CORETYPE=Prescott";

Invocation withMemory(const Swept& swept, const std::string& variable)
{
    Invocation invocation;
    invocation.program = swept.program;
    invocation.arguments = swept.arguments;
    invocation.variables = {"LD_PRELOAD=" LINTRIX_FAILING_MEMORY, kSoundKernels,
                            "OMP_NUM_THREADS=" + std::to_string(swept.threads), variable};
    return invocation;
}

long requestsOf(const Swept& swept)
{
    const Scratch scratch;
    const Outcome outcome = run(withMemory(swept, "COUNT_MEMORY_IN=" + scratch.at("count")));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return std::stol(contentOf(scratch.at("count")));
}

} // namespace

void sweep(const Swept& swept, long step)
{
    const long requests = requestsOf(swept);
    EXPECT_GT(requests, 0);
    for (long k = 0; k < requests; k += step) {
        SCOPED_TRACE("memory for " + std::to_string(k) + " requests");
        const Outcome outcome = run(withMemory(swept, "FAIL_MEMORY_FROM=" + std::to_string(k)));
        EXPECT_THAT(swept.exits, Contains(outcome.exitCode)) << outcome.err;
        EXPECT_TRUE(outcome.exitCode == 0 || !outcome.err.empty());
    }
}

std::vector<Swept> commands()
{
    const std::string unsymmetric = dataFile("b1_ss.mtx"), definite = dataFile("bcsstk04.mtx"),
                      wide = dataFile("lp_afiro.mtx");
    std::vector<Swept> swept;
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"solve", unsymmetric, "--out", "/dev/null"},
                                               {"solve", definite, "--json"},
                                               {"solve", wide},
                                               {"info", unsymmetric},
                                               {"info", wide, "--json"},
                                               {"analyse", unsymmetric},
                                               {"svd", wide, "-k", "2", "--out", "-"},
                                               {"--version"},
                                               {"solve", "--help"}})
        swept.push_back({commandProgram(), arguments, 1, {0, 1, 2}});
    return swept;
}

std::vector<Swept> operations()
{
    Invocation names;
    names.program = LINTRIX_CLASS_OPERATIONS;
    std::istringstream lines(run(names).out);
    std::vector<Swept> swept;
    for (std::string name; std::getline(lines, name);)
        swept.push_back({LINTRIX_CLASS_OPERATIONS, {name}, 1, {0, 3}});
    return swept;
}

std::string nameOf(const Swept& swept)
{
    std::string name;
    for (const std::string& argument : swept.arguments)
        for (const char c : argument.substr(argument.rfind('/') + 1))
            name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    return name;
}

void PrintTo(const Swept& swept, std::ostream* out)
{
    *out << nameOf(swept);
}

} // namespace Velmar::Lintrix::testing
