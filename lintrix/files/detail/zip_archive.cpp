#include <lintrix/files/detail/zip_archive.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/detail/message_text.h>
#include <lintrix/sparse/file_format_exception.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include <zlib.h>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::uint64_t kLocalHead = 30, kDirectoryHead = 46, kEnd = 22, kEnd64 = 56, kLocator64 = 20;
constexpr std::uint32_t kLocalMark = 0x04034b50, kDirectoryMark = 0x02014b50, kEndMark = 0x06054b50,
                        kEnd64Mark = 0x06064b50, kLocator64Mark = 0x07064b50;
constexpr std::uint64_t kIn64Bits = 0xffffffff; // a length or place that the extra field tells
constexpr std::uint64_t kDeflateLimit = 1032;   // deflate never packs better than 1032 : 1
constexpr int kRawWindow = -15;                 // zlib: the largest window, without a frame
constexpr std::size_t kMembers = 1000;

/// Least significant byte first.
void append(std::string& text, std::uint64_t value, int count)
{
    for (int k = 0; k < count; ++k) text += static_cast<char>((value >> (8 * k)) & 255);
}

} // namespace

// ---- reading

ZipArchive::ZipArchive(std::string_view bytes, std::string file) : bytes_(bytes), file_(std::move(file))
{
    const std::uint64_t end = findEnd();
    std::uint64_t count = number(end + 10, 2), offset = number(end + 16, 4);
    const bool hasLocator = end >= kLocator64 && number(end - kLocator64, 4) == kLocator64Mark;
    if (hasLocator) {
        const std::uint64_t end64 = number(end - kLocator64 + 8, 8);
        if (end64 > bytes_.size() || bytes_.size() - end64 < kEnd64 || number(end64, 4) != kEnd64Mark)
            fail(end - kLocator64, "the 64-bit directory is not where the archive tells");
        count = number(end64 + 32, 8);
        offset = number(end64 + 48, 8);
    }
    if (count > kMembers)
        fail(end, "an archive of " + std::to_string(count) + " members is none of matrices");
    readDirectory(offset, count);
}

std::uint64_t ZipArchive::number(std::uint64_t offset, int count) const
{
    if (offset > bytes_.size() || bytes_.size() - offset < static_cast<std::uint64_t>(count))
        fail(bytes_.size(), "the archive ends too early");
    std::uint64_t value = 0;
    for (int k = count; k-- > 0;)
        value = (value << 8) | static_cast<unsigned char>(bytes_[offset + static_cast<std::uint64_t>(k)]);
    return value;
}

/// The last place that looks like the end, which a comment of at most 65535 bytes may follow.
std::uint64_t ZipArchive::findEnd() const
{
    constexpr std::uint64_t longestComment = 65535;
    for (std::uint64_t back = kEnd; back <= std::min<std::uint64_t>(bytes_.size(), kEnd + longestComment);
         ++back) {
        const std::uint64_t offset = bytes_.size() - back;
        if (number(offset, 4) == kEndMark && number(offset + 20, 2) == back - kEnd) return offset;
    }
    fail(bytes_.size(), "the archive has no directory at its end");
}

void ZipArchive::readDirectory(std::uint64_t offset, std::uint64_t count)
{
    for (std::uint64_t k = 0; k < count; ++k) offset = readMember(offset);
    std::vector<std::string_view> names;
    for (const ZipMember& member : members_) names.push_back(member.name);
    std::ranges::sort(names);
    const auto twice = std::ranges::adjacent_find(names);
    if (twice != names.end())
        throw FileFormatException(file_, "the archive has two members " + quoted(*twice));
}

/// One entry of the directory; tells where the next one stands.
std::uint64_t ZipArchive::readMember(std::uint64_t offset)
{
    if (number(offset, 4) != kDirectoryMark) fail(offset, "no entry of the directory stands here");
    const std::uint64_t nameLength = number(offset + 28, 2), extraLength = number(offset + 30, 2),
                        commentLength = number(offset + 32, 2);
    ZipMember member;
    member.method = static_cast<std::uint32_t>(number(offset + 10, 2));
    member.sum = static_cast<std::uint32_t>(number(offset + 16, 4));
    member.packedSize = number(offset + 20, 4);
    member.size = number(offset + 24, 4);
    member.offset = number(offset + 42, 4);
    const std::uint64_t name = offset + kDirectoryHead,
                        next = name + nameLength + extraLength + commentLength;
    if (next > bytes_.size()) fail(offset, "an entry of the directory leads past the archive");
    member.name = std::string(bytes_.substr(name, nameLength));
    readExtra(name + nameLength, extraLength, member);
    if ((number(offset + 8, 2) & 1) != 0) fail(offset, "the member " + quoted(member.name) + " is encrypted");
    if (member.method != 0 && member.method != 8)
        fail(offset, "the member " + quoted(member.name) + " is packed in a way that is not known");
    const std::uint64_t most =
        member.method == 0 ? member.packedSize : member.packedSize * kDeflateLimit + kDeflateLimit;
    if (member.packedSize > bytes_.size() || member.size > most ||
        (member.method == 0 && member.size != most))
        fail(offset, "the member " + quoted(member.name) + " cannot have the " + std::to_string(member.size) +
                         " bytes announced");
    members_.push_back(std::move(member));
    return next;
}

