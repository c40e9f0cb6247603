#include <lintrix/engine/keeping/kept_analysis.h>

#include <lintrix/engine/analysis/symbolic/derived_structure.h>
#include <lintrix/engine/analysis/symbolic/forecast.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/analysis/symbolic/schedule.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/settings.h>
#include <lintrix/engine/keeping/structure_check.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// In the order of the file.
constexpr std::array kKeptWords = {
    Word::Maxfct,
    Word::Mtype,
    Word::Order,
    Word::SinglePrecision,
    Word::PanelWidth,
    Word::PartTarget,
    Word::TwoLevel,
    Word::MappedEntries,
    Word::StructureNonZeros,
    Word::ListedSubgraphs,
    Word::Subgraphs,
    Word::IndependentSubgraphs,
    Word::Supernodes,
    Word::LargestSupernode,
    Word::ChunkSize,
    Word::AnalysisPeak,
    Word::AnalysisKept,
    Word::FactorMemory,
    Word::PerturbedPivots,
    Word::PositivePivots,
    Word::NegativePivots,
    Word::FactorNeeded,
    Word::IterationBudget,
    Word::HalfBudget,
};

/// Section "words".
struct KeptWords {
    std::array<std::int32_t, kKeptWords.size()> words;
    std::int32_t hasMatching, hasScaling;
    std::int64_t rowIndices;
    double factorSeconds;
};
static_assert(sizeof(KeptWords) == 4 * (kKeptWords.size() + 2) + 16);

/// Of subgraphs with separators, which have a count for each pair: as many as two thousand threads ask for.
constexpr int kMostSubgraphs = 4096;

KeptWords wordsOf(const Handle& handle)
{
    const ControlBlock& control = handle.control();
    KeptWords kept{.words = {},
                   .hasMatching = handle.holds(Slot::Matching),
                   .hasScaling = handle.holds(Slot::Scaling),
                   .rowIndices = control[WideWord::FactorRowIndices],
                   .factorSeconds = control[Real::FactorSeconds]};
    std::ranges::transform(kKeptWords, kept.words.begin(), [&](Word word) { return control[word]; });
    return kept;
}

bool isFlag(int word)
{
    return word == 0 || word == 1;
}

bool isWithin(std::int64_t word, std::int64_t first, std::int64_t last)
{
    return word >= first && word <= last;
}

/// Bytes of the sections behind the words that an analysis always has.
std::int64_t bytesOfLists(const ControlBlock& control, std::int64_t rowIndices)
{
    constexpr std::int64_t number = sizeof(int), place = sizeof(std::int64_t), range = sizeof(PositionRange);
    const std::int64_t boundaries = std::int64_t{control[Word::Supernodes]} + 1;
    return number * (control[Word::Order] + boundaries + rowIndices) + place * boundaries +
           range * control[Word::Subgraphs];
}

class AnalysisLoader {
public:
    AnalysisLoader(Handle handle, const MatrixToLoad& matrix, SectionReader& file)
        : handle_(handle), matrix_(matrix), A_(matrix.pattern), file_(file)
    {
    }

    SectionFault run()
    {
        if (const SectionFault fault = loadWords()) return fault;
        if (const SectionFault fault = loadOrder()) return fault;
        if (const SectionFault fault = loadSupernodes()) return fault;
        if (const SectionFault fault = loadMatching()) return fault;
        return deriveTheRest();
    }

private:
    SectionFault refused(const Failure& failure) const
    {
        return failure.error == Error::Memory ? file_.NoMemory() : file_.Contradiction();
    }

    /// A handle of as many factors as the file has heads for.
    SectionFault loadWords()
    {
        if (const SectionFault fault = file_.TakeOne("words", kept_)) return fault;
        const std::int64_t maxfct = kept_.words.front();
        if (!isWithin(maxfct, 1, file_.BytesLeft() / std::int64_t{sizeof(SectionHead)}))
            return file_.Contradiction();
        if (const Failure failure = handle_.create(static_cast<int>(maxfct))) return refused(failure);
        if (const Failure failure = handle_.createOutOfCoreControl()) return refused(failure);
        takeWords();
        return wordsFit() ? SectionFault{} : file_.Contradiction();
    }

