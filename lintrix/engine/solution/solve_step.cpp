#include <lintrix/engine/solution/solve_step.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/analysis/symbolic/structure_files.h>
#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/solution/backward_error.h>
#include <lintrix/engine/solution/conjugate_gradient.h>
#include <lintrix/engine/solution/conjugate_gradient_squared.h>
#include <lintrix/engine/solution/direct_solve.h>
#include <lintrix/engine/solution/factor_reuse.h>
#include <lintrix/engine/solution/improvement.h>
#include <lintrix/engine/solution/refinement.h>
#include <lintrix/engine/solution/solve_parts.h>
#include <lintrix/engine/solution/sparse_operator.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// A block of at least `bytes` in a slot that keeps it from call to call.
Failure reserve(Handle handle, Slot slot, WideWord size, std::int64_t bytes, BlockCode code)
{
    ControlBlock& control = handle.control();
    if (handle.holds(slot) && control[size] >= bytes) return {};
    handle.release(slot);
    control.set(size, 0);
    if (handle.allocate(slot, bytes) == nullptr) return outOfMemory(code, bytes);
    control.set(size, bytes);
    return {};
}

bool hasPerturbedPivots(const ControlBlock& control)
{
    return control[Word::PerturbedPivots] >= 1;
}

template <class T>
StoredFactor<T> storedFactor(Handle handle, const FactorPlan& plan, int mnum)
{
    const FactorRules rules = rulesOfFactor(handle, mnum);
    return {plan.structure, plan.lowerStarts, plan.upperStarts,
            rules.method,   rules.hermitian,  factorIn<T>(handle, mnum)};
}

/// Rows move with the matching of unsymmetric storage; one factor serves rows and columns of symmetric one.
SystemFrame systemFrame(const Handle& handle)
{
    const auto n = static_cast<std::size_t>(handle.control()[Word::Order]);
    const bool symmetric = handle.control()[Word::SymmetricStorage] != 0;
    SystemFrame frame{.positionOf = PermanentStructure(handle).positionOf(),
                      .columnOfRow = {},
                      .rowScale = {},
                      .columnScale = {}};
    if (handle.holds(Slot::Matching) && !symmetric)
        frame.columnOfRow = {handle.block<int>(Slot::Matching), n};
    if (handle.holds(Slot::Scaling)) {
        const double* const factors = handle.block<double>(Slot::Scaling);
        frame.rowScale = {factors, n};
        frame.columnScale = {symmetric ? factors : factors + n, n};
    }
    return frame;
}

/// A factor in files, open for the length of a solve.
template <class T>
struct FilesOfSolve {
    /// The panels pass through what the configured core leaves beside `taken` bytes, but at least the room of
    /// the largest supernode.
    FilesOfSolve(const FactorPlan& plan, int mnum, const Handle& handle, std::int64_t taken)
        : store(plan, files, mnum), schedule(PanelSchedule::ofSolve(plan, elementsFor(plan, handle, taken)))
    {
    }

    static std::int64_t elementsFor(const FactorPlan& plan, const Handle& handle, std::int64_t taken)
    {
        const std::int64_t bytes = bytesForPanels(handle, taken) - FactorStore<T>::sumBytes(plan);
        return bytes / std::int64_t{sizeof(T)} - PanelSchedule::kMostSlots * FactorStore<T>::mostBeside();
    }

    Failure open(const Handle& handle, const StoredFactor<T>& factor, int threads)
    {
        if (const Failure failure = openFactorFiles(handle, FileStep::Solve, files)) return failure;
        if (const Failure failure = store.allocate()) return failure;
        if (const Failure failure = store.readTables(factor.panels)) return failure;
        room = Scratch<T>::uninitialised(PanelFeed<T>::roomOf(schedule));
        if (!room) return outOfMemory(BlockCode::RealWork, room.missingBytes());
        stream.emplace(store, schedule, factor, room.get(), threads);
        return {};
    }

    OpenFactorFiles files;
    FactorStore<T> store;
    PanelSchedule schedule;
    Scratch<T> room;
    std::optional<PanelStream<T>> stream;
};

template <class T>
class SolveStep {
public:
    SolveStep(const Arguments& call, Handle handle, Timers& timers)
        : call_(call), handle_(handle), control_(handle.control()), timers_(timers),
          improvement_(improvementFor(call, control_[Word::IterationKind], hasPerturbedPivots(control_))),
          threads_(control_[Word::Threads]), count_(call.nrhs), plan_(planOf(handle)),
          factor_(storedFactor<T>(handle, plan_, call.mnum)), matrix_(callersMatrix<T>(call)),
          b_(static_cast<T*>(call.b)), x_(static_cast<T*>(call.x)),
          work_(2.0 * static_cast<double>(plan_.sizes.lower) *
                DirectSolve<T>::sidesIn(threads_, count_, isFromFiles()))
    {
        factor_.work = &work_;
    }

