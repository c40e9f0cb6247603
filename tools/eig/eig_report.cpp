#include <tools/eig/eig_report.h>

#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::tools {

namespace {

bool isMissing(const std::complex<double>& value)
{
    return std::isnan(value.real()) || std::isnan(value.imag());
}

/// The imaginary part only where there is one, in a column of its own.
std::string inWords(const std::complex<double>& value, bool real)
{
    if (isMissing(value)) return fmt::format("{:<{}}", "unknown", real ? 18 : 38);
    if (real) return fmt::format("{:<18.10e}", value.real());
    const char sign = std::signbit(value.imag()) ? '-' : '+';
    return fmt::format("{:>17.10e} {} {:<17}", value.real(), sign,
                       fmt::format("{:.10e}i", std::abs(value.imag())));
}

std::string valuesAsJson(const std::vector<std::complex<double>>& values)
{
    std::string text;
    for (const std::complex<double>& value : values) {
        text += fmt::format("{}[{}, {}]", text.empty() ? "" : ", ", jsonNumber(value.real()),
                            jsonNumber(value.imag()));
    }
    return '[' + text + ']';
}

} // namespace

std::int32_t EigReport::missing() const
{
    return static_cast<std::int32_t>(std::ranges::count_if(values, isMissing));
}

std::string_view EigReport::status() const
{
    if (!isFinite) return "not-finite";
    return missing() == 0 ? "found" : "not-converged";
}

std::string asText(const EigReport& report)
{
    const bool real = std::ranges::all_of(report.values, [](const auto& w) { return w.imag() == 0.0; });
    std::string text = line("matrix", printable(report.matrix)) +
                       line("size", fmt::format("{} x {}", report.size, report.size)) +
                       line("method", report.method) + line("status", report.status()) +
                       line("seconds", asText(report.seconds));
    text += fmt::format("{:<{}} {}\n", "eigenvalues", real ? 18 : 38,
                        report.leftResiduals ? "residuals right, left" : "residuals");
    for (std::size_t i = 0; i < report.values.size(); ++i) {
        text += fmt::format("{} {}", inWords(report.values[i], real), numberInWords(report.residuals[i]));
        if (report.leftResiduals) text += "  " + numberInWords((*report.leftResiduals)[i]);
        text += '\n';
    }
    return text;
}

std::string asJson(const EigReport& report)
{
    return fmt::format("{{\"matrix\": {}, \"rows\": {}, \"cols\": {}, \"method\": {}, \"values\": {}, "
                       "\"residuals\": {}, \"left_residuals\": {}, \"seconds\": {}, \"status\": {}}}\n",
                       jsonString(report.matrix), report.size, report.size, jsonString(report.method),
                       valuesAsJson(report.values), jsonNumbers(report.residuals),
                       report.leftResiduals ? jsonNumbers(*report.leftResiduals) : "null",
                       asJson(report.seconds), jsonString(report.status()));
}

std::string explain(const EigReport& report)
{
    if (!report.isFinite) return "the sums of entries at one place overflow, and there are no eigenvalues";
    return fmt::format("{} of {} eigenvalues were not found: the iteration did not converge",
                       report.missing(), report.values.size());
}

} // namespace Velmar::Lintrix::tools