    void takeWords()
    {
        ControlBlock& control = handle_.control();
        for (std::size_t k = 0; k < kKeptWords.size(); ++k) control[kKeptWords[k]] = kept_.words[k];
        control[Word::SymmetricStorage] = isSymmetricStorage(control[Word::Mtype]) ? 1 : 0;
        control[Word::ElementWidth] = isComplex(control[Word::Mtype]) ? 2 : 1;
        control.set(WideWord::FactorRowIndices, kept_.rowIndices);
        control[Real::FactorSeconds] = kept_.factorSeconds;
    }

    bool wordsFit()
    {
        const ControlBlock& control = handle_.control();
        const int n = control[Word::Order];
        return isOfMatrix() && isFlag(kept_.hasMatching) && isFlag(kept_.hasScaling) && classHasMatching() &&
               subgraphsFit() && isWithin(control[Word::PanelWidth], 1, kWidestPanel) &&
               isWithin(control[Word::Supernodes], 1, n) &&
               isWithin(kept_.rowIndices, n, std::numeric_limits<int>::max()) &&
               bytesOfLists(control, kept_.rowIndices) <= file_.BytesLeft();
    }

    bool isOfMatrix()
    {
        const ControlBlock& control = handle_.control();
        const int mtype = control[Word::Mtype];
        return control[Word::Order] == A_.order() && control[Word::MappedEntries] == A_.starts.back() &&
               classOf(mtype) != MatrixClass::Unknown &&
               isSymmetricStorage(mtype) == isSymmetricStorage(matrix_.mtype) &&
               isComplex(mtype) == isComplex(matrix_.mtype) &&
               control[Word::SinglePrecision] == (matrix_.singlePrecision ? 1 : 0);
    }

    bool subgraphsFit()
    {
        const ControlBlock& control = handle_.control();
        const int subgraphs = control[Word::Subgraphs];
        return isFlag(control[Word::TwoLevel]) && isWithin(subgraphs, 1, A_.order()) &&
               isWithin(control[Word::IndependentSubgraphs], 0, subgraphs) &&
               (control[Word::TwoLevel] == 0 || isWithin(subgraphs, 2, kMostSubgraphs));
    }

    /// Unsymmetric matrices always have both, if only as the identity; those without pivoting never.
    bool classHasMatching()
    {
        const MatrixClass matrix = classOf(handle_.control()[Word::Mtype]);
        if (kept_.hasMatching != kept_.hasScaling) return false;
        if (matrix == MatrixClass::Unsymmetric) return kept_.hasMatching != 0;
        // An indefinite type may have become a definite one since.
        return matrix != MatrixClass::StructurallySymmetric || kept_.hasMatching == 0;
    }

    SectionFault loadOrder()
    {
        PermanentStructure permanent(handle_);
        if (const Failure failure = permanent.allocate()) return refused(failure);
        const Ordering ordering = permanent.ordering();
        if (const SectionFault fault = take("vertices", ordering.vertexAt)) return fault;
        if (!invert(ordering.vertexAt, ordering.positionOf)) return file_.Contradiction();
        if (const SectionFault fault = take("subgraph", permanent.subgraphs())) return fault;
        return cover(permanent.subgraphs(), A_.order()) ? SectionFault{} : file_.Contradiction();
    }

    SectionFault loadSupernodes()
    {
        PermanentStructure permanent(handle_);
        const std::span<int> starts = permanent.supernodeStarts();
        if (const SectionFault fault = take("starts", starts)) return fault;
        if (!areSupernodes(starts, A_.order(), handle_.control()[Word::PanelWidth]))
            return file_.Contradiction();
        for (std::size_t J = 0; J + 1 < starts.size(); ++J)
            std::fill(permanent.supernodeOf().begin() + starts[J],
                      permanent.supernodeOf().begin() + starts[J + 1], static_cast<int>(J));
        if (const SectionFault fault = take("rowstart", permanent.rowStarts())) return fault;
        if (!areRowStarts(permanent.rowStarts(), starts, kept_.rowIndices)) return file_.Contradiction();
        if (const SectionFault fault = take("rows", permanent.rows())) return fault;
        const auto work = Scratch<int>::uninitialised(A_.order() + 2 * (std::int64_t(starts.size()) - 1));
        if (!work) return file_.NoMemory();
        return haveClosedRows(permanent.structure(), work.span()) ? SectionFault{} : file_.Contradiction();
    }

