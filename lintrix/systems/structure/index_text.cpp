#include <lintrix/systems/structure/index_text.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kNamed = 5;

} // namespace

std::string indexText(std::string_view noun, std::span<const std::int32_t> indices, std::int32_t first)
{
    std::string text = (indices.empty() ? "no " : "") + std::string(noun) + (indices.size() == 1 ? "" : "s");
    // "and 1 more" would be no shorter than the index.
    const std::size_t named = indices.size() <= kNamed + 1 ? indices.size() : kNamed;
    for (std::size_t k = 0; k < named; ++k) {
        const bool last = k > 0 && k + 1 == indices.size();
        text += (k == 0 ? " " : last ? " and " : ", ") + std::to_string(std::int64_t{first} + indices[k]);
    }
    if (named < indices.size()) text += " and " + std::to_string(indices.size() - named) + " more";
    return text;
}

std::string capitalized(std::string text)
{
    if (!text.empty() && text.front() >= 'a' && text.front() <= 'z')
        text.front() = static_cast<char>(text.front() - 'a' + 'A');
    return text;
}

} // namespace Velmar::Lintrix::detail
