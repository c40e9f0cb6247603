#include <lintrix/engine/factorization/numeric_factorization.h>

#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/panel_solve.h>
#include <lintrix/engine/factorization/supernode_update.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/team.h>
#include <lintrix/services/thread_scope.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <complex>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>

#include <sched.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

// There is no work for more threads than runs.
int busyThreads(const FactorPlan& plan, int runs)
{
    return std::min(plan.threads, runs);
}

// Elements of the arrays that one thread works with.
struct WorkSizes {
    explicit WorkSizes(const FactorPlan& plan)
        : columns(kPanelsTogether * plan.sizes.widest),
          indices(static_cast<std::int64_t>(plan.structure.supernodeOf.size())), rows(plan.sizes.tallest),
          buffer(updateBufferSize(columns, plan.sizes.widest, kPanelsTogether)),
          scaled(std::int64_t{columns} * plan.sizes.widest)
    {
    }

    int columns; // of the panels worked at together, at most
    std::int64_t indices, rows, buffer, scaled;
};

// What the threads of one factorization share.
class Team {
public:
    Team(const FactorPlan& plan, const ProgressListener& listener)
        : progress(listener, std::max<std::int64_t>(1, plan.sizes.lower)),
          finished_(Scratch<std::atomic<unsigned char>>::zeroed(plan.structure.supernodes()))
    {
    }

    explicit operator bool() const { return static_cast<bool>(finished_); }
    std::int64_t missingBytes() const { return finished_.missingBytes(); }

    int takeRun() { return nextRun_.fetch_add(1, std::memory_order_relaxed); }

    void finish(int J) { finished_[J].store(1, std::memory_order_release); }

    // False when somebody has failed.
    bool waitFor(int J) const
    {
        constexpr int kSpins = 2000; // then let another thread have the core
        for (int spins = 0; finished_[J].load(std::memory_order_acquire) == 0; ++spins) {
            if (hasFailed()) return false;
            __builtin_ia32_pause();
            if (spins > kSpins) sched_yield();
        }
        return true;
    }

    // The first failure stands.
    void fail(Failure failure)
    {
        if (!failing_.exchange(true)) {
            failure_ = failure;
            failed_.store(true, std::memory_order_release);
        }
    }
    bool hasFailed() const { return failed_.load(std::memory_order_acquire); }
    Failure failure() const { return failure_; }

    Progress progress;

private:
    Scratch<std::atomic<unsigned char>> finished_; // by supernode
    std::atomic<int> nextRun_{0};
    std::atomic<bool> failing_{false}, failed_{false};
    Failure failure_;
};

// One thread's work.
template <class T>
class Worker {
public:
    Worker(const FactorPlan& plan, const FactorRules& rules, const T* values, const Factor<T>& factor,
           Team& team)
        : plan_(plan), structure_(plan.structure), rules_(rules), values_(values), factor_(factor),
          team_(team), progress_(team.progress, plan.threads),
          indexOf_(Scratch<int>::uninitialised(WorkSizes(plan).indices)),
          rows_(Scratch<int>::uninitialised(WorkSizes(plan).rows)),
          buffer_(Scratch<T>::uninitialised(WorkSizes(plan).buffer)),
          scaled_(Scratch<T>::uninitialised(WorkSizes(plan).scaled))
    {
    }

    explicit operator bool() const { return indexOf_ && rows_ && buffer_ && scaled_; }
    std::int64_t missingBytes() const { return engine::missingBytes(indexOf_, rows_, buffer_, scaled_); }
    PivotCounts pivots() const { return pivots_; }

    void work(int thread)
    {
        const auto runs = static_cast<int>(plan_.runs.size());
        for (int run = team_.takeRun(); run < runs; run = team_.takeRun()) {
            const auto [first, last] = plan_.runs[static_cast<std::size_t>(run)];
            for (int J = first, end; J <= last; J = end + 1) {
                end = lastTogether(structure_, J, last, kPanelsTogether);
                if (team_.hasFailed() || !eliminate(thread, J, end)) return;
            }
        }
    }

private:
    static constexpr bool kComplex = kIsComplex<T>;

    bool unsymmetric() const { return isUnsymmetric(rules_.method); }
    T* lower(int J) const { return factor_.lower + plan_.lowerStarts[static_cast<std::size_t>(J)]; }
    T* upper(int J) const { return factor_.upper + plan_.upperStarts[static_cast<std::size_t>(J)]; }

    // Panels worked at together; each but the last is a descendant of those behind it.
    bool eliminate(int thread, int first, int last)
    {
        for (int J = first; J <= last; ++J) gather(J);
        const std::span<const int> rows = structure_.rowsOf(first);
        for (int i = 0; i < structure_.height(first); ++i) indexOf_[rows[i]] = i;
        MergedDescendants descendants(plan_.descendants, first, last);
        while (descendants.next()) {
            const int K = descendants.source();
            if (!(K < first ? team_.waitFor(K) : complete(thread, K))) return false;
            update(first, last, descendants);
        }
        return complete(thread, last);
    }

