#include <lintrix/engine/analysis/symbolic/column_refinement.h>

#include <lintrix/engine/analysis/symbolic/forecast.h>
#include <lintrix/engine/analysis/symbolic/shares.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/team.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

// The rows [first, last) of a row list, all in one run of interchangeable columns.
struct Hit {
    std::int64_t first, last;
    std::int64_t size() const { return last - first; }
};

class Refinement {
public:
    Refinement(const FactorStructure& structure, std::span<const PositionRange> subgraphs, int threads)
        : structure_(structure), threads_(threadsRepaidBy(structure.rowStarts.back(), threads)),
          n_(static_cast<int>(structure.supernodeOf.size())),
          work_(Scratch<int>::uninitialised(kArrays * std::int64_t{n_})),
          hitStarts_(Scratch<std::int64_t>::zeroed(std::int64_t{n_} + 1))
    {
        if (!work_ || !hitStarts_) return;
        for (int which = 0; which < kArrays; ++which)
            *arrays()[which] = work_.span().subspan(std::size_t(which) * std::size_t(n_), std::size_t(n_));
        findRuns(subgraphs);
        forEachHit([&](int run, Hit) { ++hitStarts_[run + 1]; });
        std::partial_sum(hitStarts_.get(), hitStarts_.get() + runs_ + 1, hitStarts_.get());
        hits_ = Scratch<Hit>::uninitialised(hitStarts_[runs_]);
    }

    explicit operator bool() const { return work_ && hitStarts_ && hits_; }
    std::int64_t missingBytes() const { return engine::missingBytes(work_, hitStarts_, hits_); }

    // Nothing tells columns apart: each supernode has all columns of a run, or none.
    bool isIdle() const { return hitStarts_[runs_] == 0; }

    // Returns whether all runs are refined: else the work has to end.
    bool refine()
    {
        collectHits();
        std::iota(columnAt_.begin(), columnAt_.end(), 0);
        std::iota(placeOf_.begin(), placeOf_.end(), 0);
        std::fill(hitsIn_.begin(), hitsIn_.end(), 0);
        std::fill(madeOf_.begin(), madeOf_.end(), kNone);
        std::fill(originOf_.begin(), originOf_.end(), kNone);
        return inShares(
            runs_,
            [this](int run) { return runStartOf(run) + kTouches * static_cast<double>(hitStarts_[run]); },
            [this](int first, int behind, WorkShare& share) {
                for (int run = first; run < behind && share.add(cellsOf(run)); ++run) refineRun(run);
            });
    }

    // Brings the row lists to the new order. A supernode's own columns, and those of the pieces that continue
    // it, are all positions of a stretch in either order.
    // Returns whether it has: else the work has to end.
    bool relabel(std::span<int> rows) const
    {
        return inShares(
            structure_.supernodes(), [this](int J) { return structure_.rowStarts[J]; },
            [&](int firstJ, int behindJ, WorkShare& share) {
                int last = behindJ - 1; // of what continues J
                while (last < structure_.supernodes() - 1 && continues(last)) ++last;
                for (int J = behindJ - 1; J >= firstJ && share.add(kTouches * structure_.height(J)); --J) {
                    if (!continues(J)) last = J;
                    relabelList(rows.subspan(structure_.rowStarts[J], structure_.height(J)),
                                structure_.starts[last + 1] - structure_.starts[J]);
                }
            });
    }

    void relabel(Ordering ordering) const
    {
        runRanges(n_, threads_, [&](int first, int behind) {
            for (int v = first; v < behind; ++v) {
                const int position = placeOf_[ordering.positionOf[v]];
                ordering.positionOf[v] = position;
                ordering.vertexAt[position] = v;
            }
        });
    }

private:
    static constexpr int kNone = -1;
    static constexpr double kTouches = 8.0; // of a row, by a sort or by the classes it moves through
    static constexpr int kArrays = 10;
    std::array<std::span<int>*, kArrays> arrays()
    {
        return {&runStart_, &runOf_, &columnAt_, &placeOf_, &classOf_,
                &begin_,    &end_,   &hitsIn_,   &madeOf_,  &originOf_};
    }

