#pragma once
/// @file
/// Chunks of panels on their way from the files, ahead of those who work with them.

#include <lintrix/engine/factorization/factor_store.h>
#include <lintrix/engine/factorization/panel_schedule.h>
#include <lintrix/services/export.h>
#include <lintrix/services/work.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Velmar::Lintrix::detail::engine {

/// The chunks of a pass go through slots in turn, a large one through several that follow each other. A slot
/// is filled anew as soon as all users have left it, by whoever calls serve(): threads beside the team, which
/// read ahead, and members of the team that would else wait for what they need. So users follow the pass each
/// at its own pace, as far apart as there are slots.
template <class T>
class LINTRIX_TESTABLE PanelFeed {
public:
    /// The slots stand in `room`, slots() times roomFor() a chunk, or all panels side by side where the
    /// schedule holds them. Without a meter the work goes on.
    PanelFeed(FactorStore<T>& store, const PanelSchedule& schedule, const Factor<T>& exchanges, T* room,
              const WorkMeter* work = nullptr) noexcept;
    static std::int64_t roomOf(const PanelSchedule& schedule) noexcept;

    /// A chunk and its number, by which it has its slot. The same chunk has the same number in each pass.
    struct Chunk {
        PositionRange panels;
        int number;

        bool isNone() const noexcept { return panels.first > panels.last; }
    };

    /// Begins a pass that `users` take part in, after all have left the pass before. `number` is that of the
    /// first chunk. Of panels that are still in their slots the missing halves are read, unless the pass is
    /// one by a group, which reads what it wants.
    void begin(const PanelPass& pass, int number, Halves halves, int users);
    /// Panels from J on are not in the files yet.
    void setBehindWritten(int J);

    Chunk first() const { return firstOf_; }
    Chunk after(const Chunk& chunk) const { return {pass_.after(chunk.panels), chunk.number + pass_.step()}; }
    /// Returns when the chunk is there. @return  null behind the last one, and after a failure
    const Factor<T>* hold(const Chunk& chunk);
    /// One user has done with it. @return  whether there is room again that is worth a call for readers
    bool leave(const Chunk& chunk);

    /// Reads the next piece, where there is room for it. @return  whether there was
    bool serve();
    /// Serves until there is nothing more to read in this pass.
    void serveToEnd();
    /// Ends the pass: nobody reads any more, and nothing is held until the next.
    void end();

    /// The first failure stands, and ends every pass.
    Failure failure() const;

private:
    /// Slots next to each other.
    struct SlotRange {
        int first = 0, behind = 0;

        bool meets(const SlotRange& other) const noexcept
        {
            return first < other.behind && other.first < behind;
        }
    };
    /// A chunk, and where it stands.
    struct Place {
        PositionRange panels{0, -1};
        SlotRange slots;
        Halves halves = Halves::None; ///< that are there, or on their way
        Halves reads = Halves::None;  ///< that this pass has to bring
        Factor<T> at{};
        SumBalance balance;
        int users = 0;    ///< that have not left it in this pass
        int onTheWay = 0; ///< pieces
        bool isDealtOut = false;
    };
    /// Panels to be read to a place.
    struct Piece {
        PanelPiece panels;
        Place* place = nullptr;
    };

    // No more chunks can be at work than there are slots.
    Place& placeOf(int number) noexcept { return places_[static_cast<unsigned>(number % schedule_.slots())]; }
    bool goesOn() const noexcept { return work_ == nullptr || work_->goesOn(); }
    void tell();
    void await(std::unique_lock<std::mutex>& lock);
    void fail(const Failure& failure);
    bool isThere(const Chunk& chunk) noexcept;
    bool opens(Place& place);
    SlotRange nextSlots() const noexcept;
    bool clears(const SlotRange& slots) noexcept;
    void give(Place& place, const SlotRange& slots);
    Piece takePiece();
    void dealtOut(Place& place);
    void settle(const Place& place);
    void bring(const Piece& piece, std::unique_lock<std::mutex>& lock);

    FactorStore<T>& store_;
    const PanelSchedule& schedule_;
    Factor<T> exchanges_;
    T* room_;
    const WorkMeter* work_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<unsigned> changes_{0};
    std::array<Place, PanelSchedule::kMostSlots> places_{};
    PanelPass pass_;
    Halves halves_ = Halves::None;
    int users_ = 0;
    Chunk firstOf_{{0, -1}, 0}, next_{{0, -1}, 0}; // to be dealt out
    int nextPanel_ = 0, nextShare_ = 0;            // of it, once it has its place
    bool hasPlace_ = false;
    int turn_ = 0; // the slot that the pass has come to
    int behindWritten_ = 0;
    int onTheWay_ = 0;
    Failure failure_;
};

} // namespace Velmar::Lintrix::detail::engine