/// Lengths and places of 64 bits, those alone that the entry itself leaves open, in this order.
void ZipArchive::readExtra(std::uint64_t offset, std::uint64_t length, ZipMember& member) const
{
    const std::uint64_t end = offset + length;
    while (end - offset >= 4) {
        const std::uint64_t kind = number(offset, 2), size = number(offset + 2, 2);
        offset += 4;
        if (size > end - offset) return;
        std::uint64_t at = offset;
        for (std::uint64_t* const value : {&member.size, &member.packedSize, &member.offset}) {
            if (kind != 1 || *value != kIn64Bits || offset + size - at < 8) continue;
            *value = number(at, 8);
            at += 8;
        }
        offset += size;
    }
}

const ZipMember* ZipArchive::find(std::string_view name) const noexcept
{
    const auto found = std::ranges::find(members_, name, &ZipMember::name);
    return found == members_.end() ? nullptr : &*found;
}

std::string_view ZipArchive::packedBytes(const ZipMember& member) const
{
    if (number(member.offset, 4) != kLocalMark) fail(member.offset, "no member stands here");
    const std::uint64_t begin =
        member.offset + kLocalHead + number(member.offset + 26, 2) + number(member.offset + 28, 2);
    if (begin > bytes_.size() || member.packedSize > bytes_.size() - begin)
        fail(member.offset, "the member " + quoted(member.name) + " ends behind the archive");
    return bytes_.substr(begin, member.packedSize);
}

void ZipArchive::fail(std::uint64_t offset, std::string_view text) const
{
    throw FileFormatException(file_, "byte " + std::to_string(offset) + ": " + std::string(text));
}

struct ZipArchive::Stream::State {
    std::string_view packed{};
    std::uint64_t left = 0; ///< bytes that are still to come
    std::uint32_t expected = 0;
    uLong sum = crc32(0, nullptr, 0);
    bool deflated = false;
    z_stream stream{};

    ~State()
    {
        if (deflated) inflateEnd(&stream);
    }
};

ZipArchive::Stream::Stream(const ZipArchive& archive, const ZipMember& member)
    : state_(std::make_unique<State>())
{
    state_->packed = archive.packedBytes(member);
    state_->left = member.size;
    state_->expected = member.sum;
    if (member.method == 0) return;
    if (inflateInit2(&state_->stream, kRawWindow) != Z_OK) throw std::bad_alloc();
    state_->deflated = true;
}

ZipArchive::Stream::Stream(Stream&&) noexcept = default;
ZipArchive::Stream::~Stream() = default;

std::size_t ZipArchive::Stream::read(char* target, std::size_t size)
{
    constexpr std::size_t most = std::numeric_limits<uInt>::max();
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>({size, state_->left, most}));
    if (wanted == 0 || !fault_.empty()) return 0;
    const std::size_t count = unpack(target, wanted);
    state_->sum = crc32(state_->sum, reinterpret_cast<const Bytef*>(target), static_cast<uInt>(count));
    state_->left -= count;
    if (count == 0) fault_ = "the compressed data is damaged";
    if (state_->left == 0 && state_->sum != state_->expected)
        fault_ = "the check sum of the data is not the one told";
    return fault_.empty() ? count : 0;
}

