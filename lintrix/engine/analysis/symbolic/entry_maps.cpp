#include <lintrix/engine/analysis/symbolic/entry_maps.h>

#include <lintrix/engine/analysis/symbolic/shares.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/team.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kEntriesAhead = 16;

/// Where an entry stands in the order of elimination.
struct Position {
    int row, column;
};

class EntryMapper {
public:
    EntryMapper(const RowPattern& A, std::span<const int> columnOfRow, const Ordering& ordering,
                const FactorStructure& structure, bool symmetricStorage, const EntryMaps& maps,
                std::span<Position> positionOf)
        : A_(A), columnOfRow_(columnOfRow), ordering_(ordering), structure_(structure),
          symmetricStorage_(symmetricStorage), maps_(maps), positionOf_(positionOf)
    {
    }

    // False: the work has to end, and the maps are unfinished.
    bool goesOn() const { return asking_.goesOn(); }

    // Counting sort by supernode. firstEntry[J + 1] runs from the start of J to its end; until places are
    // known, theirs hold the supernode of each entry, in the order of A.
    void sortBySupernode()
    {
        const std::span<int> next = maps_.firstEntry, supernodeOf = maps_.place;
        std::fill(next.begin(), next.end(), 0);
        forEachEntry([&](int entry, Position position) {
            const int J = structure_.supernodeOf[std::min(position.row, position.column)];
            positionOf_[entry] = position;
            supernodeOf[entry] = J;
            ++next[J + 1];
        });
        if (!goesOn()) return; // not each entry has its supernode
        for (int J = 0, sum = 0; J < structure_.supernodes(); ++J) {
            const int entries = next[J + 1];
            next[J + 1] = sum;
            sum += entries;
        }
        WorkShare share(asking_);
        const auto entries = static_cast<int>(supernodeOf.size());
        for (int entry = 0; entry < entries;) {
            if (!share.add(kCellsOfAnEntry * kEntriesTogether)) return;
            for (const int behind = entry + std::min(entries - entry, kEntriesTogether); entry < behind;
                 ++entry)
                maps_.source[next[supernodeOf[entry] + 1]++] = entry;
        }
    }

    // Each thread has n numbers of `work`.
    void findPlaces(int threads, std::span<int> work)
    {
        const auto n = static_cast<std::size_t>(A_.order());
        const auto weight = [this](int J) { return structure_.rowStarts[J] + maps_.firstEntry[J]; };
        runParts(threads, threads, [&](int t) {
            const auto bound = [&](int part) {
                return weightedBound(structure_.supernodes(), part, threads, weight);
            };
            findPlaces(bound(t), bound(t + 1), work.subspan(n * static_cast<std::size_t>(t), n));
        });
    }

private:
    static constexpr double kCellsOfAnEntry = 8.0; // wherever they stand
    static constexpr int kEntriesTogether = 4096;  // between two questions whether the work goes on

    // `index[row]` is where a row of the supernode at work stands in its list.
    void findPlaces(int firstJ, int behindJ, std::span<int> index)
    {
        WorkShare share(asking_);
        for (int J = firstJ; J < behindJ; ++J) {
            const int height = structure_.height(J), own = maps_.firstEntry[J + 1] - maps_.firstEntry[J];
            if (!share.add(height + kCellsOfAnEntry * own)) return;
            const int* const rows = structure_.rowsOf(J).data();
            for (int i = 0; i < height; ++i) index[rows[i]] = i;
            if (structure_.width(J) == 1) {
                placeEntries(J, [&](Position position) { return placeInColumn(position, index); });
            } else {
                placeEntries(J, [&](Position position) { return placeOf(J, position, index); });
            }
        }
    }

    template <class Place>
    void placeEntries(int J, const Place& placeOfEntry)
    {
        const std::span<const int> source = maps_.source;
        const int last = static_cast<int>(source.size()) - 1, behind = maps_.firstEntry[J + 1];
        for (int k = maps_.firstEntry[J]; k < behind; ++k) {
            // They lie all over A: those to come are brought near meanwhile.
            __builtin_prefetch(&positionOf_[source[std::min(k + kEntriesAhead, last)]]);
            maps_.place[k] = placeOfEntry(positionOf_[source[k]]);
        }
    }

    template <class Visit>
    void forEachEntry(Visit visit) const
    {
        WorkShare share(asking_);
        for (int i = 0; i < A_.order(); ++i) {
            if (!share.add(kCellsOfAnEntry * (A_.starts[i + 1] - A_.starts[i]))) return;
            const int row = ordering_.positionOf[columnOfRow_.empty() ? i : columnOfRow_[i]];
            for (int entry = A_.starts[i]; entry < A_.starts[i + 1]; ++entry)
                visit(entry, {row, ordering_.positionOf[A_.columns[entry]]});
        }
    }

    int placeOf(int J, Position position, std::span<const int> index) const
    {
        const auto [row, column] = position;
        const int first = structure_.starts[J], height = structure_.height(J), width = structure_.width(J);
        const int inList = index[std::max(row, column)], inBlock = std::min(row, column) - first;
        const bool lower = row >= column; // by chance, so that choices of numbers beat jumps
        const int cell = inList + height * inBlock;
        if (symmetricStorage_) return lower ? cell : ~cell;
        const int mirrored = inBlock + height * inList;
        const int inUpperPanel = ~(inList - width + (height - width) * inBlock);
        return lower ? cell : inList < width ? mirrored : inUpperPanel;
    }

    // The same in panels of one column, whose U has the rows below the diagonal.
    int placeInColumn(Position position, std::span<const int> index) const
    {
        const auto [row, column] = position;
        const int inList = index[std::max(row, column)];
        return row >= column ? inList : ~(inList - (symmetricStorage_ ? 0 : 1));
    }

    const RowPattern& A_;
    std::span<const int> columnOfRow_;
    const Ordering& ordering_;
    const FactorStructure& structure_;
    bool symmetricStorage_;
    const EntryMaps& maps_;
    std::span<Position> positionOf_; // by entry
    WorkMeter asking_{0.0};          // tells nothing
};

bool panelsFit(const FactorStructure& structure)
{
    for (int J = 0; J < structure.supernodes(); ++J) {
        const std::int64_t cells = std::int64_t{structure.height(J)} * structure.width(J);
        if (cells > std::numeric_limits<int>::max()) return false;
    }
    return true;
}

} // namespace

Failure mapEntries(const RowPattern& A, std::span<const int> columnOfRow, const Ordering& ordering,
                   const FactorStructure& structure, bool symmetricStorage, int threads,
                   const EntryMaps& maps)
{
    if (!panelsFit(structure)) return overflow();
    threads = threadsRepaidBy(structure.rowStarts.back(), threads);
    const auto index = Scratch<int>::uninitialised(std::int64_t{A.order()} * threads);
    const auto positionOf = Scratch<Position>::uninitialised(static_cast<std::int64_t>(A.columns.size()));
    if (!index || !positionOf) return outOfMemory(BlockCode::Transient, missingBytes(index, positionOf));
    EntryMapper mapper(A, columnOfRow, ordering, structure, symmetricStorage, maps, positionOf.span());
    mapper.sortBySupernode();
    if (mapper.goesOn()) mapper.findPlaces(threads, index.span());
    return mapper.goesOn() ? Failure{} : stopped();
}

} // namespace Velmar::Lintrix::detail::engine
