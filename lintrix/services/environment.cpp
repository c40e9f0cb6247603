#include <lintrix/services/environment.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr int kLargest = std::numeric_limits<int>::max();

} // namespace

EnvironmentValue::EnvironmentValue(const char* text) noexcept
{
    if (text == nullptr) return;
    const std::size_t length = ::strnlen(text, kLongest + 1);
    if (length > kLongest) return;
    std::copy_n(text, length, text_.begin());
    length_ = length;
    present_ = true;
}

int EnvironmentValue::leadingInteger() const noexcept
{
    const long value = std::strtol(text_.data(), nullptr, 10); // saturates at the range of long
    return static_cast<int>(std::clamp<long>(value, std::numeric_limits<int>::min(), kLargest));
}

EnvironmentValue readEnvironment(const char* name) noexcept
{
    // Copied at once: the text is only sure to stay until somebody changes the environment.
    return EnvironmentValue(std::getenv(name)); // NOLINT(concurrency-mt-unsafe): read-only, and once per name
}

bool environmentHas(const char* name) noexcept
{
    return std::getenv(name) != nullptr; // NOLINT(concurrency-mt-unsafe): read-only, and once per name
}

std::optional<int> digitsValue(std::string_view text) noexcept
{
    int value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        const int digit = c - '0';
        value = value > (kLargest - digit) / 10 ? kLargest : 10 * value + digit;
    }
    return value;
}

} // namespace Velmar::Lintrix::detail
