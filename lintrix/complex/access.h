#pragma once
/// @file
/// How the other classes of the library reach the blocks of the complex objects. Not for callers.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <utility>

namespace Velmar::Lintrix::detail {

struct LINTRIX_TESTABLE ComplexAccess {
    static const Complex* cells(const CMatrix& matrix) { return matrix.cells(); }
    static Complex* cells(CMatrix& matrix) { return matrix.cells(); }
    static std::int32_t count(const CMatrix& matrix) noexcept { return matrix.mCells; }
    static const Complex* cells(const CVector& vector) { return vector.cells(); }
    static Complex* cells(CVector& vector) { return vector.cells(); }

    /// A matrix whose cells the caller writes, every one.
    static CMatrix uninitialised(std::int32_t rows, std::int32_t cols)
    {
        return CMatrix(CMatrix::Uninitialised{}, rows, cols);
    }
    /// A copy of rows*cols cells from `source`, which stays the caller's.
    static CMatrix copyOf(const Complex* source, std::int32_t rows, std::int32_t cols);
    /// The matrix takes `block` over, which holds rows*cols cells.
    static CMatrix adopt(Block<Complex>&& block, std::int32_t rows, std::int32_t cols)
    {
        return CMatrix(std::move(block), rows, cols);
    }
    /// Element i from `source`[i*step].
    static CVector strided(const Complex* source, std::int32_t size, std::int64_t step);
    static CVector adopt(Block<Complex>&& block, std::int32_t size)
    {
        return CVector(std::move(block), size);
    }
};

} // namespace Velmar::Lintrix::detail
