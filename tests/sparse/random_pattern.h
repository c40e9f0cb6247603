#pragma once
/// @file
/// Sparse matrices by shape and pattern for the tests of arithmetic, and looks at what they store.

#include "tests/sparse/sparse_support.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {

inline constexpr TransposeMode kModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                           TransposeMode::ConjugateTransposed};
inline constexpr auto kNoMode = static_cast<TransposeMode>(3);

/// Single cells, rows and columns, wide and tall, and sizes around the row blocks of the kernels.
inline const std::vector<Shape>& sparseShapes()
{
    static const std::vector<Shape> shapes{{1, 1}, {1, 7}, {7, 1}, {2, 3},  {3, 2},  {4, 4},
                                           {5, 5}, {8, 9}, {9, 8}, {40, 3}, {3, 40}, {33, 33}};
    return shapes;
}

enum class Values {
    Integers, ///< -4 to 4 without 0: sums and short products of them are exact
    Uniform,  ///< in [-1, 1]
};

/// About `density` of the cells are stored; every fifth row and column, from the third on, stores nothing.
inline SparseMatrix randomSparse(const Shape& shape, double density, Values kind, std::mt19937_64& generator)
{
    SparseMatrix A(shape.rows, shape.cols);
    for (int r = 0; r < shape.rows; ++r) {
        for (int c = 0; c < shape.cols; ++c) {
            const double chance = static_cast<double>(generator() >> 11) * 0x1p-53;
            const double value = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
            const auto integer = static_cast<double>(generator() % 4 + 1) * (value < 0.0 ? -1.0 : 1.0);
            if (chance >= density || r % 5 == 2 || c % 5 == 2) continue;
            A(r, c) = kind == Values::Integers ? integer : value;
        }
    }
    return A;
}

struct Element {
    int row, col;
    double value;
    bool operator==(const Element&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const Element& element)
{
    return out << '(' << element.row << ", " << element.col << "): " << element.value;
}

/// What is stored, in order, counted from 0.
inline std::vector<Element> elementsOf(const SparseMatrix& A)
{
    std::vector<Element> elements;
    const auto pointers = A.RowPointers();
    for (int r = 0; r < A.Rows(); ++r) {
        const auto row = static_cast<std::size_t>(r);
        for (auto k = static_cast<std::size_t>(pointers[row] - 1);
             k + 1 < static_cast<std::size_t>(pointers[row + 1]); ++k) {
            elements.push_back({r, A.ColumnIndices()[k] - 1, A.Values()[k]});
        }
    }
    return elements;
}

/// A result as arithmetic makes it: sound rows, general, growth factor 1.2, one spare slot.
inline void expectFreshResult(const SparseMatrix& C, const Shape& shape)
{
    EXPECT_EQ(C.Rows(), shape.rows);
    EXPECT_EQ(C.Cols(), shape.cols);
    expectCompressedRows(C);
    EXPECT_FALSE(C.Symmetric());
    EXPECT_EQ(C.GrowFactor(), 1.2F);
    EXPECT_EQ(C.Capacity(), C.NumElements() + 1);
    EXPECT_GE(heldSlots(C), C.Capacity());
}

/// op(A) as a dense matrix.
inline Matrix denseOp(TransposeMode mode, const SparseMatrix& A)
{
    return mode == TransposeMode::NotTransposed ? A.ToDense() : naiveTranspose(A.ToDense());
}

/// The shape A has to have so that op(A) is of `shape`.
inline Shape storedShape(TransposeMode mode, const Shape& shape)
{
    return mode == TransposeMode::NotTransposed ? shape : Shape{shape.cols, shape.rows};
}

} // namespace Velmar::Lintrix::testing
