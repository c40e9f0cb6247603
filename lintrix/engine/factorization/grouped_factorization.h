#pragma once
/// @file
/// Numeric factorization of a factor that memory does not hold.

#include <lintrix/engine/factorization/panel_feed.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Elements of the room of a factorization by groups: that of a group, those of chunks behind it.
template <class T>
std::int64_t roomOf(const PanelSchedule& schedule) noexcept
{
    return FactorStore<T>::roomFor(schedule.groupRoom()) + PanelFeed<T>::roomOf(schedule);
}

/// As factorize(), with the panels in files: group after group they are brought into `room`, a block of
/// roomOf() the schedule, lose what the panels before them give, are eliminated and written. Threads beside
/// the team read the next chunk while it works with one, and write panels of the group while it eliminates
/// others; what they have not done when the team comes to it, the team does. Of `exchanges` only those arrays
/// are used, which stay in memory.
///
/// @return  as factorize(), and what reading and writing may fail with
template <class T>
LINTRIX_TESTABLE FactorResult factorizeInGroups(const FactorPlan& plan, const FactorRules& rules,
                                                const T* values, const Factor<T>& exchanges,
                                                FactorStore<T>& store, const PanelSchedule& schedule, T* room,
                                                const ProgressListener& listener);

} // namespace Velmar::Lintrix::detail::engine
