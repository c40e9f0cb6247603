#include <lintrix/engine/factorization/panel_feed.h>

#include <algorithm>
#include <chrono>
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
    hasPlace_ = false;
    turn_ = 0;
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
        if (const Piece piece = takePiece(); piece.place != nullptr) {
            bring(piece, lock);
        } else if (!failure_ && !isThere(chunk)) {
            await(lock);
        }
    }
    return failure_ ? nullptr : &placeOf(chunk.number).at;
}

template <class T>
bool PanelFeed<T>::leave(const Chunk& chunk)
{
    const std::lock_guard lock(mutex_);
    const bool isFree = --placeOf(chunk.number).users == 0;
    if (isFree) tell();
    return isFree && chunk.number % std::max(1, schedule_.slotsAtHand() / 2) == 0;
}

template <class T>
bool PanelFeed<T>::serve()
{
    std::unique_lock lock(mutex_);
    const Piece piece = failure_ ? Piece{} : takePiece();
    if (piece.place == nullptr) return false;
    bring(piece, lock);
    return true;
}

template <class T>
void PanelFeed<T>::serveToEnd()
{
    std::unique_lock lock(mutex_);
    while (!failure_ && !next_.isNone()) {
        if (const Piece piece = takePiece(); piece.place != nullptr) {
            bring(piece, lock);
        } else if (!failure_ && !next_.isNone()) {
            await(lock);
        }
    }
}

template <class T>
void PanelFeed<T>::end()
{
    std::unique_lock lock(mutex_);
    next_ = firstOf_ = {{0, -1}, 0};
    changed_.wait(lock, [this] { return onTheWay_ == 0; });
    for (Place& place : places_) place.users = 0;
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
    const Place& place = placeOf(chunk.number);
    return place.users > 0 && place.panels.first == chunk.panels.first && place.isDealtOut &&
           place.onTheWay == 0;
}

// The slots that the next chunk goes to. The turn passes through the slots at hand, by which the memory of
// each is in the cache when it comes again, and at the end of a pass goes on to the others, whose panels the
// next pass will find. A large chunk takes its slots wherever the turn is.
template <class T>
typename PanelFeed<T>::SlotRange PanelFeed<T>::nextSlots() const noexcept
{
    if (schedule_.holdsAll() || pass_.isByGroup()) {
        const int slot = next_.number % schedule_.slots();
        return {slot, slot + 1};
    }
    const std::int64_t slotRoom = FactorStore<T>::roomFor(schedule_.chunkRoom());
    const auto count =
        static_cast<int>((FactorStore<T>::roomFor(store_.elements(next_.panels)) - 1) / slotRoom) + 1;
    const int atHand = schedule_.slotsAtHand();
    const bool goesOn = count > atHand / 2 ||
                        pass_.left(next_.panels) <= (schedule_.slots() - atHand) * schedule_.chunkRoom() / 2;
    const int end = goesOn ? schedule_.slots() : atHand;
    int first = pass_.step() > 0 ? turn_ : turn_ - count;
    if (first < 0 || first + count > end) first = pass_.step() > 0 ? 0 : end - count;
    return {first, first + count};
}

// Whether nobody works in these slots any more; then what stands there is given up.
template <class T>
bool PanelFeed<T>::clears(const SlotRange& slots) noexcept
{
    const auto isAtWork = [&](const Place& place) { return place.users > 0 && place.slots.meets(slots); };
    if (std::ranges::any_of(places_, isAtWork)) return false;
    for (Place& place : places_) {
        if (place.slots.meets(slots)) place.panels = {0, -1};
    }
    return true;
}

template <class T>
void PanelFeed<T>::give(Place& place, const SlotRange& slots)
{
    place = {};
    place.panels = next_.panels;
    place.slots = slots;
    T* const room = room_ + slots.first * FactorStore<T>::roomFor(schedule_.chunkRoom());
    place.at = schedule_.holdsAll() ? store_.placedIn(room_, {0, schedule_.supernodes() - 1}, exchanges_)
                                    : store_.placedIn(room, place.panels, exchanges_);
}

