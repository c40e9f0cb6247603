#include <lintrix/services/section_file.h>

#include <lintrix/services/check_sum.h>
#include <lintrix/services/regular_file.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix {

namespace {

constexpr int kMostNumbers = 100000;
constexpr unsigned kMode = 0666; // less what the process takes from new files

/// Whether the place may be taken: by rename(2) a device or a pipe would be lost.
bool isFreeOrRegular(const std::string& path) noexcept
{
    struct stat facts;
    if (::lstat(path.c_str(), &facts) != 0) return errno == ENOENT;
    return S_ISREG(facts.st_mode);
}

/// Where the links that stand there lead, so that they stay and what they name is written.
std::string behindLinks(std::string path)
{
    const std::unique_ptr<char, decltype(&std::free)> place(::realpath(path.c_str(), nullptr), &std::free);
    return place ? std::string(place.get()) : std::move(path);
}

template <std::size_t Size>
void fillName(char (&cells)[Size], std::string_view name) noexcept
{
    std::fill(std::copy_n(name.begin(), std::min(name.size(), Size), cells), std::end(cells), '\0');
}

template <std::size_t Size>
bool isNamed(const char (&cells)[Size], std::string_view name) noexcept
{
    char expected[Size];
    fillName(expected, name);
    return std::memcmp(cells, expected, Size) == 0;
}

/// Some milliseconds of a disk's time.
constexpr std::size_t kPiece = std::size_t{1} << 23;

/// take(piece) for one piece of the bytes after the other, as long as it goes on.
template <class Byte, class Take>
bool forPieces(std::span<Byte> bytes, const Take& take)
{
    for (std::size_t begin = 0; begin < bytes.size(); begin += kPiece)
        if (!take(bytes.subspan(begin, std::min(kPiece, bytes.size() - begin)))) return false;
    return true;
}

} // namespace

SectionWriter::SectionWriter(std::string path, std::string_view content) : path_(behindLinks(std::move(path)))
{
    failed_ = !isFreeOrRegular(path_) || !create();
    SectionFileHead head{.magic = {},
                         .byteOrder = SectionFileHead::kByteOrder,
                         .version = SectionFileHead::kVersion,
                         .content = {}};
    std::ranges::copy(SectionFileHead::kMagic, head.magic);
    fillName(head.content, content);
    append(std::as_bytes(std::span(&head, 1)));
}

/// The first number that nobody has: processes that save to one place do not write to one file.
bool SectionWriter::create()
{
    for (int number = 0; file_ < 0 && number < kMostNumbers; ++number) {
        fresh_ = path_ + ".new" + std::to_string(number);
        file_ = detail::openRegular(fresh_.c_str(), O_WRONLY | O_CREAT | O_EXCL, kMode);
        if (file_ < 0 && errno != EEXIST) break;
    }
    return file_ >= 0;
}

SectionWriter::~SectionWriter()
{
    if (file_ < 0) return;
    ::close(file_);
    ::unlink(fresh_.c_str());
}

void SectionWriter::append(std::span<const std::byte> bytes) noexcept
{
    forPieces(bytes, [this](std::span<const std::byte> piece) {
        failed_ = failed_ || !detail::WorkScope::goesOn() || !detail::writeAll(file_, size_, piece);
        size_ += static_cast<std::int64_t>(piece.size());
        return !failed_;
    });
}

void SectionWriter::AddBytes(std::string_view name, std::span<const std::byte> bytes) noexcept
{
    if (failed_) return;
    SectionHead head{
        .name = {}, .length = static_cast<std::int64_t>(bytes.size()), .sum = detail::checkSum(bytes)};
    fillName(head.name, name);
    append(std::as_bytes(std::span(&head, 1)));
    append(bytes);
}

