#include <lintrix/engine/factorization/factor_store.h>

#include <complex>

namespace Velmar::Lintrix::detail::engine {

template <class T>
FactorStore<T>::FactorStore(const FactorPlan& plan, OpenFactorFiles& files, int mnum) noexcept
    : plan_(plan), files_(files), before_(mnum - 1)
{
}

template <class T>
std::int64_t FactorStore<T>::sumBytes(const FactorPlan& plan) noexcept
{
    const int halves = plan.upperStarts.empty() ? 1 : 2;
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
    return {FactorFile::Lower, FactorFile::LowerBlocks, plan_.lowerStarts,
            before_ * plan_.sizes.lower * static_cast<std::int64_t>(sizeof(T)),
            sums_.span().first(supernodes)};
}

template <class T>
typename FactorStore<T>::Half FactorStore<T>::upper() const noexcept
{
    const auto supernodes = static_cast<std::size_t>(plan_.structure.supernodes());
    return {FactorFile::Upper, FactorFile::UpperBlocks, plan_.upperStarts,
            before_ * plan_.sizes.upper * static_cast<std::int64_t>(sizeof(T)),
            sums_.span().last(supernodes)};
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

template <class T>
std::span<std::byte> FactorStore<T>::cells(const Half& half, PositionRange panels,
                                           T* panelsOfHalf) const noexcept
{
    return std::as_writable_bytes(
        std::span(panelsOfHalf + half.starts[panels.first], static_cast<std::size_t>(half.elements(panels))));
}

template <class T>
Failure FactorStore<T>::writeHalf(const Half& half, PositionRange panels, T* from)
{
    for (int J = panels.first; J <= panels.last; ++J) half.sums[J] = checkSum(cells(half, {J, J}, from));
    return files_.write(half.file, half.origin + half.starts[panels.first] * std::int64_t{sizeof(T)},
                        cells(half, panels, from));
}

template <class T>
Failure FactorStore<T>::readHalf(const Half& half, PositionRange panels, T* into)
{
    const std::int64_t offset = half.origin + half.starts[panels.first] * std::int64_t{sizeof(T)};
    if (const Failure failure = files_.read(half.file, offset, cells(half, panels, into))) return failure;
    for (int J = panels.first; J <= panels.last; ++J) {
        if (checkSum(cells(half, {J, J}, into)) != half.sums[J]) return files_.changed(half.file);
    }
    return {};
}

template <class T>
Failure FactorStore<T>::write(PositionRange panels, const Factor<T>& from)
{
    if (const Failure failure = writeHalf(lower(), panels, from.lower)) return failure;
    return hasUpper() ? writeHalf(upper(), panels, from.upper) : Failure{};
}

template <class T>
Failure FactorStore<T>::read(PositionRange panels, const Factor<T>& into, Halves halves)
{
    Failure failure;
    if (includes(halves, Halves::Lower)) failure = readHalf(lower(), panels, into.lower);
    if (!failure && includes(halves, Halves::Upper) && hasUpper())
        failure = readHalf(upper(), panels, into.upper);
    return failure;
}

template <class T>
void FactorStore<T>::giveBack() noexcept
{
    const auto giveBackHalf = [&](FactorFile file, std::int64_t elements) {
        const std::int64_t bytes = elements * std::int64_t{sizeof(T)};
        files_.giveBack(file, before_ * bytes, bytes);
    };
    giveBackHalf(FactorFile::Lower, plan_.sizes.lower);
    if (hasUpper()) giveBackHalf(FactorFile::Upper, plan_.sizes.upper);
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
    table(FactorFile::LowerBlocks, std::as_writable_bytes(lower().sums));
    if (hasUpper()) table(FactorFile::UpperBlocks, std::as_writable_bytes(upper().sums));
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
