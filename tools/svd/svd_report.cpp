#include <tools/svd/svd_report.h>

#include <tools/support/report.h>
#include <tools/support/text.h>

#include <fmt/format.h>

namespace Velmar::Lintrix::tools {

std::string_view nameOf(SvdStatus status)
{
    switch (status) {
    case SvdStatus::Found:
        return "found";
    case SvdStatus::NotConverged:
        return "not-converged";
    case SvdStatus::NotFinite:
        break;
    }
    return "not-finite";
}

std::string asText(const SvdReport& report)
{
    std::string text =
        line("matrix", printable(report.matrix)) +
        line("size", fmt::format("{} x {}", report.rows, report.cols)) +
        line("entries", fmt::format("{}", report.entries)) + line("status", nameOf(report.status)) +
        line("road", report.road) +
        line("passes", fmt::format("{} ({} steps)", report.passes, report.steps)) +
        line("last residual",
             fmt::format("{} (tolerance {:.3e})", numberInWords(report.testResidual), report.tolerance)) +
        line("seconds", asText(report.seconds)) + line("singular values", "residuals");
    for (std::size_t i = 0; i < report.values.size(); ++i) {
        text += line(numberInWords(report.values[i], "{:.10e}"), numberInWords(report.residuals[i]));
    }
    return text;
}

std::string asJson(const SvdReport& report)
{
    return fmt::format("{{\"matrix\": {}, \"rows\": {}, \"cols\": {}, \"entries\": {}, \"values\": {}, "
                       "\"residuals\": {}, \"road\": {}, \"passes\": {}, \"steps\": {}, \"tolerance\": {}, "
                       "\"last_residual\": {}, \"seconds\": {}, \"status\": {}}}\n",
                       jsonString(report.matrix), report.rows, report.cols, report.entries,
                       jsonNumbers(report.values), jsonNumbers(report.residuals), jsonString(report.road),
                       report.passes, report.steps, jsonNumber(report.tolerance),
                       jsonNumber(report.testResidual), asJson(report.seconds),
                       jsonString(nameOf(report.status)));
}

std::string explain(const SvdReport& report)
{
    if (report.status == SvdStatus::NotFinite) {
        return "no singular value was found: the matrix is zero, or overflows, or the first vectors span all "
               "that it acts on";
    }
    return fmt::format("the last triplet did not converge: its residual is {} after {} steps, and the "
                       "tolerance {:.1e} cannot be reached; good are the first {} of {} triplets",
                       numberInWords(report.testResidual, "{:.1e}"), report.steps, report.tolerance,
                       report.sound, report.values.size());
}

} // namespace Velmar::Lintrix::tools