// The bytes are on the disk before the name is: after a loss of power, too, there is one whole file.
bool SectionWriter::Commit() noexcept
{
    if (failed_ || ::fsync(file_) != 0) return false;
    if (std::rename(fresh_.c_str(), path_.c_str()) != 0) return false;
    ::close(std::exchange(file_, -1));
    return true;
}

SectionReader::~SectionReader()
{
    if (file_ >= 0) ::close(file_);
}

SectionFault SectionReader::Open(const char* path, std::string_view content) noexcept
{
    section_ = "head";
    if (file_ >= 0) ::close(file_);
    place_ = begin_ = size_ = 0;
    file_ = detail::openRegular(path, O_RDONLY);
    struct stat facts;
    if (file_ < 0 || ::fstat(file_, &facts) != 0) return faultAt(SectionError::NotOpened);
    size_ = facts.st_size;
    SectionFileHead head;
    if (size_ < std::int64_t{sizeof head}) return faultAt(SectionError::NoSectionFile);
    if (!detail::readAll(file_, 0, std::as_writable_bytes(std::span(&head, 1))))
        return faultAt(SectionError::NotRead);
    if (!std::ranges::equal(head.magic, SectionFileHead::kMagic)) return faultAt(SectionError::NoSectionFile);
    place_ = offsetof(SectionFileHead, byteOrder);
    if (head.byteOrder != SectionFileHead::kByteOrder) return faultAt(SectionError::OtherByteOrder);
    place_ = offsetof(SectionFileHead, version);
    if (head.version != SectionFileHead::kVersion) return faultAt(SectionError::OtherVersion);
    place_ = offsetof(SectionFileHead, content);
    if (!isNamed(head.content, content)) return faultAt(SectionError::OtherContent);
    place_ = sizeof head;
    return {};
}

SectionFault SectionReader::readHead(std::string_view name) noexcept
{
    section_ = name;
    begin_ = place_;
    if (BytesLeft() < std::int64_t{sizeof head_}) return faultAt(SectionError::CutOff);
    if (!detail::readAll(file_, place_, std::as_writable_bytes(std::span(&head_, 1))))
        return faultAt(SectionError::NotRead);
    if (!isNamed(head_.name, name)) return faultAt(SectionError::OtherSection);
    if (head_.length < 0) return faultAt(SectionError::OtherLength);
    if (head_.length > BytesLeft() - std::int64_t{sizeof head_}) return faultAt(SectionError::CutOff);
    begin_ += std::int64_t{sizeof head_};
    return {};
}

SectionFault SectionReader::Expect(std::string_view name, std::int64_t bytes) noexcept
{
    if (const SectionFault fault = readHead(name)) return fault;
    return head_.length == bytes ? SectionFault{} : faultAt(SectionError::OtherLength);
}

SectionFault SectionReader::Announce(std::string_view name, std::int64_t elementBytes,
                                     std::int64_t& count) noexcept
{
    count = 0;
    if (const SectionFault fault = readHead(name)) return fault;
    if (head_.length % elementBytes != 0) return faultAt(SectionError::OtherLength);
    count = head_.length / elementBytes;
    return {};
}

SectionFault SectionReader::TakeBytes(std::span<std::byte> into) noexcept
{
    if (static_cast<std::int64_t>(into.size()) != head_.length) return faultAt(SectionError::OtherLength);
    std::int64_t place = begin_;
    const bool isRead = forPieces(into, [&](std::span<std::byte> piece) {
        const bool reads = detail::WorkScope::goesOn() && detail::readAll(file_, place, piece);
        place += static_cast<std::int64_t>(piece.size());
        return reads;
    });
    if (!isRead) return faultAt(SectionError::NotRead);
    if (detail::checkSum(into) != head_.sum) return faultAt(SectionError::OtherSum);
    place_ = begin_ + head_.length;
    return {};
}

SectionFault SectionReader::End() const noexcept
{
    return BytesLeft() == 0 ? SectionFault{} : faultAt(SectionError::GoesOn);
}

} // namespace Velmar::Lintrix