// Whether the next chunk could be given its slots. Diagonal blocks that came with L are read all the same:
// whatever has changed in the files is found.
template <class T>
bool PanelFeed<T>::opens(Place& place)
{
    if (place.users > 0 || next_.panels.last >= behindWritten_) return false;
    const bool stays = !pass_.isByGroup() && place.panels.first == next_.panels.first &&
                       place.panels.last == next_.panels.last;
    if (!stays) {
        const SlotRange slots = nextSlots();
        if (!clears(slots)) return false;
        give(place, slots);
    }
    turn_ = pass_.step() > 0 ? place.slots.behind : place.slots.first;
    place.reads = without(halves_, place.halves);
    place.halves = place.halves | halves_;
    place.users = users_;
    place.isDealtOut = false;
    nextPanel_ = place.panels.first;
    nextShare_ = 0;
    return hasPlace_ = true;
}

template <class T>
void PanelFeed<T>::dealtOut(Place& place)
{
    place.isDealtOut = true;
    next_ = after(next_);
    hasPlace_ = false;
    tell();
}

// The next piece in the order of the pass, none where there is no room for it. What needs none is passed by.
template <class T>
typename PanelFeed<T>::Piece PanelFeed<T>::takePiece()
{
    while (!next_.isNone()) {
        Place& place = placeOf(next_.number);
        if (!hasPlace_ && !opens(place)) return {};
        const int last = place.reads == Halves::None ? nextPanel_ - 1 : place.panels.last;
        PanelPiece piece{store_.pieceFrom(nextPanel_, last, [this](int K) { return pass_.wants(K); })};
        if (piece.isNone()) {
            dealtOut(place);
            settle(place);
            continue;
        }
        piece.shares = store_.sharesOf(piece.panels.first);
        piece.share = nextShare_;
        nextShare_ = (nextShare_ + 1) % piece.shares;
        nextPanel_ = nextShare_ > 0 ? piece.panels.first : piece.panels.last + 1;
        if (nextPanel_ > place.panels.last) dealtOut(place);
        ++place.onTheWay;
        ++onTheWay_;
        return {piece, &place};
    }
    return {};
}

template <class T>
void PanelFeed<T>::tell()
{
    ++changes_;
    changed_.notify_all();
}

// Returns when something has changed. A piece is there in less time than the system takes to wake a thread,
// so nobody sleeps at once.
template <class T>
void PanelFeed<T>::await(std::unique_lock<std::mutex>& lock)
{
    using Clock = std::chrono::steady_clock;
    const unsigned seen = changes_;
    lock.unlock();
    for (const auto end = Clock::now() + std::chrono::microseconds(50);
         changes_ == seen && Clock::now() < end;) {
    }
    lock.lock();
    changed_.wait(lock, [&] { return changes_ != seen; });
}

template <class T>
void PanelFeed<T>::fail(const Failure& failure)
{
    if (!failure_) failure_ = failure;
    tell();
}

// Panels that are all there must be those that were written.
template <class T>
void PanelFeed<T>::settle(const Place& place)
{
    if (!place.isDealtOut || place.onTheWay > 0) return;
    if (const Failure failure = store_.judge(place.balance)) fail(failure);
}

// Leaves the lock for the length of the transfer.
template <class T>
void PanelFeed<T>::bring(const Piece& piece, std::unique_lock<std::mutex>& lock)
{
    Place& place = *piece.place;
    const Factor<T> into = place.at;
    const Halves halves = place.reads;
    SumBalance balance;
    lock.unlock();
    const Failure failure = goesOn() ? store_.read(piece.panels, into, halves, balance) : stopped();
    lock.lock();
    if (failure) fail(failure);
    place.balance += balance;
    --place.onTheWay;
    --onTheWay_;
    settle(place);
    tell();
}

template class PanelFeed<float>;
template class PanelFeed<double>;
template class PanelFeed<std::complex<float>>;
template class PanelFeed<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
