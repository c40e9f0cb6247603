#include <tools/analyse/analyse_command.h>

#include <tools/analyse/analysis_report.h>
#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/support/input_error.h>
#include <tools/support/picture.h>
#include <tools/support/progress.h>
#include <tools/support/text.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::int32_t kNaturalIsSensible = 10000; // rows: the factor may be full, 200 MB of row numbers
constexpr double kBytesARow = 64.0;                // of the analysis: tree, order, counts, supernodes
constexpr std::int64_t kLongWork = 200000;         // entries; about a tenth of a second

std::vector<const OrderingMethod*> chosenMethods(const std::string& name, std::int32_t n)
{
    std::vector<const OrderingMethod*> chosen;
    for (const OrderingMethod& method : orderingMethods()) {
        const bool sensible = !method.asItStands || n <= kNaturalIsSensible;
        if (name.empty() ? sensible : method.name == name) chosen.push_back(&method);
    }
    return chosen;
}

void refuseRectangles(const MatrixMarketHeader& header)
{
    if (header.rows == header.cols) return;
    throw InputError(header.file, fmt::format("the matrix is {} x {}: only square ones have an analysis",
                                              header.rows, header.cols));
}

void refuseOrdering(const AnalyseOptions& options, const std::string& file)
{
    if (!options.ordering.empty())
        throw InputError(file, "--ordering has no effect: a diagonal matrix is not analysed");
}

/// The factor's pattern by the ordering of least fill so far.
class Drawing {
public:
    void offer(const SystemAnalysis& system, const OrderingResult& result)
    {
        if (grid_ && result.summary.lowerNonZeros >= entries_) return;
        entries_ = result.summary.lowerNonZeros;
        grid_ = system.factorPattern(kPictureSide);
    }
    /// Nothing when no ordering came to its end.
    const std::optional<PatternGrid>& grid() const noexcept { return grid_; }

private:
    std::int64_t entries_ = 0;
    std::optional<PatternGrid> grid_;
};

void orderInTurn(SystemAnalysis& system, const std::string& name, AnalysisReport& report, Drawing* drawing,
                 Progress& progress)
{
    for (const OrderingMethod* method : chosenMethods(name, report.order)) {
        if (report.entries >= kLongWork)
            progress.show(fmt::format("analysing {}: {}", report.matrix, method->title));
        const OrderingResult& result = report.orderings.emplace_back(system.order(*method));
        if (drawing != nullptr && result.error == 0) drawing->offer(system, result);
    }
    report.matching = system.matching();
    progress.erase();
}

/// Why the analysis is no success, in words; nothing when it is one.
std::string complaintOf(const AnalysisReport& report)
{
    if (report.matching && report.matching->matched < report.order)
        return fmt::format("the pattern is singular: {} of {} rows can be matched", report.matching->matched,
                           report.order);
    const auto failed = std::ranges::find_if(report.orderings,
                                             [](const OrderingResult& result) { return result.error != 0; });
    if (failed == report.orderings.end()) return {};
    return fmt::format("{}: {}", failed->method->title, errorInWords(failed->error));
}

/// Gives `picture` up where there is nothing to draw.
template <class Cell>
AnalysisReport analyse(MatrixFileReader& reader, const AnalyseOptions& options,
                       std::optional<OutputFile>& picture, Progress& progress)
{
    SparseRows<Cell> rows = readRows<Cell>(reader, MatrixMarketStorage::BothTriangles);
    AnalysisReport report;
    report.matrix = reader.Header().file;
    report.order = rows.Rows();
    report.entries = rows.NumElements();
    SystemMatrix<Cell> matrix(std::move(rows));
    report.threads = TrellConfiguration::GetMaxThreads();
    SystemAnalysis system(matrix.As(LikelyType(matrix.Traits())));
    report.mtype = system.matrix().mtype;
    progress.erase();

    Drawing drawing;
    if (system.matrix().isDiagonal()) {
        refuseOrdering(options, report.matrix);
        drawing.offer(system, {}); // it is its own factor
    } else {
        orderInTurn(system, options.ordering, report, picture ? &drawing : nullptr, progress);
    }
    if (!drawing.grid()) picture.reset();
    if (picture) writePicture(*drawing.grid(), options.plot, *picture);
    return report;
}

} // namespace

std::string faultOfOrdering(const std::string& name)
{
    std::string names;
    for (const OrderingMethod& method : orderingMethods()) {
        if (method.name == name) return {};
        names += (names.empty() ? "" : ", ") + std::string(method.name);
    }
    return fmt::format("{} is none of {}", inQuotes(name), names);
}

int runAnalyse(const AnalyseOptions& options)
{
    Progress progress;
    std::optional<OutputFile> picture;
    if (!options.plot.empty()) picture.emplace(options.plot);
    MatrixFileReader reader = openMatrix(options.matrix, progress);
    refuseRectangles(reader.Header());
    requireMatrixRoom(reader.Header(), kBytesARow * reader.Header().rows);
    const AnalysisReport report = isComplex(reader)
                                      ? analyse<ComplexNumber>(reader, options, picture, progress)
                                      : analyse<double>(reader, options, picture, progress);
    writeReport(options.json ? asJson(report) : asText(report), options.plot == kStandardOutput);
    if (picture) picture->commit();
    const std::string complaint = complaintOf(report);
    if (complaint.empty()) return 0;
    writeAll(STDERR_FILENO, fmt::format("lintrix: {}: {}\n", printable(report.matrix), complaint));
    return 1;
}

} // namespace Velmar::Lintrix::tools
