#include <lintrix/engine/factorization/factor_store.h>

#include <complex>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class T>
std::span<const std::byte> bytesOf(const T* cells, std::int64_t count) noexcept
{
    return std::as_bytes(std::span(cells, static_cast<std::size_t>(count)));
}

template <class T>
std::span<std::byte> bytesInto(T* cells, std::int64_t count) noexcept
{
    return std::as_writable_bytes(std::span(cells, static_cast<std::size_t>(count)));
}

/// Room on the stack for a few elements, which get no values at first.
template <class T, std::int64_t Count>
struct Buffer {
    static_assert(std::is_trivially_copyable_v<T>);
    alignas(kBlockAlignment) std::byte bytes[Count * sizeof(T)];

    T* cells() noexcept { return reinterpret_cast<T*>(bytes); }
};

} // namespace

template <class T>
FactorStore<T>::FactorStore(const FactorPlan& plan, OpenFactorFiles& files, int mnum) noexcept
    : plan_(plan), files_(files), before_(mnum - 1)
{
}

template <class T>
std::int64_t FactorStore<T>::sumBytes(const FactorPlan& plan) noexcept
{
    const int halves = plan.upperStarts.empty() ? 1 : 3;
    return std::int64_t{plan.structure.supernodes()} * halves * std::int64_t{sizeof(std::uint64_t)};
}

template <class T>
Failure FactorStore<T>::allocate()
{
    sums_ = Scratch<std::uint64_t>::zeroed(sumBytes(plan_) / std::int64_t{sizeof(std::uint64_t)});
    return sums_ ? Failure{} : outOfMemory(BlockCode::RealWork, sums_.missingBytes());
}

template <class T>
typename FactorStore<T>::Half FactorStore<T>::lower() const noexcept
{
    const auto supernodes = static_cast<std::size_t>(plan_.structure.supernodes());
    return {FactorFile::Lower,
            plan_.lowerStarts,
            {},
            before_ * plan_.sizes.lower,
            sums_.span().first(supernodes)};
}

// With the blocks behind them the panels of U take as much as those of L.
template <class T>
typename FactorStore<T>::Half FactorStore<T>::upper() const noexcept
{
    const auto supernodes = static_cast<std::size_t>(plan_.structure.supernodes());
    return {FactorFile::Upper,
            plan_.upperStarts,
            {},
            before_ * plan_.sizes.lower,
            sums_.span().subspan(supernodes, supernodes)};
}

// A panel of L is longer than one of U by the block.
template <class T>
typename FactorStore<T>::Half FactorStore<T>::blocks() const noexcept
{
    const auto supernodes = static_cast<std::size_t>(plan_.structure.supernodes());
    return {FactorFile::Upper, plan_.lowerStarts, plan_.upperStarts,
            before_ * plan_.sizes.lower + plan_.sizes.upper, sums_.span().last(supernodes)};
}

template <class T>
std::int64_t FactorStore<T>::elements(PositionRange panels) const noexcept
{
    return lower().elements(panels) + (hasUpper() ? upper().elements(panels) : 0);
}

template <class T>
Factor<T> FactorStore<T>::placedIn(T* room, PositionRange panels, const Factor<T>& exchanges) const noexcept
{
    Factor<T> factor = exchanges;
    const std::int64_t start = plan_.lowerStarts[panels.first], place = nextLike(start, 0);
    factor.lower = room + place - start;
    factor.upper = nullptr;
    if (!hasUpper()) return factor;
    const std::int64_t upperStart = plan_.upperStarts[panels.first];
    factor.upper =
        room + nextLike(plan_.sizes.lower + upperStart, place + lower().elements(panels)) - upperStart;
    return factor;
}

// Of so many elements those that fall to the piece, which are whole parts but for the last.
template <class T>
typename FactorStore<T>::Stretch FactorStore<T>::shareOf(const PanelPiece& piece,
                                                         std::int64_t elements) noexcept
{
    if (piece.shares == 1) return {0, elements};
    const std::int64_t parts = (elements + kPart - 1) / kPart;
    const auto bound = [&](int share) { return std::min(parts * share / piece.shares * kPart, elements); };
    return {bound(piece.share), bound(piece.share + 1)};
}

