#include <lintrix/engine/solution/panel_stream.h>

#include <complex>

namespace Velmar::Lintrix::detail::engine {

namespace {

int chunksOf(const PanelSchedule& schedule)
{
    int count = 0;
    const PanelPass pass = PanelPass::upwards(schedule);
    for (PositionRange chunk = pass.first(); chunk.first <= chunk.last; chunk = pass.after(chunk)) ++count;
    return count;
}

} // namespace

template <class T>
PanelStream<T>::PanelStream(FactorStore<T>& store, const PanelSchedule& schedule,
                            const StoredFactor<T>& factor, T* room, int threads) noexcept
    : schedule_(schedule), factor_(factor), threads_(threads), chunks_(chunksOf(schedule)),
      feed_(store, schedule, factor.panels, room, factor.work),
      attendants_(attendantsBeside(threads), serve, this)
{
}

template class PanelStream<float>;
template class PanelStream<double>;
template class PanelStream<std::complex<float>>;
template class PanelStream<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
