#include <lintrix/engine/solution/solve_memory.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/solution/direct_solve.h>
#include <lintrix/engine/solution/improvement.h>
#include <lintrix/engine/solution/solve_parts.h>

#include <algorithm>
#include <complex>

namespace Velmar::Lintrix::detail::engine {

namespace {

bool mayPerturbPivots(int mtype)
{
    return classOf(mtype) == MatrixClass::Indefinite || classOf(mtype) == MatrixClass::Unsymmetric;
}

// As many as are asked for, but no more than a solve would take on at all.
int rightHandSides(const Arguments& call)
{
    const std::int64_t most = kMostElements / std::max(call.n, 1);
    return static_cast<int>(std::clamp<std::int64_t>(call.nrhs, 1, most));
}

template <class T>
BlockSum iterationBlock(const Arguments& call, const ControlBlock& control, int count)
{
    const Improvement improvement =
        improvementFor(call, control[Word::IterationKind], mayPerturbPivots(call.mtype));
    const IterationLayout layout =
        iterationLayout(callersMatrix<T>(call), {.improvement = improvement,
                                                 .threads = control[Word::Threads],
                                                 .count = count,
                                                 .extended = call.iparm[Parameter::RefinementLimit] < 0,
                                                 .largestUpdate = control[WideWord::LargestUpdate]});
    return BlockSum().addBytes(layout.bytes);
}

} // namespace

template <class T>
Failure forecastSolve(const Arguments& call, Handle handle, const FactorPlan& plan, std::int64_t& kilobytes)
{
    const int count = rightHandSides(call);
    PartForecast parted;
    if (areConsecutive(PermanentStructure(handle).subgraphs()) &&
        DirectSolve<T>::takesParts(plan.threads, count)) {
        if (const Failure failure = forecastParts(plan.structure, plan.threads, parted)) return failure;
    }
    const StoredFactor<T> factor{plan.structure, plan.lowerStarts, plan.upperStarts, {}, {}, {}};
    BlockSum work = parted.lists;
    work.add<T>(DirectSolve<T>::workSize(factor, parted.parts, plan.threads, count))
        .add(iterationBlock<T>(call, handle.control(), count));
    kilobytes = std::max(parted.making.kilobytes(), work.kilobytes());
    return {};
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template Failure forecastSolve<T>(const Arguments&, Handle, const FactorPlan&, std::int64_t&);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