// The sum of a panel is that of the sums of its pieces, each times an odd number of its own: they may come in
// any order, but not in each other's places. Of each part its four quarters are pieces, and what is left.
template <class T>
std::uint64_t FactorStore<T>::partSums(const T* cells, Stretch stretch) noexcept
{
    constexpr std::size_t kPieces = 5, kFine = 64;
    std::uint64_t sum = 0;
    for (std::int64_t at = stretch.first; at < stretch.behind; at += kPart, cells += kPart) {
        const std::span<const std::byte> bytes = bytesOf(cells, std::min(kPart, stretch.behind - at));
        const std::size_t quarter = bytes.size() / (4 * kFine) * kFine;
        std::uint64_t odd = 2 * kPieces * static_cast<std::uint64_t>(at / kPart) + 1;
        sum += checkSum(bytes.subspan(4 * quarter)) * odd;
        if (quarter == 0) continue;
        for (const std::uint64_t own : checkSumsOfFour(bytes.data(), quarter)) sum += own * (odd += 2);
    }
    return sum;
}

// What was found of panel J; the share that comes first in it settles with what is told of the whole.
template <class T>
void FactorStore<T>::enter(const Half& half, int J, const PanelPiece& piece, std::uint64_t found,
                           std::uint64_t& balance) noexcept
{
    if (piece.share == 0) found -= half.sums[J];
    balance += found * (2 * static_cast<std::uint64_t>(J) + 1);
}

// Calls move(cells in the panel of L, how many) for elements of the diagonal block of J, which there is a
// column of the panel apart.
template <class T>
template <class Move>
void FactorStore<T>::forBlockCells(int J, Stretch stretch, T* lower, const Move& move) const
{
    const std::int64_t width = plan_.structure.width(J), height = plan_.structure.height(J);
    T* const panel = lower + plan_.lowerStarts[J];
    for (std::int64_t at = stretch.first; at < stretch.behind;) {
        const std::int64_t column = at / width, row = at % width;
        const std::int64_t count = std::min(width - row, stretch.behind - at);
        move(panel + column * height + row, count);
        at += count;
    }
}

// Blocks in a row that are a part at most together, or the one that is more.
template <class T>
PositionRange FactorStore<T>::blocksTogether(int J, int last) const noexcept
{
    PositionRange together{J, J};
    while (together.last < last && blocks().elements({J, together.last + 1}) <= kPart) ++together.last;
    return together;
}

template <class T>
Failure FactorStore<T>::writeHalf(const Half& half, PositionRange panels, const T* from)
{
    for (int J = panels.first; J <= panels.last; ++J)
        half.sums[J] = partSums(from + half.starts[J], {0, half.elements({J, J})});
    return files_.write(half.file, half.offset(panels.first, 0),
                        bytesOf(from + half.starts[panels.first], half.elements(panels)));
}

template <class T>
Failure FactorStore<T>::writeBlocks(PositionRange panels, T* lower)
{
    const Half half = blocks();
    Buffer<T, kPart> buffer;
    for (int first = panels.first; first <= panels.last;) {
        const PositionRange run = blocksTogether(first, panels.last);
        std::fill(half.sums.begin() + run.first, half.sums.begin() + run.last + 1, 0);
        const std::int64_t whole = half.elements(run);
        for (std::int64_t at = 0; at < whole; at += kPart) {
            const Stretch part{at, std::min(at + kPart, whole)};
            T* to = buffer.cells();
            for (int J = run.first; J <= run.last; ++J) {
                const Stretch own = run.first < run.last ? Stretch{0, half.elements({J, J})} : part;
                forBlockCells(J, own, lower, [&](const T* cells, std::int64_t count) {
                    to = std::copy_n(cells, count, to);
                });
                half.sums[J] += partSums(to - own.count(), own);
            }
            if (const Failure failure = files_.write(half.file, half.offset(run.first, at),
                                                     bytesOf(buffer.cells(), part.count())))
                return failure;
        }
        first = run.last + 1;
    }
    return {};
}

template <class T>
Failure FactorStore<T>::readHalf(const Half& half, const PanelPiece& piece, T* into, std::uint64_t& balance)
{
    const int first = piece.panels.first;
    const Stretch share = shareOf(piece, half.elements(piece.panels));
    T* const cells = into + half.starts[first] + share.first;
    if (const Failure failure =
            files_.read(half.file, half.offset(first, share.first), bytesInto(cells, share.count())))
        return failure;
    for (int J = first; J <= piece.panels.last; ++J) {
        const Stretch own = shareOf(piece, half.elements({J, J}));
        enter(half, J, piece, partSums(into + half.starts[J] + own.first, own), balance);
    }
    return {};
}

