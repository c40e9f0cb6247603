#include <lintrix/engine/saved_factorization.h>

#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/parameters.h>
#include <lintrix/engine/call/shifted_indices.h>
#include <lintrix/engine/keeping/kept_analysis.h>
#include <lintrix/engine/keeping/kept_factor.h>

#include <cstddef>

namespace Velmar::Lintrix {

namespace {

using namespace detail::engine;

SectionFault load(Handle handle, const MatrixToLoad& matrix, SectionReader& file)
{
    if (const SectionFault fault = loadAnalysis(handle, matrix, file)) return fault;
    return loadFactors(handle, file);
}

bool isSingle(const int* iparm)
{
    return iparm[static_cast<int>(Parameter::SinglePrecision) - 1] == 1;
}

} // namespace

SaveOutcome SaveFactorization(void* const pt[64], SectionWriter& file) noexcept
{
    const Handle handle(const_cast<void**>(pt)); // which it stays
    if (!handle.live() || !handle.holds(Slot::FactorStructure)) return SaveOutcome::NoAnalysis;
    if (handle.control()[Word::OutOfCore] != 0) return SaveOutcome::InFiles;
    saveAnalysis(handle, file);
    saveFactors(handle, file);
    return SaveOutcome::Saved;
}

SectionFault LoadFactorization(void* pt[64], const int& mtype, const int& n, int* ia, int* ja,
                               const int* iparm, SectionReader& file) noexcept
{
    if (n < 1 || ia[n] < 1) return file.Contradiction();
    const auto rows = static_cast<std::size_t>(n) + 1, entries = static_cast<std::size_t>(ia[n]) - 1;
    const ShiftedIndices shifted({ia, rows}, {ja, entries});
    if (checkPattern({shifted.ia(), shifted.ja()})) return file.Contradiction();
    Handle handle(pt);
    const SectionFault fault = load(handle, {mtype, isSingle(iparm), {shifted.ia(), shifted.ja()}}, file);
    if (fault && handle.live()) handle.releaseAll();
    return fault;
}

} // namespace Velmar::Lintrix
