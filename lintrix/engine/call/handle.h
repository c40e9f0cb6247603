#pragma once
/// @file
/// The caller's 64 pointer-sized slots. This is the only place that knows which slot holds what, and the only
/// one that takes or gives back the blocks behind them.

#include <lintrix/engine/call/control_block.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

enum class Slot : int {
    Calls = 0,             ///< count of calls since the last analysis began; 0: nothing is held
    Control = 1,           ///< ControlBlock
    FactorTable = 3,       ///< FactorEntry, maxfct of them
    AnalysisWork = 4,      ///< adjacency; freed when analysis ends
    SymbolicWork = 5,      ///< graph in elimination order, tree, counts; freed when analysis ends
    SymbolicStructure = 6, ///< supernodes before their final sizes are known; freed when analysis ends
    FactorStructure = 7,   ///< permanent; its presence makes phases 22, 23 and 33 legal
    IntegerWork = 8,       ///< ordering and subgraphs; freed when analysis ends
    RealWork = 9,          ///< of factorization and solve, on demand
    IterationWork = 10,    ///< of refinement and the iterative paths
    UpdateLengths = 11,    ///< of complex or unsymmetric factors
    Matching = 12,         ///< permutation, and for symmetric matrices the pairs
    Scaling = 13,          ///< 2 n doubles: row factors, then column factors
    SolveParts = 15,       ///< lists of supernodes for the threads of a solve
    OutOfCoreControl = 16, ///< OutOfCoreTable
};

/// One factorization of the table in pt[3]: six words.
struct FactorEntry {
    void* storage;             ///< of L and U; null where they are in files
    std::int64_t size;         ///< elements of the factor, kUnset as long as there is none
    std::int64_t bytes;        ///< of the storage
    int* exchanges;            ///< 2 n: rows, then columns, within the diagonal blocks
    int mtype;                 ///< for which the factor was made
    int method;                ///< by which it was made
    std::uint64_t fingerprint; ///< of the values that it was made from
};
static_assert(sizeof(FactorEntry) == 6 * sizeof(void*));

/// The table in pt[16].
struct OutOfCoreTable {
    static constexpr int kPathLength = 1024;
    static constexpr int kControlWords = 128;
    static constexpr int kFiles = 11;

    char* path;             ///< blanks, without a terminating zero
    std::int64_t* control;  ///<
    std::int64_t* control2; ///<
    void** files;           ///<
};

/// A view of the slots. One that is const reads the blocks and no more; a copy is a view of its own.
class LINTRIX_TESTABLE Handle {
public:
    explicit Handle(void** slots) noexcept : slots_(slots) {}

    bool live() const noexcept { return slots_[0] != nullptr; }
    bool holds(Slot slot) const noexcept { return slots_[index(slot)] != nullptr; }
    ControlBlock& control() noexcept { return *block<ControlBlock>(Slot::Control); }
    const ControlBlock& control() const noexcept { return *block<ControlBlock>(Slot::Control); }
    /// The control block, or null.
    const ControlBlock* controlIfAny() const noexcept { return block<ControlBlock>(Slot::Control); }
    std::span<FactorEntry> factors() noexcept { return {block<FactorEntry>(Slot::FactorTable), entries()}; }
    std::span<const FactorEntry> factors() const noexcept
    {
        return {block<FactorEntry>(Slot::FactorTable), entries()};
    }

    /// A new handle: pt[3]..pt[17] cleared, control block and factor table with `maxfct` entries made. All or
    /// nothing: on failure nothing is held. `maxfct` below 1 makes a table of one entry, which the input
    /// check never lets anybody use.
    Failure create(int maxfct);
    /// The control of the out-of-core mode, if it is not there yet.
    Failure createOutOfCoreControl();
    /// A new handle that reads analysis and factors of `host` and solves with them: its control block is a
    /// copy, and the blocks that a solve takes are its own. `host` must be analysed. On failure nothing is
    /// held.
    Failure createGuest(const Handle& host) noexcept;
    bool isGuest() const noexcept { return control()[Word::Guest] != 0; }
    /// Of a guest: what is its own.
    void releaseGuest() noexcept;
    /// The blocks that `create` and `createOutOfCoreControl` make.
    static BlockSum basicBlocks(int maxfct) noexcept;
    /// The count in pt[0].
    void countCall() noexcept { setCalls(calls() + 1); }
    void restartCount() noexcept { setCalls(1); }
    std::uintptr_t calls() const noexcept { return reinterpret_cast<std::uintptr_t>(slots_[0]); }