    // Has the threads go through 0 .. count-1: visit(first, behind, share) for ranges of about the same
    // weight. Returns whether they were not told to end.
    template <class Weight, class Visit>
    bool inShares(int count, const Weight& weight, const Visit& visit) const
    {
        constexpr int kSharesAThread = 4; // weights are guesses
        const int shares = threads_ > 1 ? kSharesAThread * threads_ : 1;
        const WorkMeter asking(0.0); // tells nothing
        runParts(shares, threads_, [&](int part) {
            WorkShare share(asking);
            visit(weightedBound(count, part, shares, weight), weightedBound(count, part + 1, shares, weight),
                  share);
        });
        return asking.goesOn();
    }

    // The rows of one supernode, of which the first `own` are columns of its stretch.
    void relabelList(std::span<int> list, int own) const
    {
        const std::span<int> others = list.subspan(static_cast<std::size_t>(own));
        bool ascends = true;
        int before = -1;
        for (int& row : others) {
            row = placeOf_[row];
            ascends &= before < row;
            before = row;
        }
        if (!ascends) std::sort(others.begin(), others.end());
    }

    // Whether the columns of J + 1 continue those of J: one supernode, cut for its width.
    bool continues(int J) const
    {
        return J + 1 < structure_.supernodes() && structure_.parent(J) == J + 1 &&
               structure_.height(J + 1) == structure_.height(J) - structure_.width(J);
    }

    void findRuns(std::span<const PositionRange> subgraphs)
    {
        std::fill(runOf_.begin(), runOf_.end(), 0); // at first 1 where a run begins
        for (int J = 0; J < structure_.supernodes(); ++J) {
            if (J == 0 || !continues(J - 1)) runOf_[structure_.starts[J]] = 1;
        }
        for (const PositionRange& range : subgraphs) {
            if (range.first < n_) runOf_[range.first] = 1;
        }
        runs_ = 0;
        for (int j = 0; j < n_; ++j) {
            if (runOf_[j] != 0) runStart_[runs_++] = j;
            runOf_[j] = runs_ - 1;
        }
    }

    // That refining a run touches: its columns, and each hit several times.
    double cellsOf(int run) const
    {
        const auto hits = static_cast<double>(hitStarts_[run + 1] - hitStarts_[run]);
        const int width = endOf(run) - runStart_[run];
        return width + kTouches * hits * (1.0 + width / 2.0);
    }

    int runStartOf(int run) const { return run < runs_ ? runStart_[run] : n_; }
    int endOf(int run) const { return runStartOf(run + 1); }

    // The rows below that a supernode has in each run, unless it has them all. Pieces of a cut one have the
    // same, so one stands for all.
    template <class Visit>
    void forEachHit(Visit visit) const
    {
        for (int K = 0; K < structure_.supernodes(); ++K) {
            if (continues(K)) continue;
            const std::int64_t end = structure_.rowStarts[K + 1];
            for (std::int64_t first = structure_.rowStarts[K] + structure_.width(K), last = first;
                 first < end; first = last) {
                const int run = runOf_[rowAt(first)], behind = endOf(run);
                do ++last;
                while (last < end && rowAt(last) < behind);
                if (last - first < behind - runStart_[run]) visit(run, Hit{first, last});
            }
        }
    }

    void collectHits()
    {
        forEachHit([&](int run, Hit hit) { hits_[hitStarts_[run]++] = hit; });
        std::copy_backward(hitStarts_.get(), hitStarts_.get() + runs_, hitStarts_.get() + runs_ + 1);
        hitStarts_[0] = 0;
    }

