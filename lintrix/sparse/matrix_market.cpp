#include <lintrix/sparse/matrix_market.h>

#include <lintrix/sparse/detail/entry_reading.h>
#include <lintrix/sparse/detail/line_reader.h>
#include <lintrix/sparse/detail/market_words.h>
#include <lintrix/sparse/detail/message_text.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include <locale.h>

namespace Velmar::Lintrix {

double detail::extremeValue(const std::string& word)
{
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    if (plain == nullptr) throw std::bad_alloc();
    return strtod_l(word.c_str() + (word.starts_with('+') ? 1 : 0), nullptr, plain);
}

using namespace detail;

namespace {

using Form = MatrixMarketForm;
using Field = MatrixMarketField;
using Symmetry = MatrixMarketSymmetry;

/// The number of values that an array file of this symmetry holds.
std::int64_t arrayLength(Symmetry symmetry, std::int64_t rows, std::int64_t cols)
{
    if (symmetry == Symmetry::General) return rows * cols;
    return symmetry == Symmetry::SkewSymmetric ? rows * (rows - 1) / 2 : rows * (rows + 1) / 2;
}

/// The shortest line of an entry: "1" of an array, "1 1" of a pattern, with a value "1 1 1"; a complex value
/// has two words. Each has a line end, but perhaps the last.
std::uint64_t shortestEntry(const MatrixMarketHeader& header)
{
    const std::uint64_t place = header.form == Form::Array ? 0 : 4;
    const std::uint64_t words = header.field == Field::ComplexNumber ? 2
                                : header.field == Field::Pattern     ? 0
                                                                     : 1;
    return place + 2 * words;
}

std::string place(std::int32_t row, std::int32_t col)
{
    return "entry (" + std::to_string(row + 1) + ", " + std::to_string(col + 1) + ")";
}

std::function<void(const LineReader&)> onChunk(MatrixMarketReader::ProgressFunction progress)
{
    if (!progress) return {};
    return [tell = std::move(progress)](const LineReader& lines) {
        tell({lines.textRead(), lines.bytes().rawRead(), lines.bytes().rawSize()});
    };
}

} // namespace

/// The grammar of a file, line by line.
class MatrixMarketReader::Parser {
public:
    Parser(std::unique_ptr<RawSource> raw, const std::string& name, ProgressFunction progress);

    const MatrixMarketHeader& header() const noexcept { return header_; }
    std::int64_t entriesRead() const noexcept { return entriesRead_; }

    void requireReal() const;
    /// All entries at once where the file's size vouches for them; else what grows with what is really read.
    std::size_t firstReservation() const;

    /// Visits the entries as they stand: take(row, col, value), from 0; `Cell` is double or complex. Makes
    /// sure that the file ends behind them.
    template <class Cell, class Take>
    void readEntries(Take take);
    template <class Cell>
    SparseOf<Cell> readSparse(MatrixMarketStorage storage);
    template <class Cell>
    MatrixOf<Cell> readDense();

private:
    std::optional<std::string_view> nextContent();
    std::string_view nextEntry(std::int64_t index);
    void readHeaderLine();
    void requireConsistentHeader() const;
    void readSizeLine();
    void requireSizes(std::int64_t rows, std::int64_t cols) const;
    void requireRoomInFile() const;

    template <class Cell, class Take>
    void readCoordinates(Take& take);
    template <class Cell, class Take>
    void readArray(Take& take);
    void requireStoredSide(std::int32_t row, std::int32_t col) const;
    template <class Cell>
    Cell valueFrom(std::string_view& line, std::int32_t row, std::int32_t col) const;
    double numberFrom(std::string_view& line) const;
    double realFrom(std::string_view word) const;
    double unusualRealFrom(std::string_view word) const;
    std::int64_t wholeFrom(std::string_view word) const;
    std::int32_t indexFrom(std::string_view word, std::string_view what, std::int32_t limit) const;
    void requireNoMore(std::string_view rest) const;
    [[noreturn]] void fail(std::string_view text) const { lines_.fail(text); }

