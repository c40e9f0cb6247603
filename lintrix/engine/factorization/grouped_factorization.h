#pragma once
/// @file
/// Numeric factorization of a factor that memory does not hold.

#include <lintrix/engine/factorization/factor_store.h>
#include <lintrix/engine/factorization/panel_schedule.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Elements of the room of a factorization by groups: that of a group, that of a chunk behind it.
template <class T>
std::int64_t roomOf(const PanelSchedule& schedule) noexcept
{
    return FactorStore<T>::roomFor(schedule.groupRoom()) + FactorStore<T>::roomFor(schedule.chunkRoom());
}

/// As factorize(), with the panels in files: group after group they are brought into `room`, a block of
/// roomOf() the schedule, lose what the panels before them give, are eliminated and written. The same
/// threads read, compute and write from start to end. While one chunk is worked with, the system reads the
/// next; what was written it brings to the disk while the next group is at work. Of `exchanges` only those
/// arrays are used, which stay in memory.
///
/// @return  as factorize(), and what reading and writing may fail with
template <class T>
LINTRIX_TESTABLE FactorResult factorizeInGroups(const FactorPlan& plan, const FactorRules& rules,
                                                const T* values, const Factor<T>& exchanges,
                                                FactorStore<T>& store, const PanelSchedule& schedule, T* room,
                                                const ProgressListener& listener);

} // namespace Velmar::Lintrix::detail::engine
