#include <lintrix/files/detail/numpy_files.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/detail/message_text.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/file_format_exception.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

using Field = MatrixMarketField;

constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();

Field fieldOf(NpyKind kind)
{
    if (kind == NpyKind::ComplexNumber) return Field::ComplexNumber;
    return kind == NpyKind::Real ? Field::Real : Field::Integer;
}

std::string sizesInWords(std::int64_t rows, std::int64_t cols)
{
    return std::to_string(rows) + " x " + std::to_string(cols);
}

/// Both from 1 to 2^31 - 1, or a fault.
void takeSizes(MatrixMarketHeader& header, const BinaryReader& bytes, std::int64_t rows, std::int64_t cols)
{
    if (rows < 1 || cols < 1)
        bytes.fail("rows and columns must be at least 1, not " + sizesInWords(rows, cols));
    if (rows > kLargest || cols > kLargest)
        bytes.fail("a size of " + sizesInWords(rows, cols) + " exceeds the limit of 2147483647");
    header.rows = static_cast<std::int32_t>(rows);
    header.cols = static_cast<std::int32_t>(cols);
}

/// Sizes, field and form of an array.
void takeArray(MatrixMarketHeader& header, const BinaryReader& bytes, const NpyHeader& array)
{
    const auto& shape = array.shape;
    if (shape.size() > 2)
        bytes.fail("an array of " + std::to_string(shape.size()) + " dimensions is no matrix");
    if (array.kind == NpyKind::Text || array.kind == NpyKind::WideText)
        bytes.fail("an array of texts is no matrix");
    takeSizes(header, bytes, shape.empty() ? 1 : shape[0], shape.size() < 2 ? 1 : shape[1]);
    header.form = MatrixMarketForm::Array;
    header.field = fieldOf(array.kind);
    header.stored = std::int64_t{header.rows} * header.cols;
}

void requireEnd(BinaryReader& bytes)
{
    if (!bytes.atEnd()) bytes.fail("something follows the array");
}

/// take(row, col, value) for each element, and none that is refused.
template <class Refused>
void visitArray(const MatrixMarketHeader& header, BinaryReader& bytes, const NpyHeader& array,
                Refused isRefused, const EntryFile::Take& take)
{
    const std::int64_t lines = array.fortranOrder ? header.rows : header.cols; // cells of a line
    readNpyElements(bytes, array, [&](std::int64_t index, const std::complex<double>& value) {
        const auto along = static_cast<std::int32_t>(index % lines),
                   across = static_cast<std::int32_t>(index / lines);
        const std::int32_t row = array.fortranOrder ? along : across,
                           col = array.fortranOrder ? across : along;
        if (isRefused(value)) bytes.fail(placeInWords(row, col) + " is not a finite number");
        take(row, col, value);
    });
    requireEnd(bytes);
}

BinaryReader readerOf(ByteSource& source, const std::string& name)
{
    return BinaryReader([&source](char* target, std::size_t size) { return source.read(target, size); },
                        [&source] { return source.fault(); }, name, source.byteLimit());
}

} // namespace

// ---- one array

NpyFile::NpyFile(ByteSource bytes, const std::string& name)
    : source_(std::make_unique<ByteSource>(std::move(bytes))), bytes_(readerOf(*source_, name)),
      array_(readNpyHeader(bytes_))
{
    header_.file = name;
    takeArray(header_, bytes_, array_);
}

std::int64_t NpyFile::vouchedEntries() const
{
    constexpr std::int64_t unvouched = 1 << 16;
    const bool vouched = source_->rawSize() > 0 && !source_->packed();
    return vouched ? header_.stored : std::min(header_.stored, unvouched);
}

void NpyFile::readEntries(const Take& take)
{
    visitArray(
        header_, bytes_, array_, [this](const auto& value) { return isRefused(value); }, take);
}

// ---- archives

NpzFile::NpzFile(ByteSource bytes, const std::string& name)
{
    header_.file = name;
    if (bytes.packed())
        throw FileFormatException(name, "an archive is packed already, and not read from gzip");
    std::string piece(std::size_t{1} << 16, '\0');
    for (std::size_t count = bytes.read(piece.data(), piece.size()); count > 0;
         count = bytes.read(piece.data(), piece.size())) {
        content_.append(piece, 0, count);
    }
    if (!bytes.fault().empty()) throw FileFormatException(name, bytes.fault());
    archive_.emplace(content_, name);
    if (archive_->find("format.npy") != nullptr) {
        openSparse();
    } else {
        openArray();
    }
}

NpzFile::Member NpzFile::open(std::string_view name) const
{
    const ZipMember* const member = archive_->find(name);
    if (member == nullptr)
        throw FileFormatException(header_.file, "the archive has no member " + quoted(name));
    auto stream = std::make_unique<ZipArchive::Stream>(*archive_, *member);
    ZipArchive::Stream& bytes = *stream;
    return {std::move(stream),
            BinaryReader([&bytes](char* target, std::size_t size) { return bytes.read(target, size); },
                         [&bytes] { return bytes.fault(); }, header_.file + ": " + std::string(name),
                         member->size)};
}

