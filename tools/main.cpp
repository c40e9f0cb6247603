// The `lintrix` command: arguments in, exit code out. 0 done, 1 a numeric failure, 2 usage or bad input.

#include <tools/analyse/analyse_command.h>
#include <tools/convert/convert_command.h>
#include <tools/eig/eig_command.h>
#include <tools/info/info_command.h>
#include <tools/solve/solve_command.h>
#include <tools/support/address_space.h>
#include <tools/support/count.h>
#include <tools/support/heap.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/picture.h>
#include <tools/support/temporary_files.h>
#include <tools/support/text.h>
#include <tools/svd/svd_command.h>

#include <lintrix/lintrix.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace Velmar::Lintrix;

constexpr int kBadInput = 2;

constexpr const char* kMatrixFile =
    "Matrix file in any form (see lintrix convert --help); - is standard input";

constexpr const char* kEnvironment =
    "lintrix COMMAND --help tells the options and the exit codes of a command.\n"
    "\n"
    "Environment:\n"
    "  OMP_NUM_THREADS             Threads to use, where --threads does not say\n"
    "  OMP_WAIT_POLICY             \"passive\" where other programs keep the cores busy\n"
    "  OPENBLAS_CORETYPE           Kernels of BLAS, such as Haswell, in place of those it chooses\n"
    "  LINTRIX_INSTRUCTION_SET     Bound of the other kernels: SSE2, AVX2 or AVX512";

std::string versionText()
{
    const BlasIdentity blas = DescribeBlas();
    const std::string note = blas.coreNote.empty() ? "" : " (" + blas.coreNote + ")";
    return fmt::format("lintrix {}\nBLAS: {}\nBLAS file: {}\nBLAS kernels for: {}{}\nBLAS threading: {}\n"
                       "own kernels for: {}\nthreads in force: {}",
                       LibraryVersion(), blas.library, blas.file.empty() ? "unknown" : blas.file,
                       blas.core.empty() ? "unknown" : blas.core, note, blas.threading, LibraryKernels(),
                       blas.threads);
}

/// A fault on one line of standard error.
int complain(std::string text)
{
    while (!text.empty() && text.back() == '\n') text.pop_back();
    tools::writeAll(STDERR_FILENO, fmt::format("lintrix: {}\n", tools::printable(text)));
    return kBadInput;
}

