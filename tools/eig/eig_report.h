#pragma once
// What `lintrix eig` tells: for reading by eye, or as one line of JSON.

#include <tools/support/report.h>

#include <complex>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

struct EigReport {
    std::string matrix;
    std::int32_t size = 0;
    std::string_view method; ///< "symmetric", "Hermitian" or "general"
    std::vector<std::complex<double>> values;
    std::vector<double> residuals;                    ///< |A*x - w*x| / |A|
    std::optional<std::vector<double>> leftResiduals; ///< of the left eigenvectors, where they were asked for
    bool isFinite = true;                             ///< the matrix
    StepTimes seconds;

    /// How many eigenvalues were not found.
    std::int32_t missing() const;
    /// "found", "not-converged", "not-finite".
    std::string_view status() const;
};

/// Several lines, a fact each, then a line an eigenvalue.
std::string asText(const EigReport& report);
/// One object on one line, with the line end; an eigenvalue is an array of its two parts. A number that is
/// not finite is null, and so are left residuals that were not asked for.
std::string asJson(const EigReport& report);

/// Why not all was found, in words; for a status other than "found".
std::string explain(const EigReport& report);

} // namespace Velmar::Lintrix::tools
