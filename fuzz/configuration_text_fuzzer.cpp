// The configuration of the out-of-core mode. Whatever the text says, the settings are ones that the mode can
// work with, and written down they are read as themselves.

#include "fuzz/fuzzing.h"

#include <lintrix/engine/out_of_core/configuration_text.h>

#include <algorithm>

namespace Velmar::Lintrix::fuzzing {
namespace {

using detail::engine::OutOfCoreSettings;

OutOfCoreSettings settingsOf(std::string_view text)
{
    OutOfCoreSettings settings;
    readConfigurationText(text, settings);
    return settings;
}

std::string written(const OutOfCoreSettings& settings)
{
    return "mkl_pardiso_ooc_path = " + std::string(settings.path) +
           "\nmkl_pardiso_ooc_max_core_size = " + std::to_string(settings.megabytes) +
           "\nmkl_pardiso_ooc_keep_file = " + std::to_string(settings.keep) + "\n";
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

void check(std::string_view text)
{
    const OutOfCoreSettings settings = settingsOf(text);
    require(!settings.path.empty() && settings.path.size() <= detail::engine::kLongestPrefix, "a path fits");
    require(std::ranges::none_of(settings.path, isControl), "a path is printable");
    require(settings.megabytes > 0, "there is some memory");
    const std::string own = written(settings);
    const OutOfCoreSettings again = settingsOf(own);
    require(again.path == settings.path && again.megabytes == settings.megabytes &&
                again.keep == settings.keep,
            "settings survive their own text");
}

} // namespace
} // namespace Velmar::Lintrix::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::check({reinterpret_cast<const char*>(data), size});
    return 0;
}
