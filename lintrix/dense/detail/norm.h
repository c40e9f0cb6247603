#pragma once
/// @file
/// Norms of a block, by cell type.

#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/lapack.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Through `lange`. Types outside the four members are the caller's fault; they read as FrobeniusNorm.
template <class Cell>
double normOf(NormType type, const BlockView<Cell>& A)
{
    const auto rows = static_cast<std::int32_t>(A.rows), cols = static_cast<std::int32_t>(A.cols);
    const std::int32_t lda = leadingDimension(rows);
    switch (type) {
    case NormType::InfinityNorm:
        return lapack::lange('I', rows, cols, A.cells, lda, Block<double>(rows).get());
    case NormType::OneNorm:
        return lapack::lange('1', rows, cols, A.cells, lda, nullptr);
    case NormType::MaxAbsValue:
        return lapack::lange('M', rows, cols, A.cells, lda, nullptr);
    default:
        return lapack::lange('F', rows, cols, A.cells, lda, nullptr);
    }
}

} // namespace Velmar::Lintrix::detail
