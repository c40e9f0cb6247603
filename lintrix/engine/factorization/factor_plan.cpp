#include <lintrix/engine/factorization/factor_plan.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/factorization/runs.h>
#include <lintrix/engine/out_of_core/out_of_core_settings.h>

#include <algorithm>
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <span>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class View>
auto& entryOf(View& handle, int mnum)
{
    return handle.factors()[static_cast<std::size_t>(mnum) - 1];
}

FactorSizes sizesOf(const ControlBlock& control)
{
    FactorSizes sizes;
    sizes.rowIndices = control[WideWord::FactorRowIndices];
    sizes.lower = control[WideWord::LowerElements];
    sizes.upper = control[WideWord::UpperElements];
    sizes.fill = control[WideWord::LowerNonZeros];
    sizes.tallest = control[Word::TallestPanel];
    sizes.widest = control[Word::WidestPanel];
    return sizes;
}

bool isSymmetric(const ControlBlock& control)
{
    return control[Word::SymmetricStorage] != 0;
}

// Of rows and of columns.
std::int64_t exchangesOf(const ControlBlock& control)
{
    return 2 * std::int64_t{control[Word::Order]};
}

// Factors of rows and columns of A, in the order of A.
struct ScaleFactors {
    explicit ScaleFactors(const Handle& handle)
        : n(handle.control()[Word::Order]), row(handle.block<double>(Slot::Scaling)),
          column(isSymmetric(handle.control()) ? row : row + n)
    {
    }
    bool allOne() const
    {
        const auto isOne = [](double factor) { return factor == 1.0; };
        return std::all_of(row, row + n, isOne) && std::all_of(column, column + n, isOne);
    }

    int n;
    const double *row, *column;
};

bool isScaled(const Handle& handle)
{
    return handle.holds(Slot::Scaling) && !ScaleFactors(handle).allOne();
}

// Returns how many runs there are.
int dealOutRuns(const Handle& handle, const FactorPlan& plan, std::span<double> work,
                std::span<PositionRange> runs)
{
    const ControlBlock& control = handle.control();
    const bool twoLevel = control[Word::TwoLevel] != 0 && plan.threads > 1;
    return twoLevel ? dealOutSubgraphs(plan.structure, PermanentStructure(handle).subgraphSupernodes(),
                                       control[Word::IndependentSubgraphs], runs)
                    : dealOutSubtrees(plan.structure, plan.threads, work, runs);
}

// The values of A that a factorization reads.
std::span<const std::byte> valuesOf(const Arguments& call, const Handle& handle)
{
    const ControlBlock& control = handle.control();
    const std::size_t real = control[Word::SinglePrecision] != 0 ? sizeof(float) : sizeof(double);
    const std::size_t element = isComplex(call.mtype) ? 2 * real : real;
    return {static_cast<const std::byte*>(call.a),
            static_cast<std::size_t>(control[Word::MappedEntries]) * element};
}

// A word mixed into all bits of those before: the multiplier is odd, so that every step is a bijection of the
// state.
std::uint64_t mixed(std::uint64_t state, std::uint64_t word)
{
    state = (state ^ word) * 0x9e3779b97f4a7c15ULL;
    return state ^ state >> 29;
}

// Four strands of words side by side, since a step waits for the one before; what is left at the end is
// filled up with zeros, and the length tells it from zeros that are values.
std::uint64_t fingerprint(std::span<const std::byte> values)
{
    std::array<std::uint64_t, 4> strands{1, 2, 3, 4}, words{};
    const auto mixIn = [&](std::span<const std::byte> bytes) {
        std::memcpy(words.data(), bytes.data(), bytes.size());
        for (std::size_t s = 0; s < strands.size(); ++s) strands[s] = mixed(strands[s], words[s]);
    };
    std::span<const std::byte> left = values;
    for (; left.size() >= sizeof words; left = left.subspan(sizeof words)) mixIn(left.first(sizeof words));
    words.fill(0);
    mixIn(left);
    return std::accumulate(strands.begin(), strands.end(), std::uint64_t{values.size()}, mixed);
}

} // namespace

FactorPlan planOf(Handle handle)
{
    PermanentStructure permanent(handle);
    const ControlBlock& control = handle.control();
    return {.structure = permanent.structure(),
            .lowerStarts = permanent.lowerStarts(),
            .upperStarts = permanent.upperStarts(),
            .maps = permanent.maps(),
            .descendants = {},
            .runs = {},
            .sizes = sizesOf(control),
            .threads = control[Word::Threads],
            .scaling = {}};
}

