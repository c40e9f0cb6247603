// The `lintrix` command: arguments in, exit code out. 0 done, 1 a numeric failure, 2 usage or bad input.

#include <tools/analyse_command.h>
#include <tools/info_command.h>
#include <tools/input_error.h>
#include <tools/output_file.h>
#include <tools/picture.h>
#include <tools/solve_command.h>
#include <tools/text.h>

#include <lintrix/lintrix.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <csignal>
#include <exception>
#include <new>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace Velmar::Lintrix;

constexpr int kBadInput = 2;

std::string versionText()
{
    const BlasIdentity blas = DescribeBlas();
    return fmt::format("lintrix {}\nBLAS: {}\nBLAS file: {}\nBLAS kernels for: {}\nBLAS threading: {}\n"
                       "threads in force: {}",
                       LibraryVersion(), blas.library, blas.file.empty() ? "unknown" : blas.file,
                       blas.core.empty() ? "unknown" : blas.core, blas.threading, blas.threads);
}

/// A fault on one line of standard error.
int complain(std::string text)
{
    while (!text.empty() && text.back() == '\n') text.pop_back();
    tools::writeAll(STDERR_FILENO, fmt::format("lintrix: {}\n", tools::printable(text)));
    return kBadInput;
}

/// Descriptors 0 to 2 that came closed would be given to the next files opened, and the report would be
/// written into one of them. They are occupied with one that can be neither read nor written to any effect.
void occupyStandardDescriptors()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDONLY);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) close(descriptor);
}

/// Broken pipes and full quotas come back as errors of the write, which are then reported.
void ignoreWriteSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

/// What is wrong with a thread count, in words; nothing when it can be used.
std::string faultOfThreads(const std::string& word)
{
    int count = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
    const bool sound = error == std::errc() && end == word.data() + word.size() && count >= 1;
    return sound ? "" : tools::inQuotes(word) + " is not a whole number from 1 to 2147483647";
}

void addThreads(CLI::App& command)
{
    command
        .add_option_function<int>("--threads", TrellConfiguration::SetNumThreads,
                                  "Threads to use, at least 1")
        ->type_name("N")
        ->check(CLI::Validator(faultOfThreads, ""));
}

void addMatrix(CLI::App& command, std::string& file, const std::string& description)
{
    command.add_option("MATRIX", file, description)->type_name("")->required();
}

void addPlot(CLI::App& command, std::string& file, const std::string& description)
{
    command.add_option("--plot", file, description)
        ->type_name("FILE")
        ->check(CLI::Validator([](const std::string& name) { return tools::faultOfPlot(name); }, ""));
}

void addSolve(CLI::App& app, tools::SolveOptions& options)
{
    CLI::App* solve = app.add_subcommand("solve", "Solve the linear system A*x = b");
    addMatrix(*solve, options.matrix, "Matrix Market file of A, plain or gzip; - is standard input");
    solve->add_option("--rhs", options.rightHands, "File of right-hand sides; without it b = A*(1,...,1)")
        ->type_name("FILE");
    solve->add_option("--out", options.out, "File for the solution, a Matrix Market array")
        ->type_name("FILE");
    addThreads(*solve);
    solve->add_flag("--json", options.json, "Report on one line of JSON");
    solve->footer(
        "A may be square (LU), tall (least squares by QR) or wide (minimum norm by LQ); coordinate or\n"
        "array; real, integer or pattern; general, symmetric or skew-symmetric.\n"
        "Exit code: 0 solved, 1 no good solution (singular, inaccurate, ...), 2 usage or bad input.");
}

void addInfo(CLI::App& app, tools::InfoOptions& options)
{
    CLI::App* info = app.add_subcommand("info", "Tell what a matrix file holds");
    addMatrix(*info, options.matrix, "Matrix Market file, plain or gzip; - is standard input");
    addPlot(*info, options.plot, "Draw the pattern into FILE.png or FILE.svg");
    info->add_flag("--json", options.json, "Report on one line of JSON, without the sketch");
    info->footer(
        "Rank and extreme singular values are told of small matrices: at most 1000 rows or columns.\n"
        "Exit code: 0 told, 1 the singular values did not converge, 2 usage or bad input.");
}

void addAnalyse(CLI::App& app, tools::AnalyseOptions& options)
{
    CLI::App* analyse = app.add_subcommand("analyse", "Tell what the sparse direct solver makes of a matrix");
    addMatrix(*analyse, options.matrix, "Matrix Market file, plain or gzip; - is standard input");
    analyse->add_option("--ordering", options.ordering, "One ordering instead of all")
        ->type_name("NAME")
        ->check(CLI::Validator([](const std::string& name) { return tools::faultOfOrdering(name); }, ""));
    addPlot(*analyse, options.plot, "Draw the factor of least fill into FILE.png or FILE.svg");
    addThreads(*analyse);
    analyse->add_flag("--json", options.json, "Report on one line of JSON");
    analyse->footer(
        "Orderings: mmd minimum degree, cmmd with parts, nd nested dissection, pnd with parts, natural.\n"
        "Exit code: 0 analysed, 1 singular pattern or no analysis, 2 usage or bad input.");
}

/// Help and version, wanted and printed, are no errors; the rest is wrong usage.
int answerParseError(const CLI::App& app, const CLI::ParseError& error)
{
    const auto chosen = app.get_subcommands();
    if (error.get_exit_code() != 0) {
        const bool unknown = chosen.empty() && app.remaining_size() > 0;
        return complain(
            fmt::format("{} (see lintrix{} --help)",
                        unknown ? tools::inQuotes(app.remaining().front()) + " is not known" : error.what(),
                        chosen.empty() ? "" : " " + chosen.front()->get_name()));
    }
    std::ostringstream text;
    app.exit(error, text);
    if (tools::writeAll(STDOUT_FILENO, text.str())) return 0;
    return complain("standard output: cannot be written: " + tools::systemError());
}

int run(int argc, char** argv)
{
    CLI::App app("Lintrix: double-precision linear algebra at the command line", "lintrix");
    app.require_subcommand(1);
    app.set_version_flag("--version", versionText);
    tools::SolveOptions solveOptions;
    addSolve(app, solveOptions);
    tools::InfoOptions infoOptions;
    addInfo(app, infoOptions);
    tools::AnalyseOptions analyseOptions;
    addAnalyse(app, analyseOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerParseError(app, error);
    }
    if (app.got_subcommand("analyse")) return tools::runAnalyse(analyseOptions);
    return app.got_subcommand("info") ? tools::runInfo(infoOptions) : tools::runSolve(solveOptions);
}

} // namespace

int main(int argc, char** argv)
{
    occupyStandardDescriptors();
    ignoreWriteSignals();
    try {
        return run(argc, argv);
    } catch (const NotEnoughMemoryException&) {
        return complain("there is not enough memory");
    } catch (const std::bad_alloc&) {
        return complain("there is not enough memory");
    } catch (const std::exception& failure) {
        return complain(failure.what());
    }
}
