#pragma once
// Solves A*X = B by the direct solver: the road that the values suggest, and the next one where it ends
// badly.

#include <tools/input/sparse_system.h>
#include <tools/solve/direct_run.h>
#include <tools/solve/quality.h>
#include <tools/support/memory_limit.h>
#include <tools/support/report.h>

#include <lintrix/lintrix.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

struct SparseOptions {
    std::optional<MatrixType> type;               ///< none: as the values suggest
    std::optional<FillInReducingMethod> ordering; ///< none: what takes less time in all
    DirectSettings settings;
    bool outOfCore = false; ///< the factor in files; else only where memory has no room for it
    std::optional<int>
        coreMegabytes; ///< that are used beside files; none: by the user's variables, or by what is left
    std::function<double()> memoryLeft = [] {
        return tools::memoryLeft(TrellConfiguration::GetMaxThreads());
    };                                                ///< bytes
    std::function<void(const std::string&)> notice{}; ///< is told when the factor goes to files unasked
};

template <class Cell>
struct SparseAnswer {
    Road road = Road::Matched;      ///< that the answer is from
    std::string_view roadName = ""; ///< for this matrix
    std::optional<FillInReducingMethod> ordering = FillInReducingMethod::MinimumDegree; ///< none where dense
    std::vector<std::string> tried{}; ///< "ROAD: why it was left", of the other roads
    Verdict verdict = Verdict::Failed;
    std::string reason{};             ///< of a verdict other than Accurate, in a few words
    std::optional<Columns<Cell>> x{}; ///< n x nrhs
    std::optional<double> residual{}, probeError{};
    std::optional<double> knownError{}; ///< of `x`, where its solution was known beforehand
    int perturbedPivots = 0, refinementSteps = 0, factorEntries = 0;
    FactorStore store = FactorStore::Memory;
    int coreMegabytes = 0; ///< of a factor in files
};

/// Where to begin: positive definite, indefinite, indefinite with matching where the diagonal has zeros; of
/// an unsymmetric matrix LU along the diagonal where that dominates, else LU with matching.
Road firstRoad(const Traits& traits);
/// As the user says. @return nothing  the values contradict
std::optional<Road> firstRoad(MatrixType type, const Traits& traits);

/// `B` is n x nrhs, followed by one column more; the solutions of its last columns are `known`, one or all of
/// them. Whatever a road returns is measured: its residual, and how many digits of what is known came back.
/// Where it is not accurate, and another road might do better, that is taken as well; the best answer of all
/// counts. A road whose forecast is far beyond what was already done is put last, or told and left. Steps are
/// timed in `seconds`: analyse, factorize, solve, check. A factor that is forecast to need more memory than
/// is left goes to files.
/// @throws NotEnoughMemoryException
/// @throws InputError  the first factor cannot be kept in files
template <class Cell>
SparseAnswer<Cell> solveSparse(SparseSystem<Cell>& system, const Columns<Cell>& B, const Columns<Cell>& known,
                               Road road, const SparseOptions& options, StepTimes& seconds);

} // namespace Velmar::Lintrix::tools
