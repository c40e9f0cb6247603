#include <distributed/market_part.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <istream>
#include <optional>
#include <stdexcept>
#include <streambuf>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::Distributed {

namespace {

/// Closes the file with itself, also where the constructor of what holds it fails.
class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor()
    {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    operator int() const noexcept { return number_; }

private:
    int number_;
};

class OpenFile {
public:
    explicit OpenFile(const std::string& file)
        : file_(file), descriptor_(open(file.c_str(), O_RDONLY | O_CLOEXEC))
    {
        struct stat facts {};
        if (descriptor_ < 0 || fstat(descriptor_, &facts) != 0)
            throw FileFormatException(file, std::string("cannot be opened: ") + std::strerror(errno));
        if (!S_ISREG(facts.st_mode))
            throw FileFormatException(file, "is no regular file, and cannot be read by several ranks");
        length_ = facts.st_size;
    }

    std::int64_t length() const noexcept { return length_; }
    /// At most so many bytes from `at`; fewer at the end of the file.
    std::size_t read(char* bytes, std::size_t count, std::int64_t at) const
    {
        const ssize_t got = pread(descriptor_, bytes, count, at);
        if (got < 0) throw FileFormatException(file_, std::string("cannot be read: ") + std::strerror(errno));
        return static_cast<std::size_t>(got);
    }

private:
    std::string file_;
    Descriptor descriptor_;
    std::int64_t length_ = 0;
};

/// The bytes from `begin` to before `end`, behind a text that does not stand in the file.
class PartOfFile : public std::streambuf {
public:
    PartOfFile(const OpenFile& file, std::int64_t begin, std::int64_t end, std::string before = {})
        : file_(file), at_(begin), end_(end), text_(std::move(before))
    {
        setg(text_.data(), text_.data(), text_.data() + text_.size());
    }

protected:
    int_type underflow() override
    {
        constexpr std::int64_t chunk = 1 << 20;
        text_.resize(static_cast<std::size_t>(std::clamp<std::int64_t>(end_ - at_, 0, chunk)));
        text_.resize(file_.read(text_.data(), text_.size(), at_));
        at_ += static_cast<std::int64_t>(text_.size());
        setg(text_.data(), text_.data(), text_.data() + text_.size());
        return text_.empty() ? traits_type::eof() : traits_type::to_int_type(text_.front());
    }

private:
    const OpenFile& file_;
    std::int64_t at_, end_;
    std::string text_;
};

/// Lines of a part, and those among them that are neither blank nor a comment.
struct LineCount {
    long long lines = 0, entries = 0;
    std::int64_t bytes = 0;
};

/// Of the text up to the end of line number `lines`, or of entry number `entries`.
LineCount countLines(std::streambuf& text, long long lines, long long entries = -1)
{
    LineCount count;
    bool isEmpty = true, isBlank = true, isComment = false;
    const auto endLine = [&] {
        ++count.lines;
        if (!isBlank && !isComment) ++count.entries;
        isEmpty = isBlank = true;
        isComment = false;
    };
    while (count.lines != lines && count.entries != entries) {
        const int c = text.sbumpc();
        if (c == std::streambuf::traits_type::eof()) {
            if (!isEmpty) endLine();
            break;
        }
        ++count.bytes;
        if (c == '\n') {
            endLine();
            continue;
        }
        if (isEmpty) isComment = c == '%';
        isEmpty = false;
        isBlank = isBlank && (c == ' ' || c == '\t' || c == '\r');
    }
    return count;
}

constexpr long long kAll = -1;

/// The lines that begin in this rank's share of the bytes behind the size line.
struct Part {
    std::int64_t begin = 0, end = 0;
    LineCount own{};
    long long linesBefore = 0; ///< in the whole file
};

/// Where the first line begins at `at` or behind.
std::int64_t lineStart(const OpenFile& file, std::int64_t first, std::int64_t at)
{
    if (at <= first) return first;
    PartOfFile text(file, at - 1, file.length());
    return at - 1 + countLines(text, 1).bytes;
}

Part partOf(const Agreement& all, const OpenFile& file, std::int64_t sizeLine)
{
    PartOfFile head(file, 0, file.length());
    const std::int64_t first = countLines(head, sizeLine).bytes, length = file.length() - first;
    const auto share = [&](int rank) {
        return first + static_cast<std::int64_t>(static_cast<long double>(length) * rank / all.ranks());
    };
    const int rank = all.rank();
    Part part{lineStart(file, first, share(rank)),
              rank + 1 == all.ranks() ? file.length() : lineStart(file, first, share(rank + 1))};
    PartOfFile text(file, part.begin, part.end);
    part.own = countLines(text, kAll);
    return part;
}

std::string_view nameOf(MatrixMarketField field)
{
    constexpr std::array<std::string_view, 4> names{"real", "integer", "pattern", "complex"};
    return names[static_cast<std::size_t>(field)];
}

std::string_view nameOf(MatrixMarketSymmetry symmetry)
{
    constexpr std::array<std::string_view, 4> names{"general", "symmetric", "skew-symmetric", "hermitian"};
    return names[static_cast<std::size_t>(symmetry)];
}

/// A part is a file of its own under this: of two lines, which its faults count.
std::string headerText(const MatrixMarketHeader& header, long long entries)
{
    return std::string("%%MatrixMarket matrix coordinate ") + std::string(nameOf(header.field)) + ' ' +
           std::string(nameOf(header.symmetry)) + '\n' + std::to_string(header.rows) + ' ' +
           std::to_string(header.cols) + ' ' + std::to_string(entries) + '\n';
}
constexpr long long kHeaderLines = 2;

/// The same fault at its line in the whole file.
FileFormatException moved(const FileFormatException& fault, const std::string& file, long long by)
{
    const std::string before = file + ':' + std::to_string(fault.Line()) + ": ";
    return FileFormatException(file, fault.Line() + by, std::string(fault.what()).substr(before.size()));
}

MatrixMarketTriplets readPart(const OpenFile& file, const MatrixMarketHeader& header, const Part& part)
try {
    PartOfFile text(file, part.begin, part.end, headerText(header, part.own.entries));
    std::istream in(&text);
    in.exceptions(std::ios::badbit); // a failing read comes through
    return MatrixMarketReader(in, header.file).ReadTriplets();
} catch (const FileFormatException& fault) {
    if (fault.Line() == 0) throw;
    throw moved(fault, header.file, part.linesBefore - kHeaderLines);
}

/// The line of the first entry that was not announced is told by the rank that has it.
void requireAnnounced(const Agreement& all, const OpenFile& file, const MatrixMarketHeader& header,
                      const Part& part)
{
    const long long before = all.sumBefore(part.own.entries), found = all.sum(part.own.entries);
    const long long lines = header.sizeLine + all.sum(part.own.lines), left = header.stored - before;
    all.reach([&] {
        if (found < header.stored && all.rank() + 1 == all.ranks())
            throw FileFormatException(header.file, lines,
                                      "the file ends after " + std::to_string(found) + " of " +
                                          std::to_string(header.stored) + " entries");
        if (found <= header.stored || left < 0 || left >= part.own.entries) return;
        PartOfFile text(file, part.begin, part.end);
        throw FileFormatException(header.file, part.linesBefore + countLines(text, kAll, left + 1).lines,
                                  "there are more entries than the " + std::to_string(header.stored) +
                                      " announced");
    });
}

template <class Cell>
Cell cellFrom(const std::complex<double>& value)
{
    if constexpr (std::is_same_v<Cell, double>)
        return value.real();
    else
        return value;
}

/// What stands on the other side of the diagonal.
std::complex<double> across(MatrixMarketSymmetry symmetry, const std::complex<double>& value)
{
    if (symmetry == MatrixMarketSymmetry::Hermitian) return std::conj(value);
    return symmetry == MatrixMarketSymmetry::SkewSymmetric ? -value : value;
}

template <class Cell>
std::vector<Entry<Cell>> bothTriangles(const MatrixMarketTriplets& stored)
{
    const bool isMirrored = stored.symmetry != MatrixMarketSymmetry::General;
    std::vector<Entry<Cell>> entries;
    entries.reserve(stored.values.size() * (isMirrored ? 2 : 1));
    for (std::size_t k = 0; k < stored.values.size(); ++k) {
        const std::int32_t row = stored.rowIndices[k], col = stored.colIndices[k];
        entries.push_back({row, col, cellFrom<Cell>(stored.values[k])});
        if (isMirrored && row != col)
            entries.push_back({col, row, cellFrom<Cell>(across(stored.symmetry, stored.values[k]))});
    }
    return entries;
}

MatrixMarketTriplets readInParts(const Agreement& all, const MatrixMarketHeader& header)
{
    std::optional<OpenFile> file;
    Part part;
    MatrixMarketTriplets stored;
    all.reach([&] {
        file.emplace(header.file);
        part = partOf(all, *file, header.sizeLine);
    });
    part.linesBefore = header.sizeLine + all.sumBefore(part.own.lines);
    all.reach([&] { stored = readPart(*file, header, part); });
    requireAnnounced(all, *file, header, part);
    return stored;
}

} // namespace

