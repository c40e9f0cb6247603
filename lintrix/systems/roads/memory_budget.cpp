#include <lintrix/systems/roads/memory_budget.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/memory_limit.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail::roads {

namespace {

/// Bytes for which no system is asked.
constexpr double kTrifle = 0x1p22;

/// Such that a budget of so many would do.
double megabytes(double bytes)
{
    return std::ceil(bytes / 1048576.0);
}

} // namespace

double MemoryBudget::left(double own, double needed) const
{
    const double left = options_.memoryLeft ? options_.memoryLeft()
                        : needed <= kTrifle ? kTrifle
                                            : MemoryLeft();
    return options_.memoryBudget ? std::min(left, *options_.memoryBudget - own) : left;
}

double MemoryBudget::limit(double own) const
{
    const double limit = MemoryLimit();
    return options_.memoryBudget ? std::min(limit, *options_.memoryBudget - own) : limit;
}

void MemoryBudget::require(double own, double inMemory, double withFiles) const
{
    if (!options_.memoryBudget || own + std::min(inMemory, withFiles) <= *options_.memoryBudget) return;
    const std::string files =
        withFiles < inMemory ? fmt::format(", {:.0f} MB with its factor in files", megabytes(own + withFiles))
                             : "";
    throw OperationFailedException(
        fmt::format("The memory budget of {:.0f} MB is too small: the system takes {:.0f} MB in memory{}.",
                    std::floor(*options_.memoryBudget / 1048576.0), megabytes(own + inMemory), files));
}

} // namespace Velmar::Lintrix::detail::roads