    Failure run()
    {
        call_.iparm[Parameter::RefinementSteps] = 0;
        if (count_ < 1) return {};
        if (const Failure failure = findParts()) return failure;
        if (const Failure failure = reserveWork()) return failure;
        const Failure failure = isFromFiles() ? solveFromFiles() : solveAndImprove();
        if (failure) return failure;
        if (call_.iparm[Parameter::SolutionPlace] == 1) std::copy_n(x_, elements(), b_);
        return {};
    }

private:
    std::int64_t elements() const { return std::int64_t{call_.n} * count_; }

    /// Whether subgraphs stand behind each other is worked out at each solve.
    Failure findParts()
    {
        const bool consecutive = areConsecutive(PermanentStructure(handle_).subgraphs());
        control_[Word::ConsecutiveSubgraphs] = consecutive ? 1 : 0;
        if (isFromFiles() || !consecutive || !DirectSolve<T>::takesParts(threads_, count_)) return {};
        return solveParts(handle_, threads_, parts_);
    }

    Failure reserveWork()
    {
        if (elements() > kMostElements) return outOfMemory(BlockCode::RealWork, elements());
        const std::int64_t cells = DirectSolve<T>::workSize(factor_, parts_, threads_, count_);
        if (const Failure failure = reserve(handle_, Slot::RealWork, WideWord::RealWorkBytes,
                                            cells * std::int64_t{sizeof(T)}, BlockCode::RealWork))
            return failure;
        if (improvement_ == Improvement::None) return {};
        return reserve(handle_, Slot::IterationWork, WideWord::IterationWorkBytes, layout().bytes,
                       BlockCode::IterationWork);
    }

    bool isFromFiles() const { return control_[Word::OutOfCore] != 0; }

    Failure solveAndImprove()
    {
        const double seconds = solveDirectly();
        if (const Failure failure = fruitless()) return failure;
        const Failure failure = improve(seconds);
        // Of an iteration whose solves came to nothing no other failure means anything.
        return fruitless() ? fruitless() : failure;
    }

    Failure solveFromFiles()
    {
        files_.emplace(plan_, call_.mnum, handle_,
                       control_[WideWord::RealWorkBytes] + control_[WideWord::IterationWorkBytes]);
        Failure failure = files_->open(handle_, factor_, threads_);
        if (!failure) failure = solveAndImprove();
        timers_.add(files_->files.traffic());
        return failure;
    }

    /// Why solves have come to nothing, where they have.
    Failure fruitless() const
    {
        if (!work_.goesOn()) return stopped();
        return isFromFiles() ? files_->stream->failure() : Failure{};
    }

    IterationLayout layout() const
    {
        return iterationLayout(matrix_, {.improvement = improvement_,
                                         .threads = threads_,
                                         .count = count_,
                                         .extended = call_.iparm[Parameter::RefinementLimit] < 0,
                                         .largestUpdate = control_[WideWord::LargestUpdate]});
    }

    DirectSolve<T> solver()
    {
        return {factor_,
                systemFrame(handle_),
                parts_,
                matrix_.transposed,
                threads_,
                handle_.template block<T>(Slot::RealWork),
                isFromFiles() ? &*files_->stream : nullptr};
    }

    /// @return  the seconds it took
    double solveDirectly()
    {
        const double before = timers_.seconds(Timer::Solve);
        {
            const TimedStep timed(timers_, Timer::Solve);
            solver().solve(b_, x_, count_, static_cast<SolvePart>(call_.phase.part()));
        }
        return timers_.seconds(Timer::Solve) - before;
    }

    Failure improve(double solveSeconds)
    {
        if (improvement_ == Improvement::None) return {};
        std::byte* const block = handle_.template block<std::byte>(Slot::IterationWork);
        T* const work = reinterpret_cast<T*>(block);
        const SparseOperator<T> A(matrix_, threads_, block + layout().sums);
        const DirectSolve<T> direct = solver();
        const Preconditioner<T> solve = [&](const T* r, T* z) { direct.solve(r, z, count_); };
        if (improvement_ == Improvement::Refinement) return refineSolution(A, solve, x_, work);
        T* const start = work + layout().start;
        std::copy_n(x_, elements(), start);
        const Failure failure = iterate({A, solve, b_, x_, call_.n, count_}, block, solveSeconds);
        return control_[Word::IterationKind] > 0 ? compareWithDirect(A, solve, start, work, failure)
                                                 : failure;
    }