MatrixMarketHeader headerOf(const Agreement& all, const std::string& file)
{
    MatrixMarketHeader header;
    all.reach([&] {
        const OpenFile regular(file);
        header = MatrixMarketReader(file).Header();
    });
    using Facts = std::array<std::int64_t, 7>;
    const Facts own{header.sizeLine,
                    header.rows,
                    header.cols,
                    header.stored,
                    static_cast<std::int64_t>(header.form),
                    static_cast<std::int64_t>(header.field),
                    static_cast<std::int64_t>(header.symmetry)};
    Facts first = own;
    MPI_Bcast(first.data(), static_cast<int>(first.size()), MPI_INT64_T, 0, all.comm());
    all.reach([&] {
        if (own != first)
            throw FileFormatException(file, "is another file on rank " + std::to_string(all.rank()) +
                                                " than on rank 0");
    });
    return header;
}

bool isCompressed(const Agreement& all, const std::string& file)
{
    int compressed = 0;
    all.reachAtRoot([&] {
        unsigned char magic[2] = {};
        const OpenFile opened(file);
        const std::size_t got = opened.read(reinterpret_cast<char*>(magic), sizeof magic, 0);
        compressed = got == sizeof magic && magic[0] == 0x1f && magic[1] == 0x8b ? 1 : 0;
    });
    MPI_Bcast(&compressed, 1, MPI_INT, 0, all.comm());
    return compressed != 0;
}

template <class Cell>
std::vector<Entry<Cell>> readEntries(const Agreement& all, const MatrixMarketHeader& header, bool compressed)
{
    MatrixMarketTriplets stored;
    if (compressed)
        all.reachAtRoot([&] { stored = MatrixMarketReader(header.file).ReadTriplets(); });
    else
        stored = readInParts(all, header);
    std::vector<Entry<Cell>> entries;
    all.reach([&] { entries = bothTriangles<Cell>(stored); });
    return entries;
}

template std::vector<Entry<double>> readEntries(const Agreement&, const MatrixMarketHeader&, bool);
template std::vector<Entry<std::complex<double>>> readEntries(const Agreement&, const MatrixMarketHeader&,
                                                              bool);

} // namespace Velmar::Lintrix::Distributed
