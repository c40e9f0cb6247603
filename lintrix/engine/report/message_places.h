#pragma once
/// @file
/// The places of a row: %d, %f and %s for arguments, %% for a per cent sign.

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// A text up to its next place, and the letter of that place.
struct MessagePiece {
    static constexpr char kEnd = '\0';       ///< the text ends without one
    static constexpr char kUnfinished = ' '; ///< it ends with a per cent sign alone

    std::string_view text;
    char place;
};

/// Takes a piece off the front of `rest`.
inline MessagePiece takePiece(std::string_view& rest) noexcept
{
    const std::size_t sign = std::min(rest.find('%'), rest.size());
    MessagePiece piece{rest.substr(0, sign), MessagePiece::kEnd};
    if (sign < rest.size()) piece.place = sign + 1 < rest.size() ? rest[sign + 1] : MessagePiece::kUnfinished;
    rest.remove_prefix(std::min(sign + 2, rest.size()));
    return piece;
}

} // namespace Velmar::Lintrix::detail::engine
