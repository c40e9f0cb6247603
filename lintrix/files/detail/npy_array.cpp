#include <lintrix/files/detail/npy_array.h>

#include <lintrix/sparse/detail/message_text.h>
#include <lintrix/sparse/file_format_exception.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

namespace Velmar::Lintrix::detail {

static_assert(std::endian::native == std::endian::little, "elements are taken as they stand, or swapped");

namespace {

constexpr std::size_t kLongestHead = std::size_t{1} << 16; // characters of a dictionary
constexpr std::size_t kChunk = std::size_t{1} << 16;       // bytes of elements at a time

/// A dictionary of Python as these files have it: texts, True and False, tuples of whole numbers.
class HeadParser {
public:
    HeadParser(std::string_view text, const BinaryReader& bytes) : rest_(text), bytes_(&bytes) {}

    NpyHeader parse()
    {
        NpyHeader header;
        bool type = false, order = false, shape = false;
        require('{');
        while (!take('}')) {
            const std::string_view key = word();
            require(':');
            if (key == "descr" && !std::exchange(type, true))
                readType(header);
            else if (key == "fortran_order" && !std::exchange(order, true))
                header.fortranOrder = readTruth();
            else if (key == "shape" && !std::exchange(shape, true))
                header.shape = readShape();
            else
                fail("the key " + quoted(key) + " of the head is not known, or stands there twice");
            if (take('}')) break;
            require(',');
        }
        if (!type || !order || !shape) fail("the head needs descr, fortran_order and shape");
        if (rest_.find_first_not_of(" \n\t") != std::string_view::npos) fail("something follows the head");
        return header;
    }

private:
    [[noreturn]] void fail(std::string_view text) const { bytes_->fail(text); }

    void passBlanks()
    {
        while (!rest_.empty() && (rest_.front() == ' ' || rest_.front() == '\n' || rest_.front() == '\t'))
            rest_.remove_prefix(1);
    }
    bool take(char c)
    {
        passBlanks();
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    void require(char c)
    {
        if (!take(c)) fail("the head has no " + quoted(std::string_view(&c, 1)) + " where one should stand");
    }
    std::string_view word()
    {
        passBlanks();
        const char quote = rest_.empty() ? '\0' : rest_.front();
        if (quote != '\'' && quote != '"') fail("the head has no text where one should stand");
        const std::size_t end = rest_.find(quote, 1);
        if (end == std::string_view::npos) fail("a text of the head does not end");
        const std::string_view text = rest_.substr(1, end - 1);
        rest_.remove_prefix(end + 1);
        return text;
    }
    bool readTruth()
    {
        passBlanks();
        for (const bool value : {true, false}) {
            const std::string_view name = value ? "True" : "False";
            if (!rest_.starts_with(name)) continue;
            rest_.remove_prefix(name.size());
            return value;
        }
        fail("the head has neither True nor False where one should stand");
    }
    std::vector<std::int64_t> readShape()
    {
        std::vector<std::int64_t> shape;
        require('(');
        while (!take(')')) {
            passBlanks();
            std::int64_t size = 0;
            const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), size);
            if (error != std::errc() || size < 0) fail("the shape is no tuple of whole numbers");
            rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
            take('L'); // of Python 2
            shape.push_back(size);
            if (shape.size() > 32) fail("the shape has more than 32 sizes");
            if (take(')')) break;
            require(',');
        }
        return shape;
    }
    /// "<f8": order of bytes, kind, size.
    void readType(NpyHeader& header)
    {
        passBlanks();
        if (rest_.starts_with('[')) fail("an array of records is no matrix");
        const std::string_view type = word();
        const std::optional<NpyKind> kind = kindOf(type.size() > 1 ? type[1] : '?');
        std::int32_t size = 0;
        const char* const digits = type.data() + std::min<std::size_t>(2, type.size());
        const auto [end, error] = std::from_chars(digits, type.data() + type.size(), size);
        const bool order = !type.empty() && std::string_view("<>=|").find(type[0]) != std::string_view::npos;
        if (!order || !kind || error != std::errc() || end != type.data() + type.size() ||
            !isSize(*kind, size))
            fail("elements of type " + quoted(type) + " are not read");
        header.kind = *kind;
        header.bytes = *kind == NpyKind::WideText ? 4 * size : size;
        header.swapped = type[0] == '>';
    }
    static std::optional<NpyKind> kindOf(char letter)
    {
        switch (letter) {
        case 'f':
            return NpyKind::Real;
        case 'c':
            return NpyKind::ComplexNumber;
        case 'i':
            return NpyKind::Integer;
        case 'u':
            return NpyKind::Unsigned;
        case 'b':
            return NpyKind::Boolean;
        case 'S':
            return NpyKind::Text;
        case 'U':
            return NpyKind::WideText;
        default:
            return std::nullopt;
        }
    }
    static bool isSize(NpyKind kind, std::int32_t size)
    {
        switch (kind) {
        case NpyKind::Real:
            return size == 4 || size == 8;
        case NpyKind::ComplexNumber:
            return size == 8 || size == 16;
        case NpyKind::Boolean:
            return size == 1;
        case NpyKind::Text:
        case NpyKind::WideText:
            return size >= 0 && size <= 1024;
        default:
            return size == 1 || size == 2 || size == 4 || size == 8;
        }
    }

