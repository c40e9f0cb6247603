#pragma once
/// @file
/// What came of one road through the direct solver, and what is said of it.

#include <lintrix/services/export.h>
#include <lintrix/systems/quality/factor_quality.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/roads/quality.h>
#include <lintrix/systems/roads/road_choice.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail::roads {

template <class Cell>
struct LINTRIX_TESTABLE Outcome {
    Attempt attempt;
    EngineAnswer engine{};
    std::string_view roadName{};            ///< for this matrix
    std::optional<MatrixOf<Cell>> x{};      ///< with the probe; given up where another one is better
    std::optional<ProbedQuality> quality{}; ///< of `x`; none where a step failed
    FillInReducingMethod ordering = FillInReducingMethod::MinimumDegree;
    std::int32_t perturbed = 0, steps = 0, krylovSteps = 0;
    std::int64_t factorEntries = 0;
    RoadCost cost{};
    FactorStore store = FactorStore::Memory;
    int leastMegabytes = 0; ///< of memory beside a factor in files
    std::string fault{};    ///< of the files of the factor, in words
    Reach reach = Reach::Near;
    bool reusedFactor = false;                    ///< of earlier values, as a preconditioner
    bool taken = false;                           ///< else only its cost is known
    std::unique_ptr<Factored<Cell>> factor{};     ///< as long as no other road is taken
    std::optional<FactorQuality> factorQuality{}; ///< of `factor`, once it was asked for
    std::optional<CertainInertia> inertia{};      ///< likewise, of the matrix

    Verdict verdict() const;
    Ending ending() const;
    /// The road without solution and factor, for a solve beside it.
    Outcome road() const;
    /// It has failed, and something else than the probe solves its system to rounding level. Where a digit is
    /// left, x is one: what is lost of unknowns in smaller units asks for no other.
    bool looksSingular() const;
    /// Something else does, in the unit of an unknown, by a factor some of whose pivots were replaced or near
    /// zero: A is singular to working precision.
    bool isSolvedByAnother() const;
    /// Besides, all are solved to rounding level: no refinement would bring the probe back.
    bool isBeyondRefinement() const;
    /// "ROAD: why it was left", with the order of one that was repeated.
    std::string told() const;
    /// Of a verdict other than Accurate, in a few words.
    std::string reason() const;

private:
    bool losesAllDigits() const;
};

/// The verdict decides; then the smaller error of two degraded ones, and the later of two that failed as
/// badly.
template <class Cell>
LINTRIX_TESTABLE bool isBetter(const Outcome<Cell>& later, const Outcome<Cell>& earlier);

} // namespace Velmar::Lintrix::detail::roads
