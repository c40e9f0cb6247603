#include <tools/analyse_command.h>

#include <tools/analysis_report.h>
#include <tools/input_error.h>
#include <tools/matrix_file.h>
#include <tools/picture.h>
#include <tools/progress.h>
#include <tools/text.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::int32_t kNaturalIsSensible = 10000; // rows: the factor may be full, 200 MB of row numbers
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

AnalysisReport reportOf(const std::string& file, const SparseMatrix& matrix)
{
    return {.matrix = file,
            .order = matrix.Rows(),
            .entries = matrix.NumElements(),
            .mtype = typeOf(matrix, factsOf(matrix)),
            .threads = TrellConfiguration::GetMaxThreads(),
            .matching = {},
            .orderings = {}};
}

bool allDone(const AnalysisReport& report)
{
    const bool singular = report.matching && report.matching->matched < report.order;
    return !singular && std::ranges::all_of(report.orderings,
                                            [](const OrderingResult& result) { return result.error == 0; });
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
    MatrixMarketReader reader = openMatrix(options.matrix, progress);
    refuseRectangles(reader.Header());
    const SparseMatrix matrix = reader.ReadSparse(MatrixMarketStorage::BothTriangles);
    AnalysisReport report = reportOf(reader.Header().file, matrix);
    SystemAnalysis system(engineMatrixOf(matrix, report.mtype));
    progress.erase();

    Drawing drawing;
    if (system.matrix().isDiagonal())
        drawing.offer(system, {}); // it is its own factor
    else
        orderInTurn(system, options.ordering, report, picture ? &drawing : nullptr, progress);
    if (picture && drawing.grid()) {
        writePicture(*drawing.grid(), options.plot, *picture);
        picture->commit();
    }
    writeReport(options.json ? asJson(report) : asText(report));
    return allDone(report) ? 0 : 1;
}

} // namespace Velmar::Lintrix::tools