    std::string_view rest_;
    const BinaryReader* bytes_;
};

template <class Number>
Number numberAt(const char* bytes, bool swapped)
{
    char straight[sizeof(Number)];
    std::memcpy(straight, bytes, sizeof(Number));
    if (swapped) std::reverse(straight, straight + sizeof(Number));
    Number value;
    std::memcpy(&value, straight, sizeof(Number));
    return value;
}

/// As a whole number; nothing where it is none, or past 63 bits.
std::optional<std::int64_t> wholeAt(const char* bytes, const NpyHeader& header)
{
    const bool swapped = header.swapped, isSigned = header.kind == NpyKind::Integer;
    if (!isSigned && header.kind != NpyKind::Unsigned && header.kind != NpyKind::Boolean) return std::nullopt;
    switch (header.bytes) {
    case 1:
        return isSigned ? numberAt<std::int8_t>(bytes, false)
                        : std::int64_t{numberAt<std::uint8_t>(bytes, false)};
    case 2:
        return isSigned ? numberAt<std::int16_t>(bytes, swapped)
                        : std::int64_t{numberAt<std::uint16_t>(bytes, swapped)};
    case 4:
        return isSigned ? numberAt<std::int32_t>(bytes, swapped)
                        : std::int64_t{numberAt<std::uint32_t>(bytes, swapped)};
    default:
        break;
    }
    const auto value = numberAt<std::int64_t>(bytes, swapped);
    if (!isSigned && value < 0) return std::nullopt;
    return value;
}

double realAt(const char* bytes, std::int32_t size, bool swapped)
{
    return size == 4 ? double{numberAt<float>(bytes, swapped)} : numberAt<double>(bytes, swapped);
}

std::complex<double> elementAt(const char* bytes, const NpyHeader& header)
{
    if (header.kind == NpyKind::Real) return realAt(bytes, header.bytes, header.swapped);
    if (header.kind == NpyKind::ComplexNumber) {
        const std::int32_t half = header.bytes / 2;
        return {realAt(bytes, half, header.swapped), realAt(bytes + half, half, header.swapped)};
    }
    if (const auto whole = wholeAt(bytes, header)) return static_cast<double>(*whole);
    return static_cast<double>(numberAt<std::uint64_t>(bytes, header.swapped)); // past 63 bits
}

/// Each element in turn, in pieces of bounded size.
template <class Visit>
void visitElements(BinaryReader& bytes, const NpyHeader& header, Visit visit)
{
    const auto size = static_cast<std::size_t>(header.bytes);
    const std::size_t perChunk = std::max<std::size_t>(1, kChunk / std::max<std::size_t>(1, size));
    const std::int64_t count = header.elements();
    std::string chunk;
    for (std::int64_t done = 0; done < count;) {
        const auto now = static_cast<std::size_t>(
            std::min<std::int64_t>(count - done, static_cast<std::int64_t>(perChunk)));
        chunk.resize(now * size);
        bytes.take(chunk.data(), chunk.size(), "all elements are there");
        for (std::size_t k = 0; k < now; ++k)
            visit(done + static_cast<std::int64_t>(k), chunk.data() + k * size);
        done += static_cast<std::int64_t>(now);
    }
}

bool isText(NpyKind kind)
{
    return kind == NpyKind::Text || kind == NpyKind::WideText;
}

} // namespace

// ---- bytes

void BinaryReader::take(char* target, std::size_t size, std::string_view what)
{
    while (size > 0) {
        const std::size_t count = read_(target, size);
        if (count == 0) {
            const std::string fault = fault_();
            fail(fault.empty() ? "the file ends before " + std::string(what) : fault);
        }
        position_ += count;
        target += count;
        size -= count;
    }
}

