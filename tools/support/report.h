#pragma once
// What `lintrix solve` tells about a run: for reading by eye, or as one line of JSON.

#include <lintrix/lintrix.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

/// Seconds by step, in the order in which the steps were begun.
class StepTimes {
public:
    /// What ran since the construction, or since the step before, is the step `name`, or more of it.
    void finish(std::string_view name);

    const std::vector<std::pair<std::string_view, double>>& steps() const noexcept { return steps_; }
    double total() const;

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point begin_ = Clock::now();
    std::vector<std::pair<std::string_view, double>> steps_;
};

struct SolveReport {
    std::string matrix; ///< name of the file
    std::int32_t rows = 0, cols = 0;
    std::int64_t entries = 0; ///< of the whole matrix, mirrored ones included
    std::int32_t rightHands = 1;
    std::string_view road, status;
    std::optional<int> ranks; ///< of a system on several machines
    std::string reason;       ///< of a status other than "accurate"
    StepTimes seconds;
    std::optional<double> residual;       ///< scaled; none without a solution
    std::optional<double> normalResidual; ///< of a tall system, and of a sparse one that is not square
    std::optional<double> maxError;       ///< none where the solution is not known
    std::optional<double> probeError;
    std::optional<double> condition; ///< in the 1-norm, estimated
    std::optional<CertainInertia> inertia;
    std::optional<Solutions> solutions; ///< of a singular matrix
    std::vector<ColumnQuality> columns; ///< one a right-hand side, where they are judged one by one
    std::vector<std::string> tried;     ///< "ROAD: why it was left", of the others in their order
    /// @name Of the direct solver
    /// @{
    std::string_view ordering; ///< empty: the answer is of a dense road
    std::int64_t factorEntries = 0;
    int perturbedPivots = 0;
    std::optional<double> factorBytes; ///< none where there is no factor
    std::optional<int> coreMegabytes;  ///< of memory beside a factor in files; none: it is in memory
    /// @}
    /// @name Of all sparse systems
    /// @{
    bool leastSquares = false; ///< the matrix is not square
    int refinementSteps = 0, krylovSteps = 0;
    /// @}
};

/// Several lines, a fact each.
std::string asText(const SolveReport& report);

/// One object on one line, with the line end: matrix, rows, cols, entries, road, seconds (an object by step,
/// with total), residual, max_error, status; beside them right_hands, normal_residual, probe_error and
/// reason; of the direct solver ordering, tried (an array), factor_entries, perturbed_pivots, factor_store
/// (memory or files), factor_bytes, core_megabytes, condition, inertia (an object with positive, negative,
/// uncertain and bound) and solutions (many, none or unknown); of it and of least squares columns (an object
/// for each right-hand side: verdict, backward_error, componentwise_error, error_bound, reason),
/// refinement_steps and krylov_steps; of a system on several machines ranks. A number that does not exist or
/// is not finite is null, and so is a text that does not exist.
std::string asJson(const SolveReport& report);

/// A fact on a line: the label, and the text in its column.
std::string line(std::string_view label, std::string_view text);

/// null for a number that does not exist or is not finite.
std::string jsonNumber(std::optional<double> value);
/// The numbers in brackets.
std::string jsonNumbers(const std::vector<double>& values);

/// "read 0.000012, ..., total 0.000034", and an object with a member a step.
std::string asText(const StepTimes& seconds);
std::string asJson(const StepTimes& seconds);

/// `text` as a JSON string with its quotes. Bytes that are no UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

} // namespace Velmar::Lintrix::tools