/// Takes no memory itself.
int complainOfMemory()
{
    tools::writeAll(STDERR_FILENO, "lintrix: there is not enough memory\n");
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

bool answered = false;

/// Where memory for a thread is missing, the OpenMP runtime ends the process with an exit code of its own.
void answerForOthers()
{
    if (answered) return;
    tools::removeTemporaries();
    _exit(complainOfMemory());
}

void addThreads(CLI::App& command)
{
    command
        .add_option_function<int>("--threads", TrellConfiguration::SetNumThreads,
                                  "Threads to use, at least 1")
        ->type_name("N")
        ->check(CLI::Validator(tools::faultOfCount, ""));
}

/// A file to read or to write, or where they begin.
CLI::Option* addFile(CLI::App& command, const std::string& option, std::string& file, const std::string& type,
                     const std::string& description)
{
    return command.add_option(option, file, description)
        ->type_name(type)
        ->check(CLI::Validator([](const std::string& name) { return tools::faultOfName(name); }, ""));
}

void addMatrix(CLI::App& command, std::string& file, const std::string& description)
{
    addFile(command, "MATRIX", file, "", description)->required();
}

void addPlot(CLI::App& command, std::string& file, const std::string& description)
{
    command.add_option("--plot", file, description)
        ->type_name("FILE")
        ->check(CLI::Validator([](const std::string& name) { return tools::faultOfPlot(name); }, ""));
}

/// One of a few words, each of which stands for a value.
template <class Value>
CLI::Option* addChoice(CLI::App* command, const std::string& name, Value& target,
                       const std::vector<std::pair<std::string, Value>>& choices,
                       const std::string& description)
{
    std::string words;
    for (const auto& choice : choices) words += (words.empty() ? "" : "|") + choice.first;
    const auto choose = [&target, choices, words, name](const std::string& word) {
        const auto found = std::ranges::find(choices, word, &std::pair<std::string, Value>::first);
        if (found == choices.end())
            throw CLI::ValidationError(name, tools::inQuotes(word) + " is none of " + words);
        target = found->second;
    };
    return command->add_option_function<std::string>(name, choose, description)->type_name(words);
}

constexpr const char* kCoreByMemory = "true"; // what the flag says without a value

/// "--out-of-core" alone, or with the megabytes behind "=".
CLI::Option* addOutOfCore(CLI::App* solve, tools::SparseOptions& options)
{
    const auto fault = [](const std::string& word) {
        return word == kCoreByMemory ? std::string() : tools::faultOfCount(word);
    };
    const auto take = [&options](const std::string& word) {
        options.system.outOfCore = true;
        if (word != kCoreByMemory) options.coreMegabytes = std::stoi(word);
    };
    return solve->add_flag("--out-of-core")
        ->description(
            "Keep the factor in files; --out-of-core=MB uses so many megabytes of memory beside them")
        ->check(CLI::Validator(fault, ""))
        ->each(take);
}

/// Files of a factor, which are read and written at any place of theirs.
std::vector<CLI::Option*> addKept(CLI::App* solve, tools::SparseOptions& options)
{
    const CLI::Validator isNoStream(
        [](const std::string& name) {
            return name == tools::kStandardOutput ? "a factor is kept in a file" : std::string();
        },
        "");
    CLI::Option* const save = addFile(*solve, "--save-factor", options.saveFactor, "FILE",
                                      "Keep matrix, analysis and factor in a file, for --factor")
                                  ->check(isNoStream);
    CLI::Option* const factor = addFile(*solve, "--factor", options.factor, "FILE",
                                        "Go on with what was kept; of another A only what still holds")
                                    ->check(isNoStream);
    return {save, factor};
}

/// The options of the direct solver.
std::vector<CLI::Option*> addDirect(CLI::App* solve, CLI::Option* json, tools::SparseOptions& options)
{
    CLI::Option* const type = addChoice(solve, "--type", options.system.type,
                                        {{"auto", std::nullopt},
                                         {"positive-definite", MatrixType::PositiveDefinite},
                                         {"indefinite", MatrixType::Indefinite},
                                         {"structurally-symmetric", MatrixType::StructurallySymmetric},
                                         {"unsymmetric", MatrixType::Unsymmetric}},
                                        "What to assume of A at first; auto looks at the values");
    CLI::Option* const ordering = addChoice(solve, "--ordering", options.system.ordering,
                                            {{"auto", std::nullopt},
                                             {"mmd", FillInReducingMethod::MinimumDegree},
                                             {"nd", FillInReducingMethod::NestedDissection},
                                             {"pnd", FillInReducingMethod::ParallelNestedDissection}},
                                            "Minimum degree or (parallel) nested dissection; auto counts");
    CLI::Option* const strategy = addChoice(solve, "--strategy", options.system.engine.strategy,
                                            {{"always", FactorizationStrategy::ComputeAlways},
                                             {"when-needed", FactorizationStrategy::ComputeWhenNeeded}},
                                            "Solve with the factors, or iterate with them");
    CLI::Option* const refine =
        solve
            ->add_option("--refine", options.system.engine.refine,
                         "At most N steps of refinement; below 0 with residuals in extended precision")
            ->type_name("N");
    CLI::Option* const outOfCore = addOutOfCore(solve, options);
    const std::vector<CLI::Option*> kept = addKept(solve, options);
    CLI::Option* const inertia =
        solve->add_flag("--certain-inertia", options.system.certainInertia,
                        "Factorize shifted matrices, too, where signs of eigenvalues stay uncertain");
    CLI::Option* const report =
        solve
            ->add_flag("--report", options.system.engine.engineReport, "Print the direct solver's own report")
            ->excludes(json);
    std::vector<CLI::Option*> direct = {type, ordering, strategy, refine, outOfCore, inertia, report};
    direct.insert(direct.end(), kept.begin(), kept.end());
    return direct;
}

/// What is wrong with a number of seconds, in words; nothing when it can be used.
std::string faultOfSeconds(const std::string& word)
{
    constexpr double kMost = 1e9; // some thirty years
    double value = 0.0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    const bool sound =
        error == std::errc() && end == word.data() + word.size() && value >= 0.0 && value <= kMost;
    return sound ? "" : tools::inQuotes(word) + " is not a number of seconds";
}

/// Bounds of time and memory, whatever way the system is solved.
void addLimits(CLI::App* solve, SystemOptions& options)
{
    constexpr double kMegabyte = 1048576.0;
    const auto takeSeconds = [&options](double seconds) {
        using Clock = std::chrono::steady_clock;
        options.limits.deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                     std::chrono::duration<double>(seconds));
    };
    solve->add_option_function<double>("--deadline", takeSeconds, "Give up after so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Validator(faultOfSeconds, ""));
    const auto takeMegabytes = [&options](int megabytes) { options.memoryBudget = kMegabyte * megabytes; };
    solve
        ->add_option_function<int>("--memory", takeMegabytes,
                                   "Hold at most MB megabytes, with the factor in files if need be")
        ->type_name("MB")
        ->check(CLI::Validator(tools::faultOfCount, ""));
}

/// They are refused where the file, once it is open, turns out to be solved in another way.
void noteDirect(CLI::App* solve, const std::vector<CLI::Option*>& direct, tools::SolveOptions& options)
{
    solve->callback([direct, &options] {
        for (const CLI::Option* option : direct)
            if (option->count() > 0) options.directOptions.push_back(option->get_name());
    });
}

void addSolve(CLI::App& app, tools::SolveOptions& options)
{
    CLI::App* solve = app.add_subcommand("solve", "Solve the linear system A*x = b");
    addMatrix(*solve, options.matrix,
              "File of A in any form (see lintrix convert --help); - is standard input");
    addFile(*solve, "--rhs", options.rightHands, "FILE",
            "File of right-hand sides; without it those in A's file, or b = A*(1,...,1)");
    addFile(*solve, "--out", options.out, "FILE",
            "File for the solution: .npy, .npz or a Matrix Market array; - is standard output");
    addThreads(*solve);
    CLI::Option* const json = solve->add_flag("--json", options.json, "Report on one line of JSON");
    noteDirect(solve, addDirect(solve, json, options.sparse), options);
    addLimits(solve, options.sparse.system);
    solve->add_flag("--same-bits", options.sparse.system.sameBits,
                    "The same digits for any number of threads, at some cost in time");
    solve->add_flag("--explain", options.explain, "Say in sentences what the report means, and what to do")
        ->excludes(json);
    solve->add_flag("--dense", options.dense, "Solve as a dense matrix, also a sparse file");
    solve->footer(
        "A may be square, tall (least squares) or wide (minimum norm); coordinate or array; of any field "
        "and\n"
        "symmetry; x is complex where A or b is. A coordinate file is solved sparse: a square one by the\n"
        "direct solver, tried in safer ways where it ends badly, others by the normal equations or LSMR, a\n"
        "rank-deficient one with the shortest solution. Array files and --dense: by LU, QR or LQ.\n"
        "A complex A must be hermitian for --type positive-definite, hermitian or symmetric for indefinite.\n"
        "Status: accurate; degraded, with the reason; failed, with the reason.\n"
        "A factor that memory has no room for is kept in files, also unasked: below $TMPDIR or /var/tmp,\n"
        "unless MKL_PARDISO_OOC_PATH names another place; they are removed at the end.\n"
        "Exit code: 0 accurate or degraded, 1 failed, 2 usage or bad input.");
}

void addInfo(CLI::App& app, tools::InfoOptions& options)
{
    CLI::App* info = app.add_subcommand("info", "Tell what a matrix file holds");
    addMatrix(*info, options.matrix, kMatrixFile);
    addPlot(*info, options.plot, "Draw the pattern into FILE.png or FILE.svg");
    info->add_flag("--json", options.json, "Report on one line of JSON, without the sketch");
    info->footer(
        "Rank and extreme singular values are told of small matrices: at most 1000 rows or columns.\n"
        "Exit code: 0 told, 1 the singular values did not converge, 2 usage or bad input.");
}

void addAnalyse(CLI::App& app, tools::AnalyseOptions& options)
{
    CLI::App* analyse = app.add_subcommand("analyse", "Tell what the sparse direct solver makes of a matrix");
    addMatrix(*analyse, options.matrix, kMatrixFile);
    analyse->add_option("--ordering", options.ordering, "One ordering instead of all")
        ->type_name("NAME")
        ->check(CLI::Validator([](const std::string& name) { return tools::faultOfOrdering(name); }, ""));
    addPlot(*analyse, options.plot, "Draw the factor of least fill into FILE.png or FILE.svg");
    addThreads(*analyse);
    analyse->add_flag("--json", options.json, "Report on one line of JSON");
    analyse->footer(
        "Orderings: mmd minimum degree, cmmd with parts, nd nested dissection, pnd with parts, natural.\n"
        "Seconds: of the analysis; of factorization and solve as foreseen, on a machine with nothing else to "
        "do.\n"
        "Memory: factors with the work on one; in core: all with one factor in memory; in files: at least.\n"
        "Exit code: 0 analysed, 1 singular pattern or no analysis, 2 usage or bad input.");
}

/// What is wrong with a tolerance, in words; nothing when it can be used.
std::string faultOfTolerance(const std::string& word)
{
    double value = 0.0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    const bool sound = error == std::errc() && end == word.data() + word.size() && value > 0.0 && value < 1.0;
    return sound ? "" : tools::inQuotes(word) + " is not a number between 0 and 1";
}

void addSvd(CLI::App& app, tools::SvdOptions& options)
{
    CLI::App* svd = app.add_subcommand("svd", "Find the largest singular values of a sparse matrix");
    addMatrix(*svd, options.matrix, kMatrixFile);
    svd->add_option("-k", options.count, "How many singular values, at least 1")
        ->type_name("K")
        ->check(CLI::Validator(tools::faultOfCount, ""))
        ->required();
    svd->add_option("--tol", options.tolerance, "Residual of a triplet that is good enough (1e-10)")
        ->type_name("T")
        ->check(CLI::Validator(faultOfTolerance, ""));
    addChoice(svd, "--method", options.bySteps, {{"restarted", false}, {"lanczos", true}},
              "With restarts (the default), or by steps alone, of a real matrix");
    svd->add_flag("--certify", options.certify,
                  "Prove that no larger value was passed over, by a factorization");
    addFile(*svd, "--out", options.out, "PREFIX",
            "Keep the triplets in PREFIX.u.mtx, PREFIX.s.mtx and PREFIX.v.mtx; - is standard output");
    addPlot(*svd, options.plot, "Draw the decay of the values into FILE.png or FILE.svg");
    addThreads(*svd);
    svd->add_flag("--json", options.json, "Report on one line of JSON");
    svd->footer(
        "Each value of a multiple one may be found once only, unless --certify is given. The residual told "
        "of a\ntriplet is the larger of |A*v - s*u| and |A'*u - s*v|, relative to the largest value.\n"
        "Exit code: 0 found, 1 not converged or passed over, 2 usage or bad input.");
}

void addEig(CLI::App& app, tools::EigOptions& options)
{
    CLI::App* eig = app.add_subcommand("eig", "Find the eigenvalues of a small matrix");
    addMatrix(*eig, options.matrix, kMatrixFile);
    eig->add_flag("--left", options.left, "Left eigenvectors, too, with their residuals");
    addFile(
        *eig, "--vectors", options.vectors, "PREFIX",
        "Keep PREFIX.values.mtx, PREFIX.right.mtx and, with --left, PREFIX.left.mtx; - is standard output");
    addPlot(*eig, options.plot, "Draw the spectrum in the complex plane into FILE.png or FILE.svg");
    addThreads(*eig);
    eig->add_flag("--json", options.json, "Report on one line of JSON");
    eig->footer(
        "All eigenvalues, by falling magnitude, each with |A*x - w*x|/|A| of its eigenvector x of length 1.\n"
        "The matrix is held dense: 25*n^3 operations, 1000 rows in seconds, 5000 in many minutes. A "
        "symmetric\n"
        "or hermitian one is decomposed as such. Left eigenvectors y: y^H*A = w*y^H.\n"
        "Exit code: 0 found, 1 not converged, 2 usage or bad input.");
}

void addConvert(CLI::App& app, tools::ConvertOptions& options)
{
    CLI::App* convert = app.add_subcommand("convert", "Write a matrix file in another form");
    addFile(*convert, "IN", options.matrix, "", "Matrix file, plain or gzip; - is standard input")
        ->required();
    addFile(*convert, "OUT", options.out, "", "File to write; - is standard output, a Matrix Market file")
        ->required();
    convert->footer(
        "IN may be, told by its content: Matrix Market (.mtx), Harwell-Boeing (.rua, .rsa, .cua, .pua, "
        "...),\n"
        "Rutherford-Boeing (.rb), NumPy (.npy) or an archive of NumPy or SciPy (.npz). The name of OUT says "
        "the\n"
        "form to write; a .gz behind it packs the file. Values come back bit by bit; entries at one place "
        "are\n"
        "added up, whole numbers and patterns become real ones, a symmetric matrix has its whole diagonal.\n"
        "Sparse matrices become dense in .npy, and dense ones sparse in .rua and .rb, without their zeros.\n"
        "Exit code: 0 written, 2 usage or bad input.");
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
    app.set_version_flag("--version", versionText, "Tell the version, the BLAS, the kernels and the threads");
    app.footer(kEnvironment);
    tools::SolveOptions solveOptions;
    addSolve(app, solveOptions);
    tools::InfoOptions infoOptions;
    addInfo(app, infoOptions);
    tools::AnalyseOptions analyseOptions;
    addAnalyse(app, analyseOptions);
    tools::SvdOptions svdOptions;
    addSvd(app, svdOptions);
    tools::EigOptions eigOptions;
    addEig(app, eigOptions);
    tools::ConvertOptions convertOptions;
    addConvert(app, convertOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerParseError(app, error);
    }
    tools::requireAddressSpace(TrellConfiguration::GetMaxThreads());
    if (app.got_subcommand("analyse")) return tools::runAnalyse(analyseOptions);
    if (app.got_subcommand("convert")) return tools::runConvert(convertOptions);
    if (app.got_subcommand("eig")) return tools::runEig(eigOptions);
    if (app.got_subcommand("info")) return tools::runInfo(infoOptions);
    if (app.got_subcommand("svd")) return tools::runSvd(svdOptions);
    return tools::runSolve(solveOptions);
}

int runOrComplain(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const NotEnoughMemoryException&) {
        return complainOfMemory();
    } catch (const std::bad_alloc&) {
        return complainOfMemory();
    } catch (const std::exception& failure) {
        return complain(failure.what());
    }
}

} // namespace

int main(int argc, char** argv)
{
    tools::prepareHeap();
    occupyStandardDescriptors();
    ignoreWriteSignals();
    tools::removeTemporariesOnSignals();
    std::atexit(answerForOthers);
    int code = kBadInput;
    try {
        code = runOrComplain(argc, argv);
    } catch (const std::exception&) { // there was none for the complaint either
        code = complainOfMemory();
    }
    answered = true;
    return code;
}
