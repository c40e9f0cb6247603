#pragma once
/// @file
/// Catalogues as a user would write them.

#include <lintrix/engine/report/message_catalogue.h>

#include <cstddef>
#include <cstdio>
#include <string>

namespace Velmar::Lintrix::testing {

inline std::string identifierOf(detail::engine::Message message)
{
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", 0x80000000U + static_cast<unsigned>(message));
    return digits;
}

/// A template to translate: every row that a catalogue may hold, as it is built in.
inline std::string builtInCatalogue()
{
    using namespace detail::engine;
    std::string all = "lintrix messages 1\n";
    for (std::size_t k = 0; k < kMessages; ++k) {
        const auto message = static_cast<Message>(k);
        if (isReplaceable(message)) all += identifierOf(message) + " " + textOf(message) + "\n";
    }
    return all;
}

} // namespace Velmar::Lintrix::testing
