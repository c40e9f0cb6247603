#include <lintrix/engine/solution/improvement.h>

#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/solution/conjugate_gradient.h>
#include <lintrix/engine/solution/conjugate_gradient_squared.h>

#include <algorithm>
#include <complex>
#include <cstdlib>

namespace Velmar::Lintrix::detail::engine {

namespace {

Storage storageOf(int mtype)
{
    if (!isSymmetricStorage(mtype)) return Storage::General;
    return isHermitian(mtype) ? Storage::Hermitian : Storage::Symmetric;
}

constexpr std::int64_t roundUp(std::int64_t bytes)
{
    return (bytes + 63) / 64 * 64;
}

// Elements of the vectors that the improvement works on.
std::int64_t vectorsFor(const ImprovementTask& task, int n)
{
    switch (task.improvement) {
    case Improvement::Refinement:
        return std::int64_t{n} * task.count;
    case Improvement::ConjugateGradient:
        return conjugateGradientWork(n, task.count);
    case Improvement::Squared:
        return conjugateGradientSquaredWork(n, task.count);
    case Improvement::None:
        break;
    }
    return 0;
}

// No less than k n + 2 times the largest update, for each right-hand side, with k of 2, or of 4 (real) or 5
// (complex) for extended residuals, a size that goes by the analysis and iparm(8) alone, whatever is used of
// it. What is not touched costs no memory.
template <class T>
std::int64_t leastElements(const ImprovementTask& task, int n)
{
    const int extendedVectors = kIsComplex<T> ? 5 : 4;
    const std::int64_t k = task.extended ? extendedVectors : 2;
    return (k * n + 2 * task.largestUpdate) * task.count;
}

} // namespace

bool refinesDirectSolution(const Arguments& call, bool perturbed) noexcept
{
    const bool wanted = call.iparm[Parameter::RefinementLimit] != 0 || perturbed;
    return wanted && call.iparm[Parameter::RefinementOff] == 0;
}

Improvement improvementFor(const Arguments& call, int iterationKind, bool perturbed) noexcept
{
    if (call.phase.part() != 0) return Improvement::None;
    if (iterationKind != 0) {
        const bool isReal = !isComplex(call.mtype);
        return isReal && std::abs(iterationKind) == 2 ? Improvement::ConjugateGradient : Improvement::Squared;
    }
    return refinesDirectSolution(call, perturbed) ? Improvement::Refinement : Improvement::None;
}

template <class T>
CallersMatrix<T> callersMatrix(const Arguments& call) noexcept
{
    const Storage storage = storageOf(call.mtype);
    const bool transposed = call.iparm[Parameter::Transpose] == 1 && storage == Storage::General;
    return {call.n, call.ia, call.ja, static_cast<const T*>(call.a), storage, transposed};
}

template <class T>
IterationLayout iterationLayout(const CallersMatrix<T>& matrix, const ImprovementTask& task) noexcept
{
    IterationLayout layout{};
    if (task.improvement == Improvement::None) return layout;
    constexpr std::int64_t element = sizeof(T);
    layout.start = vectorsFor(task, matrix.n);
    const bool keepsStart = task.improvement != Improvement::Refinement;
    const std::int64_t vectors = layout.start + (keepsStart ? std::int64_t{matrix.n} * task.count : 0);
    layout.sums = roundUp(vectors * element);
    layout.scalars = layout.sums + roundUp(SparseOperator<T>::workBytes(matrix, task.threads, task.extended));
    static_assert(sizeof(GradientScalars) <= sizeof(SquaredScalars<T>));
    const std::int64_t used = layout.scalars + task.count * std::int64_t{sizeof(SquaredScalars<T>)};
    layout.bytes = std::max(used, leastElements<T>(task, matrix.n) * element);
    return layout;
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template CallersMatrix<T> callersMatrix(const Arguments&) noexcept;                                      \
    template IterationLayout iterationLayout(const CallersMatrix<T>&, const ImprovementTask&) noexcept;
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
