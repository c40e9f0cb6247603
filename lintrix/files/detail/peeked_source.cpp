#include <lintrix/files/detail/peeked_source.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kPeeked = std::size_t{1} << 14;

/// Bytes in memory.
class TextSource : public RawSource {
public:
    explicit TextSource(const std::string& text) : text_(&text) {}
    std::size_t read(char* target, std::size_t size) override
    {
        const std::size_t count = std::min(size, text_->size() - given_);
        std::memcpy(target, text_->data() + given_, count);
        given_ += count;
        return count;
    }

private:
    const std::string* text_;
    std::size_t given_ = 0;
};

void fill(std::string& text, std::size_t wanted, auto read)
{
    text.resize(wanted);
    std::size_t filled = 0;
    while (filled < wanted) {
        const std::size_t count = read(text.data() + filled, wanted - filled);
        if (count == 0) break;
        filled += count;
    }
    text.resize(filled);
}

} // namespace

PeekedSource::PeekedSource(std::unique_ptr<RawSource> raw) : raw_(std::move(raw))
{
    fill(peeked_, kPeeked, [this](char* target, std::size_t size) { return raw_->read(target, size); });
    ByteSource bytes(std::make_unique<TextSource>(peeked_));
    fill(beginning_, kPeeked, [&bytes](char* target, std::size_t size) { return bytes.read(target, size); });
}

std::size_t PeekedSource::read(char* target, std::size_t size)
{
    const std::size_t count = std::min(size, peeked_.size() - given_);
    if (count == 0) return raw_->read(target, size);
    std::memcpy(target, peeked_.data() + given_, count);
    given_ += count;
    return count;
}

} // namespace Velmar::Lintrix::detail
