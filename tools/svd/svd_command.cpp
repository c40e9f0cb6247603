#include <tools/svd/svd_command.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/picture.h>
#include <tools/support/progress.h>
#include <tools/support/text.h>
#include <tools/svd/decay_plot.h>
#include <tools/svd/svd_report.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

/// A = U*diag(S)*V', as far as it was asked for.
struct Triplets {
    Matrix U;
    Vector S;
    Matrix V;
};

/// The three files of the triplets and the picture, refused before any work where they cannot be written.
OutputFiles filesFor(const SvdOptions& options)
{
    OutputFiles files;
    if (!options.out.empty()) {
        const bool whole = options.out == kStandardOutput;
        for (const char* part : {".u.mtx", ".s.mtx", ".v.mtx"})
            files.open(whole ? options.out : options.out + part);
    }
    if (!options.plot.empty()) files.open(options.plot);
    return files;
}

void write(const SvdOptions& options, const Triplets& found, const std::vector<double>& values,
           OutputFiles& files)
{
    if (!options.out.empty()) {
        writeMatrix(files.next(), found.U);
        writeMatrix(files.next(), Matrix(found.S));
        writeMatrix(files.next(), found.V);
    }
    if (options.plot.empty()) return;
    const DecayPlot plot(values);
    OutputFile& picture = files.next();
    picture.write(isSvg(options.plot) ? asSvg(plot) : asPng(plot));
    picture.close();
}

/// Shows how far the steps are, ten times a second, and ends the passes once they have used up the space.
LanczosObserver observerOf(const std::string& name, std::int32_t smallerSide, Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    LanczosObserver observer;
    observer.afterStep = [&progress, name, shown = Clock::now()](std::int32_t step,
                                                                 std::int32_t target) mutable {
        const Clock::time_point now = Clock::now();
        if (now - shown < std::chrono::milliseconds(100)) return;
        shown = now;
        progress.show(fmt::format("svd of {}: step {} of {}", name, step, target));
    };
    observer.afterPass = [&progress, name, smallerSide](const LanczosPass& pass) {
        progress.show(fmt::format("svd of {}: pass {}, {} steps, residual {}, wanted {:.1e}", name, pass.pass,
                                  pass.steps, numberInWords(pass.residual, "{:.1e}"), pass.tolerance));
        return pass.steps < smallerSide;
    };
    return observer;
}

/// The larger of ||A*v - s*u|| and ||A'*u - s*v||, relative to the largest value where that is not zero.
double residualOf(const SparseMatrix& A, const Triplets& found, int i)
{
    const Vector u = found.U.ColVector(i), v = found.V.ColVector(i);
    const double s = found.S[i], largest = found.S[0];
    Vector left = u, right = v;
    SparseMatrix::Multiply(1.0, TransposeMode::NotTransposed, A, v, -s, left);
    SparseMatrix::Multiply(1.0, TransposeMode::Transposed, A, u, -s, right);
    return std::max(left.Norm(), right.Norm()) / (largest == 0.0 ? 1.0 : largest);
}

SvdStatus judge(const LanczosPass& last, const Vector& values)
{
    if (!values.IsFinite()) return SvdStatus::NotFinite;
    return last.residual <= last.tolerance ? SvdStatus::Found : SvdStatus::NotConverged;
}

/// By Lanczos steps. The hardened build refuses where the others answer with NaN; so nothing was found.
std::optional<Triplets> takeSteps(const SparseMatrix& A, const SvdOptions& options, Progress& progress,
                                  SvdReport& report)
{
    try {
        const SparseSVD svd(A, options.count, options.tolerance,
                            observerOf(report.matrix, std::min(A.Rows(), A.Cols()), progress));
        report.passes = svd.LastPass().pass;
        report.steps = svd.LastPass().steps;
        report.tolerance = svd.LastPass().tolerance;
        report.testResidual = svd.LastPass().residual;
        report.status = judge(svd.LastPass(), svd.S());
        return Triplets{svd.U(), svd.S(), svd.V()};
    } catch (const InvalidOperationException&) {
        report.status = SvdStatus::NotFinite;
        return std::nullopt;
    }
}

