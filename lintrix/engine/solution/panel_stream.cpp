#include <lintrix/engine/solution/panel_stream.h>

#include <lintrix/services/team.h>

#include <complex>
#include <mutex>

namespace Velmar::Lintrix::detail::engine {

// Brings the panels into the room, where they are not there yet.
template <class T>
bool PanelStream<T>::hold(PositionRange panels)
{
    if (failure_) return false;
    if (panels.first == held_.first && panels.last == held_.last) return true;
    held_ = {0, -1};
    factor_.panels = store_.placedIn(room_, panels, factor_.panels);
    std::mutex failing;
    runTeam(threads_, [&](const TeamMember& member) {
        store_.forEachPiece(panels, member, isWanted, [&](PositionRange piece) {
            const Failure failure = store_.read(piece, factor_.panels);
            if (!failure) return;
            const std::lock_guard lock(failing);
            if (!failure_) failure_ = failure;
        });
    });
    if (failure_) return false;
    held_ = panels;
    return true;
}

template class PanelStream<float>;
template class PanelStream<double>;
template class PanelStream<std::complex<float>>;
template class PanelStream<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