template <class T>
Failure FactorStore<T>::readBlocks(const PanelPiece& piece, T* lower, std::uint64_t& balance)
{
    const Half half = blocks();
    Buffer<T, kPart> buffer;
    for (int first = piece.panels.first; first <= piece.panels.last;) {
        const PositionRange run = blocksTogether(first, piece.panels.last);
        const Stretch share = shareOf(piece, half.elements(run));
        for (int J = run.first; J <= run.last; ++J) enter(half, J, piece, 0, balance);
        for (std::int64_t at = share.first; at < share.behind; at += kPart) {
            const Stretch part{at, std::min(at + kPart, share.behind)};
            const T* from = buffer.cells();
            if (const Failure failure = files_.read(half.file, half.offset(run.first, at),
                                                    bytesInto(buffer.cells(), part.count())))
                return failure;
            for (int J = run.first; J <= run.last; ++J) {
                const Stretch own = run.first < run.last ? Stretch{0, half.elements({J, J})} : part;
                balance += partSums(from, own) * (2 * static_cast<std::uint64_t>(J) + 1);
                forBlockCells(J, own, lower, [&](T* cells, std::int64_t count) {
                    std::copy_n(from, count, cells);
                    from += count;
                });
            }
        }
        first = run.last + 1;
    }
    return {};
}

template <class T>
Failure FactorStore<T>::write(PositionRange panels, const Factor<T>& from)
{
    if (const Failure failure = writeHalf(lower(), panels, from.lower)) return failure;
    if (!hasUpper()) return {};
    if (const Failure failure = writeHalf(upper(), panels, from.upper)) return failure;
    return writeBlocks(panels, from.lower);
}

template <class T>
Failure FactorStore<T>::read(const PanelPiece& piece, const Factor<T>& into, Halves halves,
                             SumBalance& balance)
{
    auto& [ofLower, ofUpper, ofBlocks] = balance.ofHalves;
    Failure failure;
    if (includes(halves, Halves::Lower)) failure = readHalf(lower(), piece, into.lower, ofLower);
    if (failure || !hasUpper()) return failure;
    if (includes(halves, Halves::Upper)) failure = readHalf(upper(), piece, into.upper, ofUpper);
    if (!failure && includes(halves, Halves::Block)) failure = readBlocks(piece, into.lower, ofBlocks);
    return failure;
}

template <class T>
Failure FactorStore<T>::judge(const SumBalance& balance) const noexcept
{
    const auto [ofLower, ofUpper, ofBlocks] = balance.ofHalves;
    if (ofLower != 0) return files_.changed(FactorFile::Lower);
    return ofUpper != 0 || ofBlocks != 0 ? files_.changed(FactorFile::Upper) : Failure{};
}

template <class T>
void FactorStore<T>::giveBack() noexcept
{
    const std::int64_t bytes = plan_.sizes.lower * std::int64_t{sizeof(T)};
    files_.giveBack(FactorFile::Lower, before_ * bytes, bytes);
    if (hasUpper()) files_.giveBack(FactorFile::Upper, before_ * bytes, bytes);
}

// Calls transfer(file, offset, bytes) for each table, until one fails.
template <class T>
template <class Transfer>
Failure FactorStore<T>::forEachTable(const Factor<T>& factor, Transfer transfer)
{
    Failure failure;
    const auto table = [&](FactorFile file, std::span<std::byte> bytes) {
        const auto size = OpenFactorFiles::arraySize(static_cast<std::int64_t>(bytes.size()));
        if (!failure) failure = transfer(file, before_ * size, bytes);
    };
    const std::size_t n = plan_.structure.supernodeOf.size();
    const auto supernodes = static_cast<std::size_t>(plan_.structure.supernodes());
    table(FactorFile::LowerBlocks, std::as_writable_bytes(lower().sums));
    if (hasUpper()) table(FactorFile::UpperBlocks, std::as_writable_bytes(sums_.span().last(2 * supernodes)));
    table(FactorFile::RowExchanges, std::as_writable_bytes(std::span(factor.rowExchange, n)));
    table(FactorFile::ColumnExchanges, std::as_writable_bytes(std::span(factor.columnExchange, n)));
    return failure;
}

template <class T>
Failure FactorStore<T>::writeTables(const Factor<T>& factor)
{
    return forEachTable(factor, [&](FactorFile file, std::int64_t offset, std::span<std::byte> bytes) {
        return files_.writeArray(file, offset, bytes);
    });
}

template <class T>
Failure FactorStore<T>::readTables(const Factor<T>& factor)
{
    return forEachTable(factor, [&](FactorFile file, std::int64_t offset, std::span<std::byte> bytes) {
        return files_.readArray(file, offset, bytes);
    });
}

template class FactorStore<float>;
template class FactorStore<double>;
template class FactorStore<std::complex<float>>;
template class FactorStore<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
