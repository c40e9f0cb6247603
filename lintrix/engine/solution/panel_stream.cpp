#include <lintrix/engine/solution/panel_stream.h>

#include <lintrix/services/team.h>

#include <complex>
#include <mutex>

namespace Velmar::Lintrix::detail::engine {

// Brings what is not there yet of the panels into the room.
template <class T>
bool PanelStream<T>::hold(PositionRange panels, Halves halves)
{
    if (failure_ || !goesOn()) return false;
    if (panels.first != held_.first || panels.last != held_.last) heldHalves_ = Halves::None;
    const Halves missing = without(halves, heldHalves_);
    if (missing == Halves::None) return true;
    held_ = {0, -1};
    factor_.panels = store_.placedIn(room_, panels, factor_.panels);
    std::mutex failing;
    runTeam(threads_, [&](const TeamMember& member) {
        store_.forEachPiece(panels, member, isWanted, [&](PositionRange piece) {
            const Failure failure = goesOn() ? store_.read(piece, factor_.panels, missing) : stopped();
            if (!failure) return;
            const std::lock_guard lock(failing);
            if (!failure_) failure_ = failure;
        });
    });
    if (failure_) return false;
    held_ = panels;
    heldHalves_ = heldHalves_ | missing;
    return true;
}

template class PanelStream<float>;
template class PanelStream<double>;
template class PanelStream<std::complex<float>>;
template class PanelStream<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
