#include <lintrix/engine/analysis/matching/preordering.h>

#include <lintrix/engine/analysis/matching/matching.h>
#include <lintrix/engine/analysis/matching/scaling.h>

#include <algorithm>
#include <complex>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// What the matching needs beside its results, and is given up with them.
struct MatchingArrays {
    explicit MatchingArrays(int n) noexcept
        : rowOfColumn(Scratch<int>::uninitialised(n)), u(Scratch<double>::uninitialised(n)),
          v(Scratch<double>::uninitialised(n))
    {
    }
    explicit operator bool() const noexcept { return rowOfColumn && u && v; }

    Scratch<int> rowOfColumn;
    Scratch<double> u, v;
};

std::int64_t matchingSize(Preordering kind, int n) noexcept
{
    return kind == Preordering::SymmetricPairs ? PivotPairs::blockSize(n) : n;
}

Failure allocate(int n, Preordering kind, PreorderingBlocks& blocks) noexcept
{
    blocks.matching = Scratch<int>::zeroed(matchingSize(kind, n));
    if (!blocks.matching) return outOfMemory(BlockCode::MatchingResult, missingBytes(blocks.matching));
    blocks.scaling = Scratch<double>::zeroed(2LL * n);
    if (!blocks.scaling) return outOfMemory(BlockCode::Scaling, missingBytes(blocks.scaling));
    return {};
}

void setIdentity(PreorderingBlocks& blocks) noexcept
{
    const std::span<int> columnOfRow = blocks.matching.span();
    std::iota(columnOfRow.begin(), columnOfRow.end(), 0);
    scaleByOne(blocks.scaling.span());
}

void setFactors(Preordering kind, bool scaled, const MatchingArrays& arrays, std::span<const int> columnOfRow,
                std::span<double> factors) noexcept
{
    if (!scaled) {
        scaleByOne(factors);
    } else if (kind == Preordering::SymmetricPairs) {
        scaleSymmetric(arrays.u.span(), arrays.v.span(), factors);
    } else {
        scaleUnsymmetric(arrays.u.span(), arrays.v.span(), columnOfRow, factors);
    }
}

template <class T>
Failure matchAndScale(const CompressedRows<T>& matrix, Preordering kind, bool scaled,
                      PreorderingBlocks& blocks) noexcept
{
    const int n = matrix.rows();
    const MatchingArrays arrays(n);
    if (!arrays)
        return outOfMemory(BlockCode::MatchingWork, missingBytes(arrays.rowOfColumn, arrays.u, arrays.v));
    csr_new record;
    const Triangles triangles = kind == Preordering::SymmetricPairs ? Triangles::Both : Triangles::AsStored;
    if (const Failure failure = copyMagnitudes(matrix, triangles, record)) return failure;

    Matching matching{blocks.matching.span().first(n), arrays.rowOfColumn.span(), arrays.u.span(),
                      arrays.v.span()};
    if (const Failure failure = matchMaximumProduct(record, matching)) return failure;
    setFactors(kind, scaled, arrays, matching.columnOfRow, blocks.scaling.span());
    return {};
}

// |a_ii|; places that are not stored keep their zero.
template <class T>
void findDiagonal(const CompressedRows<T>& matrix, std::span<double> diagonal) noexcept
{
    for (int i = 0; i < matrix.rows(); ++i) {
        for (int k = matrix.ia[i]; k < matrix.ia[i + 1]; ++k) {
            if (matrix.ja[k] == i) diagonal[i] = magnitudeOf(matrix.a[k]);
        }
    }
}

template <class T>
Failure choosePairs(const CompressedRows<T>& matrix, const PivotPairs& pairs) noexcept
{
    const int n = matrix.rows();
    const Scratch<double> diagonal = Scratch<double>::zeroed(n);
    const Scratch<int> marks = Scratch<int>::zeroed(bvec_new::wordsFor(n));
    if (!diagonal || !marks) return outOfMemory(BlockCode::MatchingWork, missingBytes(diagonal, marks));
    findDiagonal(matrix, diagonal.span());
    PivotParts parts;
    const Failure failure = orderPairs(pairs.columnOfRow(), diagonal.span(), pairs.vertexAt(), pairs.split(),
                                       marks.span(), parts);
    pairs.setParts(parts);
    return failure;
}

} // namespace

Preordering preorderingFor(int matrixType, int matching) noexcept
{
    switch (matrixType) {
    case 11:
    case 13:
        return matching >= 1 ? Preordering::Unsymmetric : Preordering::Identity;
    case -2:
    case -4:
    case 6:
        return matching >= 1 ? Preordering::SymmetricPairs : Preordering::None;
    default:
        return Preordering::None;
    }
}

BlockSum preorderingBlocks(Preordering kind, int n) noexcept
{
    if (kind == Preordering::None) return {};
    return BlockSum().add<int>(matchingSize(kind, n)).add<double>(2LL * n);
}

template <class T>
Failure preorder(const CompressedRows<T>& matrix, Preordering kind, bool scaled,
                 PreorderingBlocks& blocks) noexcept
{
    if (kind == Preordering::None) return {};
    PreorderingBlocks fresh;
    Failure failure = allocate(matrix.rows(), kind, fresh);
    if (failure) return failure;
    if (kind == Preordering::Identity) {
        setIdentity(fresh);
    } else {
        failure = matchAndScale(matrix, kind, scaled, fresh);
    }
    if (!failure && kind == Preordering::SymmetricPairs) {
        failure = choosePairs(matrix, PivotPairs(fresh.matching.span(), matrix.rows()));
    }
    if (!failure || failure.error == Error::Matching) blocks = std::move(fresh);
    return failure;
}

Failure takePreordering(std::span<const int> columnOfRow, std::span<const double> factors,
                        PreorderingBlocks& blocks) noexcept
{
    PreorderingBlocks fresh;
    const int n = static_cast<int>(columnOfRow.size());
    if (const Failure failure = allocate(n, Preordering::Unsymmetric, fresh)) return failure;
    std::ranges::copy(columnOfRow, fresh.matching.span().begin());
    std::ranges::copy(factors, fresh.scaling.span().begin());
    blocks = std::move(fresh);
    return {};
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template LINTRIX_TESTABLE Failure preorder(const CompressedRows<T>&, Preordering, bool,                  \
                                               PreorderingBlocks&) noexcept;
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