    // By its hits, the largest first. Classes are stretches of columnAt_, named by numbers within the run's
    // own positions: runs have nothing in common.
    void refineRun(int run)
    {
        const std::span<Hit> hits =
            hits_.span().subspan(static_cast<std::size_t>(hitStarts_[run]),
                                 static_cast<std::size_t>(hitStarts_[run + 1] - hitStarts_[run]));
        if (hits.empty()) return;
        std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
            return a.size() != b.size() ? a.size() > b.size() : a.first < b.first;
        });
        const int first = runStart_[run], behind = endOf(run);
        for (int j = first; j < behind; ++j) classOf_[j] = first;
        begin_[first] = first;
        end_[first] = behind;
        int classes = first + 1; // the number of the next one
        for (const Hit& hit : hits) {
            if (classes == behind) return;
            split(hit, classes);
        }
    }

    // Each class that the set meets in part gives its columns of the set to a class of their own, beside the
    // rest: the first of several classes behind it, towards the next, the others before it.
    void split(Hit hit, int& classes)
    {
        int lowest = classOf_[rowAt(hit.first)], highest = lowest;
        for (std::int64_t k = hit.first; k < hit.last; ++k) {
            const int c = classOf_[rowAt(k)];
            ++hitsIn_[c];
            if (begin_[c] < begin_[lowest]) lowest = c;
            if (begin_[c] > begin_[highest]) highest = c;
        }
        for (std::int64_t k = hit.first; k < hit.last; ++k)
            move(rowAt(k), lowest != highest ? lowest : kNone, classes);
        for (std::int64_t k = hit.first; k < hit.last; ++k) settle(classOf_[rowAt(k)]);
    }

    // A column of the set leaves its class, unless all of that is in the set.
    void move(int column, int lowest, int& classes)
    {
        const int c = classOf_[column], count = hitsIn_[c];
        if (count == end_[c] - begin_[c]) return;
        if (madeOf_[c] == kNone) {
            const int made = classes++;
            begin_[made] = end_[made] = c == lowest ? end_[c] - count : begin_[c];
            madeOf_[c] = made;
            originOf_[made] = c;
        }
        classOf_[column] = madeOf_[c];
        exchange(placeOf_[column], end_[madeOf_[c]]++);
    }

    // The class that `c` came from in this step, if any, loses the columns of `c`.
    void settle(int c)
    {
        hitsIn_[c] = 0;
        const int origin = originOf_[c];
        if (origin == kNone || madeOf_[origin] != c) return;
        if (begin_[c] == begin_[origin])
            begin_[origin] = end_[c];
        else
            end_[origin] = begin_[c];
        hitsIn_[origin] = 0;
        madeOf_[origin] = kNone;
    }

    void exchange(int place, int other)
    {
        std::swap(columnAt_[place], columnAt_[other]);
        placeOf_[columnAt_[place]] = place;
        placeOf_[columnAt_[other]] = other;
    }

    int rowAt(std::int64_t k) const { return structure_.rows[static_cast<std::size_t>(k)]; }

    const FactorStructure& structure_;
    int threads_, n_, runs_ = 0;
    Scratch<int> work_;
    Scratch<std::int64_t> hitStarts_; // by run
    Scratch<Hit> hits_;
    std::span<int> runStart_, runOf_, columnAt_, placeOf_, classOf_;
    std::span<int> begin_, end_; // of each class, places in columnAt_
    std::span<int> hitsIn_;      // by class, of the set at work; 0 between sets
    std::span<int> madeOf_;      // what a class gives its columns to, while a set is at work
    std::span<int> originOf_;    // the inverse
};

} // namespace

Failure refineColumnOrder(const FactorStructure& structure, std::span<const PositionRange> subgraphs,
                          int threads, std::span<int> rows, Ordering ordering)
{
    Refinement refinement(structure, subgraphs, threads);
    if (!refinement) return outOfMemory(BlockCode::Transient, refinement.missingBytes());
    if (refinement.isIdle()) return {};
    if (!refinement.refine()) return stopped();
    refinement.relabel(ordering);
    return refinement.relabel(rows) ? Failure{} : stopped();
}

bool repaysRefinement(const FactorStructure& structure)
{
    // It takes what two or three factorizations save there. Planes of two million have 4000, cubes of 30000
    // have 7000.
    constexpr double kLeastOperationsOfARow = 6000.0;
    // A supernode has no more than width*(height + 1) for each of its rows: most matrices have none as large.
    double most = 0.0;
    for (int J = 0; J < structure.supernodes(); ++J)
        most = std::max(most, structure.width(J) * (structure.height(J) + 1.0));
    if (most < kLeastOperationsOfARow) return false;
    return operationCount(structure, false, false) >=
           kLeastOperationsOfARow * static_cast<double>(structure.rowStarts.back());
}

} // namespace Velmar::Lintrix::detail::engine
