// The binary stream format of an archive:
//
//   header   magic (8 bytes), version, number of values, bytes of all values
//   values   type, length of the name, the name, then a number, or an element count and the elements
//   trailer  CRC-32 of all that stands before it
//
// All numbers little-endian.

#include <lintrix/foundation/archive_stream.h>

#include <lintrix/foundation/detail/archive_rules.h>
#include <lintrix/foundation/detail/crc32.h>

#include <algorithm>
#include <istream>
#include <type_traits>

namespace Velmar::Lintrix {

namespace {

// As in PNG: the high bit, the line ends and the end-of-file sign show a transfer that took it for text.
constexpr std::array<char, 8> kMagic = {'\x89', 'L', 'T', 'X', '\r', '\n', '\x1a', '\n'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint64_t kHeaderBytes = 24, kTrailerBytes = 4;
constexpr std::size_t kFirstStep = 1 << 16; // bytes of an array that are taken on trust

template <class T>
constexpr bool kIsScalar = std::is_arithmetic_v<T>;

// ---- writing

class Sink {
public:
    explicit Sink(std::ostream& out) : out_(out) {}

    void bytes(const void* data, std::size_t count)
    {
        sum_.update(data, count);
        out_.write(static_cast<const char*>(data), static_cast<std::streamsize>(count));
    }
    template <class T>
    void number(T value)
    {
        bytes(&value, sizeof(value));
    }
    template <class T>
    void content(const T& value)
    {
        if constexpr (kIsScalar<T>) {
            number(value);
        } else {
            number(static_cast<std::uint64_t>(value.size()));
            bytes(value.data(), value.size() * sizeof(value[0]));
        }
    }
    void trailer() { number(sum_.value()); }

private:
    std::ostream& out_;
    detail::Crc32 sum_;
};

std::uint64_t bytesOf(const std::string& name, const SerializationInfo::Value& value)
{
    const auto content = [](const auto& v) -> std::uint64_t {
        if constexpr (kIsScalar<std::decay_t<decltype(v)>>) {
            return sizeof(v);
        } else {
            return sizeof(std::uint64_t) + v.size() * sizeof(v[0]);
        }
    };
    return sizeof(std::uint8_t) + sizeof(std::uint16_t) + name.size() + std::visit(content, value);
}

// ---- reading

class Source {
public:
    explicit Source(std::istream& in) : in_(in) {}

    [[noreturn]] void refuse(std::string_view what) const
    {
        detail::refuseArchive("byte " + std::to_string(field_), what);
    }

    /// What is read from here on must fit into so many bytes.
    void bound(std::uint64_t bytes) noexcept { left_ = bytes; }
    std::uint64_t left() const noexcept { return left_; }
    std::uint32_t sum() const noexcept { return sum_.value(); }

    void bytes(void* target, std::size_t count)
    {
        field_ = offset_;
        if (count > left_) refuse("a value reaches beyond the end");
        in_.read(static_cast<char*>(target), static_cast<std::streamsize>(count));
        offset_ += static_cast<std::uint64_t>(in_.gcount());
        left_ -= count;
        if (static_cast<std::size_t>(in_.gcount()) != count) {
            field_ = offset_;
            refuse("the archive is cut off here");
        }
        sum_.update(target, count);
    }
    template <class T>
    T number()
    {
        T value{};
        bytes(&value, sizeof(value));
        return value;
    }
    bool flag()
    {
        const auto value = number<std::uint8_t>();
        if (value > 1) refuse("a bool is neither 0 nor 1");
        return value == 1;
    }
    template <class Array>
    Array array()
    {
        return elements<Array>(number<std::uint64_t>());
    }
    /// The memory is enlarged as the elements arrive.
    template <class Array>
    Array elements(std::uint64_t count)
    {
        constexpr std::size_t cell = sizeof(typename Array::value_type);
        if (count > left_ / cell) refuse("a value reaches beyond the end");
        Array values;
        while (values.size() < count) {
            const std::size_t have = values.size();
            values.resize(
                std::min(static_cast<std::size_t>(count), have + std::max(have, kFirstStep / cell)));
            bytes(values.data() + have, (values.size() - have) * cell);
        }
        return values;
    }

private:
    std::istream& in_;
    detail::Crc32 sum_;
    std::uint64_t offset_ = 0; ///< bytes read
    std::uint64_t field_ = 0;  ///< where the field begins that is being read
    std::uint64_t left_ = kHeaderBytes;
};

// Leaves the source bounded to the values. Returns how many there are.
std::uint32_t readHeader(Source& source, std::uint64_t byteLimit)
{
    if (source.number<std::array<char, 8>>() != kMagic) source.refuse("no archive begins here");
    const auto version = source.number<std::uint32_t>();
    if (version != kVersion) source.refuse("version " + std::to_string(version) + " is not known");
    const auto values = source.number<std::uint32_t>();
    if (values > ArchiveLimits::Values) source.refuse("more than 4096 values");
    const auto bytes = source.number<std::uint64_t>();
    if (byteLimit < kHeaderBytes + kTrailerBytes || bytes > byteLimit - kHeaderBytes - kTrailerBytes) {
        source.refuse("the archive is longer than the limit of " + std::to_string(byteLimit) + " bytes");
    }
    source.bound(bytes);
    return values;
}

SerializationInfo::Value readContent(Source& source, std::uint8_t type)
{
    switch (type) {
    case 1:
        return source.flag();
    case 2:
        return source.number<std::int32_t>();
    case 3:
        return source.number<std::int64_t>();
    case 4:
        return source.number<float>();
    case 5:
        return source.number<double>();
    case 6:
        return source.array<std::string>();
    case 7:
        return source.array<std::vector<std::int32_t>>();
    default: // 8: the caller has looked
        return source.array<std::vector<double>>();
    }
}

void readValue(Source& source, SerializationInfo& info)
{
    const auto type = source.number<std::uint8_t>();
    if (type < 1 || type > detail::kArchiveTypes.size()) {
        source.refuse("type " + std::to_string(type) + " is not known");
    }
    const auto length = source.number<std::uint16_t>();
    if (length > ArchiveLimits::NameBytes) source.refuse("a name is longer than 1024 bytes");
    const auto name = source.elements<std::string>(length);
    if (info.Contains(name)) source.refuse("a name is there twice");
    info.AddValue(name, readContent(source, type));
}

} // namespace

void WriteArchive(std::ostream& out, const SerializationInfo& info)
{
    detail::requireWritable(info);
    std::uint64_t bytes = 0;
    for (const auto& [name, value] : info.Values()) bytes += bytesOf(name, value);

    Sink sink(out);
    sink.bytes(kMagic.data(), kMagic.size());
    sink.number(kVersion);
    sink.number(static_cast<std::uint32_t>(info.Values().size()));
    sink.number(bytes);
    for (const auto& [name, value] : info.Values()) {
        sink.number(static_cast<std::uint8_t>(value.index() + 1));
        sink.number(static_cast<std::uint16_t>(name.size()));
        sink.bytes(name.data(), name.size());
        std::visit([&sink](const auto& v) { sink.content(v); }, value);
    }
    sink.trailer();
    detail::requireWritten(out);
}

SerializationInfo ReadArchive(std::istream& in, std::uint64_t byteLimit)
{
    Source source(in);
    SerializationInfo info;
    const std::uint32_t values = readHeader(source, byteLimit);
    for (std::uint32_t i = 0; i < values; ++i) readValue(source, info);
    if (source.left() > 0) source.refuse("bytes belong to no value");
    source.bound(kTrailerBytes);
    const std::uint32_t sum = source.sum();
    if (source.number<std::uint32_t>() != sum) source.refuse("the check sum does not match");
    return info;
}

} // namespace Velmar::Lintrix
