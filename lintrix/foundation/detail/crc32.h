#pragma once
/// @file
/// CRC-32 (polynomial 0x04C11DB7 reflected, start and end inverted: that of IEEE 802.3).

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Velmar::Lintrix::detail {

static_assert(std::endian::native == std::endian::little, "the words of the sum are read as they stand");

/// Running sum. Eight bytes a step: table[k][b] is the effect of byte b with k more bytes behind it
/// (Kounavis and Berry, "slicing-by-8", 2005).
class Crc32 {
public:
    void update(const void* bytes, std::size_t count) noexcept
    {
        const auto* p = static_cast<const unsigned char*>(bytes);
        for (; count >= 8; p += 8, count -= 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            word ^= state_;
            state_ = 0;
            for (unsigned k = 0; k < 8; ++k) state_ ^= kTable[7 - k][(word >> (8 * k)) & 0xff];
        }
        for (; count > 0; ++p, --count) state_ = (state_ >> 8) ^ kTable[0][(state_ ^ *p) & 0xff];
    }
    std::uint32_t value() const noexcept { return ~state_; }

private:
    using Table = std::array<std::array<std::uint32_t, 256>, 8>;

    static constexpr Table makeTable()
    {
        Table table{};
        for (std::uint32_t b = 0; b < 256; ++b) {
            std::uint32_t sum = b;
            for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ (sum & 1 ? 0xEDB88320u : 0u);
            table[0][b] = sum;
        }
        for (std::size_t k = 1; k < 8; ++k) {
            for (std::size_t b = 0; b < 256; ++b) {
                table[k][b] = (table[k - 1][b] >> 8) ^ table[0][table[k - 1][b] & 0xff];
            }
        }
        return table;
    }
    static const Table kTable;

    std::uint32_t state_ = 0xFFFFFFFFu;
};

inline constexpr Crc32::Table Crc32::kTable = Crc32::makeTable();

} // namespace Velmar::Lintrix::detail
