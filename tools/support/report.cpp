#include <tools/support/report.h>

#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Velmar::Lintrix::tools {

namespace {

/// Length of the well-formed UTF-8 sequence that `text` begins with, 0 if there is none (Unicode 15, table
/// 3-7).
std::size_t utf8Length(std::string_view text)
{
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const auto within = [&](std::size_t i, unsigned low, unsigned high) {
        return byte(i) >= low && byte(i) <= high;
    };
    const auto tail = [&](std::size_t i) { return within(i, 0x80, 0xbf); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return 1;
    if (lead >= 0xc2 && lead <= 0xdf) return tail(1) ? 2 : 0;
    if (lead >= 0xe0 && lead <= 0xef) {
        const bool sound = within(1, lead == 0xe0 ? 0xa0 : 0x80, lead == 0xed ? 0x9f : 0xbf);
        return sound && tail(2) ? 3 : 0;
    }
    if (lead >= 0xf0 && lead <= 0xf4) {
        const bool sound = within(1, lead == 0xf0 ? 0x90 : 0x80, lead == 0xf4 ? 0x8f : 0xbf);
        return sound && tail(2) && tail(3) ? 4 : 0;
    }
    return 0;
}

std::string jsonText(std::string_view text)
{
    return text.empty() ? "null" : jsonString(text);
}

std::string jsonArray(const std::vector<std::string>& texts)
{
    std::string array;
    for (const std::string& text : texts) array += (array.empty() ? "" : ", ") + jsonString(text);
    return '[' + array + ']';
}

/// Null where `asked` is not what the system was solved by.
std::string jsonCount(bool asked, std::int64_t count)
{
    return asked ? fmt::format("{}", count) : "null";
}

std::string jsonInertia(const std::optional<CertainInertia>& inertia)
{
    if (!inertia) return "null";
    return fmt::format("{{\"positive\": {}, \"negative\": {}, \"uncertain\": {}, \"bound\": {}}}",
                       inertia->positive, inertia->negative, inertia->uncertain, jsonNumber(inertia->bound));
}

std::string jsonColumns(const std::vector<ColumnQuality>& columns)
{
    std::string text;
    for (const ColumnQuality& column : columns) {
        text += text.empty() ? "" : ", ";
        text += fmt::format("{{\"verdict\": {}, \"backward_error\": {}, \"componentwise_error\": {}, "
                            "\"error_bound\": {}, \"reason\": {}}}",
                            jsonString(NameOf(column.verdict)), jsonNumber(column.backwardError),
                            jsonNumber(column.componentwiseError), jsonNumber(column.errorBound),
                            jsonText(column.reason));
    }
    return text;
}

std::string inertiaInWords(const CertainInertia& inertia)
{
    return fmt::format("{} positive, {} negative, {} uncertain", inertia.positive, inertia.negative,
                       inertia.uncertain);
}

std::string statusInWords(const SolveReport& report)
{
    return std::string(report.status) + (report.reason.empty() ? "" : ", " + report.reason);
}

/// In memory or in files; nothing where there is no factor.
std::string_view storeOf(const SolveReport& report)
{
    return !report.factorBytes ? "" : report.coreMegabytes ? "files" : "memory";
}

std::string factorInWords(const SolveReport& report)
{
    const std::string core =
        report.coreMegabytes ? fmt::format(", with a core of {} MB", *report.coreMegabytes) : "";
    return fmt::format("{} in {}{}", bytesInWords(*report.factorBytes), storeOf(report), core);
}

std::string sparseInWords(const SolveReport& report)
{
    std::string text;
    if (!report.ordering.empty())
        text = line("ordering", report.ordering) +
               line("factor entries", fmt::format("{}", report.factorEntries)) +
               (report.factorBytes ? line("factor", factorInWords(report)) : "") +
               line("perturbed pivots", fmt::format("{}", report.perturbedPivots));
    if (report.leastSquares)
        text += line("steps",
                     fmt::format("{} of refinement, {} of LSMR", report.refinementSteps, report.krylovSteps));
    for (const std::string& road : report.tried) text += line("also tried", road);
    return text;
}

std::string errorInWords(const SolveReport& report)
{
    if (report.maxError) return numberInWords(*report.maxError);
    return "unknown, the exact solution is not known";
}

} // namespace

void StepTimes::finish(std::string_view name)
{
    const Clock::time_point now = Clock::now();
    auto step = std::ranges::find(steps_, name, [](const auto& known) { return known.first; });
    if (step == steps_.end()) step = steps_.emplace(step, name, 0.0);
    step->second += std::chrono::duration<double>(now - begin_).count();
    begin_ = now;
}

double StepTimes::total() const
{
    return std::accumulate(steps_.begin(), steps_.end(), 0.0,
                           [](double sum, const auto& step) { return sum + step.second; });
}

std::string asText(const StepTimes& seconds)
{
    std::string text;
    for (const auto& [name, duration] : seconds.steps()) text += fmt::format("{} {:.6f}, ", name, duration);
    return text + fmt::format("total {:.6f}", seconds.total());
}

std::string asJson(const StepTimes& seconds)
{
    std::string text;
    for (const auto& [name, duration] : seconds.steps()) {
        text += fmt::format("{}: {:.6f}, ", jsonString(name), duration);
    }
    return fmt::format("{{{}\"total\": {:.6f}}}", text, seconds.total());
}

std::string asText(const SolveReport& report)
{
    std::string text =
        line("matrix", printable(report.matrix)) +
        line("size", fmt::format("{} x {}", report.rows, report.cols)) +
        line("entries", fmt::format("{}", report.entries)) +
        line("right-hand sides", fmt::format("{}", report.rightHands)) + line("road", report.road) +
        (report.ranks ? line("ranks", fmt::format("{}", *report.ranks)) : "") + sparseInWords(report) +
        line("status", statusInWords(report)) + line("seconds", asText(report.seconds));
    if (report.residual) text += line("scaled residual", numberInWords(*report.residual));
    if (report.normalResidual) text += line("normal equations", numberInWords(*report.normalResidual));
    if (report.residual) text += line("largest error", errorInWords(report));
    if (report.probeError) text += line("probe error", numberInWords(*report.probeError));
    if (report.condition) text += line("condition", numberInWords(*report.condition));
    if (report.inertia) text += line("eigenvalues", inertiaInWords(*report.inertia));
    return text;
}

std::string asJson(const SolveReport& report)
{
    const bool direct = !report.ordering.empty(), sparse = direct || report.leastSquares;
    return fmt::format(
        "{{\"matrix\": {}, \"rows\": {}, \"cols\": {}, \"entries\": {}, \"right_hands\": {}, "
        "\"road\": {}, \"seconds\": {}, \"residual\": {}, "
        "\"normal_residual\": {}, \"max_error\": {}, \"probe_error\": {}, \"status\": {}, "
        "\"reason\": {}, \"ordering\": {}, \"tried\": {}, \"factor_entries\": {}, "
        "\"perturbed_pivots\": {}, \"refinement_steps\": {}, \"krylov_steps\": {}, \"factor_store\": {}, "
        "\"factor_bytes\": {}, \"core_megabytes\": {}, \"condition\": {}, \"inertia\": {}, \"solutions\": "
        "{}, \"columns\": [{}]{}}}\n",
        jsonString(report.matrix), report.rows, report.cols, report.entries, report.rightHands,
        jsonString(report.road), asJson(report.seconds), jsonNumber(report.residual),
        jsonNumber(report.normalResidual), jsonNumber(report.maxError), jsonNumber(report.probeError),
        jsonString(report.status), jsonText(report.reason), jsonText(report.ordering),
        jsonArray(report.tried), jsonCount(direct, report.factorEntries),
        jsonCount(direct, report.perturbedPivots), jsonCount(sparse, report.refinementSteps),
        jsonCount(sparse, report.krylovSteps), jsonText(storeOf(report)), jsonNumber(report.factorBytes),
        jsonNumber(report.coreMegabytes), jsonNumber(report.condition), jsonInertia(report.inertia),
        jsonText(report.solutions ? NameOf(*report.solutions) : ""), jsonColumns(report.columns),
        report.ranks ? fmt::format(", \"ranks\": {}", *report.ranks) : "");
}

std::string line(std::string_view label, std::string_view text)
{
    return fmt::format("{:<17} {}\n", label, text);
}

std::string jsonNumber(std::optional<double> value)
{
    return value && std::isfinite(*value) ? fmt::format("{}", *value) : "null";
}

std::string jsonNumbers(const std::vector<double>& values)
{
    std::string text;
    for (const double value : values) text += (text.empty() ? "" : ", ") + jsonNumber(value);
    return '[' + text + ']';
}

std::string jsonString(std::string_view text)
{
    std::string quoted = "\"";
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const auto first = static_cast<unsigned char>(text.front());
        if (length == 0) {
            quoted += "\\ufffd";
        } else if (first < 0x20 || first == 0x7f) {
            quoted += fmt::format("\\u{:04x}", first);
        } else if (first == '"' || first == '\\') {
            quoted += fmt::format("\\{}", text.front());
        } else {
            quoted += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return quoted + '"';
}

} // namespace Velmar::Lintrix::tools
