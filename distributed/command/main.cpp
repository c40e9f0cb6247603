// The `lintrix-mpi` command: arguments in, exit code out, the same on every rank. 0 done, 1 a numeric
// failure, 2 usage or bad input. Rank 0 alone writes.

#include <distributed/agreement.h>
#include <distributed/command/distributed_solve.h>

#include <tools/support/count.h>
#include <tools/support/output_file.h>
#include <tools/support/text.h>

#include <lintrix/lintrix.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include <omp.h>
#include <unistd.h>

namespace {

using namespace Velmar::Lintrix;
using Distributed::Agreement;

constexpr int kBadInput = 2;

constexpr const char* kStart =
    "It is started on every machine at once, with the files at the same places on each:\n"
    "  mpirun -np 4 lintrix-mpi solve A.mtx\n"
    "lintrix-mpi COMMAND --help tells the options and the exit codes of a command.";

/// Begun before anything else, ended behind all.
class MpiSession {
public:
    MpiSession(int& argc, char**& argv)
    {
        int level = 0;
        MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &level);
    }
    ~MpiSession() { MPI_Finalize(); }
    MpiSession(const MpiSession&) = delete;
    MpiSession& operator=(const MpiSession&) = delete;
};

std::string versionText()
{
    char text[MPI_MAX_LIBRARY_VERSION_STRING] = "";
    int length = 0;
    MPI_Get_library_version(text, &length);
    const std::string_view mpi(text, static_cast<std::size_t>(length));
    return fmt::format("lintrix-mpi {}\nMPI: {}", LibraryVersion(), mpi.substr(0, mpi.find_first_of(",\n")));
}

int complain(std::string text)
{
    while (!text.empty() && text.back() == '\n') text.pop_back();
    tools::writeAll(STDERR_FILENO, fmt::format("lintrix: {}\n", tools::printable(text)));
    return kBadInput;
}

/// The cores of a machine are shared by its ranks, where neither option nor environment says otherwise.
int threadsByDefault(const Agreement& all)
{
    if (std::getenv("OMP_NUM_THREADS") != nullptr) return omp_get_max_threads();
    MPI_Comm machine = MPI_COMM_NULL;
    MPI_Comm_split_type(all.comm(), MPI_COMM_TYPE_SHARED, all.rank(), MPI_INFO_NULL, &machine);
    const int ranks = Agreement(machine).ranks();
    MPI_Comm_free(&machine);
    return std::clamp(static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)) / ranks, 1, omp_get_max_threads());
}

CLI::Option* addFile(CLI::App& command, const std::string& option, std::string& file, const std::string& type,
                     const std::string& description)
{
    return command.add_option(option, file, description)
        ->type_name(type)
        ->check(CLI::Validator([](const std::string& name) { return tools::faultOfName(name); }, ""));
}

CLI::Option* addCount(CLI::App& command, const std::string& option, const std::string& type,
                      const std::function<void(int)>& take, const std::string& description)
{
    return command.add_option_function<int>(option, take, description)
        ->type_name(type)
        ->check(CLI::Validator(tools::faultOfCount, ""));
}

void addSolve(CLI::App& app, tools::DistributedSolveOptions& options)
{
    CLI::App& solve = *app.add_subcommand("solve", "Solve the linear system A*x = b on several machines");
    tools::SolveOptions& common = options.common;
    addFile(solve, "MATRIX", common.matrix, "",
            "Matrix Market file of A, square, which the ranks read in parts")
        ->required();
    addFile(solve, "--rhs", common.rightHands, "FILE",
            "File of right-hand sides; without it b = A*(1,...,1)");
    addFile(solve, "--out", common.out, "FILE",
            "File for the solution, a Matrix Market array; - is standard output");
    addCount(
        solve, "--threads", "N", [&options](int threads) { options.threads = threads; },
        "Threads to use on each rank");
    addCount(
        solve, "--memory", "MB", [&options](int megabytes) { options.memory = 1048576.0 * megabytes; },
        "Hold at most MB megabytes on each rank, or do not begin");
    solve.add_flag("--forecast", options.forecast, "Tell what the factorization would take, and stop");
    CLI::Option* const json = solve.add_flag("--json", common.json, "Report on one line of JSON");
    solve.add_flag("--explain", common.explain, "Say in sentences what the report means, and what to do")
        ->excludes(json);
    solve.footer(
        "A is a coordinate file of any field and symmetry; x is complex where A or b is. A compressed file\n"
        "is read by rank 0 alone, and so are right-hand sides.\n"
        "Status: accurate; degraded, with the reason; failed, with the reason.\n"
        "Exit code: 0 accurate or degraded, 1 failed, 2 usage or bad input.");
}

/// Help and version, wanted and printed, are no errors; the rest is wrong usage. All ranks know, one says.
int answerParseError(const CLI::App& app, const CLI::ParseError& error, const Agreement& all)
{
    const bool isWrong = error.get_exit_code() != 0;
    if (!all.isRoot()) return isWrong ? kBadInput : 0;
    const auto chosen = app.get_subcommands();
    if (isWrong)
        return complain(fmt::format("{} (see lintrix-mpi{} --help)", error.what(),
                                    chosen.empty() ? "" : " " + chosen.front()->get_name()));
    std::ostringstream text;
    app.exit(error, text);
    if (tools::writeAll(STDOUT_FILENO, text.str())) return 0;
    return complain("standard output: cannot be written: " + tools::systemError());
}

int run(int argc, char** argv, const Agreement& all)
{
    CLI::App app("Lintrix on several machines, over MPI", "lintrix-mpi");
    app.require_subcommand(1);
    app.set_version_flag("--version", versionText, "Tell the version, and that of MPI");
    app.footer(kStart);
    tools::DistributedSolveOptions options;
    options.threads = threadsByDefault(all);
    addSolve(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerParseError(app, error, all);
    }
    omp_set_num_threads(options.threads);
    return tools::runDistributedSolve(all, options);
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const MpiSession mpi(argc, argv);
    const Agreement all(MPI_COMM_WORLD);
    try {
        return run(argc, argv, all);
    } catch (const Distributed::DistributedFailure& failure) {
        return all.isRoot() ? complain(failure.what()) : kBadInput;
    } catch (const std::exception& failure) {
        // This rank alone knows of it, and the others would wait.
        complain(fmt::format("rank {}: {}", all.rank(), failure.what()));
        MPI_Abort(MPI_COMM_WORLD, kBadInput);
    }
    return kBadInput;
}
