#include <tools/solve_command.h>

#include <tools/dense_solver.h>
#include <tools/dense_system.h>
#include <tools/input_error.h>
#include <tools/matrix_market.h>
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

struct SystemFiles {
    MatrixMarket matrix;
    std::optional<MatrixMarket> rightHands;
};

/// Both size lines are judged before any entry is read.
SystemFiles readSystem(const SolveOptions& options, Progress& progress)
{
    if (options.matrix == "-" && options.rightHands == "-") {
        throw InputError("standard input cannot be both the matrix and the right-hand side");
    }
    MatrixMarketReader matrix(options.matrix, progress);
    requireRoom(matrix.header());
    std::optional<MatrixMarketReader> rightHands;
    if (!options.rightHands.empty()) {
        rightHands.emplace(options.rightHands, progress);
        requireRoomBeside(matrix.header(), rightHands->header());
    }
    SystemFiles files{matrix.read(), std::nullopt};
    if (rightHands) files.rightHands = rightHands->read();
    progress.erase();
    return files;
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
    const double error = std::max(report.maxError.value_or(0.0), report.probeError.value_or(0.0));
    if (error <= kFewDigits) return;
    const int digits = std::isfinite(error) ? std::max(0, static_cast<int>(-std::log10(error))) : 0;
    const std::string trust = digits == 0   ? "no digit of the solution can"
                              : digits == 1 ? "only about 1 digit of the solution can"
                                            : fmt::format("only about {} digits of the solution can", digits);
    tell(fmt::format("warning: {}: {} be trusted: a known solution came back with a relative error of {:.1e}",
                     report.matrix, trust, error));
}

/// Residuals and, for b from ones, the error. The solution of a wide system is the shortest one, not the
/// ones.
void fillIn(SolveReport& report, Answer& answer, Quality& quality, const Matrix& A, const Matrix& B,
            bool fromOnes)
{
    report.probeError = answer.probeError;
    if (answer.status == Status::Solved) {
        quality = judge(A, *answer.x, B);
        if (!(quality.judged() <= kInaccurate)) answer.status = Status::Inaccurate;
        report.residual = quality.residual;
        report.normalResidual = quality.normalResidual;
        if (fromOnes && A.Rows() >= A.Cols()) {
            report.maxError = largestDifference(*answer.x, filledWith(1.0, A.Cols(), 1));
        }
    }
    report.road = answer.road;
    report.status = nameOf(answer.status);
}

void print(const std::string& text)
{
    if (!writeAll(STDOUT_FILENO, text))
        throw InputError("standard output", "cannot be written: " + systemError());
}

} // namespace

int runSolve(const SolveOptions& options)
{
    SolveReport report;
    Progress progress;
    std::optional<OutputFile> out;
    if (!options.out.empty()) out.emplace(options.out);

    SystemFiles files = readSystem(options, progress);
    report.matrix = files.matrix.header.file;
    report.entries = entryCount(files.matrix);
    report.seconds.finish("read");

    const Matrix A = assemble(files.matrix);
    const Matrix B = files.rightHands ? assemble(*files.rightHands) : A * filledWith(1.0, A.Cols(), 1);
    files = {}; // the entries as read are not needed any more
    report.rows = A.Rows();
    report.cols = A.Cols();
    report.rightHands = B.Cols();
    report.seconds.finish("assemble");

    announce(A, report.matrix, progress);
    Answer answer = solveDense(A, B);
    progress.erase();
    report.seconds.finish("solve");

    Quality quality;
    fillIn(report, answer, quality, A, B, options.rightHands.empty());
    report.seconds.finish("check");

    const bool solved = answer.status == Status::Solved;
    if (out && solved) {
        writeMatrixMarketArray(cellsOf(*answer.x).data(), answer.x->Rows(), answer.x->Cols(),
                               [&](std::string_view text) { out->write(text); });
        out->close();
    }
    report.seconds.finish("write");

    print(options.json ? asJson(report) : asText(report));
    if (!solved) {
        tell(fmt::format("{}: {}", report.matrix, explain(answer, A, quality)));
        return 1;
    }
    if (out) out->commit();
    warnOfFewDigits(report);
    return 0;
}

} // namespace Velmar::Lintrix::tools
