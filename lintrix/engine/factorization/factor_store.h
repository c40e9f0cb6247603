#pragma once
/// @file
/// One factor of a handle in the files of the out-of-core mode.

#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/engine/out_of_core/factor_files.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Which panels of a supernode.
enum class Halves : unsigned { None = 0, Lower = 1, Upper = 2, Both = 3 };

constexpr bool includes(Halves halves, Halves half) noexcept
{
    return (static_cast<unsigned>(halves) & static_cast<unsigned>(half)) != 0;
}
constexpr Halves operator|(Halves halves, Halves others) noexcept
{
    return Halves(static_cast<unsigned>(halves) | static_cast<unsigned>(others));
}
constexpr Halves without(Halves halves, Halves others) noexcept
{
    return Halves(static_cast<unsigned>(halves) & ~static_cast<unsigned>(others));
}

/// Panels stand in the files as they would in memory, one after another, those of factor `mnum` behind those
/// of the factors before it. Each has a check sum, and the sums of a factor are an array of their own, as are
/// its exchanges.
template <class T>
class LINTRIX_TESTABLE FactorStore {
public:
    FactorStore(const FactorPlan& plan, OpenFactorFiles& files, int mnum) noexcept;

    /// Room for the check sums. @return  {Memory, -1200}
    Failure allocate();
    static std::int64_t sumBytes(const FactorPlan& plan) noexcept;

    /// Elements of the panels of L and U together.
    std::int64_t elements(PositionRange panels) const noexcept;
    /// The panels side by side in `room`, a block or a part of one from a multiple of its alignment on, of
    /// roomFor(elements(panels)): L, then U. The pointers are set back, so that the offsets of the plan hold.
    /// Each panel stands where it would in memory modulo the alignment, so that kernels of BLAS, some of
    /// which take a vector from its first aligned element on, round as they do there.
    Factor<T> placedIn(T* room, PositionRange panels, const Factor<T>& exchanges) const noexcept;

    /// Elements of a room for so many of panels, a multiple of the alignment.
    static constexpr std::int64_t roomFor(std::int64_t elements) noexcept
    {
        return nextLike(0, elements + 2 * (kLine - 1));
    }
    /// What a room may take beside the panels: L and U begin late, and their end is filled up.
    static constexpr std::int64_t mostBeside() noexcept { return 3 * (kLine - 1); }

    /// The next piece from J on of the wanted panels up to `last`: panels in a row, large enough for a disk,
    /// small enough to be dealt out. Without any, first is above last.
    template <class Wanted>
    PositionRange pieceFrom(int J, int last, const Wanted& wanted) const
    {
        constexpr std::int64_t most = (1 << 20) / std::int64_t{sizeof(T)};
        while (J <= last && !wanted(J)) ++J;
        PositionRange piece{J, std::min(J, last)};
        while (piece.last < last && wanted(piece.last + 1) && elements({J, piece.last + 1}) <= most)
            ++piece.last;
        return piece;
    }

    /// Several threads may write and read different panels at a time.
    /// @return  {OutOfCoreTransfer, -11}
    Failure write(PositionRange panels, const Factor<T>& from);
    /// @return  {OutOfCoreTransfer, -11}  also where a panel is not what was written
    Failure read(PositionRange panels, const Factor<T>& into, Halves halves = Halves::Both);
    /// Gives the room that the panels take on the disk back, as far as the file system does. Needs no check
    /// sums.
    void giveBack() noexcept;

    /// Check sums and exchanges: written when all panels are, read before the first of them.
    Failure writeTables(const Factor<T>& factor);
    Failure readTables(const Factor<T>& factor);

private:
    static constexpr std::int64_t kLine = kBlockAlignment / sizeof(T);

    // The first place from `place` on that is `like` modulo a line.
    static constexpr std::int64_t nextLike(std::int64_t like, std::int64_t place) noexcept
    {
        return place + ((like - place) % kLine + kLine) % kLine;
    }

    // The panels of L, or those of U.
    struct Half {
        FactorFile file, sumsFile;
        std::span<const std::int64_t> starts;
        std::int64_t origin; // in the file, bytes
        std::span<std::uint64_t> sums;

        std::int64_t elements(PositionRange panels) const
        {
            return starts[panels.last + 1] - starts[panels.first];
        }
    };

    bool hasUpper() const noexcept { return !plan_.upperStarts.empty(); }
    Half lower() const noexcept;
    Half upper() const noexcept;
    std::span<std::byte> cells(const Half& half, PositionRange panels, T* panelsOfHalf) const noexcept;
    Failure writeHalf(const Half& half, PositionRange panels, T* from);
    Failure readHalf(const Half& half, PositionRange panels, T* into);
    template <class Transfer>
    Failure forEachTable(const Factor<T>& factor, Transfer transfer);

    const FactorPlan& plan_;
    OpenFactorFiles& files_;
    std::int64_t before_; // factors that stand in front
    Scratch<std::uint64_t> sums_;
};

} // namespace Velmar::Lintrix::detail::engine
