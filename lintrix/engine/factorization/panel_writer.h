#pragma once
/// @file
/// Panels on their way to the files, behind those who finish them.

#include <lintrix/engine/factorization/elimination.h>
#include <lintrix/engine/factorization/factor_store.h>
#include <lintrix/services/export.h>

#include <condition_variable>
#include <mutex>

namespace Velmar::Lintrix::detail::engine {

/// The panels of a group go to the files piece by piece, in their order, each as soon as all in it are
/// finished: nobody changes a finished panel. Failures are the team's.
template <class T>
class LINTRIX_TESTABLE PanelWriter {
public:
    PanelWriter(FactorStore<T>& store, EliminationTeam& team) noexcept : store_(store), team_(team) {}

    /// None of the group before may be on its way.
    void begin(PositionRange group, const Factor<T>& panels);
    /// Writes the next piece if it is finished. @return  whether it was
    bool serve();
    /// Returns when all panels are in the files, or the team has failed and none is on its way. They are
    /// finished; every thread that calls takes its part.
    void finish();

private:
    bool isFinished(PositionRange piece) const;

    FactorStore<T>& store_;
    EliminationTeam& team_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    PositionRange rest_{0, -1};
    Factor<T> panels_{};
    int onTheWay_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
