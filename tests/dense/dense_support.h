#pragma once
/// @file
/// What the tests of the dense room share: looks at blocks, and at what an operation allocates.

#include "tests/support/failing_allocator.h"
#include "tests/support/matrices.h"
#include "tests/support/reference_random.h"

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/random.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();

/// Lengths around the unrolling and the thresholds of the kernels.
inline const std::vector<int> kLengths{1, 2, 3, 4, 5, 6, 7, 8, 9, 31, 32, 33, 1000, 10007};

inline std::vector<double> blockAt(std::intptr_t address, std::int32_t cells)
{
    const auto* block = reinterpret_cast<const double*>(address);
    return {block, block + cells};
}

/// How many cells an object of the dense classes has, real or complex, vector or matrix.
template <class Dense>
std::size_t cellsIn(const Dense& object)
{
    if constexpr (requires { object.Length(); }) {
        return static_cast<std::size_t>(object.Length());
    } else {
        return static_cast<std::size_t>(object.Rows()) * static_cast<std::size_t>(object.Cols());
    }
}

template <class Dense>
struct CellOf {
    using Type = decltype(std::declval<const Dense&>().Item(0, 0));
};
template <class Dense>
requires requires(const Dense& object)
{
    object.Length();
}
struct CellOf<Dense> {
    using Type = decltype(std::declval<const Dense&>().Item(0));
};

/// The cells as they lie in memory.
template <class Dense>
std::vector<typename CellOf<Dense>::Type> blockOf(const Dense& object)
{
    const auto* block = reinterpret_cast<const typename CellOf<Dense>::Type*>(object.DataPtr());
    return {block, block + cellsIn(object)};
}

/// The same as bit patterns, one a double: tells -0.0 from 0.0, and a NaN equals itself.
template <class Dense>
std::vector<std::uint64_t> bitsOf(const Dense& object)
{
    const auto cells = blockOf(object);
    std::vector<std::uint64_t> bits(cells.size() * sizeof(cells[0]) / sizeof(std::uint64_t));
    if (!bits.empty()) std::memcpy(bits.data(), cells.data(), bits.size() * sizeof(std::uint64_t));
    return bits;
}

/// Block cells 1, 2, 3, ...
inline Matrix counted(std::int32_t rows, std::int32_t cols)
{
    std::vector<double> values(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
    std::iota(values.begin(), values.end(), 1.0);
    return Matrix(values, rows, cols, StorageOrder::ColumnMajor);
}
inline Vector counted(std::int32_t size)
{
    std::vector<double> values(static_cast<std::size_t>(size));
    std::iota(values.begin(), values.end(), 1.0);
    return values;
}

inline Vector randomVector(std::int32_t size, std::mt19937_64& generator)
{
    return blockOf(randomMatrix({size, 1}, generator));
}

/// Leaves memory of this size behind that is full of sevens: a block that ought to be cleared shows it.
inline void soilMemory(std::int32_t cells)
{
    const Vector first(cells, 7.0), second(cells, 7.0);
}

/// The values of a random fill from the start of the sequence, to which the shared generator is set back.
inline std::vector<double> valuesFromTheStart(int count, double lowerBound, double upperBound, int decimals)
{
    detail::RandomServer::GetRandom() = detail::Random(17);
    ReferenceRandom reference(17);
    const double power = std::pow(10.0, decimals); // exact for 0 to 15
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        const double value = reference.uniform() * (upperBound - lowerBound) + lowerBound;
        values.push_back(std::nearbyint(value * power) / power); // ties to even
    }
    return values;
}

/// A function of each shape that ApplyFunction takes. The last two show where each integer arrived.
inline double twice(double x)
{
    return 2.0 * x;
}
inline double scaled(double x, double factor)
{
    return x * factor;
}
inline double shifted(double x, int shift)
{
    return x + shift;
}
inline double placed(double x, int index1, int index2)
{
    return 100.0 * x + 10.0 * index1 + index2;
}
inline double placedAndScaled(double x, double factor, int index1, int index2)
{
    return factor * x + 10.0 * index1 + index2;
}

/// `operation` raises `Failure` with `text` and asks for no block before.
template <class Failure, class Operation>
void expectRefusedUnallocated(const std::string& text, Operation operation)
{
    const FailingAllocator allocator(0);
    EXPECT_THAT(operation, ::testing::ThrowsMessage<Failure>(text));
    EXPECT_FALSE(allocator.hasFailed());
}

/// `operation` raises `Failure` with `text`, but only after it has taken its first block, which it gives
/// back.
template <class Failure, class Operation>
void expectRefusedAfterAllocation(const std::string& text, Operation operation)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    EXPECT_THAT(operation, ::testing::ThrowsMessage<Failure>(text));
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    const FailingAllocator allocator(0);
    EXPECT_THROW(operation(), NotEnoughMemoryException);
}

/// `operation` has a result of more than 2^31 - 1 cells: the allocator refuses it, and nothing is left
/// behind.
template <class Operation>
void expectRefusedByTheAllocator(Operation operation)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    EXPECT_THAT(operation, ::testing::ThrowsMessage<NotEnoughMemoryException>(
                               "There is not enough memory to continue the execution."));
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

/// `operation` takes `requests` blocks; whichever of them is refused, nothing leaks and `object` keeps its
/// block and its cells.
template <class Dense, class Operation>
void expectAllocations(int requests, const Dense& object, Operation operation)
{
    const std::intptr_t address = object.DataPtr();
    const std::vector<std::uint64_t> bits = bitsOf(object);
    const int made =
        failEachAllocation(operation, [&] { return object.DataPtr() == address && bitsOf(object) == bits; });
    EXPECT_EQ(made, requests);
}

} // namespace Velmar::Lintrix::testing
