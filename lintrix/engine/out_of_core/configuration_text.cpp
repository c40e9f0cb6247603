#include <lintrix/engine/out_of_core/configuration_text.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <system_error>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr std::string_view kBlanks = " \t\v\f\r";

std::string_view trimmed(std::string_view text) noexcept
{
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::optional<int> wholeNumber(std::string_view text) noexcept
{
    const std::string_view digits = trimmed(text);
    const char* const end = digits.data() + digits.size();
    int value = 0;
    const auto [stop, reason] = std::from_chars(digits.data(), end, value);
    return reason == std::errc{} && stop == end ? std::optional(value) : std::nullopt;
}

bool isControl(char c) noexcept
{
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7f;
}

struct Key {
    std::string_view name;
    bool (OutOfCoreSettings::*take)(std::string_view);
};

constexpr Key kKeys[] = {
    {"mkl_pardiso_ooc_path", &OutOfCoreSettings::takePath},
    {"mkl_pardiso_ooc_max_core_size", &OutOfCoreSettings::takeMegabytes},
    {"mkl_pardiso_ooc_keep_file", &OutOfCoreSettings::takeKeep},
};

void readLine(std::string_view line, OutOfCoreSettings& settings) noexcept
{
    line = trimmed(line.substr(0, line.find('#')));
    const std::size_t keyEnd = std::min(line.find_first_of("= \t\v\f\r"), line.size());
    const auto key = std::ranges::find(kKeys, line.substr(0, keyEnd), &Key::name);
    if (key == std::end(kKeys)) return;
    std::string_view value = trimmed(line.substr(keyEnd));
    if (value.starts_with('=')) value.remove_prefix(1);
    (settings.*key->take)(value);
}

} // namespace

bool OutOfCoreSettings::takePath(std::string_view text) noexcept
{
    const std::string_view prefix = trimmed(text);
    const bool fits = !prefix.empty() && prefix.size() <= kLongestPrefix;
    if (!fits || std::ranges::any_of(prefix, isControl)) return false;
    path = prefix;
    return pathIsTaken = true;
}

bool OutOfCoreSettings::takeMegabytes(std::string_view text) noexcept
{
    const std::optional<int> value = wholeNumber(text);
    if (!value || *value < 1) return false;
    megabytes = *value;
    return megabytesAreTaken = true;
}

bool OutOfCoreSettings::takeKeep(std::string_view text) noexcept
{
    const std::optional<int> value = wholeNumber(text);
    if (!value) return false;
    keep = *value;
    return keepIsTaken = true;
}

void readConfigurationText(std::string_view text, OutOfCoreSettings& settings) noexcept
{
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        readLine(text.substr(0, length), settings);
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

} // namespace Velmar::Lintrix::detail::engine
