#include <lintrix/engine/factorization/panel_feed.h>

#include <complex>

namespace Velmar::Lintrix::detail::engine {

template <class T>
PanelFeed<T>::PanelFeed(FactorStore<T>& store, const PanelSchedule& schedule, const Factor<T>& exchanges,
                        T* room, const WorkMeter* work) noexcept
    : store_(store), schedule_(schedule), exchanges_(exchanges), room_(room), work_(work),
      pass_(PanelPass::upwards(schedule)), behindWritten_(schedule.supernodes())
{
}

template <class T>
std::int64_t PanelFeed<T>::roomOf(const PanelSchedule& schedule) noexcept
{
    const int rooms = schedule.holdsAll() ? 1 : schedule.slots();
    return rooms * FactorStore<T>::roomFor(schedule.chunkRoom());
}

template <class T>
void PanelFeed<T>::begin(const PanelPass& pass, int number, Halves halves, int users)
{
    const std::lock_guard lock(mutex_);
    pass_ = pass;
    halves_ = halves;
    users_ = users;
    next_ = firstOf_ = {pass.first(), number};
    hasSlot_ = false;
}

template <class T>
void PanelFeed<T>::setBehindWritten(int J)
{
    const std::lock_guard lock(mutex_);
    behindWritten_ = J;
}

template <class T>
const Factor<T>* PanelFeed<T>::hold(const Chunk& chunk)
{
    if (chunk.isNone()) return nullptr;
    const bool isStopped = !goesOn();
    std::unique_lock lock(mutex_);
    if (isStopped) fail(stopped());
    while (!failure_ && !isThere(chunk)) {
        const Piece piece = next_.number == chunk.number ? takePiece() : Piece{};
        if (piece.slot != nullptr) {
            bring(piece, lock);
        } else if (!isThere(chunk)) {
            changed_.wait(lock);
        }
    }
    return failure_ ? nullptr : &slotOf(chunk.number).at;
}

template <class T>
bool PanelFeed<T>::leave(const Chunk& chunk)
{
    const std::lock_guard lock(mutex_);
    const bool isFree = --slotOf(chunk.number).users == 0;
    if (isFree) changed_.notify_all();
    return isFree;
}

template <class T>
bool PanelFeed<T>::serve()
{
    std::unique_lock lock(mutex_);
    const Piece piece = failure_ ? Piece{} : takePiece();
    if (piece.slot == nullptr) return false;
    bring(piece, lock);
    return true;
}

template <class T>
void PanelFeed<T>::serveToEnd()
{
    std::unique_lock lock(mutex_);
    while (!failure_ && !next_.isNone()) {
        if (const Piece piece = takePiece(); piece.slot != nullptr) {
            bring(piece, lock);
        } else if (!next_.isNone()) {
            changed_.wait(lock);
        }
    }
}

template <class T>
void PanelFeed<T>::end()
{
    std::unique_lock lock(mutex_);
    next_ = firstOf_ = {{0, -1}, 0};
    changed_.wait(lock, [this] { return onTheWay_ == 0; });
    for (Slot& slot : slots_) slot.users = 0;
}

template <class T>
Failure PanelFeed<T>::failure() const
{
    const std::lock_guard lock(mutex_);
    return failure_;
}

template <class T>
bool PanelFeed<T>::isThere(const Chunk& chunk) noexcept
{
    const Slot& slot = slotOf(chunk.number);
    return slot.users > 0 && slot.panels.first == chunk.panels.first && slot.isDealtOut && slot.onTheWay == 0;
}

// Whether the next chunk could be given its slot.
template <class T>
bool PanelFeed<T>::opens(Slot& slot)
{
    if (slot.users > 0 || next_.panels.last >= behindWritten_) return false;
    const bool stays = !pass_.isByGroup() && slot.panels.first == next_.panels.first &&
                       slot.panels.last == next_.panels.last;
    if (!stays) slot.halves = Halves::None;
    slot.panels = next_.panels;
    slot.reads = without(halves_, slot.halves);
    slot.halves = slot.halves | halves_;
    T* const place = room_ + (&slot - slots_.data()) * FactorStore<T>::roomFor(schedule_.chunkRoom());
    slot.at = schedule_.holdsAll() ? store_.placedIn(room_, {0, schedule_.supernodes() - 1}, exchanges_)
                                   : store_.placedIn(place, slot.panels, exchanges_);
    slot.users = users_;
    slot.isDealtOut = false;
    nextPanel_ = slot.panels.first;
    return hasSlot_ = true;
}

// The next piece in the order of the pass, none where there is no room for it. What needs none is passed by.
template <class T>
typename PanelFeed<T>::Piece PanelFeed<T>::takePiece()
{
    while (!next_.isNone()) {
        Slot& slot = slotOf(next_.number);
        if (!hasSlot_ && !opens(slot)) return {};
        const auto wanted = [this](int K) { return pass_.wants(K); };
        const PositionRange piece = slot.reads == Halves::None
                                        ? PositionRange{0, -1}
                                        : store_.pieceFrom(nextPanel_, slot.panels.last, wanted);
        const bool isNone = piece.first > piece.last;
        if (isNone || piece.last == slot.panels.last) {
            slot.isDealtOut = true;
            next_ = after(next_);
            hasSlot_ = false;
            changed_.notify_all();
        }
        if (isNone) continue;
        nextPanel_ = piece.last + 1;
        ++slot.onTheWay;
        ++onTheWay_;
        return {piece, &slot};
    }
    return {};
}

template <class T>
void PanelFeed<T>::fail(const Failure& failure)
{
    if (!failure_) failure_ = failure;
    changed_.notify_all();
}

// Leaves the lock for the length of the transfer.
template <class T>
void PanelFeed<T>::bring(const Piece& piece, std::unique_lock<std::mutex>& lock)
{
    const Factor<T> into = piece.slot->at;
    const Halves halves = piece.slot->reads;
    lock.unlock();
    const Failure failure = goesOn() ? store_.read(piece.panels, into, halves) : stopped();
    lock.lock();
    if (failure) fail(failure);
    --piece.slot->onTheWay;
    --onTheWay_;
    changed_.notify_all();
}

template class PanelFeed<float>;
template class PanelFeed<double>;
template class PanelFeed<std::complex<float>>;
template class PanelFeed<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
