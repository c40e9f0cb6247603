#pragma once
/// @file
/// One raw block of the allocators with exactly one owner.

#include <lintrix/foundation/allocators.h>

#include <complex>
#include <cstdint>
#include <cstring>
#include <utility>

namespace Velmar::Lintrix::detail {

/// The allocator of each cell type.
template <class Cell>
Cell* allocateCells(std::uint64_t cells);
template <>
inline double* allocateCells<double>(std::uint64_t cells)
{
    return _malloc_double(cells);
}
template <>
inline std::complex<double>* allocateCells<std::complex<double>>(std::uint64_t cells)
{
    return reinterpret_cast<std::complex<double>*>(_malloc_Complex(cells)); // laid out alike
}
template <>
inline std::int32_t* allocateCells<std::int32_t>(std::uint64_t cells)
{
    return _malloc_int(cells);
}

/// The resizing function of each cell type.
template <class Cell>
Cell* reallocateCells(Cell* block, std::uint64_t cells);
template <>
inline double* reallocateCells<double>(double* block, std::uint64_t cells)
{
    return _realloc_double(block, cells);
}
template <>
inline std::complex<double>* reallocateCells<std::complex<double>>(std::complex<double>* block,
                                                                   std::uint64_t cells)
{
    auto* const pairs = reinterpret_cast<_TRELL_Complex*>(block);
    return reinterpret_cast<std::complex<double>*>(_realloc_Complex(pairs, cells));
}
template <>
inline std::int32_t* reallocateCells<std::int32_t>(std::int32_t* block, std::uint64_t cells)
{
    return _realloc_int(block, cells);
}

/// Owns a block; moving hands it over, and that is how an object adopts a block without copying.
/// A 32-bit count is widened with its sign: a wrapped, negative one is refused by the allocator.
template <class Cell>
class Block {
public:
    Block() noexcept = default;
    /// @throws NotEnoughMemoryException  default message
    explicit Block(std::int64_t cells) : cells_(allocateCells<Cell>(static_cast<std::uint64_t>(cells))) {}
    static Block zeroed(std::int64_t cells)
    {
        Block block(cells);
        block.clear(cells);
        return block;
    }
    static Block copyOf(const Cell* source, std::int64_t cells)
    {
        Block block(cells);
        std::memcpy(block.get(), source, bytes(cells));
        return block;
    }

    Block(Block&& other) noexcept : cells_(other.release()) {}
    /// Releases the own block at once; `other` is left empty, unless it is this one.
    Block& operator=(Block&& other) noexcept
    {
        Block taken(std::move(other));
        std::swap(cells_, taken.cells_);
        return *this;
    }
    ~Block() { _free_mem_int(cells_); }

    Cell* get() const noexcept { return cells_; }
    Cell& operator[](std::int64_t i) const noexcept { return cells_[i]; }
    explicit operator bool() const noexcept { return cells_ != nullptr; }

    /// How many cells the block truly holds: what was asked for, or what fills the smallest block. 0 if there
    /// is none.
    std::int64_t cells() const noexcept
    {
        return cells_ ? static_cast<std::int64_t>(blockBytes(cells_) / sizeof(Cell)) : 0;
    }
    /// Gives an owned block another size and keeps what fits; new cells are uninitialised. The address may
    /// change.
    /// @throws NotEnoughMemoryException  the block stays as it is, but the memory total has lost its size:
    /// see
    /// `_realloc_gen`
    void resize(std::int64_t cells) { cells_ = reallocateCells(cells_, static_cast<std::uint64_t>(cells)); }

    /// Keeps the first `cells` of its cells, in place where the system can. The address may change.
    void shrink(std::int64_t cells) noexcept
    {
        cells_ = static_cast<Cell*>(shrinkBlock(cells_, bytes(cells)));
    }

    /// Gives the block up without freeing it.
    Cell* release() noexcept { return std::exchange(cells_, nullptr); }
    void reset() noexcept { _free_mem_int(release()); }
    /// The first `cells` cells to zero bytes.
    void clear(std::int64_t cells) noexcept { std::memset(static_cast<void*>(cells_), 0, bytes(cells)); }

private:
    static std::size_t bytes(std::int64_t cells) { return static_cast<std::size_t>(cells) * sizeof(Cell); }

    Cell* cells_ = nullptr;
};

} // namespace Velmar::Lintrix::detail
