#pragma once
/// @file
/// In what the real and the complex sparse class differ where the mechanism is one. Programs rely on each of
/// these, so neither class is made to follow the other. What differs as a whole member stands in the classes.

#include <lintrix/foundation/random.h>
#include <lintrix/foundation/rounding.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/kernels.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// One draw of a random fill.
struct RandomPart {
    double range, lowerBound;
    std::int32_t decimals;

    double draw() const
    {
        return Round(RandomServer::GetRandom().NextDouble() * range + lowerBound, decimals);
    }
};

template <>
struct SparseTwin<double> {
    static constexpr auto csrmv = mkl_dcsrmv;
    static constexpr auto csrmm = mkl_dcsrmm;
    static constexpr auto csradd = mkl_dcsradd;
    static constexpr auto csrmultcsr = mkl_dcsrmultcsr;

    /// Key of the mark in an archive.
    static constexpr const char* kMark = "symm";
    /// The width of a text is that of the longest cell as `Item` reads it, or of the longest stored value.
    static constexpr bool kWidthOfAllCells = false;

    /// Whether products see a full matrix in the stored triangle.
    static bool isSymmetric(const SparseMatrix& A) noexcept { return A.Symmetric(); }

    static double drawn(const RandomPart& part) { return part.draw(); }

    /// Of full arrays. A factor of 1, or the 0 of a matrix made from a dense one, adds one slot.
    static std::int32_t grown(float growFactor, std::int32_t capacity)
    {
        return std::max(grownCapacity(growFactor, capacity), capacity + 1);
    }
};

template <>
struct SparseTwin<Complex> {
    static constexpr auto csrmv = mkl_zcsrmv;
    static constexpr auto csrmm = mkl_zcsrmm;
    static constexpr auto csradd = mkl_zcsradd;
    static constexpr auto csrmultcsr = mkl_zcsrmultcsr;

    static constexpr const char* kMark = "herm";
    static constexpr bool kWidthOfAllCells = true;

    static bool isSymmetric(const CSparseMatrix&) noexcept { return CSparseMatrix::IsSymmetricInt(); }

    static Complex drawn(const RandomPart& part)
    {
        const double real = part.draw();
        return {real, part.draw()};
    }

    /// The smaller of growFactor*capacity and one slot more. Where the former leaves no room for the element,
    /// a slot more it is, too: so by one slot, whatever the factor.
    static std::int32_t grown(float, std::int32_t capacity) { return capacity + 1; }
};

} // namespace Velmar::Lintrix::detail