Failure FactorLists::make(const Handle& handle, FactorPlan& plan)
{
    if (const Failure failure = makeDescendants(handle, plan)) return failure;
    if (const Failure failure = makeRuns(handle, plan)) return failure;
    return makeScaling(handle, plan);
}

std::int64_t FactorLists::bytes() const noexcept
{
    return static_cast<std::int64_t>(descendantStarts_.span().size_bytes() +
                                     descendants_.span().size_bytes() + runs_.span().size_bytes() +
                                     factors_.span().size_bytes());
}

Failure FactorLists::forecast(const Handle& handle, const FactorPlan& plan, ListForecast& forecast)
{
    const std::int64_t supernodes = plan.structure.supernodes();
    const auto runs = Scratch<PositionRange>::uninitialised(supernodes);
    const auto work = Scratch<double>::uninitialised(supernodes);
    if (!runs || !work) return outOfMemory(BlockCode::Transient, missingBytes(runs, work));
    forecast.runs = dealOutRuns(handle, plan, work.span(), runs.span());
    forecast.lists.add<std::int64_t>(supernodes + 1)
        .add<Descendant>(handle.control()[WideWord::Updates])
        .add<PositionRange>(supernodes);
    forecast.dealing.add<double>(supernodes);
    if (isScaled(handle)) forecast.scaling.add<double>(2 * std::int64_t{handle.control()[Word::Order]});
    return {};
}

Failure FactorLists::makeDescendants(const Handle& handle, FactorPlan& plan)
{
    const std::span<const std::int64_t> starts = PermanentStructure(handle).descendantStarts();
    descendantStarts_ = Scratch<std::int64_t>::uninitialised(std::ssize(starts));
    if (!descendantStarts_) return outOfMemory(BlockCode::RealWork, missingBytes(descendantStarts_));
    descendants_ = Scratch<Descendant>::uninitialised(starts.back());
    if (!descendants_) return outOfMemory(BlockCode::RealWork, missingBytes(descendants_));
    std::ranges::copy(starts, descendantStarts_.get());
    plan.descendants = {descendantStarts_.span(), descendants_.span()};
    listDescendants(plan.structure, plan.descendants);
    return {};
}

Failure FactorLists::makeRuns(const Handle& handle, FactorPlan& plan)
{
    runs_ = Scratch<PositionRange>::uninitialised(plan.structure.supernodes());
    const auto work = Scratch<double>::uninitialised(plan.structure.supernodes());
    if (!runs_ || !work) return outOfMemory(BlockCode::RealWork, missingBytes(runs_, work));
    const int count = dealOutRuns(handle, plan, work.span(), runs_.span());
    plan.runs = runs_.span().first(static_cast<std::size_t>(count));
    return {};
}

// The factors of rows and columns of A, brought from the order of A to that of the elimination.
Failure FactorLists::makeScaling(const Handle& handle, FactorPlan& plan)
{
    if (!isScaled(handle)) return {};
    const auto [n, row, column] = ScaleFactors(handle);
    factors_ = Scratch<double>::uninitialised(2 * std::int64_t{n});
    if (!factors_) return outOfMemory(BlockCode::RealWork, missingBytes(factors_));
    const auto order = static_cast<std::size_t>(n);
    const std::span<double> rows = factors_.span().first(order), columns = factors_.span().last(order);
    const std::span<const int> positionOf = PermanentStructure(handle).positionOf();
    const int* const columnOfRow =
        isSymmetric(handle.control()) ? nullptr : handle.block<int>(Slot::Matching);
    for (int i = 0; i < n; ++i) {
        rows[positionOf[columnOfRow == nullptr ? i : columnOfRow[i]]] = row[i];
        columns[positionOf[i]] = column[i];
    }
    plan.scaling = {rows, columns};
    return {};
}

Method methodFor(int mtype, int symmetricPivoting) noexcept
{
    switch (classOf(mtype)) {
    case MatrixClass::Unsymmetric:
        return Method::CompletePivoting;
    case MatrixClass::Definite:
        return Method::Cholesky;
    case MatrixClass::Indefinite:
        return symmetricPivoting == 0 ? Method::DiagonalPivoting : Method::BunchKaufman;
    case MatrixClass::StructurallySymmetric:
    case MatrixClass::Unknown:
        break;
    }
    return Method::RowPivoting;
}

