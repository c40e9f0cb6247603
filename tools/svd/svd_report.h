#pragma once
// What `lintrix svd` tells: for reading by eye, or as one line of JSON.

#include <tools/support/report.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

enum class SvdStatus {
    Found,
    NotConverged, ///< the steps have reached the smaller side, and the test still failed
    NotFinite,    ///< a zero norm was divided by
};

/// "found", "not-converged", "not-finite".
std::string_view nameOf(SvdStatus status);

struct SvdReport {
    std::string matrix;
    std::int32_t rows = 0, cols = 0, entries = 0; ///< entries as stored
    std::string_view road = "Lanczos";            ///< or "dense": all triplets were found at once
    std::int32_t passes = 0, steps = 0;           ///< also of Lanczos steps that led nowhere
    double tolerance = 0.0, testResidual = 0.0;   ///< of the last triplet
    std::vector<double> values;
    std::vector<double> residuals; ///< of each triplet, relative to the largest value
    std::int32_t sound = 0;        ///< leading triplets with a residual within the tolerance
    SvdStatus status = SvdStatus::Found;
    StepTimes seconds;
};

/// Several lines, a fact each, then a line a triplet.
std::string asText(const SvdReport& report);
/// One object on one line, with the line end. A number that is not finite is null.
std::string asJson(const SvdReport& report);

/// Why not all was found, in words; for a status other than Found.
std::string explain(const SvdReport& report);

} // namespace Velmar::Lintrix::tools
