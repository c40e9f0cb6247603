#pragma once
// What `lintrix svd` tells: for reading by eye, or as one line of JSON.

#include <tools/support/report.h>

#include <lintrix/lintrix.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

enum class SvdStatus {
    Found,
    NotConverged, ///< the restarts are used up; without any, the steps have reached the smaller side
    NotFinite,    ///< the matrix is not; by steps, a zero norm was divided by
};

/// "found", "not-converged", "not-finite".
std::string_view nameOf(SvdStatus status);

struct SvdReport {
    std::string matrix;
    std::int32_t rows = 0, cols = 0, entries = 0; ///< entries as stored
    /// "restarted Lanczos"; or without restarts "Lanczos", or "dense": all triplets were found at once
    std::string_view road = "Lanczos";
    std::int32_t restarts = 0;
    std::int64_t products = 0;
    TripletsCertificate certificate{};
    std::int32_t passes = 0, steps = 0; ///< without restarts, also of steps that led nowhere
    double tolerance = 0.0;
    double testResidual = 0.0; ///< the largest one; without restarts, of the last triplet
    std::vector<double> values;
    std::vector<double> residuals; ///< of each triplet, relative to the largest value
    std::int32_t sound =
        0; ///< triplets with a residual within the tolerance; without restarts the leading ones
    SvdStatus status = SvdStatus::Found;
    StepTimes seconds;

    bool restarted() const noexcept { return road == "restarted Lanczos"; }
    /// The values that were asked for, as far as is known.
    bool allFound() const noexcept
    {
        return status == SvdStatus::Found && certificate.certainty != TripletsCertainty::Missed;
    }
};

/// Several lines, a fact each, then a line a triplet.
std::string asText(const SvdReport& report);
/// One object on one line, with the line end. A number that is not finite is null.
std::string asJson(const SvdReport& report);

/// Why not all was found, in words. @pre not allFound()
std::string explain(const SvdReport& report);

} // namespace Velmar::Lintrix::tools
