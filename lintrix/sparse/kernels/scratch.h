#pragma once
/// @file
/// Scratch of one call from the buffer pool.

#include <lintrix/services/buffer_pool.h>

#include <cstddef>

namespace Velmar::Lintrix::detail {

/// `count` cells, uninitialised, 128-byte aligned where the pool serves the request; given back at the end of
/// the scope. Whether the memory was there is asked with isThere().
template <class Cell>
class Scratch {
public:
    explicit Scratch(std::size_t count) noexcept
        : count_(count), cells_(static_cast<Cell*>(poolAllocate(count * sizeof(Cell), 128)))
    {
    }
    ~Scratch() { poolRelease(cells_); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    bool isThere() const noexcept { return cells_ != nullptr || count_ == 0; }
    std::size_t size() const noexcept { return count_; }
    Cell* get() const noexcept { return cells_; }
    Cell& operator[](std::size_t i) const noexcept { return cells_[i]; }

private:
    std::size_t count_;
    Cell* cells_;
};

} // namespace Velmar::Lintrix::detail
