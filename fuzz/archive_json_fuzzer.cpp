// The JSON reader. What it accepts is written to a text that reads back to the same text.

#include "fuzz/fuzzing.h"

namespace Velmar::Lintrix::fuzzing {
namespace {

std::string written(const SerializationInfo& archive)
{
    std::ostringstream out;
    WriteArchiveJson(out, archive);
    return out.str();
}

void check(const std::string& input)
{
    const auto read = [](std::istream& in) { return ReadArchiveJson(in); };
    const auto archive = readOrRefuse(input, read);
    if (!archive) return;
    const std::string text = written(*archive);
    const auto again = readOrRefuse(text, read);
    require(again && written(*again) == text, "an accepted archive survives its own text");
}

} // namespace
} // namespace Velmar::Lintrix::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::check(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
