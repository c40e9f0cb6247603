#pragma once
/// @file
/// The bytes that a system may hold, and what of them is left for a factor.

#include <lintrix/services/export.h>
#include <lintrix/systems/system_options.h>

#include <cstdint>
#include <limits>

namespace Velmar::Lintrix::detail::roads {

/// Of a compressed matrix.
template <class Cell>
double bytesOfEntries(std::int32_t rows, double entries)
{
    return (sizeof(Cell) + sizeof(std::int32_t)) * entries + sizeof(std::int32_t) * (rows + 1.0);
}

/// Of all that stands beside a factor in n x columns elements: right-hand sides, solutions known and found,
/// residuals, corrections, and the copies that a conjugated solve takes.
template <class Cell>
double bytesOfColumns(double n, double columns)
{
    constexpr double kBlocks = 12.0;
    return kBlocks * sizeof(Cell) * n * columns;
}

/// Refers to the options.
class LINTRIX_TESTABLE MemoryBudget {
public:
    explicit MemoryBudget(const SystemOptions& options) : options_(options) {}

    /// For a factor with the work on it, beside `own` bytes of the system; below 0 where these are too many.
    /// No more than `needed` have to be told.
    double left(double own, double needed = std::numeric_limits<double>::infinity()) const;
    /// Of all there is, likewise.
    double limit(double own) const;
    /// @throws OperationFailedException  there is a budget, and neither figure is within it beside `own`
    /// bytes
    void require(double own, double inMemory, double withFiles) const;

private:
    const SystemOptions& options_;
};

} // namespace Velmar::Lintrix::detail::roads
