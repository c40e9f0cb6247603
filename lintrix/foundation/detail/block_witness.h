#pragma once
/// @file
/// Tells whether a block that somebody looks into is still there. The hardened build alone keeps book of it;
/// in every other a witness is empty and its question costs nothing.

#include <lintrix/services/export.h>
#include <lintrix/services/hardening.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Enters the block, and tells the number under which it is known until it is freed or moved.
LINTRIX_EXPORT std::uint64_t watchBlock(const void* block);
/// Strikes the block off, if it was entered: every release and every move passes here.
void forgetBlock(const void* block) noexcept;
/// @throws InvalidOperationException  "The view has outlived the block that it shows."
LINTRIX_EXPORT void requireWatched(const void* block, std::uint64_t number);

template <bool watching>
class BlockWitnessOf;

template <>
class BlockWitnessOf<false> {
public:
    BlockWitnessOf() noexcept = default;
    explicit BlockWitnessOf(const void*) noexcept {}
    void require() const noexcept {}
};

/// An address alone would not do: the next block may stand where the last one stood.
template <>
class BlockWitnessOf<true> {
public:
    BlockWitnessOf() noexcept = default; ///< of memory that no block holds; never refuses
    explicit BlockWitnessOf(const void* block) : block_(block), number_(block ? watchBlock(block) : 0) {}
    void require() const
    {
        if (block_ != nullptr) requireWatched(block_, number_);
    }

private:
    const void* block_ = nullptr;
    std::uint64_t number_ = 0;
};

using BlockWitness = BlockWitnessOf<kHardened>;

} // namespace Velmar::Lintrix::detail