std::vector<std::int64_t> NpzFile::wholes(std::string_view member) const
{
    Member opened = open(member);
    auto numbers = readNpyWholes(opened.bytes, member.substr(0, member.find('.')));
    requireEnd(opened.bytes);
    return numbers;
}

void NpzFile::openArray()
{
    std::string names;
    for (const ZipMember& member : archive_->members()) {
        if (!member.name.ends_with(".npy")) continue;
        names += (names.empty() ? "" : ", ") + quoted(member.name);
        array_ = array_.empty() ? member.name : array_;
    }
    if (array_.empty()) throw FileFormatException(header_.file, "the archive holds no array");
    if (names.find(", ") != std::string::npos)
        throw FileFormatException(header_.file,
                                  "the archive holds several arrays, " + names + ", and no sparse matrix");
    const Member member = open(array_);
    BinaryReader bytes = member.bytes;
    takeArray(header_, bytes, readNpyHeader(bytes));
}

void NpzFile::openSparse()
{
    Member format = open("format.npy");
    format_ = readNpyText(format.bytes);
    if (format_ != "csr" && format_ != "csc" && format_ != "coo")
        format.bytes.fail("a sparse matrix in the form " + quoted(format_) +
                          " is not read, only csr, csc and coo");
    const Member shapeMember = open("shape.npy");
    const auto shape = wholes("shape.npy");
    if (shape.size() != 2)
        shapeMember.bytes.fail("a matrix has two sizes, not " + std::to_string(shape.size()));
    takeSizes(header_, shapeMember.bytes, shape[0], shape[1]);
    Member data = open("data.npy");
    const NpyHeader values = readNpyHeader(data.bytes);
    if (values.shape.size() != 1) data.bytes.fail("data must have one dimension");
    header_.form = MatrixMarketForm::Coordinate;
    header_.field = fieldOf(values.kind);
    header_.stored = values.shape[0];
}

void NpzFile::readEntries(const Take& take)
{
    if (format_ == "coo") return readCoordinates(take);
    if (!format_.empty()) return readCompressed(take, format_ == "csr");
    Member member = open(array_);
    const NpyHeader array = readNpyHeader(member.bytes);
    visitArray(
        header_, member.bytes, array, [this](const auto& value) { return isRefused(value); }, take);
}

/// `count` numbers from 0 to `limit` - 1.
std::vector<std::int64_t> NpzFile::indices(std::string_view member, std::int64_t count,
                                           std::int64_t limit) const
{
    auto numbers = wholes(member);
    const Member opened = open(member);
    if (static_cast<std::int64_t>(numbers.size()) != count)
        opened.bytes.fail("there are " + std::to_string(numbers.size()) + " numbers for " +
                          std::to_string(count) + " entries");
    for (const std::int64_t number : numbers) {
        if (number < 0 || number >= limit)
            opened.bytes.fail("index " + std::to_string(number) + " is outside 0 to " +
                              std::to_string(limit - 1));
    }
    return numbers;
}

/// Where each line begins and the last one ends.
std::vector<std::int64_t> NpzFile::starts(std::int64_t lines) const
{
    auto numbers = wholes("indptr.npy");
    const Member opened = open("indptr.npy");
    if (static_cast<std::int64_t>(numbers.size()) != lines + 1)
        opened.bytes.fail("there are " + std::to_string(numbers.size()) + " pointers for " +
                          std::to_string(lines) + " lines");
    if (numbers.front() != 0 || numbers.back() != header_.stored || !std::ranges::is_sorted(numbers))
        opened.bytes.fail("the pointers do not rise from 0 to " + std::to_string(header_.stored));
    return numbers;
}

void NpzFile::readCompressed(const Take& take, bool byRows)
{
    const auto lines = starts(byRows ? header_.rows : header_.cols);
    const auto places = indices("indices.npy", header_.stored, byRows ? header_.cols : header_.rows);
    Member data = open("data.npy");
    const NpyHeader values = readNpyHeader(data.bytes);
    std::size_t line = 0;
    readNpyElements(data.bytes, values, [&](std::int64_t k, const std::complex<double>& value) {
        while (lines[line + 1] <= k) ++line;
        const auto along = static_cast<std::int32_t>(places[static_cast<std::size_t>(k)]),
                   across = static_cast<std::int32_t>(line);
        const std::int32_t row = byRows ? across : along, col = byRows ? along : across;
        if (isRefused(value)) data.bytes.fail(placeInWords(row, col) + " is not a finite number");
        take(row, col, value);
    });
    requireEnd(data.bytes);
}

void NpzFile::readCoordinates(const Take& take)
{
    const auto rows = indices("row.npy", header_.stored, header_.rows);
    const auto cols = indices("col.npy", header_.stored, header_.cols);
    Member data = open("data.npy");
    const NpyHeader values = readNpyHeader(data.bytes);
    readNpyElements(data.bytes, values, [&](std::int64_t k, const std::complex<double>& value) {
        const auto row = static_cast<std::int32_t>(rows[static_cast<std::size_t>(k)]),
                   col = static_cast<std::int32_t>(cols[static_cast<std::size_t>(k)]);
        if (isRefused(value)) data.bytes.fail(placeInWords(row, col) + " is not a finite number");
        take(row, col, value);
    });
    requireEnd(data.bytes);
}