    Failure refineSolution(const SparseOperator<T>& A, const Preconditioner<T>& solve, T* x, T* work)
    {
        const TimedStep timed(timers_, Timer::Solve);
        const Refinement done =
            refine(A, solve, b_, x, call_.n, count_, call_.iparm[Parameter::RefinementLimit], work);
        call_.iparm[Parameter::RefinementSteps] = done.steps;
        if (done.automatic) call_.iparm[Parameter::IterationResult] = kAutomaticRefinement;
        return done.failure;
    }

    /// An iteration ends by a number of its own and may be further from the solution then than at its start.
    /// With a factor of this very matrix that start, refined where a direct solve would be, is what K = 0
    /// gives: it is the answer where it is the better one, and where the iteration has failed.
    Failure compareWithDirect(const SparseOperator<T>& A, const Preconditioner<T>& solve, T* start, T* work,
                              const Failure& failure)
    {
        const int told = call_.iparm[Parameter::IterationResult];
        const bool refines = refinesDirectSolution(call_, hasPerturbedPivots(control_)), isStart = told == 1;
        if ((isStart && !refines) || !isFactorOfCall(call_, handle_)) return failure;
        const Failure unrefined = refines ? refineSolution(A, solve, start, work) : Failure{};
        call_.iparm[Parameter::IterationResult] = told;
        if (told < 0) {
            std::copy_n(start, elements(), x_);
            return unrefined;
        }
        call_.iparm[Parameter::RefinementSteps] = 0;
        const TimedStep timed(timers_, Timer::Iteration);
        const double largest = largestModulus(matrix_.a, call_.nonZeros());
        if (!unrefined) takeBetter(A, largest, b_, start, x_, call_.n, count_, work);
        return {};
    }

    Failure iterate(const IterativeSystem<T>& system, std::byte* block, double solveSeconds)
    {
        const IterationBudget budget =
            iterationBudget(control_[Word::IterationKind], control_[Real::FactorSeconds], solveSeconds);
        control_[Word::IterationBudget] = budget.most;
        control_[Word::HalfBudget] = budget.half;
        int& told = call_.iparm[Parameter::IterationResult];
        if (budget.most < 1) {
            control_[Word::FactorNeeded] = 1;
            told = kBudgetTooSmall;
            return {};
        }
        const TimedStep timed(timers_, Timer::Iteration);
        const IterationOutcome outcome = runIteration(
            system, {control_[Real::Tolerance], control_[Real::Divergence], budget.most, budget.half}, block);
        if (!work_.goesOn()) return stopped(); // which says nothing of the factor
        told = outcome.told();
        if (outcome.status == IterationStatus::Converged) return {};
        control_[Word::FactorNeeded] = 1;
        return {Error::Numeric, outcome.status == IterationStatus::Breakdown ? -2 : -3};
    }

    IterationOutcome runIteration(const IterativeSystem<T>& system, const IterationTerms& terms,
                                  std::byte* block) const
    {
        T* const work = reinterpret_cast<T*>(block);
        std::byte* const scalars = block + layout().scalars;
        if constexpr (!kIsComplex<T>) {
            if (improvement_ == Improvement::ConjugateGradient)
                return conjugateGradient(system, terms, work, reinterpret_cast<GradientScalars*>(scalars));
        }
        return conjugateGradientSquared(system, terms, work, reinterpret_cast<SquaredScalars<T>*>(scalars));
    }

    static constexpr int kAutomaticRefinement = -34, kBudgetTooSmall = -5;

    const Arguments& call_;
    Handle handle_;
    ControlBlock& control_;
    Timers& timers_;
    Improvement improvement_;
    int threads_, count_;
    FactorPlan plan_;
    StoredFactor<T> factor_;
    SubstitutionParts parts_;
    CallersMatrix<T> matrix_;
    T *b_, *x_;
    WorkMeter work_;
    std::optional<FilesOfSolve<T>> files_; // the first to go: threads that read use what stands above
};

} // namespace

Failure solve(const Arguments& call, Handle handle, Timers& timers)
{
    const int kind = elementKind(call.mtype, handle.control()[Word::SinglePrecision] != 0);
    return withElement(kind, [&]<class T>() { return SolveStep<T>(call, handle, timers).run(); });
}

} // namespace Velmar::Lintrix::detail::engine
