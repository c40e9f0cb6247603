#include <tools/solve_command.h>

#include <tools/dense_solver.h>
#include <tools/dense_system.h>
#include <tools/input_error.h>
#include <tools/matrix_file.h>
#include <tools/output_file.h>
#include <tools/progress.h>
#include <tools/report.h>
#include <tools/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kFewDigits = 1e-6;     // an error above this is warned of
constexpr double kInaccurate = 0x1p-26; // sqrt(eps): half of the digits fit the system
constexpr double kLongWork = 2e9;       // operations; about a tenth of a second

struct System {
    Matrix A, B;
    bool onesAreKnown; ///< B = A*(1, ..., 1), and no other solution can be the answer
};

/// Both size lines are judged before any entry is read.
System loadSystem(const SolveOptions& options, SolveReport& report, Progress& progress)
{
    if (options.matrix == "-" && options.rightHands == "-") {
        throw InputError("standard input cannot be both the matrix and the right-hand side");
    }
    MatrixMarketReader matrix = openMatrix(options.matrix, progress);
    requireRoom(matrix.Header());
    std::optional<MatrixMarketReader> rightHands;
    if (!options.rightHands.empty()) {
        rightHands.emplace(openMatrix(options.rightHands, progress));
        requireRoomBeside(matrix.Header(), rightHands->Header());
    }
    Matrix A = matrix.ReadDense();
    std::optional<Matrix> given;
    if (rightHands) given = rightHands->ReadDense();
    progress.erase();
    report.seconds.finish("read");

    Matrix B = given ? std::move(*given) : A * filledWith(1.0, A.Cols(), 1);
    report.matrix = matrix.Header().file;
    report.entries = matrix.EntriesRead();
    report.rows = A.Rows();
    report.cols = A.Cols();
    report.rightHands = B.Cols();
    report.seconds.finish("assemble");
    // A wide system is answered by its shortest solution, which the ones are not.
    const bool onesAreKnown = !rightHands && A.Rows() >= A.Cols();
    return {std::move(A), std::move(B), onesAreKnown};
}

void announce(const Matrix& A, std::string_view file, Progress& progress)
{
    const double m = A.Rows(), n = A.Cols(), p = std::min(m, n);
    const double operations = m == n ? 2.0 / 3.0 * n * n * n : 2.0 * p * p * (std::max(m, n) - p / 3.0);
    if (operations >= kLongWork) {
        progress.show(
            fmt::format("solving {}: {} x {}, {:.1f} Gflop", file, A.Rows(), A.Cols(), operations / 1e9));
    }
}

/// One line on standard error; when that cannot be written either, nobody is left to tell.
void tell(const std::string& text)
{
    writeAll(STDERR_FILENO, fmt::format("lintrix: {}\n", printable(text)));
}

void warnOfFewDigits(const SolveReport& report)
{
    const double probe = report.probeError.value_or(0.0);
    const double error = std::isnan(probe) ? probe : std::max(probe, report.maxError.value_or(0.0));
    if (error <= kFewDigits) return;
    const int digits = std::isfinite(error) ? std::max(0, static_cast<int>(-std::log10(error))) : 0;
    const std::string trust = digits == 0   ? "no digit of the solution can"
                              : digits == 1 ? "only about 1 digit of the solution can"
                                            : fmt::format("only about {} digits of the solution can", digits);
    tell(fmt::format("warning: {}: {} be trusted: a known solution came back with a relative error of {:.1e}",
                     report.matrix, trust, error));
}

/// Residuals and errors; an answer that does not solve its system is told to be inaccurate.
Quality check(const System& system, Answer& answer, SolveReport& report)
{
    Quality quality;
    report.probeError = answer.probeError;
    if (answer.status == Status::Solved) {
        quality = judge(system.A, *answer.x, system.B);
        if (!(quality.judged() <= kInaccurate)) answer.status = Status::Inaccurate;
        report.residual = quality.residual;
        report.normalResidual = quality.normalResidual;
        if (system.onesAreKnown) {
            report.maxError = largestDifference(*answer.x, filledWith(1.0, system.A.Cols(), 1));
        }
    }
    report.road = answer.road;
    report.status = nameOf(answer.status);
    return quality;
}

void write(const Matrix& X, OutputFile& out)
{
    WriteMatrixMarket([&out](std::string_view text) { out.write(text); }, X);
    out.close();
}

} // namespace

int runSolve(const SolveOptions& options)
{
    SolveReport report;
    Progress progress;
    std::optional<OutputFile> out;
    if (!options.out.empty()) out.emplace(options.out);

    const System system = loadSystem(options, report, progress);
    announce(system.A, report.matrix, progress);
    Answer answer = solveDense(system.A, system.B);
    progress.erase();
    report.seconds.finish("solve");

    const Quality quality = check(system, answer, report);
    report.seconds.finish("check");

    const bool solved = answer.status == Status::Solved;
    if (out && solved) write(*answer.x, *out);
    report.seconds.finish("write");

    writeReport(options.json ? asJson(report) : asText(report));
    if (!solved) {
        tell(fmt::format("{}: {}", report.matrix, explain(answer, system.A, quality)));
        return 1;
    }
    if (out) out->commit();
    warnOfFewDigits(report);
    return 0;
}

} // namespace Velmar::Lintrix::tools