    bool complete(int thread, int J)
    {
        if (!factorBlock(J)) return false;
        team_.finish(J);
        if (progress_.add(thread, std::int64_t{structure_.height(J)} * structure_.width(J))) return true;
        team_.fail({Error::Numeric, -1});
        return false;
    }

    // Zeroes the panels of J and brings A's entries.
    void gather(int J)
    {
        const int height = structure_.height(J), width = structure_.width(J);
        T* const l = lower(J);
        std::fill_n(l, std::ptrdiff_t{height} * width, T(0));
        T* const u = unsymmetric() ? upper(J) : l;
        if (unsymmetric()) std::fill_n(u, std::ptrdiff_t{height - width} * width, T(0));
        const EntryMaps& maps = plan_.maps;
        for (int k = maps.firstEntry[J]; k < maps.firstEntry[J + 1]; ++k) {
            const int place = maps.place[k];
            const T value = scaled(values_[maps.source[k]], J, place);
            if (place >= 0) {
                l[place] = value;
            } else {
                u[~place] = conjugate(value, rules_.hermitian);
            }
        }
    }

    // The entry that goes to `place` in the panels of J.
    T scaled(T value, int J, int place) const
    {
        if (plan_.scaling.row.empty()) return value;
        const bool inU = place < 0 && unsymmetric(); // a mirrored entry's factors are the same ones
        const int cell = place < 0 ? ~place : place;
        const int ld = structure_.height(J) - (inU ? structure_.width(J) : 0);
        const int fromList = (inU ? structure_.rowsBelow(J) : structure_.rowsOf(J))[cell % ld];
        const int inBlock = structure_.starts[J] + cell / ld;
        const int row = inU ? inBlock : fromList, column = inU ? fromList : inBlock;
        return scaledBy(value, plan_.scaling.column[column], plan_.scaling.row[row]);
    }

    // The panels lose the product of K's rows with those of them that are columns of the panels.
    void update(int first, int last, const MergedDescendants& descendant)
    {
        const int K = descendant.source(), from = descendant.firstRow();
        const int height = structure_.height(K), width = structure_.width(K), below = height - width;
        const int m = below - from;
        const int* const rowsOfK = structure_.rowsBelow(K).data() + from;
        int* const row = rows_.get();
        for (int i = 0; i < m; ++i) row[i] = indexOf_[rowsOfK[i]];

        const Target target = targetFor(first, last, descendant);
        const T* const l = lower(K) + width + from;
        if (!unsymmetric()) {
            const T* b = l;
            int ldb = height;
            if (rules_.method != Method::Cholesky || kComplex) {
                prepareRight(K, l, height, target.columns);
                b = scaled_.get();
                ldb = target.columns;
            }
            subtractProduct<T>({l, height, b, ldb, m, target.columns, width, width + from},
                               {target.lowerPanels(), row}, true, buffer_.get());
            return;
        }
        const T* const u = upper(K) + from;
        subtractProduct<T>({l, height, u, below, m, target.columns, width, width + from},
                           {target.lowerPanels(), row}, false, buffer_.get());
        subtractProduct<T>({u, below, l, height, m, target.columns, width, from}, {target.upperPanels(), row},
                           false, buffer_.get());
    }

    // What one descendant updates: of L's panels the rows from its own columns on, of U's panels, which have
    // no rows for those columns, the rows behind them. Row 0 of the first panel is the origin of all.
    struct Target {
        std::array<UpdatePanel<T>, kPanelsTogether> lower, upper;
        std::size_t panels = 0;
        int columns = 0;

        std::span<const UpdatePanel<T>> lowerPanels() const { return std::span(lower).first(panels); }
        std::span<const UpdatePanel<T>> upperPanels() const { return std::span(upper).first(panels); }
    };

    Target targetFor(int first, int last, const MergedDescendants& descendant) const
    {
        Target target;
        for (int J = first; J <= last; ++J) {
            const int columns = descendant.columns(J - first);
            if (columns == 0) continue;
            const int before = structure_.starts[J] - structure_.starts[first];
            const int width = structure_.width(J), ld = structure_.height(J), below = ld - width;
            const auto origin = [before](std::ptrdiff_t rowsAbove, std::ptrdiff_t ldOfPanel) {
                return rowsAbove + ldOfPanel * before;
            };
            target.lower[target.panels] = {lower(J) - origin(before, ld), ld, columns, target.columns};
            target.columns += columns;
            if (unsymmetric())
                target.upper[target.panels] = {upper(J) - origin(before + width, below), below, columns,
                                               target.columns};
            ++target.panels;
        }
        return target;
    }

    // What a symmetric update multiplies K's rows with: k rows of L, conjugated for Hermitian, times D.
    void prepareRight(int K, const T* l, int ld, int k)
    {
        const int width = structure_.width(K);
        if (rules_.method != Method::Cholesky) {
            multiplyByPivots(lower(K), ld, width, exchangesOf(K), rules_.hermitian, l, ld, k, scaled_.get(),
                             k);
            return;
        }
        for (int p = 0; p < width; ++p) {
            const T* const column = l + std::ptrdiff_t{ld} * p;
            std::transform(column, column + k, scaled_.get() + std::ptrdiff_t{k} * p,
                           [](T value) { return conjugate(value); });
        }
    }

