#include <lintrix/engine/report/loaded_catalogue.h>

#include <lintrix/engine/report/locale_number.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr std::int64_t kLargestFile = std::int64_t{1} << 20;

/// A descriptor, closed at the end.
class OpenFile {
public:
    /// A pipe or a device is opened without waiting for anybody.
    explicit OpenFile(const char* path) noexcept
        : descriptor_(::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK))
    {
    }
    ~OpenFile()
    {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Bytes of a regular file; 0 where there is none.
    std::int64_t size() const noexcept
    {
        struct stat facts {};
        const bool isRegular =
            descriptor_ >= 0 && ::fstat(descriptor_, &facts) == 0 && S_ISREG(facts.st_mode);
        return isRegular ? std::int64_t{facts.st_size} : 0;
    }
    /// Whether there were as many bytes as there is room.
    bool fill(std::span<char> room) const noexcept
    {
        while (!room.empty()) {
            const ssize_t count = ::read(descriptor_, room.data(), room.size());
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return false;
            room = room.subspan(static_cast<std::size_t>(count));
        }
        return true;
    }

private:
    int descriptor_;
};

bool hasText(const MessageTexts& texts) noexcept
{
    return std::ranges::any_of(texts, [](const auto& text) { return text.has_value(); });
}

Catalogue loadForThread() noexcept
{
    char path[64];
    std::snprintf(path, sizeof path, "%lu/%s", localeNumberOfThread(), "mkl_msg.dll");
    return loadCatalogue(path);
}

} // namespace

Catalogue loadCatalogue(const char* path) noexcept
{
    const OpenFile source(path);
    const std::int64_t size = source.size();
    if (size < 1 || size > kLargestFile) return {};
    Catalogue catalogue{Scratch<char>::uninitialised(size), {}};
    const std::span<char> bytes = catalogue.file.span();
    if (bytes.empty() || !source.fill(bytes)) return {};
    const auto texts = readCatalogue({bytes.data(), bytes.size()});
    if (!texts || !hasText(*texts)) return {};
    catalogue.texts = *texts;
    return catalogue;
}

const MessageTexts& textsInForce() noexcept
{
    static const MessageTexts texts = [] {
        Catalogue catalogue = loadForThread();
        catalogue.file.release(); // never freed: who prints while the process ends reads it still
        return catalogue.texts;
    }();
    return texts;
}

} // namespace Velmar::Lintrix::detail::engine
