#include <tools/solve/solve_command.h>

#include <tools/input/matrix_file.h>
#include <tools/solve/solve_road.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/progress.h>
#include <tools/support/report.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>
#include <utility>
#include <variant>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

SystemFiles openFiles(const SolveOptions& options, Progress& progress)
{
    if (options.matrix == "-" && options.rightHands == "-") {
        throw InputError("standard input cannot be both the matrix and the right-hand side");
    }
    if (options.out == kStandardOutput && options.sparse.system.engine.engineReport) {
        throw InputError("standard output cannot be both the solution and the direct solver's report");
    }
    SystemFiles files{openMatrix(options.matrix, progress), {}};
    if (!options.rightHands.empty()) files.rightHands.emplace(openMatrix(options.rightHands, progress));
    return files;
}

/// The options of the direct solver have something to say of square sparse systems alone.
void refuseDirectOptions(const MatrixMarketHeader& header, const SolveOptions& options, bool sparse)
{
    if (options.directOptions.empty() || (sparse && header.rows == header.cols)) return;
    throw InputError(header.file, fmt::format("{} has no effect: the {}", options.directOptions.front(),
                                              sparse ? "matrix is not square" : "system is solved dense"));
}

Solution solve(SystemFiles& files, const SolveOptions& options, SolveReport& report, Progress& progress)
{
    const MatrixMarketHeader& header = files.matrix.Header();
    report.matrix = header.file;
    report.rows = header.rows;
    report.cols = header.cols;
    const bool sparse = !options.dense && header.form == MatrixMarketForm::Coordinate;
    refuseDirectOptions(header, options, sparse);
    report.leastSquares = sparse && header.rows != header.cols;
    Solution solution = sparse ? takeSparseRoad(files, options.sparse, report, progress)
                               : takeDenseRoad(files, options.sparse.system, report, progress);
    return solution;
}

/// A sentence of the library as the end of one of the command's.
std::string asClause(std::string sentence)
{
    if (sentence.ends_with('.')) sentence.pop_back();
    if (!sentence.empty())
        sentence[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(sentence[0])));
    return sentence;
}

/// The larger of what is known; NaN if one is.
double worseError(std::optional<double> probeError, std::optional<double> knownError)
{
    const double probe = probeError.value_or(0.0), known = knownError.value_or(0.0);
    if (std::isnan(probe)) return probe;
    return known <= probe ? probe : known;
}

/// Of a solution that has some.
std::string digitsInWords(double error)
{
    const auto digits = static_cast<int>(-std::log10(error));
    if (digits == 1) return "only about 1 digit of the solution can";
    return fmt::format("only about {} digits of the solution can", digits);
}

void warn(const SolveReport& report)
{
    const double error = worseError(report.probeError, report.maxError);
    if (!(error <= kFewDigits)) {
        tellUser(
            fmt::format("warning: {}: {} be trusted: a known solution came back with a relative error of {}",
                        report.matrix, digitsInWords(error), numberInWords(error, "{:.1e}")));
    } else if (!report.reason.empty()) {
        tellUser(fmt::format("warning: {}: the solution is degraded: {}", report.matrix, report.reason));
    }
}

/// Before the work, which may take a night.
void requireWritable(const std::string& file)
{
    const OutputFile judged(file);
}

void write(const std::variant<Matrix, CMatrix>& X, OutputFile& out, MatrixFileFormat format)
{
    std::visit([&](const auto& columns) { writeMatrix(out, columns, format); }, X);
}

} // namespace

std::optional<MatrixMarketHeader> headerOfRightHands(const SystemFiles& files)
{
    if (files.rightHands) return files.rightHands->Header();
    return ownRightHands(files.matrix);
}

template <class Cell>
std::optional<Columns<Cell>> readRightHands(SystemFiles& files)
{
    if (files.rightHands) return readColumns<Cell>(*files.rightHands);
    if (files.matrix.RightHands() > 0) return readOwnRightHands<Cell>(files.matrix);
    return std::nullopt;
}

template std::optional<Matrix> readRightHands<double>(SystemFiles&);
template std::optional<CMatrix> readRightHands<ComplexNumber>(SystemFiles&);

template <class Cell>
Solution tell(SystemAnswer<Cell>& answer, SolveReport& report)
{
    report.road = answer.road;
    if (answer.ordering) report.ordering = NameOf(*answer.ordering);
    report.tried = answer.tried;
    report.reason = answer.reason;
    report.residual = answer.residual;
    report.normalResidual = answer.normalResidual;
    report.probeError = answer.probeError;
    report.maxError = answer.knownError;
    report.condition = answer.condition;
    report.inertia = answer.inertia;
    report.solutions = answer.solutions;
    report.columns = answer.columns;
    report.perturbedPivots = answer.perturbedPivots;
    report.refinementSteps = answer.refinementSteps;
    report.krylovSteps = answer.krylovSteps;
    report.factorEntries = answer.factorEntries;
    if (answer.ordering && answer.factorEntries != 0) {
        report.factorBytes = static_cast<double>(sizeof(Cell)) * static_cast<double>(answer.factorEntries);
        if (answer.store == FactorStore::Files) report.coreMegabytes = answer.coreMegabytes;
    }
    std::string explanation = answer.Explain(1); // as files count
    if (answer.verdict == Verdict::Failed)
        return {{}, answer.verdict, answer.complaint, std::move(explanation)};
    return {std::move(answer.x), answer.verdict, {}, std::move(explanation)};
}

template Solution tell(SystemAnswer<double>&, SolveReport&);
template Solution tell(SystemAnswer<ComplexNumber>&, SolveReport&);

template <class Cell>
SystemAnswer<Cell> answerOf(LinearSystem<Cell>& system, const std::optional<Columns<Cell>>& given)
try {
    if (given) return system.Solve(*given);
    return system.SolveKnown(filledWith<Columns<Cell>>(1.0, system.Cols(), 1));
} catch (const OperationFailedException& failure) {
    throw InputError(asClause(failure.what()));
}

template SystemAnswer<double> answerOf(LinearSystem<double>&, const std::optional<Columns<double>>&);
template SystemAnswer<ComplexNumber> answerOf(LinearSystem<ComplexNumber>&,
                                              const std::optional<Columns<ComplexNumber>>&);

void tellUser(const std::string& text)
{
    writeAll(STDERR_FILENO, fmt::format("lintrix: {}\n", printable(text)));
}

int runSolve(const SolveOptions& options)
{
    SolveReport report;
    Progress progress;
    denseFormatOf(options.out); // what it refuses is refused before the work
    std::optional<OutputFile> out;
    if (!options.out.empty()) out.emplace(options.out);

    if (!options.sparse.saveFactor.empty()) requireWritable(options.sparse.saveFactor);

    SystemFiles files = openFiles(options, progress);
    const Solution solution = solve(files, options, report, progress);
    return conclude(options, report, solution, out);
}

int conclude(const SolveOptions& options, SolveReport& report, const Solution& solution,
             std::optional<OutputFile>& out)
{
    report.status = NameOf(solution.verdict);
    const bool solved = solution.verdict != Verdict::Failed;
    if (out && solved) write(*solution.x, *out, denseFormatOf(options.out));
    report.seconds.finish("write");

    const std::string explanation = options.explain ? "\n" + solution.explanation : "";
    writeReport(options.json ? asJson(report) : asText(report) + explanation, options.out == kStandardOutput);
    if (!solved) {
        tellUser(fmt::format("{}: {}", report.matrix, solution.complaint));
        return 1;
    }
    if (out) out->commit();
    warn(report);
    return 0;
}

} // namespace Velmar::Lintrix::tools
