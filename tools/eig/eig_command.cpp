#include <tools/eig/eig_command.h>

#include <tools/eig/eig_report.h>
#include <tools/eig/spectrum.h>
#include <tools/eig/spectrum_plot.h>
#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/picture.h>
#include <tools/support/progress.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

/// Refused before any work where they cannot be written.
OutputFiles filesFor(const EigOptions& options)
{
    OutputFiles files;
    if (!options.vectors.empty()) {
        const bool whole = options.vectors == kStandardOutput;
        for (const char* part : {".values.mtx", ".right.mtx", ".left.mtx"}) {
            if (part == std::string_view(".left.mtx") && !options.left) continue;
            files.open(whole ? options.vectors : options.vectors + part);
        }
    }
    if (!options.plot.empty()) files.open(options.plot);
    return files;
}

/// As real numbers where there are no others.
void writeShort(OutputFile& file, const CMatrix& matrix)
{
    const bool real =
        std::ranges::all_of(cellsOf(matrix), [](const auto& cell) { return cell.imag() == 0.0; });
    if (real) {
        writeMatrix(file, matrix.Real());
    } else {
        writeMatrix(file, matrix);
    }
}

void write(const EigOptions& options, const Spectrum& found, OutputFiles& files)
{
    if (!options.vectors.empty()) {
        CMatrix values(static_cast<std::int32_t>(found.values.size()), 1);
        std::ranges::copy(found.values, cellsOf(values).begin());
        writeShort(files.next(), values);
        writeShort(files.next(), found.right);
        if (found.left) writeShort(files.next(), *found.left);
    }
    if (options.plot.empty()) return;
    const SpectrumPlot plot(found.values);
    OutputFile& picture = files.next();
    picture.write(isSvg(options.plot) ? asSvg(plot) : asPng(plot));
    picture.close();
}

/// Square, and with its vectors within memory: the copy that is destroyed, the vectors as they are found and
/// as they are told, and the products of the check.
void requireSize(const MatrixMarketHeader& header, bool left)
{
    if (header.rows != header.cols) {
        throw InputError(header.file, header.sizeLine,
                         fmt::format("a {} x {} matrix has no eigenvalues", header.rows, header.cols));
    }
    requireRoom(header);
    const double cells = static_cast<double>(header.rows) * header.cols, copies = left ? 10.0 : 7.0;
    requireMatrixRoom(header, copies * cells * sizeof(ComplexNumber));
}

template <class Cell>
Spectrum solve(MatrixFileReader& reader, const EigOptions& options, EigReport& report, Progress& progress)
{
    const auto A = readColumns<Cell>(reader);
    report.seconds.finish("read");
    report.isFinite = std::ranges::all_of(cellsOf(A), [](const auto& cell) {
        return std::isfinite(std::real(cell)) && std::isfinite(std::imag(cell));
    });
    progress.show(fmt::format("eigenvalues of {}: {} x {}", report.matrix, report.size, report.size));
    Spectrum spectrum = spectrumOf<Cell>(A, options.left);
    progress.erase();
    report.seconds.finish("eig");

    const CMatrix complexA = [&] {
        if constexpr (kIsComplex<Cell>) {
            return A;
        } else {
            return A.ToCMatrix();
        }
    }();
    report.residuals = residualsOf(complexA, spectrum.values, spectrum.right);
    if (spectrum.left) report.leftResiduals = leftResidualsOf(complexA, spectrum.values, *spectrum.left);
    report.seconds.finish("check");
    return spectrum;
}

} // namespace

int runEig(const EigOptions& options)
{
    const bool outputIsTaken = options.vectors == kStandardOutput || options.plot == kStandardOutput;
    if (options.vectors == options.plot && outputIsTaken)
        throw InputError("standard output cannot be both the eigenvectors and the picture");
    EigReport report;
    Progress progress;
    OutputFiles files = filesFor(options);
    MatrixFileReader reader = openMatrix(options.matrix, progress);
    requireSize(reader.Header(), options.left);
    report.matrix = reader.Header().file;
    report.size = reader.Header().rows;
    const Spectrum found = isComplex(reader) ? solve<ComplexNumber>(reader, options, report, progress)
                                             : solve<double>(reader, options, report, progress);
    report.method = found.method;
    report.values = found.values;

    const bool all = report.status() == "found";
    if (all) write(options, found, files);
    report.seconds.finish("write");
    writeReport(options.json ? asJson(report) : asText(report), outputIsTaken);
    if (!all) {
        writeAll(STDERR_FILENO, fmt::format("lintrix: {}: {}\n", printable(report.matrix), explain(report)));
        return 1;
    }
    files.commit();
    return 0;
}

} // namespace Velmar::Lintrix::tools
