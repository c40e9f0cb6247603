#pragma once
/// @file
/// What the tests of the sparse classes share: looks at the arrays, and operations that must be refused.

#include "tests/dense/dense_support.h"
#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/matrices.h"

#include <lintrix/foundation/block.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {

inline constexpr const char* kInvalidRows = "Invalid number of rows.";
inline constexpr const char* kInvalidColumns = "Invalid number of columns.";
inline constexpr const char* kNoMemory = "There is not enough memory to continue the execution.";
inline constexpr const char* kReleased = "The object was used after its release.";

inline std::vector<std::int32_t> startsOf(const SparseMatrix& A)
{
    return {A.RowPointers().begin(), A.RowPointers().end()};
}
inline std::vector<std::int32_t> columnsOf(const SparseMatrix& A)
{
    return {A.ColumnIndices().begin(), A.ColumnIndices().end()};
}
inline std::vector<double> valuesOf(const SparseMatrix& A)
{
    return {A.Values().begin(), A.Values().end()};
}

/// All that a caller can see of a matrix; values by their bits.
struct State {
    explicit State(const SparseMatrix& A)
        : rows(A.Rows()), cols(A.Cols()), capacity(A.Capacity()), growFactor(A.GrowFactor()),
          symmetric(A.Symmetric()), starts(startsOf(A)), columns(columnsOf(A))
    {
        for (const double value : A.Values()) values.push_back(std::bit_cast<std::uint64_t>(value));
    }
    bool operator==(const State&) const = default;

    std::int32_t rows, cols, capacity;
    float growFactor;
    bool symmetric;
    std::vector<std::int32_t> starts, columns;
    std::vector<std::uint64_t> values;
};

/// How many slots both arrays truly have.
inline std::int64_t heldSlots(const SparseMatrix& A)
{
    const auto bytesOf = [](const void* block) {
        return static_cast<std::int64_t>(detail::blockBytes(block));
    };
    return std::min(bytesOf(detail::SparseAccess::values(A)) / 8,
                    bytesOf(detail::SparseAccess::columns(A)) / 4);
}

/// Row pointers from 1 on and rising, columns in range and strictly ascending, arrays long enough.
inline void expectCompressedRows(const SparseMatrix& A)
{
    const std::vector<std::int32_t> starts = startsOf(A), columns = columnsOf(A);
    ASSERT_EQ(starts.front(), 1);
    ASSERT_TRUE(std::is_sorted(starts.begin(), starts.end()));
    ASSERT_LE(A.NumElements(), heldSlots(A));
    ASSERT_LE(A.NumElements(), A.Capacity());
    for (std::size_t r = 0; r + 1 < starts.size(); ++r) {
        for (std::int32_t k = starts[r] - 1; k < starts[r + 1] - 1; ++k) {
            const std::int32_t column = columns[static_cast<std::size_t>(k)];
            ASSERT_TRUE(column >= 1 && column <= A.Cols()) << "row " << r;
            if (k >= starts[r]) {
                ASSERT_GT(column, columns[static_cast<std::size_t>(k) - 1]) << "row " << r;
            }
        }
    }
}

/// Random dense matrix of which about `density` is not zero.
inline Matrix sparsePattern(const Shape& shape, double density, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> chance(0.0, 1.0), value(-1.0, 1.0);
    Matrix A(shape.rows, shape.cols);
    for (int r = 0; r < shape.rows; ++r) {
        for (int c = 0; c < shape.cols; ++c) {
            if (chance(generator) < density) A(r, c) = value(generator);
        }
    }
    return A;
}

/// `operation` raises `Failure` with `text` and asks for no block before.
template <class Failure, class Operation>
void expectRefusedUnallocated(Operation operation, const char* text)
{
    const FailingAllocator allocator(0);
    expectFailure<Failure>(operation, text);
    EXPECT_FALSE(allocator.hasFailed());
}

} // namespace Velmar::Lintrix::testing
