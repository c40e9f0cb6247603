#pragma once
/// @file
/// How the other classes of the library reach the blocks of the dense objects. Not for callers.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

#include <utility>

namespace Velmar::Lintrix::detail {

struct LINTRIX_TESTABLE DenseAccess {
    static const double* cells(const Matrix& matrix) { return matrix.cells(); }
    static double* cells(Matrix& matrix) { return matrix.cells(); }
    static std::int32_t count(const Matrix& matrix) noexcept { return matrix.mCells; }
    static const double* cells(const Vector& vector) { return vector.cells(); }
    static double* cells(Vector& vector) { return vector.cells(); }

    /// A matrix whose cells the caller writes, every one.
    static Matrix uninitialised(std::int32_t rows, std::int32_t cols)
    {
        return Matrix(Matrix::Uninitialised{}, rows, cols);
    }
    /// A copy of rows*cols cells from `source`, which stays the caller's.
    static Matrix copyOf(const double* source, std::int32_t rows, std::int32_t cols);
    /// The matrix takes `block` over, which holds rows*cols cells.
    static Matrix adopt(Block<double>&& block, std::int32_t rows, std::int32_t cols)
    {
        return Matrix(std::move(block), rows, cols);
    }
    /// Element i from `source`[i*step].
    static Vector strided(const double* source, std::int32_t size, std::int64_t step);
    static Vector adopt(Block<double>&& block, std::int32_t size) { return Vector(std::move(block), size); }
};

} // namespace Velmar::Lintrix::detail