    /// A zeroed block of `bytes` for an empty slot; null without memory, 0 bytes counting as 1.
    void* allocate(Slot slot, std::int64_t bytes) noexcept;
    /// Takes a block over into an empty slot.
    template <class T>
    void keep(Slot slot, Scratch<T>&& block) noexcept
    {
        slots_[index(slot)] = block.release();
    }
    /// The block in a slot brought to a smaller size, where the allocator agrees.
    void shrink(Slot slot, std::int64_t bytes) noexcept;
    void release(Slot slot) noexcept;

    /// Gives the storage of a factor back and resets its entry.
    static void releaseFactor(FactorEntry& entry) noexcept;
    /// What an analysis made and all that stands on it: every factor, pt[15] down to pt[4].
    /// @return  how many factors there were
    int releaseAnalysis() noexcept;
    /// Everything but the files of the out-of-core mode, which somebody must have removed before; pt[0] reads
    /// zero again. @return  how many factors there were
    int releaseAll() noexcept;

    /// The array in the block of a slot.
    template <class T>
    std::span<T> array(Slot slot, Array name, std::int64_t count) noexcept
    {
        return {reinterpret_cast<T*>(block<int>(slot) + control()[name]), static_cast<std::size_t>(count)};
    }
    template <class T>
    std::span<const T> array(Slot slot, Array name, std::int64_t count) const noexcept
    {
        return {reinterpret_cast<const T*>(block<int>(slot) + control()[name]),
                static_cast<std::size_t>(count)};
    }
    template <class T>
    T* block(Slot slot) noexcept
    {
        return static_cast<T*>(slots_[index(slot)]);
    }
    template <class T>
    const T* block(Slot slot) const noexcept
    {
        return static_cast<const T*>(slots_[index(slot)]);
    }

private:
    static constexpr int index(Slot slot) noexcept { return static_cast<int>(slot); }
    std::size_t entries() const noexcept
    {
        return static_cast<std::size_t>(std::max(control()[Word::Maxfct], 1));
    }
    void setCalls(std::uintptr_t count) noexcept { slots_[0] = reinterpret_cast<void*>(count); }

    void** slots_;
};

/// Lays the arrays of one block out, one after another from multiples of 8 bytes on.
class BlockLayout {
public:
    explicit BlockLayout(ControlBlock& control) noexcept : control_(control) {}

    template <class T>
    BlockLayout& add(Array name, std::int64_t count) noexcept
    {
        static_assert(sizeof(T) == 4 || sizeof(T) == 8);
        if (fits()) control_[name] = static_cast<int>(words_);
        const std::int64_t words = count * static_cast<std::int64_t>(sizeof(T) / sizeof(int));
        words_ += (words + 1) / 2 * 2;
        return *this;
    }
    /// Whether an offset holds every place reached so far.
    bool fits() const noexcept { return words_ <= 0x7fffffff; }
    std::int64_t bytes() const noexcept { return words_ * static_cast<std::int64_t>(sizeof(int)); }

    /// The block for the layout, in an empty slot. Overflow, or a failed allocation under `code`.
    Failure allocate(Handle handle, Slot slot, BlockCode code) const
    {
        if (!fits()) return overflow();
        return handle.allocate(slot, bytes()) != nullptr ? Failure{} : outOfMemory(code, bytes());
    }

private:
    ControlBlock& control_;
    std::int64_t words_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