// ---- writing

namespace {

template <class Cell>
constexpr std::string_view kType = "<f8";
template <>
constexpr std::string_view kType<Complex> = "<c16";
template <>
constexpr std::string_view kType<std::int32_t> = "<i4";
template <>
constexpr std::string_view kType<std::int64_t> = "<i8";

/// In pieces, so that none is longer than a sink can take.
template <class Number>
void putNumbers(const BinarySink& sink, std::span<const Number> numbers)
{
    constexpr std::size_t piece = std::size_t{1} << 17;
    for (; !numbers.empty(); numbers = numbers.subspan(std::min(piece, numbers.size()))) {
        const auto now = numbers.first(std::min(piece, numbers.size()));
        sink({reinterpret_cast<const char*>(now.data()), now.size_bytes()});
    }
}

template <class Number>
void writeLine(const BinarySink& sink, std::span<const Number> numbers)
{
    sink(npyHead(kType<Number>, false, fmt::format("({},)", numbers.size())));
    putNumbers(sink, numbers);
}

/// Column after column, as the cells stand.
template <class Dense>
void writeDense(const BinarySink& sink, const Dense& matrix)
{
    using Cell = std::remove_cvref_t<decltype(*matrix.data())>;
    if (matrix.empty()) throw InvalidSizeException();
    sink(npyHead(kType<Cell>, true, fmt::format("({}, {})", matrix.Rows(), matrix.Cols())));
    putNumbers(sink, std::span<const Cell>(matrix.data(), matrix.size()));
}

template <class Dense>
void writeDenseArchive(const BinarySink& sink, const Dense& matrix)
{
    if (matrix.empty()) throw InvalidSizeException();
    ZipWriter archive(sink);
    archive.add("arr_0.npy", [&](const BinarySink& member) { writeDense(member, matrix); });
    archive.finish();
}

/// Both triangles of one that is marked: what is stored, and its mirror image.
template <class Cell>
SparseOf<Cell> completed(const CompressedMatrix<Cell>& matrix)
{
    Assembler<Cell> entries(matrix.Rows(), matrix.Cols());
    for (const auto [row, col, value] : matrix) {
        entries.Add(row, col, value);
        if (row != col) entries.Add(col, row, mirrored(value));
    }
    return entries.Assemble();
}

template <class Cell>
void writeSparse(const BinarySink& sink, const CompressedMatrix<Cell>& matrix)
{
    if (matrix.Rows() < 1 || matrix.Cols() < 1) throw InvalidSizeException();
    std::vector<std::int32_t> columns(matrix.ColumnIndices().begin(), matrix.ColumnIndices().end()),
        starts(matrix.RowPointers().begin(), matrix.RowPointers().end());
    for (std::int32_t& column : columns) --column;
    for (std::int32_t& start : starts) --start;
    const std::vector<std::int64_t> shape{matrix.Rows(), matrix.Cols()};
    ZipWriter archive(sink);
    archive.add("indices.npy", [&](const BinarySink& member) { writeLine<std::int32_t>(member, columns); });
    archive.add("indptr.npy", [&](const BinarySink& member) { writeLine<std::int32_t>(member, starts); });
    archive.add("format.npy", [&](const BinarySink& member) { member(npyHead("|S3", false, "()") + "csr"); });
    archive.add("shape.npy", [&](const BinarySink& member) { writeLine<std::int64_t>(member, shape); });
    archive.add("data.npy", [&](const BinarySink& member) { writeLine<Cell>(member, matrix.Values()); });
    archive.finish();
}

template <class Cell>
void writeWhole(const BinarySink& sink, const CompressedMatrix<Cell>& matrix)
{
    if (!SparseAccess::isMarked(matrix)) return writeSparse(sink, matrix);
    if (matrix.Rows() != matrix.Cols()) throw NotSquareMatrixException();
    writeSparse<Cell>(sink, completed(matrix));
}

} // namespace

void writeNpy(const BinarySink& sink, const Matrix& matrix)
{
    writeDense(sink, matrix);
}

void writeNpy(const BinarySink& sink, const CMatrix& matrix)
{
    writeDense(sink, matrix);
}

void writeNpz(const BinarySink& sink, const Matrix& matrix)
{
    writeDenseArchive(sink, matrix);
}

void writeNpz(const BinarySink& sink, const CMatrix& matrix)
{
    writeDenseArchive(sink, matrix);
}

void writeNpz(const BinarySink& sink, const SparseMatrix& matrix)
{
    writeWhole<double>(sink, matrix);
}

void writeNpz(const BinarySink& sink, const CSparseMatrix& matrix)
{
    writeWhole<Complex>(sink, matrix);
}

} // namespace Velmar::Lintrix::detail