std::size_t ZipArchive::Stream::unpack(char* target, std::size_t size)
{
    State& state = *state_;
    if (!state.deflated) {
        const std::size_t count = std::min(size, state.packed.size());
        std::memcpy(target, state.packed.data(), count);
        state.packed.remove_prefix(count);
        return count;
    }
    z_stream& stream = state.stream;
    const std::size_t given = std::min<std::size_t>(state.packed.size(), std::numeric_limits<uInt>::max());
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(state.packed.data()));
    stream.avail_in = static_cast<uInt>(given);
    stream.next_out = reinterpret_cast<Bytef*>(target);
    stream.avail_out = static_cast<uInt>(size);
    const int outcome = inflate(&stream, Z_NO_FLUSH);
    if (outcome == Z_MEM_ERROR) throw std::bad_alloc();
    state.packed.remove_prefix(given - stream.avail_in);
    const std::size_t count = size - stream.avail_out;
    return outcome == Z_OK || outcome == Z_STREAM_END ? count : 0;
}

// ---- writing

void ZipWriter::put(std::string_view bytes)
{
    sink_(bytes);
    written_ += bytes.size();
}

namespace {

/// Packs pieces as they come.
class Deflater {
public:
    Deflater()
    {
        constexpr int kUsualMemory = 8;
        if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kRawWindow, kUsualMemory,
                         Z_DEFAULT_STRATEGY) != Z_OK)
            throw std::bad_alloc();
    }
    ~Deflater() { deflateEnd(&stream_); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    void add(std::string_view bytes)
    {
        constexpr std::size_t piece = std::size_t{1} << 20;
        for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
            const std::string_view now = bytes.substr(0, piece);
            sum_ = crc32(sum_, reinterpret_cast<const Bytef*>(now.data()), static_cast<uInt>(now.size()));
            size_ += now.size();
            run(now, Z_NO_FLUSH);
        }
    }
    void finish() { run({}, Z_FINISH); }

    const std::string& packed() const noexcept { return packed_; }
    std::uint64_t size() const noexcept { return size_; }
    std::uint32_t sum() const noexcept { return static_cast<std::uint32_t>(sum_); }

private:
    void run(std::string_view bytes, int flush)
    {
        std::array<Bytef, 1 << 14> ready;
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream_.avail_in = static_cast<uInt>(bytes.size());
        do {
            stream_.next_out = ready.data();
            stream_.avail_out = static_cast<uInt>(ready.size());
            deflate(&stream_, flush);
            packed_.append(reinterpret_cast<const char*>(ready.data()), ready.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
    }

    z_stream stream_{};
    std::string packed_;
    std::uint64_t size_ = 0;
    uLong sum_ = crc32(0, nullptr, 0);
};

/// What local heads and the directory have in common: version, flags, method, time, sum, lengths.
std::string commonHead(const ZipMember& member)
{
    constexpr std::uint64_t kVersion = 20, kFirstDay = 0x21; // 1 January 1980: no clock is asked
    std::string head;
    append(head, kVersion, 2);
    append(head, 0, 2);
    append(head, member.method, 2);
    append(head, 0, 2);
    append(head, kFirstDay, 2);
    append(head, member.sum, 4);
    append(head, member.packedSize, 4);
    append(head, member.size, 4);
    append(head, member.name.size(), 2);
    append(head, 0, 2); // no extra field
    return head;
}

} // namespace

void ZipWriter::add(const std::string& name, const std::function<void(const Sink&)>& content)
{
    Deflater deflater;
    content([&deflater](std::string_view bytes) { deflater.add(bytes); });
    deflater.finish();
    if (deflater.size() >= kIn64Bits || written_ + deflater.packed().size() >= kIn64Bits / 2)
        throw NotSupportedException("An archive of 2 GiB or more is not written.");
    ZipMember member{name, deflater.packed().size(), deflater.size(), written_, deflater.sum(), 8};
    std::string head;
    append(head, kLocalMark, 4);
    head += commonHead(member);
    put(head + name);
    put(deflater.packed());
    members_.push_back(std::move(member));
}

void ZipWriter::finish()
{
    const std::uint64_t begin = written_;
    for (const ZipMember& member : members_) {
        std::string head;
        append(head, kDirectoryMark, 4);
        append(head, 20, 2);
        head += commonHead(member);
        append(head, 0, 2); // comment, disk, attributes
        append(head, 0, 2);
        append(head, 0, 2);
        append(head, 0, 4);
        append(head, member.offset, 4);
        put(head + member.name);
    }
    std::string end;
    append(end, kEndMark, 4);
    append(end, 0, 4);
    append(end, members_.size(), 2);
    append(end, members_.size(), 2);
    append(end, written_ - begin, 4);
    append(end, begin, 4);
    append(end, 0, 2);
    put(end);
}

} // namespace Velmar::Lintrix::detail
