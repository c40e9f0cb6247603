#pragma once
/// @file
/// What the fuzzers have in common.

#include <lintrix/foundation/archive_stream.h>
#include <lintrix/foundation/failures.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

/// The entry that libFuzzer and the replay call. Returns 0; ends the process if something is broken.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Velmar::Lintrix::fuzzing {

inline void require(bool holds, const char* what)
{
    if (holds) return;
    std::cerr << "broken: " << what << '\n';
    std::abort();
}

/// The archive in `input`, or nothing if it is refused in the one way that is allowed.
template <class Reader>
std::optional<SerializationInfo> readOrRefuse(const std::string& input, Reader read)
{
    std::istringstream in(input);
    try {
        return read(in);
    } catch (const SerializationException& e) {
        require(std::string_view(e.what()).starts_with("Archive, "), "a refusal names its place");
        return std::nullopt;
    }
}

} // namespace Velmar::Lintrix::fuzzing
