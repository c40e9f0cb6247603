#pragma once
// What `lintrix analyse` tells: for reading by eye, or as one line of JSON.

#include <tools/analyse/system_analysis.h>

#include <string>
#include <vector>

namespace Velmar::Lintrix::tools {

struct AnalysisReport {
    std::string matrix;       ///< name of the file
    std::int32_t order = 0;   ///<
    std::int64_t entries = 0; ///< of the whole matrix, mirrored ones included
    int mtype = 11;
    int threads = 1;
    std::optional<MatchingSummary> matching;
    std::vector<OrderingResult> orderings; ///< none of a diagonal matrix
};

/// Facts, a line each, then a table with a row an ordering.
std::string asText(const AnalysisReport& report);

/// One object on one line, with the line end. Numbers of an ordering that failed are not there.
std::string asJson(const AnalysisReport& report);

} // namespace Velmar::Lintrix::tools
