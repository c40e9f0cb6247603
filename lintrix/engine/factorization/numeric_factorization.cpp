#include <lintrix/engine/factorization/numeric_factorization.h>

#include <lintrix/engine/factorization/elimination.h>
#include <lintrix/services/team.h>
#include <lintrix/services/thread_scope.h>

#include <algorithm>
#include <complex>
#include <optional>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Calls work(worker), with a worker that has its arrays or else misses them. Beside it there are those of so
// many others for which it stands in, so that the memory taken does not hang on how many are called.
template <class Make, class Work>
void workFor(int others, const Make& make, const Work& work)
{
    auto worker = make();
    if (others > 0 && worker) return workFor(others - 1, make, work);
    work(worker);
}

} // namespace

template <class T>
FactorResult factorize(const FactorPlan& plan, const FactorRules& rules, const T* values,
                       const Factor<T>& factor, const ProgressListener& listener)
{
    EliminationTeam team(plan, listener);
    if (!team) return {outOfMemory(BlockCode::RealWork, team.missingBytes()), {}};
    if (!team.progress.start()) return {stopped(), {}};
    PivotCounts pivots;
    const int threads = busyThreads(plan, static_cast<int>(plan.runs.size()));
    const int called = threads == 1 ? 1 : repaidTeam(threads, nanoseconds<T>(plan));
    const auto makeWorker = [&] { return Eliminator<T>(plan, rules, values, factor, team); };
    runTeam(called, [&](const TeamMember& member) {
        std::optional<SequentialBlasScope> sequential;
        if (plan.threads > 1) sequential.emplace();
        workFor(threads - called, makeWorker, [&](Eliminator<T>& worker) {
            if (worker) {
                worker.work(member.thread, {0, plan.structure.supernodes() - 1}, Entries::ToBring);
            } else {
                team.fail(outOfMemory(BlockCode::RealWork, worker.missingBytes()));
            }
#pragma omp critical(lintrix_engine_pivots)
            pivots += worker.pivots();
            member
                .meet(); // all arrays are there at a time, whoever is done first: the same peak in every run
        });
    });
    if (!team.hasFailed() && !team.progress.end()) team.fail(stopped());
    return {team.failure(), pivots};
}

template <class T>
BlockSum factorizationBlocks(const FactorPlan& plan, int runs) noexcept
{
    BlockSum blocks;
    blocks.add<char>(plan.structure.supernodes());
    const EliminationSizes sizes(plan);
    for (int thread = 0; thread < busyThreads(plan, runs); ++thread) {
        blocks.add<int>(sizes.indices).add<int>(sizes.rows);
        blocks.add<T>(sizes.buffer);
        blocks.add<T>(sizes.scaled);
    }
    return blocks;
}

template FactorResult factorize(const FactorPlan&, const FactorRules&, const float*, const Factor<float>&,
                                const ProgressListener&);
template FactorResult factorize(const FactorPlan&, const FactorRules&, const double*, const Factor<double>&,
                                const ProgressListener&);
template FactorResult factorize(const FactorPlan&, const FactorRules&, const std::complex<float>*,
                                const Factor<std::complex<float>>&, const ProgressListener&);
template FactorResult factorize(const FactorPlan&, const FactorRules&, const std::complex<double>*,
                                const Factor<std::complex<double>>&, const ProgressListener&);
template BlockSum factorizationBlocks<float>(const FactorPlan&, int) noexcept;
template BlockSum factorizationBlocks<double>(const FactorPlan&, int) noexcept;
template BlockSum factorizationBlocks<std::complex<float>>(const FactorPlan&, int) noexcept;
template BlockSum factorizationBlocks<std::complex<double>>(const FactorPlan&, int) noexcept;

} // namespace Velmar::Lintrix::detail::engine
