#include <tools/svd/lanczos_road.h>

#include <tools/input/dense_system.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>

namespace Velmar::Lintrix::tools {

namespace {

/// Shows how far the steps are, ten times a second, and ends the passes once they have used up the space.
LanczosObserver observerOf(const std::string& name, std::int32_t smallerSide, Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    LanczosObserver observer;
    observer.afterStep = [&progress, name, shown = Clock::now()](std::int32_t step,
                                                                 std::int32_t target) mutable {
        const Clock::time_point now = Clock::now();
        if (now - shown < std::chrono::milliseconds(100)) return;
        shown = now;
        progress.show(fmt::format("svd of {}: step {} of {}", name, step, target));
    };
    observer.afterPass = [&progress, name, smallerSide](const LanczosPass& pass) {
        progress.show(fmt::format("svd of {}: pass {}, {} steps, residual {}, wanted {:.1e}", name, pass.pass,
                                  pass.steps, numberInWords(pass.residual, "{:.1e}"), pass.tolerance));
        return pass.steps < smallerSide;
    };
    return observer;
}

/// The larger of ||A*v - s*u|| and ||A'*u - s*v||, relative to the largest value where that is not zero.
double residualOf(const SparseMatrix& A, const Triplets<double>& found, int i)
{
    const Vector u = found.U.ColVector(i), v = found.V.ColVector(i);
    const double s = found.S[i], largest = found.S[0];
    Vector left = u, right = v;
    SparseMatrix::Multiply(1.0, TransposeMode::NotTransposed, A, v, -s, left);
    SparseMatrix::Multiply(1.0, TransposeMode::Transposed, A, u, -s, right);
    return std::max(left.Norm(), right.Norm()) / (largest == 0.0 ? 1.0 : largest);
}

SvdStatus judge(const LanczosPass& last, const Vector& values)
{
    if (!values.IsFinite()) return SvdStatus::NotFinite;
    return last.residual <= last.tolerance ? SvdStatus::Found : SvdStatus::NotConverged;
}

/// By Lanczos steps. The hardened build refuses where the others answer with NaN; so nothing was found.
std::optional<Triplets<double>> takeSteps(const SparseMatrix& A, const SvdOptions& options,
                                          Progress& progress, SvdReport& report)
{
    try {
        const SparseSVD svd(A, options.count, options.tolerance,
                            observerOf(report.matrix, std::min(A.Rows(), A.Cols()), progress));
        report.passes = svd.LastPass().pass;
        report.steps = svd.LastPass().steps;
        report.tolerance = svd.LastPass().tolerance;
        report.testResidual = svd.LastPass().residual;
        report.status = judge(svd.LastPass(), svd.S());
        return Triplets<double>{svd.U(), svd.S(), svd.V()};
    } catch (const InvalidOperationException&) {
        report.status = SvdStatus::NotFinite;
        return std::nullopt;
    }
}

/// The leading triplets of all.
std::optional<Triplets<double>> decomposeDense(const SparseMatrix& A, int count)
{
    const SVD svd(A.ToDense());
    if (!svd.Succeeded()) return std::nullopt;
    Triplets<double> found{*svd.U(), svd.SingularValues(), *svd.V()};
    found.U.Cols(count);
    found.S.Length(count);
    found.V.Cols(count);
    return found;
}

void tellOutcome(const SparseMatrix& A, const Triplets<double>& found, SvdReport& report)
{
    for (int i = 0; i < found.S.Length(); ++i) {
        report.values.push_back(found.S[i]);
        report.residuals.push_back(residualOf(A, found, i));
    }
    if (report.road == "dense") report.testResidual = report.residuals.back();
    const auto bad =
        std::ranges::find_if(report.residuals, [&](double r) { return !(r <= report.tolerance); });
    report.sound = static_cast<std::int32_t>(bad - report.residuals.begin());
}

} // namespace

std::optional<Triplets<double>> findBySteps(const SparseMatrix& A, const SvdOptions& options,
                                            Progress& progress, SvdReport& report)
{
    std::optional<Triplets<double>> found = takeSteps(A, options, progress, report);
    if (report.status != SvdStatus::Found && isSmall(A.Rows(), A.Cols())) {
        if (std::optional<Triplets<double>> all = decomposeDense(A, options.count)) {
            report.road = "dense";
            report.status = SvdStatus::Found;
            found = std::move(all);
        }
    }
    report.seconds.finish("svd");
    if (found) tellOutcome(A, *found, report);
    report.seconds.finish("check");
    return found;
}

} // namespace Velmar::Lintrix::tools
