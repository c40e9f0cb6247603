// Random content of SparseMatrix.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/sparse/detail/random_rows.h>

#include <utility>

namespace Velmar::Lintrix {

namespace {

void requireDensity(double density)
{
    if constexpr (detail::kHardened) {
        if (density >= 0.0 && density <= 1.0) return;
        throw InvalidOperationException("The density is from 0 to 1.");
    }
}

} // namespace

void SparseMatrix::FillRandom(double density, double lowerBound, double upperBound, std::int32_t decimals)
{
    rowPointers();
    requireDensity(density);
    const std::int32_t total = detail::cellCount(mRows, mCols);
    const double range = upperBound - lowerBound;
    detail::Random& random = detail::RandomServer::GetRandom();
    const auto newValue = [&] { return Round(random.NextDouble() * range + lowerBound, decimals); };
    detail::RandomRows<double> fresh =
        _symmetric ? detail::randomUpperRows<double>(mRows, mCols, total, density, newValue)
                   : detail::randomRows<double>(mRows, mCols, total, density, newValue);
    setArrays(fresh.capacity, std::move(fresh));
}

} // namespace Velmar::Lintrix
