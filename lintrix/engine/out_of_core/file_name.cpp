#include <lintrix/engine/out_of_core/file_name.h>

#include <array>
#include <cstdio>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr std::array<const char*, kFactorFiles> kEndings = {".ind", ".lnz", ".unz", ".jal", ".jau", ".lup",
                                                            ".uup", ".lpr", ".upr", ".sin", ".sle"};

} // namespace

FactorFileName::FactorFileName(std::string_view prefix, int number, FactorFile file) noexcept
{
    std::snprintf(cells_, sizeof cells_, "%.*s%d%s", static_cast<int>(prefix.size()), prefix.data(), number,
                  kEndings[static_cast<std::size_t>(file)]);
}

} // namespace Velmar::Lintrix::detail::engine