int elementKind(int mtype, bool singlePrecision) noexcept
{
    return (isComplex(mtype) ? 2 : 0) + (singlePrecision ? 1 : 0);
}

bool holdsFactor(const Handle& handle, int mnum, int kind) noexcept
{
    const FactorEntry& entry = entryOf(handle, mnum);
    return entry.size != kUnset &&
           elementKind(entry.mtype, handle.control()[Word::SinglePrecision] != 0) == kind;
}

std::int64_t elementsOfFactor(const ControlBlock& control) noexcept
{
    return control[WideWord::LowerElements] + (isSymmetric(control) ? 0 : control[WideWord::UpperElements]);
}

template <class T>
Failure reserveFactor(Handle handle, int mnum)
{
    const ControlBlock& control = handle.control();
    FactorEntry& entry = entryOf(handle, mnum);
    entry.size = kUnset;
    const std::int64_t bytes = elementsOfFactor(control) * static_cast<std::int64_t>(sizeof(T));
    const bool isInCore = control[Word::OutOfCore] == 0;
    if (isInCore && (entry.storage == nullptr || entry.bytes < bytes)) {
        Handle::releaseFactor(entry);
        entry.storage = alignedAllocate(static_cast<std::size_t>(bytes), kBlockAlignment);
        if (entry.storage == nullptr) return outOfMemory(BlockCode::Factors, bytes);
        entry.bytes = bytes;
    }
    const std::int64_t exchanges = exchangesOf(control);
    if (entry.exchanges == nullptr) entry.exchanges = Scratch<int>::zeroed(exchanges).release();
    if (entry.exchanges != nullptr) return {};
    Handle::releaseFactor(entry);
    return outOfMemory(BlockCode::Factors, exchanges * std::int64_t{sizeof(int)});
}

BlockSum exchangeBlocks(const ControlBlock& control) noexcept
{
    return BlockSum().add<int>(exchangesOf(control));
}

template <class T>
BlockSum factorBlocks(const ControlBlock& control) noexcept
{
    return exchangeBlocks(control).add<T>(elementsOfFactor(control));
}

template <class T>
Factor<T> factorIn(Handle handle, int mnum)
{
    const ControlBlock& control = handle.control();
    const FactorEntry& entry = entryOf(handle, mnum);
    T* const lower = static_cast<T*>(entry.storage);
    return {.lower = lower,
            .upper = isSymmetric(control) ? nullptr : lower + control[WideWord::LowerElements],
            .rowExchange = entry.exchanges,
            .columnExchange = entry.exchanges ? entry.exchanges + control[Word::Order] : nullptr};
}

void keepFactor(const Arguments& call, Handle handle, const FactorRules& rules)
{
    FactorEntry& entry = entryOf(handle, call.mnum);
    entry.mtype = handle.control()[Word::Mtype];
    entry.method = static_cast<int>(rules.method);
    entry.fingerprint = fingerprint(valuesOf(call, handle));
    entry.size = elementsOfFactor(handle.control());
}

bool isFactorOfCall(const Arguments& call, const Handle& handle)
{
    const FactorEntry& entry = entryOf(handle, call.mnum);
    return call.nonZeros() == handle.control()[Word::MappedEntries] &&
           isHermitian(entry.mtype) == isHermitian(call.mtype) &&
           entry.fingerprint == fingerprint(valuesOf(call, handle));
}

FactorRules rulesOfFactor(const Handle& handle, int mnum)
{
    const FactorEntry& entry = entryOf(handle, mnum);
    return {.method = static_cast<Method>(entry.method), .hermitian = isHermitian(entry.mtype), .eps = 0.0};
}

std::int64_t bytesForPanels(const Handle& handle, std::int64_t taken)
{
    const ControlBlock& control = handle.control();
    const std::int64_t exchanges = 2 * std::int64_t{control[Word::Order]} * std::int64_t{sizeof(int)};
    const std::int64_t kept = 1024 * std::int64_t{control[Word::AnalysisKept]} + exchanges;
    constexpr std::int64_t kMegabyte = 1 << 20, kMost = std::int64_t{1} << 40;
    return std::min(coreMegabytes(handle), kMost) * kMegabyte - kept - taken;
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template Failure reserveFactor<T>(Handle, int);                                                          \
    template BlockSum factorBlocks<T>(const ControlBlock&) noexcept;                                         \
    template Factor<T> factorIn<T>(Handle, int);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
