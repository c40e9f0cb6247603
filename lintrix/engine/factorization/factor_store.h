#pragma once
/// @file
/// One factor of a handle in the files of the out-of-core mode.

#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/engine/out_of_core/factor_files.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Which panels of a supernode. The diagonal block is the top of the panel of L, and may be had without what
/// is below it.
enum class Halves : unsigned { None = 0, Lower = 1, Upper = 2, Both = 3, Block = 4, UpperAndBlock = 6 };

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

/// What one thread reads at a time: panels in a row, or of a large one a share.
struct PanelPiece {
    PositionRange panels{0, -1};
    int share = 0, shares = 1;

    bool isNone() const noexcept { return panels.first > panels.last; }
};

/// Of panels that are being read the check sums that were found less those that are told, by their arrays:
/// null when all of them are there and as they were written.
struct SumBalance {
    std::array<std::uint64_t, 3> ofHalves{};

    SumBalance& operator+=(const SumBalance& more) noexcept
    {
        for (std::size_t k = 0; k < ofHalves.size(); ++k) ofHalves[k] += more.ofHalves[k];
        return *this;
    }
};

/// Panels stand in the files as they would in memory, one after another, those of factor `mnum` behind those
/// of the factors before it. Behind the panels of U stand the diagonal blocks once more, so that a pass which
/// needs them and U reads nothing else of L. Each panel has a check sum, made of those of its parts: so
/// several threads can read it. The sums of a factor are an array of their own, as are its exchanges.
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

    /// The next panels from J on of the wanted ones up to `last` that are read together: in a row, large
    /// enough for a disk, small enough for the cache of one thread. Without any, first is above last.
    template <class Wanted>
    PositionRange pieceFrom(int J, int last, const Wanted& wanted) const
    {
        while (J <= last && !wanted(J)) ++J;
        return pieceOf(kPiece, J, last, wanted);
    }
    /// The next panels from J on up to `last` that are written together. The system keeps in few large blocks
    /// of its memory what it is given at a time, and copies from these faster than from many small ones.
    PositionRange writtenFrom(int J, int last) const
    {
        return pieceOf(kWritten, J, last, [](int) { return true; });
    }
    /// How many threads may share the panels of J: one unless they are larger than a piece.
    int sharesOf(int J) const noexcept
    {
        return static_cast<int>(std::clamp<std::int64_t>(elements({J, J}) / kPiece, 1, kMostShares));
    }

    /// Several threads may write and read different panels at a time.
    /// @return  {OutOfCoreTransfer, -11}
    Failure write(PositionRange panels, const Factor<T>& from);
    /// Whether panels are what was written shows in `balance`, when all their shares have been read.
    /// @return  {OutOfCoreTransfer, -11}
    Failure read(const PanelPiece& piece, const Factor<T>& into, Halves halves, SumBalance& balance);
    /// @return  {OutOfCoreTransfer, -11} for the file of a panel that is not what was written
    Failure judge(const SumBalance& balance) const noexcept;
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

    static constexpr std::int64_t kPiece = (256 << 10) / std::int64_t{sizeof(T)};
    static constexpr std::int64_t kWritten = (1 << 20) / std::int64_t{sizeof(T)};
    static constexpr std::int64_t kMostShares = 1 << 16;
    // Of a panel, with a check sum of its own; from one to the next it stays in the cache that is nearest.
    static constexpr std::int64_t kPart = (32 << 10) / std::int64_t{sizeof(T)};

    // The panels of L, those of U, or the diagonal blocks in the file of U.
    struct Half {
        FactorFile file;
        std::span<const std::int64_t> starts, less; // panel J begins at starts[J] - less[J]
        std::int64_t origin;                        // in the file, elements
        std::span<std::uint64_t> sums;

        std::int64_t startOf(int J) const { return starts[J] - (less.empty() ? 0 : less[J]); }
        std::int64_t elements(PositionRange panels) const
        {
            return startOf(panels.last + 1) - startOf(panels.first);
        }
        std::int64_t offset(int J, std::int64_t element) const
        {
            return (origin + startOf(J) + element) * std::int64_t{sizeof(T)};
        }
    };
    // Elements of a panel, or of several in a row.
    struct Stretch {
        std::int64_t first, behind;
        std::int64_t count() const { return behind - first; }
    };

    // Panels from J on, as long as they are wanted and no more than `most` elements, but J at least.
    template <class Wanted>
    PositionRange pieceOf(std::int64_t most, int J, int last, const Wanted& wanted) const
    {
        PositionRange piece{J, std::min(J, last)};
        while (piece.last < last && wanted(piece.last + 1) && elements({J, piece.last + 1}) <= most)
            ++piece.last;
        return piece;
    }
    bool hasUpper() const noexcept { return !plan_.upperStarts.empty(); }
    Half lower() const noexcept;
    Half upper() const noexcept;
    Half blocks() const noexcept;
    static Stretch shareOf(const PanelPiece& piece, std::int64_t elements) noexcept;
    static std::uint64_t partSums(const T* cells, Stretch stretch) noexcept;
    static void enter(const Half& half, int J, const PanelPiece& piece, std::uint64_t found,
                      std::uint64_t& balance) noexcept;
    template <class Move>
    void forBlockCells(int J, Stretch stretch, T* lower, const Move& move) const;
    PositionRange blocksTogether(int J, int last) const noexcept;
    Failure writeHalf(const Half& half, PositionRange panels, const T* from);
    Failure writeBlocks(PositionRange panels, T* lower);
    Failure readHalf(const Half& half, const PanelPiece& piece, T* into, std::uint64_t& balance);
    Failure readBlocks(const PanelPiece& piece, T* lower, std::uint64_t& balance);
    template <class Transfer>
    Failure forEachTable(const Factor<T>& factor, Transfer transfer);

    const FactorPlan& plan_;
    OpenFactorFiles& files_;
    std::int64_t before_; // factors that stand in front
    Scratch<std::uint64_t> sums_;
};

} // namespace Velmar::Lintrix::detail::engine
