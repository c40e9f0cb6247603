#include <tools/svd/svd_command.h>

#include <tools/input/matrix_file.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/progress.h>
#include <tools/support/text.h>
#include <tools/svd/decay_plot.h>
#include <tools/svd/svd_report.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <optional>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

/// The three files of the triplets and the picture, refused before any work where they cannot be written.
class Results {
public:
    explicit Results(const SvdOptions& options) : plot_(options.plot)
    {
        if (!options.out.empty()) {
            for (const char* part : {".u.mtx", ".s.mtx", ".v.mtx"}) open(options.out + part);
        }
        if (!plot_.empty()) open(plot_);
    }

    void write(const SparseSVD& svd, const std::vector<double>& values)
    {
        std::size_t next = 0;
        if (count_ >= 3) {
            writeMatrix(*files_[next++], svd.U());
            writeMatrix(*files_[next++], Matrix(svd.S()));
            writeMatrix(*files_[next++], svd.V());
        }
        if (plot_.empty()) return;
        const DecayPlot plot(values);
        files_[next]->write(plot_.ends_with(".svg") ? asSvg(plot) : asPng(plot));
        files_[next]->close();
    }
    void commit()
    {
        for (std::size_t i = 0; i < count_; ++i) files_[i]->commit();
    }

private:
    void open(const std::string& file) { files_[count_++].emplace(file); }
    static void writeMatrix(OutputFile& file, const Matrix& matrix)
    {
        WriteMatrixMarket([&file](std::string_view text) { file.write(text); }, matrix);
        file.close();
    }

    std::string plot_;
    std::array<std::optional<OutputFile>, 4> files_;
    std::size_t count_ = 0;
};

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
        progress.show(fmt::format("svd of {}: pass {}, {} steps, residual {:.1e}, wanted {:.1e}", name,
                                  pass.pass, pass.steps, pass.residual, pass.tolerance));
        return pass.steps < smallerSide;
    };
    return observer;
}

double normOf(const Vector& x)
{
    double squared = 0.0;
    for (int i = 0; i < x.Length(); ++i) squared += x[i] * x[i];
    return std::sqrt(squared);
}

/// The larger of ||A*v - s*u|| and ||A'*u - s*v||, relative to the largest value.
double residualOf(const SparseMatrix& A, const SparseSVD& svd, int i)
{
    const Vector u = svd.U().ColVector(i), v = svd.V().ColVector(i);
    const double s = svd.S()[i];
    Vector left = u, right = v;
    SparseMatrix::Multiply(1.0, TransposeMode::NotTransposed, A, v, -s, left);
    SparseMatrix::Multiply(1.0, TransposeMode::Transposed, A, u, -s, right);
    return std::max(normOf(left), normOf(right)) / svd.S()[0];
}

SvdStatus judge(const SvdReport& report)
{
    if (!std::isfinite(report.values.front())) return SvdStatus::NotFinite;
    return report.testResidual <= report.tolerance ? SvdStatus::Found : SvdStatus::NotConverged;
}

void tellOutcome(const SparseMatrix& A, const SparseSVD& svd, SvdReport& report)
{
    report.passes = svd.LastPass().pass;
    report.steps = svd.LastPass().steps;
    report.tolerance = svd.LastPass().tolerance;
    report.testResidual = svd.LastPass().residual;
    for (int i = 0; i < svd.S().Length(); ++i) {
        report.values.push_back(svd.S()[i]);
        report.residuals.push_back(residualOf(A, svd, i));
    }
    const auto bad =
        std::ranges::find_if(report.residuals, [&](double r) { return !(r <= report.tolerance); });
    report.sound = static_cast<std::int32_t>(bad - report.residuals.begin());
    report.status = judge(report);
}

SparseMatrix load(const SvdOptions& options, SvdReport& report, Progress& progress)
{
    MatrixMarketReader reader = openMatrix(options.matrix, progress);
    requireReal(reader, "the singular values of a complex matrix are not found yet");
    SparseMatrix A = reader.ReadSparse();
    progress.erase();
    report.matrix = reader.Header().file;
    report.rows = A.Rows();
    report.cols = A.Cols();
    report.entries = A.NumElements();
    const std::int32_t smallerSide = std::min(A.Rows(), A.Cols());
    if (options.count > smallerSide) {
        throw InputError(report.matrix,
                         fmt::format("{} singular values are wanted, but a {} x {} matrix has {}",
                                     options.count, A.Rows(), A.Cols(), smallerSide));
    }
    return A;
}

} // namespace

int runSvd(const SvdOptions& options)
{
    SvdReport report;
    Progress progress;
    Results results(options);
    const SparseMatrix A = load(options, report, progress);
    report.seconds.finish("read");

    const SparseSVD svd(A, options.count, options.tolerance,
                        observerOf(report.matrix, std::min(A.Rows(), A.Cols()), progress));
    progress.erase();
    report.seconds.finish("svd");

    tellOutcome(A, svd, report);
    report.seconds.finish("check");

    const bool found = report.status == SvdStatus::Found;
    if (found) results.write(svd, report.values);
    report.seconds.finish("write");

    writeReport(options.json ? asJson(report) : asText(report));
    if (!found) {
        writeAll(STDERR_FILENO, fmt::format("lintrix: {}: {}\n", printable(report.matrix), explain(report)));
        return 1;
    }
    results.commit();
    return 0;
}

} // namespace Velmar::Lintrix::tools
