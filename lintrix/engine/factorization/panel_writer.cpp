#include <lintrix/engine/factorization/panel_writer.h>

#include <complex>

namespace Velmar::Lintrix::detail::engine {

template <class T>
void PanelWriter<T>::begin(PositionRange group, const Factor<T>& panels)
{
    const std::lock_guard lock(mutex_);
    rest_ = group;
    panels_ = panels;
}

template <class T>
bool PanelWriter<T>::isFinished(PositionRange piece) const
{
    int J = piece.first;
    while (J <= piece.last && team_.isFinished(J)) ++J;
    return J > piece.last;
}

template <class T>
bool PanelWriter<T>::serve()
{
    std::unique_lock lock(mutex_);
    if (rest_.first > rest_.last || team_.hasFailed()) return false;
    const PositionRange piece = store_.writtenFrom(rest_.first, rest_.last);
    if (!isFinished(piece)) return false;
    rest_.first = piece.last + 1;
    ++onTheWay_;
    lock.unlock();
    team_.heed();
    if (!team_.hasFailed()) {
        if (const Failure failure = store_.write(piece, panels_)) team_.fail(failure);
    }
    lock.lock();
    if (--onTheWay_ == 0) arrived_.notify_all();
    return true;
}

template <class T>
void PanelWriter<T>::finish()
{
    while (serve()) {
    }
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return onTheWay_ == 0; });
}

template class PanelWriter<float>;
template class PanelWriter<double>;
template class PanelWriter<std::complex<float>>;
template class PanelWriter<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