    /// Rows and columns of A that stand for each other, and factors that scale it without an overflow of
    /// their own.
    SectionFault loadMatching()
    {
        if (kept_.hasMatching == 0) return {};
        const std::int64_t n = A_.order();
        auto matching = Scratch<int>::uninitialised(n);
        const auto inverse = Scratch<int>::uninitialised(n);
        auto scaling = Scratch<double>::uninitialised(2 * n);
        if (!matching || !inverse || !scaling) return file_.NoMemory();
        if (const SectionFault fault = take("matching", matching.span())) return fault;
        if (!invert(matching.span(), inverse.span())) return file_.Contradiction();
        if (const SectionFault fault = take("scaling", scaling.span())) return fault;
        const auto isFactor = [](double factor) { return std::isfinite(factor) && factor > 0.0; };
        if (!std::ranges::all_of(scaling.span(), isFactor)) return file_.Contradiction();
        handle_.keep(Slot::Matching, std::move(matching));
        handle_.keep(Slot::Scaling, std::move(scaling));
        return {};
    }

    /// As the end of an analysis does.
    SectionFault deriveTheRest()
    {
        ControlBlock& control = handle_.control();
        PermanentStructure permanent(handle_);
        const FactorStructure structure = permanent.structure();
        placePanels(handle_, measureUpdates(structure, permanent.descendantStarts()));
        const std::span<const int> rowsMove = columnOfRow();
        if (control[WideWord::LowerElements] > kMostElements / 2 ||
            !holdsEntries(structure, A_, rowsMove, permanent.positionOf()))
            return file_.Contradiction();
        supernodesOfSubgraphs(structure, permanent.subgraphs(), permanent.subgraphSupernodes());
        const bool symmetric = control[Word::SymmetricStorage] != 0;
        Failure failure = mapEntries(A_, rowsMove, permanent.ordering(), structure, symmetric,
                                     control[Word::Threads], permanent.maps());
        if (!failure && control[Word::TwoLevel] != 0) failure = listUpdates(handle_);
        if (!failure) failure = makeUpdateLengths(handle_);
        const auto work = Scratch<int>::uninitialised(structure.supernodes());
        if (!failure && !work) return file_.NoMemory();
        if (failure) return refused(failure);
        control[Word::TreeHeight] = treeHeight(structure, work.span());
        control[Real::Operations] = operationCount(structure, !symmetric, control[Word::ElementWidth] == 2);
        permanent.shrinkToTargets();
        return {};
    }

    std::span<const int> columnOfRow()
    {
        const bool rowsMove = classOf(handle_.control()[Word::Mtype]) == MatrixClass::Unsymmetric;
        if (!rowsMove) return {};
        return {handle_.block<int>(Slot::Matching), static_cast<std::size_t>(A_.order())};
    }

    template <class T>
    SectionFault take(std::string_view name, std::span<T> cells)
    {
        if (const SectionFault fault = file_.Expect(name, static_cast<std::int64_t>(cells.size_bytes())))
            return fault;
        return file_.Take(cells);
    }

    Handle handle_;
    const MatrixToLoad& matrix_;
    const RowPattern& A_;
    SectionReader& file_;
    KeptWords kept_{};
};

} // namespace

void saveAnalysis(const Handle& handle, SectionWriter& file)
{
    const auto n = static_cast<std::size_t>(handle.control()[Word::Order]);
    const PermanentStructure permanent(handle);
    const FactorStructure structure = permanent.structure();
    file.AddOne("words", wordsOf(handle));
    file.Add("vertices", permanent.vertexAt());
    file.Add("subgraph", permanent.subgraphs());
    file.Add("starts", structure.starts);
    file.Add("rowstart", structure.rowStarts);
    file.Add("rows", structure.rows);
    if (!handle.holds(Slot::Matching)) return;
    file.Add("matching", std::span(handle.block<int>(Slot::Matching), n));
    file.Add("scaling", std::span(handle.block<double>(Slot::Scaling), 2 * n));
}

SectionFault loadAnalysis(Handle handle, const MatrixToLoad& matrix, SectionReader& file)
{
    return AnalysisLoader(handle, matrix, file).run();
}

} // namespace Velmar::Lintrix::detail::engine
