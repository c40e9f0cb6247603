#pragma once
/// @file
/// Takes one road to the solution of A*X = B, and keeps what the next one can use.

#include <lintrix/engine/shared_matching.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/delayed_factor.h>
#include <lintrix/systems/roads/direct_run.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/roads/memory_budget.h>
#include <lintrix/systems/roads/pivoted_factor.h>
#include <lintrix/systems/roads/road_choice.h>
#include <lintrix/systems/roads/road_outcome.h>
#include <lintrix/systems/system_matrix.h>
#include <lintrix/systems/system_options.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// op(A)*X = B. `B` is n x nrhs, followed by one column more; the solutions of its last columns are `known`,
/// one or all of them.
template <class Cell>
struct Request {
    const MatrixOf<Cell>& B;
    const MatrixOf<Cell>& known;
    TransposeMode op = TransposeMode::NotTransposed;
};

template <class Cell>
class LINTRIX_TESTABLE RoadRunner {
public:
    /// Both must outlive the runner and the factors that it made.
    RoadRunner(SystemMatrix<Cell>& system, const SystemOptions& options)
        : system_(system), options_(options), budget_(options)
    {
    }

    /// Partial pivoting in place of an engine's LU, where nothing else is asked for and an analysis finds it
    /// to pay; that is used when the road is taken. Else the road itself. The first values of a pattern
    /// decide for all. @throws NotEnoughMemoryException
    Road firstRoad(Road road);
    /// Whether an analysis for partial pivoting has found a matching of these values, be it given up since.
    bool isMatched() const noexcept { return isMatched_; }

    /// What a road is going to cost; its analysis is used when the road is taken next.
    /// @throws NotEnoughMemoryException
    RoadCost forecast(const Attempt& attempt);

    /// The first road is taken whatever it costs, those after it up to `limit`.
    /// @throws NotEnoughMemoryException  the first one's factor has no room
    /// @throws OperationFailedException  the first one's files fail, in words
    Outcome<Cell> run(const Attempt& attempt, Reach limit, const Request<Cell>& request);
    /// A near road while the factor of `kept` stands, whose bytes count as well.
    Outcome<Cell> runBeside(const Outcome<Cell>& kept, const Attempt& attempt, const Request<Cell>& request);
    /// With the factor at hand, which `outcome` has and keeps; from several threads at once, each with a
    /// factor of its own (`Factored::another`). @throws as for the first road
    void again(Outcome<Cell>& outcome, const Request<Cell>& request) const;
    /// The values of the matrix have changed: the factor of `outcome` is made anew, after the analysis at
    /// hand, which it keeps.
    void refactorize(Outcome<Cell>& outcome, const Request<Cell>& request);

    /// With the factor of `outcome`, which is one of earlier values, as a preconditioner of GMRES. Where that
    /// would cost more than half a factorization, there is no solution.
    void precondition(Outcome<Cell>& outcome, const Request<Cell>& request) const;

    /// GMRES on the columns of a solution whose factor has replaced pivots; keeps what is better.
    void repair(const Request<Cell>& request, Outcome<Cell>& outcome);

    /// Bytes for more work beside the factor of `outcome` and so many right-hand sides.
    double leftBeside(const Outcome<Cell>& outcome, std::int32_t rightHands) const;

    /// Of factors in files; 0 where there are none.
    int coreMegabytes() const { return place_ ? std::min(place_->CoreMegabytes(), core_) : 0; }