std::string BinaryReader::take(std::size_t size, std::string_view what)
{
    std::string taken(size, '\0');
    take(taken.data(), size, what);
    return taken;
}

bool BinaryReader::atEnd()
{
    char next = '\0';
    if (read_(&next, 1) > 0) return false;
    const std::string fault = fault_();
    if (!fault.empty()) fail(fault);
    return true;
}

void BinaryReader::fail(std::string_view text) const
{
    failAt(position_, text);
}

void BinaryReader::failAt(std::uint64_t position, std::string_view text) const
{
    throw FileFormatException(name_, "byte " + std::to_string(position) + ": " + std::string(text));
}

// ---- arrays

std::int64_t NpyHeader::elements() const noexcept
{
    std::int64_t product = 1;
    for (const std::int64_t size : shape) {
        if (size != 0 && product > std::numeric_limits<std::int64_t>::max() / size)
            return std::numeric_limits<std::int64_t>::max(); // more than any file holds
        product *= size;
    }
    return product;
}

NpyHeader readNpyHeader(BinaryReader& bytes)
{
    const std::string magic = bytes.take(8, "its head");
    if (!magic.starts_with("\x93NUMPY")) bytes.failAt(0, "a NumPy array begins with '\\x93NUMPY'");
    const int version = magic[6];
    if (version < 1 || version > 3 || magic[7] != 0) {
        bytes.failAt(6, "version " + std::to_string(static_cast<unsigned char>(magic[6])) + "." +
                            std::to_string(static_cast<unsigned char>(magic[7])) +
                            " of the form is not known");
    }
    const std::string words = bytes.take(version == 1 ? 2 : 4, "the length of its head");
    const std::size_t length = version == 1 ? numberAt<std::uint16_t>(words.data(), false)
                                            : numberAt<std::uint32_t>(words.data(), false);
    if (length > kLongestHead)
        bytes.fail("the head is longer than " + std::to_string(kLongestHead) + " characters");
    const std::string head = bytes.take(length, "its head does");
    NpyHeader header = HeadParser(head, bytes).parse();
    const std::uint64_t size = static_cast<std::uint64_t>(std::max(1, header.bytes));
    if (static_cast<std::uint64_t>(header.elements()) > bytes.limit() / size) {
        bytes.fail("an array of " + std::to_string(header.elements()) +
                   " elements is announced, but a file of this length does not hold them");
    }
    return header;
}

void readNpyElements(BinaryReader& bytes, const NpyHeader& header, const NpyTake& take)
{
    if (isText(header.kind)) bytes.fail("an array of texts is no matrix");
    visitElements(bytes, header,
                  [&](std::int64_t index, const char* at) { take(index, elementAt(at, header)); });
}

std::vector<std::int64_t> readNpyWholes(BinaryReader& bytes, std::string_view what)
{
    const NpyHeader header = readNpyHeader(bytes);
    if (header.shape.size() > 1) bytes.fail(std::string(what) + " must have one dimension");
    std::vector<std::int64_t> wholes;
    visitElements(bytes, header, [&](std::int64_t, const char* at) {
        const auto whole = wholeAt(at, header);
        if (!whole) bytes.fail(std::string(what) + " must be whole numbers");
        wholes.push_back(*whole);
    });
    return wholes;
}

std::string readNpyText(BinaryReader& bytes)
{
    const NpyHeader header = readNpyHeader(bytes);
    if (!isText(header.kind) || header.elements() != 1) bytes.fail("a single word should stand here");
    const std::string raw = bytes.take(static_cast<std::size_t>(header.bytes), "the word does");
    std::string word;
    const std::size_t step = header.kind == NpyKind::WideText ? 4 : 1;
    for (std::size_t k = 0; k < raw.size(); k += step) {
        const std::size_t at = header.swapped && step == 4 ? k + 3 : k;
        if (raw[at] != '\0') word += raw[at];
    }
    return word;
}

std::string npyHead(std::string_view type, bool fortranOrder, std::string_view shape)
{
    std::string dictionary = "{'descr': '" + std::string(type) +
                             "', 'fortran_order': " + (fortranOrder ? "True" : "False") +
                             ", 'shape': " + std::string(shape) + ", }";
    constexpr std::size_t before = 10, alignment = 64;
    const std::size_t used = before + dictionary.size() + 1;
    dictionary.append((alignment - used % alignment) % alignment, ' ').push_back('\n');
    const auto length = static_cast<std::uint16_t>(dictionary.size());
    return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(length & 255) +
           static_cast<char>(length >> 8) + dictionary;
}

} // namespace Velmar::Lintrix::detail
