#include <lintrix/engine/analysis/analysis_steps.h>

#include <lintrix/engine/analysis/matching/csr_record.h>
#include <lintrix/engine/analysis/matching/preordering.h>
#include <lintrix/engine/shared_matching.h>

#include <complex>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class T>
Failure preorderAs(const Analysis& run, Preordering kind, bool scaled, PreorderingBlocks& blocks)
{
    const CompressedRows<T> matrix{run.ia, run.ja, {static_cast<const T*>(run.call.a), run.ja.size()}};
    return preorder(matrix, kind, scaled, blocks);
}

Failure preorderByElement(const Analysis& run, Preordering kind, bool scaled, PreorderingBlocks& blocks)
{
    const bool single = run.control()[Word::SinglePrecision] != 0;
    if (run.control()[Word::ElementWidth] == 2) {
        return single ? preorderAs<std::complex<float>>(run, kind, scaled, blocks)
                      : preorderAs<std::complex<double>>(run, kind, scaled, blocks);
    }
    return single ? preorderAs<float>(run, kind, scaled, blocks)
                  : preorderAs<double>(run, kind, scaled, blocks);
}

/// As another analysis of this matrix has found it, if there is one to share it.
Failure preorderTogether(const Analysis& run, Preordering kind, bool scaled, PreorderingBlocks& blocks)
{
    SharedMatching* const shared = kind == Preordering::Unsymmetric ? SharedMatching::InUse() : nullptr;
    if (shared && shared->Serves(run.n(), scaled))
        return takePreordering(shared->ColumnOfRow(), shared->Scales(), blocks);
    const Failure failure = preorderByElement(run, kind, scaled, blocks);
    if (shared && !failure) shared->Keep(scaled, blocks.matching.span(), blocks.scaling.span());
    return failure;
}

} // namespace

Failure matchAndScale(Analysis& run)
{
    const Parameters iparm = run.call.iparm;
    const Preordering kind = preorderingFor(run.call.mtype, iparm[Parameter::Matching]);
    PreorderingBlocks blocks;
    const Failure failure = preorderTogether(run, kind, iparm[Parameter::Scaling] != 0, blocks);
    run.handle.keep(Slot::Matching, std::move(blocks.matching));
    run.handle.keep(Slot::Scaling, std::move(blocks.scaling));
    return failure;
}

} // namespace Velmar::Lintrix::detail::engine
