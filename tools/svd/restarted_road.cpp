#include <tools/svd/restarted_road.h>

#include <fmt/format.h>

#include <algorithm>

namespace Velmar::Lintrix::tools {

namespace {

SvdStatus statusOf(TripletsOutcome outcome)
{
    switch (outcome) {
    case TripletsOutcome::Converged:
        return SvdStatus::Found;
    case TripletsOutcome::NotConverged:
        return SvdStatus::NotConverged;
    case TripletsOutcome::NotFinite:
        break;
    }
    return SvdStatus::NotFinite;
}

} // namespace

template <class Cell>
std::optional<Triplets<Cell>> findByRestarts(const SparseRows<Cell>& A, const SvdOptions& options,
                                             Progress& progress, SvdReport& report)
{
    TruncatedSvdOptions asked;
    asked.tolerance = options.tolerance;
    asked.certify = options.certify;
    asked.restarted = [&](std::int32_t restart, std::int32_t converged) {
        progress.show(fmt::format("svd of {}: restart {}, {} of {} triplets", report.matrix, restart,
                                  converged, options.count));
    };
    const TruncatedSVD<Cell> svd(A, options.count, asked);
    report.seconds.finish("svd");
    report.road = "restarted Lanczos";
    report.status = statusOf(svd.Outcome());
    report.restarts = svd.Restarts();
    report.products = svd.Products();
    report.certificate = svd.Certificate();
    if (report.status == SvdStatus::NotFinite) return std::nullopt;
    for (int i = 0; i < svd.S().Length(); ++i) report.values.push_back(svd.S()[i]);
    report.residuals = svd.Residuals();
    report.testResidual = *std::max_element(report.residuals.begin(), report.residuals.end());
    report.sound = svd.Converged();
    return Triplets<Cell>{svd.U(), svd.S(), svd.V()};
}

template std::optional<Triplets<double>> findByRestarts(const SparseMatrix&, const SvdOptions&, Progress&,
                                                        SvdReport&);
template std::optional<Triplets<ComplexNumber>> findByRestarts(const CSparseMatrix&, const SvdOptions&,
                                                               Progress&, SvdReport&);

} // namespace Velmar::Lintrix::tools
