#include <tools/analyse/analysis_report.h>

#include <tools/support/report.h>
#include <tools/support/text.h>

#include <fmt/format.h>

namespace Velmar::Lintrix::tools {

namespace {

/// Entries of L and its transpose, or of L and U, together: the diagonal counts once.
std::int64_t factorEntries(const AnalysisReport& report, const OrderingResult& result)
{
    return 2 * result.summary.lowerNonZeros - report.order;
}

double fillRatio(const AnalysisReport& report, const OrderingResult& result)
{
    return static_cast<double>(factorEntries(report, result)) / static_cast<double>(report.entries);
}

std::string matchingInWords(const AnalysisReport& report)
{
    if (!report.matching) return "not for this type";
    const auto [matched, moved] = *report.matching;
    if (matched < report.order) {
        return fmt::format("the pattern is singular: {} of {} rows can be matched; analysed without", matched,
                           report.order);
    }
    return fmt::format("perfect, {} of {} rows move", moved, report.order);
}

std::string kilobytes(std::int32_t count)
{
    return bytesInWords(1024.0 * count);
}

std::string megabytes(std::int32_t count)
{
    return bytesInWords(1048576.0 * count);
}

/// Of factorization and solve, as they are foreseen.
FactorSeconds secondsAhead(const AnalysisReport& report, const AnalysisSummary& found)
{
    const bool complex = EngineMatrix{.mtype = report.mtype}.isComplex();
    return SecondsFor({found.operations, (complex ? 32.0 : 16.0) * static_cast<double>(found.lowerNonZeros)});
}

constexpr const char* kRow =
    "{:<27} {:>12} {:>8} {:>10} {:>8} {:>8} {:>6} {:>10} {:>10} {:>10} {:>10} {:>10} {:>11} {:>10} {:>10}\n";

std::string headings()
{
    return fmt::format(fmt::runtime(kRow), "ordering", "nnz(L)", "fill", "supernodes", "largest", "height",
                       "parts", "Gflop", "analysis", "factors", "in core", "in files", "seconds", "factorize",
                       "solve");
}

std::string tableRow(const AnalysisReport& report, const OrderingResult& result)
{
    if (result.error != 0)
        return fmt::format("{:<27} {}\n", result.method->title, errorInWords(result.error));
    const AnalysisSummary& found = result.summary;
    const FactorSeconds ahead = secondsAhead(report, found);
    return fmt::format(fmt::runtime(kRow), result.method->title, found.lowerNonZeros,
                       fmt::format("{:.2f}", fillRatio(report, result)), found.supernodes,
                       found.largestSupernode, found.treeHeight, found.independentSubgraphs,
                       fmt::format("{:.3g}", 1e-9 * found.operations), kilobytes(result.analysisKilobytes),
                       kilobytes(result.factorKilobytes), megabytes(result.inCoreMegabytes),
                       megabytes(result.leastOutOfCoreMegabytes), fmt::format("{:.6f}", found.totalSeconds),
                       fmt::format("{:.2g}", ahead.factorize), fmt::format("{:.2g}", ahead.solve));
}

std::string sizesAsJson(const AnalysisReport& report, const OrderingResult& result)
{
    const AnalysisSummary& found = result.summary;
    return fmt::format(
        "\"lower_entries\": {}, \"factor_entries\": {}, \"fill_ratio\": {}, \"supernodes\": {}, "
        "\"largest_supernode\": {}, \"tree_height\": {}, \"subgraphs\": {}, \"independent_subgraphs\": {}, "
        "\"operations\": {}, \"analysis_kilobytes\": {}, \"kept_kilobytes\": {}, \"factor_kilobytes\": {}, "
        "\"in_core_megabytes\": {}, \"least_out_of_core_megabytes\": {}",
        found.lowerNonZeros, factorEntries(report, result), fillRatio(report, result), found.supernodes,
        found.largestSupernode, found.treeHeight, found.subgraphs, found.independentSubgraphs,
        found.operations, result.analysisKilobytes, result.keptKilobytes, result.factorKilobytes,
        result.inCoreMegabytes, result.leastOutOfCoreMegabytes);
}

std::string secondsAsJson(const AnalysisSummary& found)
{
    return fmt::format("{{\"adjacency\": {:.6f}, \"ordering\": {:.6f}, \"symbolic\": {:.6f}, \"lists\": "
                       "{:.6f}, \"total\": {:.6f}}}",
                       found.adjacencySeconds, found.orderingSeconds, found.symbolicSeconds,
                       found.listsSeconds, found.totalSeconds);
}

std::string orderingAsJson(const AnalysisReport& report, const OrderingResult& result)
{
    const std::string begin =
        fmt::format("{{\"ordering\": {}, \"status\": {}", jsonString(result.method->name),
                    jsonString(result.error == 0 ? "done" : errorInWords(result.error)));
    if (result.error != 0) return begin + '}';
    const FactorSeconds ahead = secondsAhead(report, result.summary);
    return fmt::format(
        "{}, {}, \"seconds\": {}, \"forecast_seconds\": {{\"factorize\": {}, \"solve\": {}}}}}", begin,
        sizesAsJson(report, result), secondsAsJson(result.summary), ahead.factorize, ahead.solve);
}

std::string matchingAsJson(const AnalysisReport& report)
{
    if (!report.matching) return "null";
    return fmt::format("{{\"matched\": {}, \"moved\": {}}}", report.matching->matched,
                       report.matching->moved);
}

} // namespace

std::string asText(const AnalysisReport& report)
{
    std::string text = line("matrix", printable(report.matrix)) +
                       line("size", fmt::format("{} x {}", report.order, report.order)) +
                       line("entries", fmt::format("{}", report.entries)) +
                       line("type", fmt::format("{}, {}", report.mtype, EngineTypeInWords(report.mtype)));
    if (report.orderings.empty()) return text + line("analysis", "none: a diagonal matrix is solved at once");
    text += line("matching", matchingInWords(report)) + line("threads", fmt::format("{}", report.threads)) +
            '\n' + headings();
    for (const OrderingResult& result : report.orderings) text += tableRow(report, result);
    return text;
}

std::string asJson(const AnalysisReport& report)
{
    std::string orderings;
    for (const OrderingResult& result : report.orderings) {
        orderings += (orderings.empty() ? "" : ", ") + orderingAsJson(report, result);
    }
    return fmt::format(
        "{{\"matrix\": {}, \"rows\": {}, \"entries\": {}, \"type\": {}, \"type_in_words\": {}, "
        "\"threads\": {}, \"matching\": {}, \"orderings\": [{}]}}\n",
        jsonString(report.matrix), report.order, report.entries, report.mtype,
        jsonString(EngineTypeInWords(report.mtype)), report.threads, matchingAsJson(report), orderings);
}

} // namespace Velmar::Lintrix::tools
