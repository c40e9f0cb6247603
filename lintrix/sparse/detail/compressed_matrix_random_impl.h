#pragma once
/// @file
/// Random content of CompressedMatrix.

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/random_rows.h>
#include <lintrix/sparse/detail/sparse_twin.h>

#include <utility>

namespace Velmar::Lintrix::detail {

inline void requireDensity(double density)
{
    if constexpr (kHardened) {
        if (density >= 0.0 && density <= 1.0) return;
        throw InvalidOperationException("The density is from 0 to 1.");
    }
}

template <class Cell>
void CompressedMatrix<Cell>::FillRandom(double density, double lowerBound, double upperBound,
                                        std::int32_t decimals)
{
    rowPointers();
    requireDensity(density);
    const std::int32_t total = cellCount(mRows, mCols);
    const RandomPart part{upperBound - lowerBound, lowerBound, decimals};
    const auto newValue = [&] { return SparseTwin<Cell>::drawn(part); };
    RandomRows<Cell> fresh = _oneTriangle ? randomUpperRows<Cell>(mRows, mCols, total, density, newValue)
                                          : randomRows<Cell>(mRows, mCols, total, density, newValue);
    setArrays(fresh.capacity, std::move(fresh));
}

} // namespace Velmar::Lintrix::detail
