#include <tools/info/info_command.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_facts.h>
#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/support/output_file.h>
#include <tools/support/pattern.h>
#include <tools/support/picture.h>
#include <tools/support/progress.h>
#include <tools/support/report.h>
#include <tools/support/text.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kSketchHeight = 32, kSketchWidth = 64; // characters

struct Spectrum {
    bool converged = false;
    std::int32_t rank = 0;
    double largest = 0.0, smallest = 0.0;
};

struct Info {
    std::string matrix;
    std::int32_t rows = 0, cols = 0;
    MatrixFacts facts;
    std::optional<Spectrum> spectrum; ///< of a small matrix

    double density() const
    {
        return static_cast<double>(facts.entries) / (static_cast<double>(rows) * static_cast<double>(cols));
    }
    double condition() const { return spectrum->largest / spectrum->smallest; }
};

template <class Cell>
Spectrum spectrumOf(const SparseRows<Cell>& matrix)
{
    const std::conditional_t<kIsComplex<Cell>, CSVD, SVD> svd(matrix.ToDense(), true);
    const std::int32_t last = std::min(matrix.Rows(), matrix.Cols()) - 1;
    return {svd.Succeeded(), svd.Rank(), svd.SingularValue(0), svd.SingularValue(last)};
}

template <class Matrix>
PatternGrid gridOf(const Matrix& matrix, int height, int width)
{
    PatternGrid grid(matrix.Rows(), matrix.Cols(), height, width);
    ForEachEntry(matrix, [&grid](std::int32_t row, std::int32_t col, const auto&) { grid.add(row, col); });
    return grid;
}

std::string sixDigits(double value)
{
    return numberInWords(value, "{:.6g}");
}

std::string asText(const Info& info)
{
    const MatrixFacts& f = info.facts;
    std::string text =
        line("matrix", printable(info.matrix)) + line("size", fmt::format("{} x {}", info.rows, info.cols)) +
        line("entries", fmt::format("{} ({:.3g} % of the cells, {} stored zeros, {} on the diagonal)",
                                    f.entries, 100.0 * info.density(), f.storedZeros, f.diagonal)) +
        line("symmetry", std::string(symmetryInWords(f, info.rows, info.cols))) +
        line("bandwidth",
             fmt::format("{} below, {} above the diagonal", f.lowerBandwidth, f.upperBandwidth)) +
        line("magnitudes",
             fmt::format("{:.6g} to {:.6g}, zeros aside", f.smallestMagnitude, f.largestMagnitude)) +
        line("norms", fmt::format("one {}, infinity {}, Frobenius {}", sixDigits(f.oneNorm),
                                  sixDigits(f.infinityNorm), sixDigits(f.frobeniusNorm)));
    if (!info.spectrum) return text + line("singular values", "not computed: the matrix is large");
    if (!info.spectrum->converged) return text + line("singular values", "the iteration did not converge");
    return text + line("rank", fmt::format("{} of {}", info.spectrum->rank, std::min(info.rows, info.cols))) +
           line("singular values",
                fmt::format("{} to {}, condition {}", sixDigits(info.spectrum->largest),
                            sixDigits(info.spectrum->smallest), numberInWords(info.condition(), "{:.3g}")));
}

std::string asJson(const Info& info)
{
    const MatrixFacts& f = info.facts;
    const bool known = info.spectrum && info.spectrum->converged;
    return fmt::format(
        "{{\"matrix\": {}, \"rows\": {}, \"cols\": {}, \"entries\": {}, \"stored_zeros\": {}, \"diagonal\": "
        "{}, "
        "\"symmetry\": {}, \"lower_bandwidth\": {}, \"upper_bandwidth\": {}, \"norms\": {{\"one\": {}, "
        "\"infinity\": {}, \"frobenius\": {}, \"max\": {}}}, \"rank\": {}, \"largest_singular_value\": {}, "
        "\"smallest_singular_value\": {}}}\n",
        jsonString(info.matrix), info.rows, info.cols, f.entries, f.storedZeros, f.diagonal,
        jsonString(symmetryInWords(f, info.rows, info.cols)), f.lowerBandwidth, f.upperBandwidth,
        jsonNumber(f.oneNorm), jsonNumber(f.infinityNorm), jsonNumber(f.frobeniusNorm),
        jsonNumber(f.largestMagnitude), known ? fmt::format("{}", info.spectrum->rank) : "null",
        known ? jsonNumber(info.spectrum->largest) : "null",
        known ? jsonNumber(info.spectrum->smallest) : "null");
}

template <class Cell>
int tell(MatrixFileReader& reader, const InfoOptions& options, std::optional<OutputFile>& picture,
         Progress& progress)
{
    const SparseRows<Cell> matrix = readRows<Cell>(reader, MatrixMarketStorage::BothTriangles);
    Info info{reader.Header().file, matrix.Rows(), matrix.Cols(), {}, {}};
    info.facts = factsOf(matrix);
    if (isSmall(info.rows, info.cols)) {
        progress.show(fmt::format("singular values of {}", info.matrix));
        info.spectrum = spectrumOf<Cell>(matrix);
    }
    progress.erase();

    if (picture) writePicture(gridOf(matrix, kPictureSide, kPictureSide), options.plot, *picture);
    writeReport(options.json ? asJson(info)
                             : asText(info) + asSketch(gridOf(matrix, kSketchHeight, kSketchWidth)),
                options.plot == kStandardOutput);
    if (picture) picture->commit();
    return info.spectrum && !info.spectrum->converged ? 1 : 0;
}

} // namespace

int runInfo(const InfoOptions& options)
{
    Progress progress;
    std::optional<OutputFile> picture;
    if (!options.plot.empty()) picture.emplace(options.plot);
    MatrixFileReader reader = openMatrix(options.matrix, progress);
    requireMatrixRoom(reader.Header(), 0.0);
    return isComplex(reader) ? tell<ComplexNumber>(reader, options, picture, progress)
                             : tell<double>(reader, options, picture, progress);
}

} // namespace Velmar::Lintrix::tools