/// The leading triplets of all.
std::optional<Triplets> decomposeDense(const SparseMatrix& A, int count)
{
    const SVD svd(A.ToDense());
    if (!svd.Succeeded()) return std::nullopt;
    Triplets found{*svd.U(), svd.SingularValues(), *svd.V()};
    found.U.Cols(count);
    found.S.Length(count);
    found.V.Cols(count);
    return found;
}

/// The steps, and where they come to no end because the matrix leaves them nothing to work on (a multiple or
/// a zero value, or hardly a row), the dense decomposition, if the matrix is small.
std::optional<Triplets> find(const SparseMatrix& A, const SvdOptions& options, Progress& progress,
                             SvdReport& report)
{
    std::optional<Triplets> found = takeSteps(A, options, progress, report);
    if (report.status == SvdStatus::Found || !isSmall(A.Rows(), A.Cols())) return found;
    std::optional<Triplets> all = decomposeDense(A, options.count);
    if (!all) return found;
    report.road = "dense";
    report.status = SvdStatus::Found;
    return all;
}

void tellOutcome(const SparseMatrix& A, const Triplets& found, SvdReport& report)
{
    for (int i = 0; i < found.S.Length(); ++i) {
        report.values.push_back(found.S[i]);
        report.residuals.push_back(residualOf(A, found, i));
    }
    if (report.road == "dense") report.testResidual = report.residuals.back();
    const auto bad =
        std::ranges::find_if(report.residuals, [&](double r) { return !(r <= report.tolerance); });
    report.sound = static_cast<std::int32_t>(bad - report.residuals.begin());
}

/// Bases of as many vectors as the first pass makes, and the triplets.
double bytesOfVectors(const MatrixMarketHeader& header, int count)
{
    const double rows = header.rows, cols = header.cols;
    return sizeof(double) * (rows + cols) * (std::sqrt(std::min(rows, cols) * count) + count);
}

void requireSizes(const MatrixMarketHeader& header, int count)
{
    const std::int32_t smallerSide = std::min(header.rows, header.cols);
    if (count > smallerSide) {
        throw InputError(header.file,
                         fmt::format("{} singular values are wanted, but a {} x {} matrix has {}", count,
                                     header.rows, header.cols, smallerSide));
    }
    requireMatrixRoom(header, bytesOfVectors(header, count));
}

SparseMatrix load(const SvdOptions& options, SvdReport& report, Progress& progress)
{
    MatrixMarketReader reader = openMatrix(options.matrix, progress);
    requireReal(reader, "the singular values of a complex matrix are not found yet");
    requireSizes(reader.Header(), options.count);
    SparseMatrix A = reader.ReadSparse();
    progress.erase();
    report.matrix = reader.Header().file;
    report.rows = A.Rows();
    report.cols = A.Cols();
    report.entries = A.NumElements();
    return A;
}

} // namespace

int runSvd(const SvdOptions& options)
{
    const bool outputIsTaken = options.out == kStandardOutput || options.plot == kStandardOutput;
    if (options.out == options.plot && outputIsTaken)
        throw InputError("standard output cannot be both the triplets and the picture");
    SvdReport report;
    report.tolerance = options.tolerance;
    Progress progress;
    OutputFiles files = filesFor(options);
    const SparseMatrix A = load(options, report, progress);
    report.seconds.finish("read");

    const std::optional<Triplets> triplets = find(A, options, progress, report);
    progress.erase();
    report.seconds.finish("svd");

    if (triplets) tellOutcome(A, *triplets, report);
    report.seconds.finish("check");

    const bool found = report.status == SvdStatus::Found;
    if (found) write(options, *triplets, report.values, files);
    report.seconds.finish("write");

    writeReport(options.json ? asJson(report) : asText(report), outputIsTaken);
    if (!found) {
        writeAll(STDERR_FILENO, fmt::format("lintrix: {}: {}\n", printable(report.matrix), explain(report)));
        return 1;
    }
    files.commit();
    return 0;
}

} // namespace Velmar::Lintrix::tools