    int* exchangesOf(int J) const { return factor_.rowExchange + structure_.starts[J]; }

    bool factorBlock(int J)
    {
        switch (rules_.method) {
        case Method::RowPivoting:
            return factorLu(J);
        case Method::CompletePivoting:
            return factorLu(J);
        case Method::Cholesky:
            return factorCholesky(J);
        case Method::DiagonalPivoting:
        case Method::BunchKaufman:
            break;
        }
        return factorSymmetric(J);
    }

    bool failAt(int J, int info)
    {
        team_.fail({Error::Numeric, structure_.starts[J] + info});
        return false;
    }

    // L*U of the block; L's panel takes the column exchanges and U's inverse, U's panel the row exchanges and
    // L's inverse.
    bool factorLu(int J)
    {
        const int height = structure_.height(J), width = structure_.width(J), below = height - width;
        T *const block = lower(J), *const u = upper(J);
        int *const rowExchange = exchangesOf(J), *const columnExchange =
                                                     factor_.columnExchange + structure_.starts[J];
        if (rules_.method == Method::CompletePivoting) {
            pivots_ += pivotCompletely(block, height, width, rules_.eps, rowExchange, columnExchange);
            exchangeColumns(columnExchange, width, block + width, height, below);
        } else {
            int info = 0;
            lapack::getrf(width, width, block, height, rowExchange, info);
            if (info > 0) return failAt(J, info);
        }
        solveFromRight(RightFactor::Upper, block, height, width, block + width, height, below);
        exchangeColumns(rowExchange, width, u, below, below);
        solveFromRight(RightFactor::LowerTransposedUnit, block, height, width, u, below, below);
        return true;
    }

    bool factorCholesky(int J)
    {
        const int height = structure_.height(J), width = structure_.width(J);
        T* const block = lower(J);
        int info = 0;
        lapack::potrf('L', width, block, height, info);
        if (info > 0) return failAt(J, info);
        pivots_.positive += width;
        solveFromRight(kComplex ? RightFactor::LowerAdjoint : RightFactor::LowerTransposed, block, height,
                       width, block + width, height, height - width);
        return true;
    }

    bool factorSymmetric(int J)
    {
        const int height = structure_.height(J), width = structure_.width(J), below = height - width;
        T *const block = lower(J), *const panel = block + width;
        int* const exchange = exchangesOf(J);
        const bool hermitian = rules_.hermitian;
        pivots_ += rules_.method == Method::BunchKaufman
                       ? pivotBunchKaufman(block, height, width, rules_.eps, hermitian, exchange)
                       : pivotOnDiagonal(block, height, width, rules_.eps, hermitian, exchange);
        exchangeColumns(exchange, width, panel, height, below);
        solveFromRight(hermitian ? RightFactor::LowerAdjointUnit : RightFactor::LowerTransposedUnit, block,
                       height, width, panel, height, below);
        divideByPivots(block, height, width, exchange, hermitian, panel, height, below);
        return true;
    }

    const FactorPlan& plan_;
    const FactorStructure& structure_;
    const FactorRules& rules_;
    const T* values_;
    const Factor<T>& factor_;
    Team& team_;
    ProgressShare progress_;
    Scratch<int> indexOf_; // row -> its place in the list of the first panel at work
    Scratch<int> rows_;    // the descendant's rows, as places in the list of the first panel at work
    Scratch<T> buffer_;    // products on their way
    Scratch<T> scaled_;    // rows times D
    PivotCounts pivots_;
};

} // namespace

template <class T>
FactorResult factorize(const FactorPlan& plan, const FactorRules& rules, const T* values,
                       const Factor<T>& factor, const ProgressListener& listener)
{
    Team team(plan, listener);
    if (!team) return {outOfMemory(BlockCode::RealWork, team.missingBytes()), {}};
    if (!team.progress.start()) return {{Error::Numeric, -1}, {}};
    PivotCounts pivots;
    runTeam(busyThreads(plan, static_cast<int>(plan.runs.size())), [&](const TeamMember& member) {
        std::optional<SequentialBlasScope> sequential;
        if (plan.threads > 1) sequential.emplace();
        Worker<T> worker(plan, rules, values, factor, team);
        if (worker) {
            worker.work(member.thread);
        } else {
            team.fail(outOfMemory(BlockCode::RealWork, worker.missingBytes()));
        }
#pragma omp critical(lintrix_engine_pivots)
        pivots += worker.pivots();
        member.meet(); // all arrays are there at a time, whoever is done first: the same peak in every run
    });
    if (!team.hasFailed() && !team.progress.end()) team.fail({Error::Numeric, -1});
    return {team.failure(), pivots};
}

template <class T>
BlockSum factorizationBlocks(const FactorPlan& plan, int runs) noexcept
{
    BlockSum blocks;
    blocks.add<char>(plan.structure.supernodes());
    const WorkSizes sizes(plan);
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
