#include <lintrix/engine/keeping/kept_factor.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/keeping/structure_check.h>

#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// Section "factor".
struct KeptFactor {
    std::int32_t mtype, method;
    std::int64_t size; ///< in elements; kUnset where there is none
    std::uint64_t fingerprint;
};
static_assert(sizeof(KeptFactor) == 24);

int kindOf(const Handle& handle, int mtype)
{
    return elementKind(mtype, handle.control()[Word::SinglePrecision] != 0);
}

template <class T>
std::span<const T> panelsOf(const FactorEntry& entry)
{
    return {static_cast<const T*>(entry.storage), static_cast<std::size_t>(entry.size)};
}

std::span<int> exchangesOf(const Handle& handle, const FactorEntry& entry)
{
    return {entry.exchanges, 2 * static_cast<std::size_t>(handle.control()[Word::Order])};
}

void saveFactor(const Handle& handle, const FactorEntry& entry, SectionWriter& file)
{
    file.AddOne("factor", KeptFactor{entry.mtype, entry.method, entry.size, entry.fingerprint});
    if (entry.size == kUnset) return;
    withElement(kindOf(handle, entry.mtype), [&]<class T>() {
        file.Add("panels", panelsOf<T>(entry));
        return Failure{};
    });
    file.Add("exchange", std::span<const int>(exchangesOf(handle, entry)));
}

/// A type for which the analysis serves, and a method of that type.
bool suits(const KeptFactor& kept, const ControlBlock& control)
{
    const auto method = static_cast<Method>(kept.method);
    return classOf(kept.mtype) != MatrixClass::Unknown &&
           isSymmetricStorage(kept.mtype) == (control[Word::SymmetricStorage] != 0) &&
           isComplex(kept.mtype) == (control[Word::ElementWidth] == 2) &&
           (method == methodFor(kept.mtype, 0) || method == methodFor(kept.mtype, 1)) &&
           kept.size == elementsOfFactor(control);
}

template <class T>
SectionFault loadPanels(Handle handle, int mnum, SectionReader& file)
{
    const std::int64_t elements = elementsOfFactor(handle.control());
    if (const SectionFault fault = file.Expect("panels", elements * std::int64_t{sizeof(T)})) return fault;
    if (reserveFactor<T>(handle, mnum)) return file.NoMemory();
    return file.Take(std::span(factorIn<T>(handle, mnum).lower, static_cast<std::size_t>(elements)));
}

SectionFault loadFactor(Handle handle, int mnum, SectionReader& file)
{
    KeptFactor kept{};
    if (const SectionFault fault = file.TakeOne("factor", kept)) return fault;
    if (kept.size == kUnset) return {};
    if (!suits(kept, handle.control())) return file.Contradiction();
    SectionFault fault;
    withElement(kindOf(handle, kept.mtype), [&]<class T>() {
        fault = loadPanels<T>(handle, mnum, file);
        return Failure{};
    });
    if (fault) return fault;
    FactorEntry& entry = handle.factors()[static_cast<std::size_t>(mnum) - 1];
    const std::span<int> exchanges = exchangesOf(handle, entry);
    fault = file.Expect("exchange", static_cast<std::int64_t>(exchanges.size_bytes()));
    if (!fault) fault = file.Take(exchanges);
    if (fault) return fault;
    const FactorStructure structure = PermanentStructure(handle).structure();
    if (!areExchanges(structure, static_cast<Method>(kept.method), exchanges)) return file.Contradiction();
    entry.mtype = kept.mtype;
    entry.method = kept.method;
    entry.fingerprint = kept.fingerprint;
    entry.size = kept.size; // last: now it is a factor
    return {};
}

} // namespace

void saveFactors(const Handle& handle, SectionWriter& file)
{
    for (const FactorEntry& entry : handle.factors()) saveFactor(handle, entry, file);
}

SectionFault loadFactors(Handle handle, SectionReader& file)
{
    const int most = handle.control()[Word::Maxfct];
    for (int mnum = 1; mnum <= most; ++mnum) {
        if (const SectionFault fault = loadFactor(handle, mnum, file)) return fault;
    }
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
