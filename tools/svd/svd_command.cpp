#include <tools/svd/svd_command.h>

#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/picture.h>
#include <tools/support/progress.h>
#include <tools/support/text.h>
#include <tools/svd/decay_plot.h>
#include <tools/svd/lanczos_road.h>
#include <tools/svd/restarted_road.h>
#include <tools/svd/svd_report.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

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

template <class Cell>
void write(const SvdOptions& options, const Triplets<Cell>& found, const std::vector<double>& values,
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

template <class Cell>
SparseRows<Cell> load(MatrixFileReader& reader, SvdReport& report, Progress& progress)
{
    SparseRows<Cell> A = readRows<Cell>(reader, MatrixMarketStorage::UpperTriangle);
    progress.erase();
    report.matrix = reader.Header().file;
    report.rows = A.Rows();
    report.cols = A.Cols();
    report.entries = A.NumElements();
    return A;
}

template <class Cell>
std::optional<Triplets<Cell>> find(const SparseRows<Cell>& A, const SvdOptions& options, Progress& progress,
                                   SvdReport& report)
{
    if constexpr (!kIsComplex<Cell>) {
        if (options.bySteps) return findBySteps(A, options, progress, report);
    }
    return findByRestarts<Cell>(A, options, progress, report);
}

/// @return  whether all was found
template <class Cell>
bool solve(MatrixFileReader& reader, const SvdOptions& options, OutputFiles& files, Progress& progress,
           SvdReport& report)
{
    const SparseRows<Cell> A = load<Cell>(reader, report, progress);
    report.seconds.finish("read");
    const std::optional<Triplets<Cell>> triplets = find<Cell>(A, options, progress, report);
    progress.erase();
    const bool found = report.allFound();
    if (found) write(options, *triplets, report.values, files);
    report.seconds.finish("write");
    return found;
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
    MatrixFileReader reader = openMatrix(options.matrix, progress);
    if (options.bySteps) requireReal(reader, "the singular values of a complex matrix are not found yet");
    requireSizes(reader.Header(), options.count);
    const bool found = isComplex(reader) ? solve<ComplexNumber>(reader, options, files, progress, report)
                                         : solve<double>(reader, options, files, progress, report);
    writeReport(options.json ? asJson(report) : asText(report), outputIsTaken);
    if (!found) {
        writeAll(STDERR_FILENO, fmt::format("lintrix: {}: {}\n", printable(report.matrix), explain(report)));
        return 1;
    }
    files.commit();
    return 0;
}

} // namespace Velmar::Lintrix::tools