    /// A step has ended that this one has not made.
    void finish(std::string_view step) const;
    /// Adds to a file what has been found out: the outcome at hand, if there is one, with its factor, and the
    /// analysis of a forecast. @throws InvalidOperationException  as `Factored::save`
    void save(const Outcome<Cell>* best, SectionWriter& file) const;
    /// Takes it up, in a runner that has done nothing, and returns the outcome.
    /// @throws as `requireWhole`, NotEnoughMemoryException
    std::optional<Outcome<Cell>> load(SectionReader& file);
    /// Another matrix stands in the place of the one before; its factors must have been given up.
    void restart();
    /// Its values alone are others.
    void forgetValues()
    {
        pivoted_.reset();
        isMatched_ = false;
        units_.forget();
        forgetMatching();
    }
    /// Of these values, as `unitsOfUnknowns`. From several threads at once.
    const std::vector<int>& units(TransposeMode op, UnitsBy by) const
    {
        return units_.ofUnknowns(AnyMatrix<Cell>(system_.Matrix()), op, by);
    }
    /// Of these values, those of the rows of op(A). Likewise.
    const RowSizes& sizes(TransposeMode op) const
    {
        return units_.sizes(AnyMatrix<Cell>(system_.Matrix())).of(op);
    }
    bool haveAlikeUnits() const { return units_.areAlike(AnyMatrix<Cell>(system_.Matrix())); }
    /// That the engine has found: no other road follows.
    void forgetMatching() noexcept { matching_.Forget(); }
    /// What further roads are held against: the cost of the largest factorization so far.
    const std::optional<RoadCost>& largest() const noexcept { return done_; }
    void largest(const std::optional<RoadCost>& cost) noexcept { done_ = cost; }
    std::int32_t analyses() const noexcept { return analyses_; }
    std::int32_t factorizations() const noexcept { return factorizations_; }

private:
    struct Analysed {
        Attempt attempt;
        std::int32_t rightHands = 0; ///< that its figures are for
        EngineAnswer answer{};
        std::unique_ptr<DirectRun> run;
    };

    Analysed analysed(const Attempt& attempt, const EngineMatrix& matrix, std::int32_t rightHands);
    void follow(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome);
    void factorizeAndSolve(std::unique_ptr<DirectRun>& run, const Request<Cell>& request,
                           Outcome<Cell>& outcome);
    /// By fronts of `Factor`, which is analysed by the arguments.
    template <class Factor, class... Arguments>
    void takeFronts(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome,
                    const Arguments&... arguments);
    void takePivoted(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome);
    void keepPivoted(std::unique_ptr<PivotedFactor<Cell>> factor, EngineAnswer answer,
                     const Request<Cell>& request, Outcome<Cell>& outcome);
    PivotedFactor<Cell>& pivoted(UnitsBy by = UnitsBy::LargestElements);
    bool triesPivoting();
    void refactorizePivoted(Outcome<Cell>& outcome, const Request<Cell>& request);
    sparse_lu::LuBounds pivotedBounds(Reach limit, const RoadCost& cost, std::int32_t rightHands) const;
    double worthTrying(std::int32_t rightHands) const;
    std::int32_t solvesFor(const Request<Cell>& request) const;
    void takeDense(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome);
    void solve(const Request<Cell>& request, Outcome<Cell>& outcome) const;
    void refine(const Request<Cell>& request, Outcome<Cell>& outcome, std::int32_t steps) const;
    std::int32_t iterate(const Request<Cell>& request, Factored<Cell>& factor, MatrixOf<Cell>& X,
                         std::int32_t most) const;
    ProbedQuality judged(const MatrixOf<Cell>& X, const Request<Cell>& request) const;

    Outcome<Cell> loadOutcome(SectionReader& file);
    void loadForecast(SectionReader& file);
    double ownBytes(std::int32_t rightHands) const;
    EngineAnswer analyseFor(DirectRun& run, FactorStore store, std::int32_t rightHands);
    void usePlace(double left);
    EngineAnswer moveToFiles(DirectRun& run, double left, std::int32_t rightHands);
    std::string faultOf(int error, int leastMegabytes) const;
    void requireSystem(const Outcome<Cell>& outcome) const;

    SystemMatrix<Cell>& system_;
    const SystemOptions& options_;
    MemoryBudget budget_;
    std::unique_ptr<FactorPlace> place_{};           ///< once a factor goes to files
    int core_ = std::numeric_limits<int>::max();     ///< megabytes beside files that the budget leaves
    std::optional<Analysed> ready_{};                ///< by a forecast
    SharedMatching matching_{};                      ///< of the engine's roads, whatever their order
    std::unique_ptr<PivotedFactor<Cell>> pivoted_{}; ///< analysed
    mutable KnownUnits<Cell> units_{};               ///< of these values
    bool isMatched_ = false;                         ///< by such an analysis, of these values
    std::optional<bool> pivotingPays_{};             ///< for this pattern
    std::optional<RoadCost> done_{};                 ///< of the largest factorization so far
    double kept_ = 0.0;                              ///< bytes of a factor that stands beside the next one
    std::int32_t analyses_ = 0, factorizations_ = 0;
};

} // namespace Velmar::Lintrix::detail::roads