    LineReader lines_;
    MatrixMarketHeader header_;
    std::int64_t entriesRead_ = 0;
    bool read_ = false;
};

MatrixMarketReader::Parser::Parser(std::unique_ptr<RawSource> raw, const std::string& name,
                                   ProgressFunction progress)
    : lines_(ByteSource(std::move(raw)), name, onChunk(std::move(progress)))
{
    header_.file = name;
    readHeaderLine();
    readSizeLine();
    requireRoomInFile();
}

/// The next line that is neither blank nor a comment.
std::optional<std::string_view> MatrixMarketReader::Parser::nextContent()
{
    for (;;) {
        const auto line = lines_.next();
        if (!line) return std::nullopt;
        const bool blank = std::all_of(line->begin(), line->end(), isBlank);
        if (!blank && line->front() != '%') return line;
    }
}

std::string_view MatrixMarketReader::Parser::nextEntry(std::int64_t index)
{
    const auto line = nextContent();
    if (line) return *line;
    fail("the file ends after " + std::to_string(index) + " of " + std::to_string(header_.stored) +
         " entries");
}

// "%%MatrixMarket matrix FORM FIELD SYMMETRY"
void MatrixMarketReader::Parser::readHeaderLine()
{
    const auto line = lines_.next();
    if (!line) throw FileFormatException(header_.file, 1, "the file is empty");
    std::string_view rest = *line;
    if (lowerCase(takeWord(rest)) != "%%matrixmarket") {
        fail("a Matrix Market file begins with '%%MatrixMarket', not with " + quoted(*line));
    }
    const std::string_view object = takeWord(rest), form = takeWord(rest), field = takeWord(rest),
                           symmetry = takeWord(rest);
    if (symmetry.empty()) fail("the header needs an object, a form, a field and a symmetry");
    requireNoMore(rest);
    if (lowerCase(object) != "matrix") fail("the object must be matrix, not " + quoted(object));

    const auto knownForm = lookUp(lowerCase(form), kForms);
    const auto knownField = lookUp(lowerCase(field), kFields);
    const auto knownSymmetry = lookUp(lowerCase(symmetry), kSymmetries);
    if (!knownForm) fail("the form must be coordinate or array, not " + quoted(form));
    if (!knownField) fail("the field must be real, integer, pattern or complex, not " + quoted(field));
    if (!knownSymmetry) {
        fail("the symmetry must be general, symmetric, skew-symmetric or hermitian, not " + quoted(symmetry));
    }
    header_.form = *knownForm;
    header_.field = *knownField;
    header_.symmetry = *knownSymmetry;
    requireConsistentHeader();
}

void MatrixMarketReader::Parser::requireConsistentHeader() const
{
    const bool pattern = header_.field == Field::Pattern;
    if (pattern && header_.form == Form::Array) fail("a pattern has no array form");
    if (pattern && header_.symmetry == Symmetry::SkewSymmetric) {
        fail("a pattern has no signs and cannot be skew-symmetric");
    }
    if (header_.field != Field::ComplexNumber && header_.symmetry == Symmetry::Hermitian) {
        fail("only a complex matrix can be hermitian");
    }
}

void MatrixMarketReader::Parser::readSizeLine()
{
    const auto line = nextContent();
    if (!line) fail("the file ends before its size line");
    header_.sizeLine = lines_.line();
    std::string_view rest = *line;
    const bool array = header_.form == Form::Array;
    const std::string_view rowWord = takeWord(rest), colWord = takeWord(rest);
    const std::string_view storedWord = array ? std::string_view() : takeWord(rest);
    if (colWord.empty() || (!array && storedWord.empty())) {
        fail(array ? "the size line needs rows and columns"
                   : "the size line needs rows, columns and the number of entries");
    }
    const std::int64_t rows = wholeFrom(rowWord), cols = wholeFrom(colWord);
    const std::int64_t announced = array ? 0 : wholeFrom(storedWord);
    requireNoMore(rest);
    requireSizes(rows, cols);
    if (announced < 0) fail("the number of entries must not be negative");
    header_.rows = static_cast<std::int32_t>(rows);
    header_.cols = static_cast<std::int32_t>(cols);
    header_.stored = array ? arrayLength(header_.symmetry, rows, cols) : announced;
}

void MatrixMarketReader::Parser::requireSizes(std::int64_t rows, std::int64_t cols) const
{
    const std::string sizes = std::to_string(rows) + " x " + std::to_string(cols);
    if (rows < 1 || cols < 1) fail("rows and columns must be at least 1");
    if (rows > INT32_MAX || cols > INT32_MAX) {
        fail("a size of " + sizes + " exceeds the limit of " + std::to_string(INT32_MAX));
    }
    if (header_.symmetry != Symmetry::General && rows != cols) {
        const bool hermitian = header_.symmetry == Symmetry::Hermitian;
        fail((hermitian ? "a hermitian" : "a symmetric or skew-symmetric") +
             (" matrix must be square, not " + sizes));
    }
}

/// The announced number is not believed beyond what the bytes of the file can hold.
void MatrixMarketReader::Parser::requireRoomInFile() const
{
    const std::uint64_t most = lines_.bytes().byteLimit() / shortestEntry(header_) + 1;
    if (static_cast<std::uint64_t>(header_.stored) <= most) return;
    fail(std::to_string(header_.stored) + " entries are announced, but a file of this length holds at most " +
         std::to_string(most));
}

std::size_t MatrixMarketReader::Parser::firstReservation() const
{
    constexpr std::int64_t unvouched = 1 << 16;
    const bool vouched = lines_.bytes().rawSize() > 0 && !lines_.bytes().packed();
    return static_cast<std::size_t>(vouched ? header_.stored : std::min(header_.stored, unvouched));
}

void MatrixMarketReader::Parser::requireReal() const
{
    if (header_.field != Field::ComplexNumber) return;
    throw FileFormatException(header_.file, 1, "a complex matrix cannot be read as a real one");
}

template <class Cell, class Take>
void MatrixMarketReader::Parser::readEntries(Take take)
{
    if (std::exchange(read_, true)) throw InvalidOperationException("The entries have been read already.");
    entriesRead_ = header_.stored;
    if (header_.form == Form::Array) {
        readArray<Cell>(take);
    } else {
        readCoordinates<Cell>(take);
    }
    if (nextContent()) {
        fail("there are more entries than the " + std::to_string(header_.stored) + " announced");
    }
}

// "row column value" a line, without the value in a pattern
template <class Cell, class Take>
void MatrixMarketReader::Parser::readCoordinates(Take& take)
{
    for (std::int64_t i = 0; i < header_.stored; ++i) {
        std::string_view line = nextEntry(i);
        const std::string_view rowWord = takeWord(line), colWord = takeWord(line);
        if (colWord.empty()) fail("the column is missing");
        const std::int32_t row = indexFrom(rowWord, "row", header_.rows) - 1;
        const std::int32_t col = indexFrom(colWord, "column", header_.cols) - 1;
        requireStoredSide(row, col);
        const Cell value = header_.field == Field::Pattern ? Cell(1.0) : valueFrom<Cell>(line, row, col);
        requireNoMore(line);
        take(row, col, value);
    }
}

// a value a line, column by column
template <class Cell, class Take>
void MatrixMarketReader::Parser::readArray(Take& take)
{
    std::int64_t index = 0;
    for (std::int32_t col = 0; col < header_.cols; ++col) {
        const std::int32_t first = header_.symmetry == Symmetry::General         ? 0
                                   : header_.symmetry == Symmetry::SkewSymmetric ? col + 1
                                                                                 : col;
        for (std::int32_t row = first; row < header_.rows; ++row) {
            std::string_view line = nextEntry(index++);
            const Cell value = valueFrom<Cell>(line, row, col);
            requireNoMore(line);
            take(row, col, value);
        }
    }
}

void MatrixMarketReader::Parser::requireStoredSide(std::int32_t row, std::int32_t col) const
{
    if (header_.symmetry == Symmetry::General) return;
    if (row < col) {
        fail(place(row, col) + " is above the diagonal; a symmetric file holds the lower triangle");
    }
    if (header_.symmetry == Symmetry::SkewSymmetric && row == col) {
        fail(place(row, col) + " is on the diagonal, which is zero in a skew-symmetric matrix");
    }
}

/// Takes the value off the line: one word, or two of a complex number.
template <class Cell>
Cell MatrixMarketReader::Parser::valueFrom(std::string_view& line, std::int32_t row, std::int32_t col) const
{
    const double real = numberFrom(line);
    if constexpr (std::is_same_v<Cell, double>) {
        return real;
    } else {
        const double imaginary = header_.field == Field::ComplexNumber ? numberFrom(line) : 0.0;
        if (header_.symmetry == Symmetry::Hermitian && row == col && imaginary != 0.0) {
            fail(place(row, col) + " is on the diagonal, which is real in a hermitian matrix");
        }
        return {real, imaginary};
    }
}

double MatrixMarketReader::Parser::numberFrom(std::string_view& line) const
{
    const std::string_view word = takeWord(line);
    if (word.empty()) fail("the value is missing");
    return header_.field == Field::Integer ? static_cast<double>(wholeFrom(word)) : realFrom(word);
}

double MatrixMarketReader::Parser::realFrom(std::string_view word) const
{
    double value = 0.0;
    const std::errc error = parseWord(word, value);
    return error == std::errc() && std::isfinite(value) ? value : unusualRealFrom(word);
}

/// Values that round to zero are zero; NaN and infinities, written or by overflow, are refused: no system
/// with one of them has a solution.
double MatrixMarketReader::Parser::unusualRealFrom(std::string_view word) const
{
    std::string spelled(word);
    double value = 0.0;
    std::errc error = parseWord(spelled, value);
    const std::size_t letter = spelled.find_first_of("dD"); // Fortran writes 1.5D+03
    if (error == std::errc::invalid_argument && letter != std::string::npos) {
        spelled[letter] = 'e';
        error = parseWord(spelled, value);
    }
    if (error == std::errc::invalid_argument) fail(quoted(word) + " is not a number");
    if (error == std::errc::result_out_of_range) value = extremeValue(spelled);
    if (!std::isfinite(value)) fail(quoted(word) + " is not a finite number");
    return value;
}

std::int64_t MatrixMarketReader::Parser::wholeFrom(std::string_view word) const
{
    std::int64_t value = 0;
    const std::errc error = parseWord(word, value);
    if (error == std::errc::result_out_of_range) fail(quoted(word) + " is too large");
    if (error != std::errc()) fail(quoted(word) + " is not a whole number");
    return value;
}

std::int32_t MatrixMarketReader::Parser::indexFrom(std::string_view word, std::string_view what,
                                                   std::int32_t limit) const
{
    const std::int64_t index = wholeFrom(word);
    if (index < 1 || index > limit) {
        fail(std::string(what) + " " + std::to_string(index) + " is outside 1 to " + std::to_string(limit));
    }
    return static_cast<std::int32_t>(index);
}

void MatrixMarketReader::Parser::requireNoMore(std::string_view rest) const
{
    const std::string_view word = takeWord(rest);
    if (!word.empty()) fail(quoted(word) + " stands where the line should end");
}

MatrixMarketReader::MatrixMarketReader(const std::string& path, ProgressFunction progress)
    : parser_(std::make_unique<Parser>(openFile(path), path, std::move(progress)))
{
}

MatrixMarketReader::MatrixMarketReader(std::istream& in, const std::string& name, ProgressFunction progress)
    : parser_(std::make_unique<Parser>(sourceFrom(in), name, std::move(progress)))
{
}

MatrixMarketReader::MatrixMarketReader(std::unique_ptr<RawSource> bytes, const std::string& name,
                                       ProgressFunction progress)
    : parser_(std::make_unique<Parser>(std::move(bytes), name, std::move(progress)))
{
}

MatrixMarketReader::MatrixMarketReader(MatrixMarketReader&&) noexcept = default;
MatrixMarketReader& MatrixMarketReader::operator=(MatrixMarketReader&&) noexcept = default;
MatrixMarketReader::~MatrixMarketReader() = default;

const MatrixMarketHeader& MatrixMarketReader::Header() const noexcept
{
    return parser_->header();
}

std::int64_t MatrixMarketReader::EntriesRead() const noexcept
{
    return parser_->entriesRead();
}

template <class Cell>
SparseOf<Cell> MatrixMarketReader::Parser::readSparse(MatrixMarketStorage storage)
{
    return sparseFrom<Cell>(header_, storage, firstReservation(), entriesRead_,
                            [this](auto take) { this->readEntries<Cell>(take); });
}

SparseMatrix MatrixMarketReader::ReadSparse(MatrixMarketStorage storage)
{
    parser_->requireReal();
    return parser_->readSparse<double>(storage);
}

CSparseMatrix MatrixMarketReader::ReadComplexSparse(MatrixMarketStorage storage)
{
    return parser_->readSparse<Complex>(storage);
}

template <class Cell>
MatrixOf<Cell> MatrixMarketReader::Parser::readDense()
{
    return denseFrom<Cell>(header_, entriesRead_, [this](auto take) { this->readEntries<Cell>(take); });
}

Matrix MatrixMarketReader::ReadDense()
{
    parser_->requireReal();
    return parser_->readDense<double>();
}

CMatrix MatrixMarketReader::ReadComplexDense()
{
    return parser_->readDense<Complex>();
}

MatrixMarketTriplets MatrixMarketReader::ReadTriplets()
{
    return tripletsFrom(Header(), parser_->firstReservation(),
                        [this](auto take) { parser_->readEntries<Complex>(take); });
}

SparseMatrix ReadMatrixMarket(const std::string& path)
{
    return MatrixMarketReader(path).ReadSparse();
}

SparseMatrix ReadMatrixMarket(std::istream& in)
{
    return MatrixMarketReader(in).ReadSparse();
}

CSparseMatrix ReadMatrixMarketComplex(const std::string& path)
{
    return MatrixMarketReader(path).ReadComplexSparse();
}

CSparseMatrix ReadMatrixMarketComplex(std::istream& in)
{
    return MatrixMarketReader(in).ReadComplexSparse();
}

Matrix ReadMatrixMarketDense(const std::string& path)
{
    return MatrixMarketReader(path).ReadDense();
}

Matrix ReadMatrixMarketDense(std::istream& in)
{
    return MatrixMarketReader(in).ReadDense();
}

CMatrix ReadMatrixMarketComplexDense(const std::string& path)
{
    return MatrixMarketReader(path).ReadComplexDense();
}

CMatrix ReadMatrixMarketComplexDense(std::istream& in)
{
    return MatrixMarketReader(in).ReadComplexDense();
}

MatrixMarketTriplets ReadMatrixMarketTriplets(const std::string& path)
{
    return MatrixMarketReader(path).ReadTriplets();
}

MatrixMarketTriplets ReadMatrixMarketTriplets(std::istream& in)
{
    return MatrixMarketReader(in).ReadTriplets();
}

} // namespace Velmar::Lintrix
