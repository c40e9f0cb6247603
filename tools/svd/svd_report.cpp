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

namespace {

std::string inWords(const TripletsCertificate& certificate)
{
    const std::string name(NameOf(certificate.certainty));
    if (certificate.certainty == TripletsCertainty::Undecided)
        return fmt::format("{}: {}", name, certificate.reason);
    if (certificate.bound == 0.0) return name; // all values there are
    const std::string passedOver =
        certificate.recovered > 0 ? fmt::format(", {} passed over at first", certificate.recovered) : "";
    return fmt::format("{}: {} values above {:.10e}{}", name, certificate.above, certificate.bound,
                       passedOver);
}

std::string linesOfRoad(const SvdReport& report)
{
    const std::string residual =
        fmt::format("{} (tolerance {:.3e})", numberInWords(report.testResidual), report.tolerance);
    if (!report.restarted())
        return line("passes", fmt::format("{} ({} steps)", report.passes, report.steps)) +
               line("last residual", residual);
    const bool asked = report.certificate.certainty != TripletsCertainty::NotAsked;
    return line("restarts", fmt::format("{} ({} products)", report.restarts, report.products)) +
           line("largest residual", residual) + (asked ? line("certainty", inWords(report.certificate)) : "");
}

std::string fieldsOfRoad(const SvdReport& report)
{
    if (!report.restarted())
        return fmt::format("\"passes\": {}, \"steps\": {}, \"tolerance\": {}, \"last_residual\": {}",
                           report.passes, report.steps, jsonNumber(report.tolerance),
                           jsonNumber(report.testResidual));
    const TripletsCertificate& certificate = report.certificate;
    return fmt::format("\"restarts\": {}, \"products\": {}, \"tolerance\": {}, \"largest_residual\": {}, "
                       "\"certainty\": {}, \"bound\": {}, \"above\": {}, \"recovered\": {}, \"reason\": {}",
                       report.restarts, report.products, jsonNumber(report.tolerance),
                       jsonNumber(report.testResidual), jsonString(NameOf(certificate.certainty)),
                       jsonNumber(certificate.bound), certificate.above, certificate.recovered,
                       jsonString(certificate.reason));
}

} // namespace

std::string asText(const SvdReport& report)
{
    std::string text = line("matrix", printable(report.matrix)) +
                       line("size", fmt::format("{} x {}", report.rows, report.cols)) +
                       line("entries", fmt::format("{}", report.entries)) +
                       line("status", nameOf(report.status)) + line("road", report.road) +
                       linesOfRoad(report) + line("seconds", asText(report.seconds)) +
                       line("singular values", "residuals");
    for (std::size_t i = 0; i < report.values.size(); ++i) {
        text += line(numberInWords(report.values[i], "{:.10e}"), numberInWords(report.residuals[i]));
    }
    return text;
}

std::string asJson(const SvdReport& report)
{
    return fmt::format("{{\"matrix\": {}, \"rows\": {}, \"cols\": {}, \"entries\": {}, \"values\": {}, "
                       "\"residuals\": {}, \"road\": {}, {}, \"seconds\": {}, \"status\": {}}}\n",
                       jsonString(report.matrix), report.rows, report.cols, report.entries,
                       jsonNumbers(report.values), jsonNumbers(report.residuals), jsonString(report.road),
                       fieldsOfRoad(report), asJson(report.seconds), jsonString(nameOf(report.status)));
}

namespace {

std::string explainRestarted(const SvdReport& report)
{
    if (report.status == SvdStatus::NotFinite) return "the matrix holds a NaN or an infinity";
    if (report.status == SvdStatus::NotConverged)
        return fmt::format(
            "not all triplets converged: the largest residual is {} after {} restarts, and the "
            "tolerance {:.1e} is not reached; good are {} of {} triplets",
            numberInWords(report.testResidual, "{:.1e}"), report.restarts, report.tolerance, report.sound,
            report.values.size());
    return fmt::format("a singular value was passed over and not found: {} are above {:.10e}",
                       report.certificate.above, report.certificate.bound);
}

} // namespace

std::string explain(const SvdReport& report)
{
    if (report.restarted()) return explainRestarted(report);
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
