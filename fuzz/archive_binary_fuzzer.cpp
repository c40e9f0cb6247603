// The binary reader. What it accepts is written again to the same bytes: the format has one form for a
// content.

#include "fuzz/fuzzing.h"

#include <lintrix/foundation/detail/crc32.h>

#include <cstring>

namespace Velmar::Lintrix::fuzzing {
namespace {

void checkOnce(const std::string& input)
{
    const auto archive = readOrRefuse(input, [](std::istream& in) { return ReadArchive(in); });
    if (!archive) return;
    std::ostringstream out;
    WriteArchive(out, *archive);
    require(input.starts_with(out.str()), "an accepted archive is written to the same bytes");
}

// The check sum would stop nearly every mutation at the very end: a second run has it right.
std::string withRightSum(std::string input)
{
    if (input.size() < 4) return input;
    detail::Crc32 sum;
    sum.update(input.data(), input.size() - 4);
    const std::uint32_t value = sum.value();
    std::memcpy(input.data() + input.size() - 4, &value, 4);
    return input;
}

} // namespace
} // namespace Velmar::Lintrix::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    Velmar::Lintrix::fuzzing::checkOnce(input);
    Velmar::Lintrix::fuzzing::checkOnce(Velmar::Lintrix::fuzzing::withRightSum(input));
    return 0;
}
