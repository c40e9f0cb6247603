#include <tools/matrix_market.h>

#include <tools/input_error.h>
#include <tools/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

namespace Velmar::Lintrix::tools {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

/// Takes the first word off `rest`; empty when there is none.
std::string_view takeWord(std::string_view& rest)
{
    const auto begin = std::find_if_not(rest.begin(), rest.end(), isBlank);
    const auto end = std::find_if(begin, rest.end(), isBlank);
    rest = {end, rest.end()};
    return {begin, end};
}

/// ASCII only, whatever the locale.
std::string lowerCase(std::string_view word)
{
    std::string lower(word);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

/// The header word among the known ones.
template <class Value, std::size_t count>
std::optional<Value> lookUp(std::string_view word,
                            const std::array<std::pair<std::string_view, Value>, count>& known)
{
    const auto found =
        std::find_if(known.begin(), known.end(), [&](const auto& k) { return k.first == word; });
    return found == known.end() ? std::nullopt : std::optional(found->second);
}

constexpr std::array<std::pair<std::string_view, Form>, 2> kForms{
    {{"coordinate", Form::Coordinate}, {"array", Form::Array}}};
constexpr std::array<std::pair<std::string_view, Field>, 3> kFields{
    {{"real", Field::Real}, {"integer", Field::Integer}, {"pattern", Field::Pattern}}};
constexpr std::array<std::pair<std::string_view, Symmetry>, 3> kSymmetries{
    {{"general", Symmetry::General},
     {"symmetric", Symmetry::Symmetric},
     {"skew-symmetric", Symmetry::SkewSymmetric}}};

/// All of `word` as a number; a single leading "+" is taken too.
template <class Number>
std::errc parse(std::string_view word, Number& value)
{
    if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error == std::errc() && end != word.data() + word.size()) return std::errc::invalid_argument;
    return error;
}

/// The number of values that an array file of this symmetry holds.
std::int64_t arrayLength(Symmetry symmetry, std::int64_t rows, std::int64_t cols)
{
    if (symmetry == Symmetry::General) return rows * cols;
    return symmetry == Symmetry::Symmetric ? rows * (rows + 1) / 2 : rows * (rows - 1) / 2;
}

} // namespace

std::int64_t entryCount(const MatrixMarket& matrix)
{
    const MatrixMarketHeader& header = matrix.header;
    if (header.symmetry == Symmetry::General) return header.stored;
    if (header.form == Form::Array) return header.stored + std::int64_t{header.rows} * (header.rows - 1) / 2;
    return header.stored + std::count_if(matrix.coordinates.begin(), matrix.coordinates.end(),
                                         [](const Coordinate& entry) { return entry.row != entry.col; });
}

MatrixMarketReader::MatrixMarketReader(const std::string& file, Progress& progress) : lines_(file, progress)
{
    header_.file = lines_.name();
    readHeaderLine();
    readSizeLine();
    requireRoomInFile();
}

/// The next line that is neither blank nor a comment.
std::optional<std::string_view> MatrixMarketReader::nextContent()
{
    for (;;) {
        const auto line = lines_.next();
        if (!line) return std::nullopt;
        const bool blank = std::all_of(line->begin(), line->end(), isBlank);
        if (!blank && line->front() != '%') return line;
    }
}

// "%%MatrixMarket matrix FORM FIELD SYMMETRY"
void MatrixMarketReader::readHeaderLine()
{
    const auto line = lines_.next();
    if (!line) throw InputError(header_.file, 1, "the file is empty");
    std::string_view rest = *line;
    if (lowerCase(takeWord(rest)) != "%%matrixmarket") {
        lines_.fail("a Matrix Market file begins with '%%MatrixMarket', not with " + inQuotes(*line));
    }
    const std::string_view object = takeWord(rest), form = takeWord(rest), field = takeWord(rest),
                           symmetry = takeWord(rest);
    if (symmetry.empty()) lines_.fail("the header needs an object, a form, a field and a symmetry");
    requireNoMore(rest);
    if (lowerCase(object) != "matrix") lines_.fail("the object must be matrix, not " + inQuotes(object));
    if (lowerCase(field) == "complex" || lowerCase(symmetry) == "hermitian") {
        lines_.fail("complex matrices are not supported yet");
    }

    const auto knownForm = lookUp(lowerCase(form), kForms);
    const auto knownField = lookUp(lowerCase(field), kFields);
    const auto knownSymmetry = lookUp(lowerCase(symmetry), kSymmetries);
    if (!knownForm) lines_.fail("the form must be coordinate or array, not " + inQuotes(form));
    if (!knownField) lines_.fail("the field must be real, integer or pattern, not " + inQuotes(field));
    if (!knownSymmetry) {
        lines_.fail("the symmetry must be general, symmetric or skew-symmetric, not " + inQuotes(symmetry));
    }
    header_.form = *knownForm;
    header_.field = *knownField;
    header_.symmetry = *knownSymmetry;
    if (header_.field == Field::Pattern && header_.form == Form::Array) {
        lines_.fail("a pattern has no array form");
    }
    if (header_.field == Field::Pattern && header_.symmetry == Symmetry::SkewSymmetric) {
        lines_.fail("a pattern has no signs and cannot be skew-symmetric");
    }
}

void MatrixMarketReader::readSizeLine()
{
    const auto line = nextContent();
    if (!line) lines_.fail("the file ends before its size line");
    header_.sizeLine = lines_.line();
    std::string_view rest = *line;
    const bool array = header_.form == Form::Array;
    const std::string_view rowWord = takeWord(rest), colWord = takeWord(rest);
    const std::string_view storedWord = array ? std::string_view() : takeWord(rest);
    if (colWord.empty() || (!array && storedWord.empty())) {
        lines_.fail(array ? "the size line needs rows and columns"
                          : "the size line needs rows, columns and the number of entries");
    }
    const std::int64_t rows = wholeFrom(rowWord), cols = wholeFrom(colWord);
    const std::int64_t announced = array ? 0 : wholeFrom(storedWord);
    requireNoMore(rest);
    requireSizes(rows, cols);
    if (announced < 0) lines_.fail("the number of entries must not be negative");
    header_.rows = static_cast<std::int32_t>(rows);
    header_.cols = static_cast<std::int32_t>(cols);
    header_.stored = array ? arrayLength(header_.symmetry, rows, cols) : announced;
}

void MatrixMarketReader::requireSizes(std::int64_t rows, std::int64_t cols) const
{
    if (rows < 1 || cols < 1) lines_.fail("rows and columns must be at least 1");
    if (rows > INT32_MAX || cols > INT32_MAX) {
        lines_.fail(fmt::format("a size of {} x {} exceeds the limit of {}", rows, cols, INT32_MAX));
    }
    if (header_.symmetry != Symmetry::General && rows != cols) {
        lines_.fail(
            fmt::format("a symmetric or skew-symmetric matrix must be square, not {} x {}", rows, cols));
    }
}

/// The announced number is not believed beyond what the bytes of the file can hold: the shortest entries are
/// "1 1" of a pattern, "1 1 1" with a value and "1" of an array, each with a line end but the last.
void MatrixMarketReader::requireRoomInFile() const
{
    const std::uint64_t shortest = header_.form == Form::Array ? 2 : header_.field == Field::Pattern ? 4 : 6;
    const std::uint64_t most = lines_.byteLimit() / shortest + 1;
    if (static_cast<std::uint64_t>(header_.stored) <= most) return;
    lines_.fail(fmt::format("{} entries are announced, but a file of this length holds at most {}",
                            header_.stored, most));
}

/// All entries at once where the file's size vouches for them; else the lists grow with what is really read.
std::size_t MatrixMarketReader::firstReservation() const
{
    constexpr std::int64_t unvouched = 1 << 16;
    return static_cast<std::size_t>(lines_.sizeIsKnown() ? header_.stored
                                                         : std::min(header_.stored, unvouched));
}

MatrixMarket MatrixMarketReader::read()
{
    MatrixMarket matrix;
    matrix.header = header_;
    if (header_.form == Form::Array) {
        matrix.values.reserve(firstReservation());
        for (std::int64_t i = 0; i < header_.stored; ++i) {
            std::string_view rest = nextEntry(i);
            matrix.values.push_back(valueFrom(takeWord(rest)));
            requireNoMore(rest);
        }
    } else {
        matrix.coordinates.reserve(firstReservation());
        for (std::int64_t i = 0; i < header_.stored; ++i) {
            matrix.coordinates.push_back(coordinateFrom(nextEntry(i)));
        }
    }
    if (nextContent())
        lines_.fail(fmt::format("there are more entries than the {} announced", header_.stored));
    return matrix;
}

std::string_view MatrixMarketReader::nextEntry(std::int64_t index)
{
    const auto line = nextContent();
    if (!line) lines_.fail(fmt::format("the file ends after {} of {} entries", index, header_.stored));
    return *line;
}

// "row column value", without the value in a pattern
Coordinate MatrixMarketReader::coordinateFrom(std::string_view line) const
{
    const std::string_view rowWord = takeWord(line), colWord = takeWord(line);
    if (colWord.empty()) lines_.fail("the column is missing");
    const Coordinate place{indexFrom(rowWord, "row", header_.rows) - 1,
                           indexFrom(colWord, "column", header_.cols) - 1, 1.0};
    requireStoredSide(place);
    if (header_.field == Field::Pattern) {
        requireNoMore(line);
        return place;
    }
    const std::string_view valueWord = takeWord(line);
    if (valueWord.empty()) lines_.fail("the value is missing");
    const double value = valueFrom(valueWord);
    requireNoMore(line);
    return {place.row, place.col, value};
}

void MatrixMarketReader::requireStoredSide(const Coordinate& entry) const
{
    if (header_.symmetry == Symmetry::General) return;
    if (entry.row < entry.col) {
        lines_.fail(
            fmt::format("entry ({}, {}) is above the diagonal; a symmetric file holds the lower triangle",
                        entry.row + 1, entry.col + 1));
    }
    if (header_.symmetry == Symmetry::SkewSymmetric && entry.row == entry.col) {
        lines_.fail(fmt::format("entry ({}, {}) is on the diagonal, which is zero in a skew-symmetric matrix",
                                entry.row + 1, entry.col + 1));
    }
}

double MatrixMarketReader::valueFrom(std::string_view word) const
{
    return header_.field == Field::Integer ? static_cast<double>(wholeFrom(word)) : realFrom(word);
}

/// Values that round to zero are zero; NaN and infinities, written or by overflow, are refused: no system
/// with one of them has a solution.
double MatrixMarketReader::realFrom(std::string_view word) const
{
    double value = 0.0;
    std::errc error = parse(word, value);
    if (error == std::errc() && std::isfinite(value)) return value;

    std::string spelled(word); // Fortran writes 1.5D+03
    const std::size_t letter = spelled.find_first_of("dD");
    if (error == std::errc::invalid_argument && letter != std::string::npos) {
        spelled[letter] = 'e';
        error = parse(spelled, value);
    }
    if (error == std::errc::result_out_of_range) value = std::strtod(spelled.c_str(), nullptr);
    if (error == std::errc::invalid_argument) lines_.fail(inQuotes(word) + " is not a number");
    if (!std::isfinite(value)) lines_.fail(inQuotes(word) + " is not a finite number");
    return value;
}

std::int64_t MatrixMarketReader::wholeFrom(std::string_view word) const
{
    std::int64_t value = 0;
    const std::errc error = parse(word, value);
    if (error == std::errc::result_out_of_range) lines_.fail(inQuotes(word) + " is too large");
    if (error != std::errc()) lines_.fail(inQuotes(word) + " is not a whole number");
    return value;
}

std::int32_t MatrixMarketReader::indexFrom(std::string_view word, std::string_view what,
                                           std::int32_t limit) const
{
    const std::int64_t index = wholeFrom(word);
    if (index < 1 || index > limit) {
        lines_.fail(fmt::format("{} {} is outside 1 to {}", what, index, limit));
    }
    return static_cast<std::int32_t>(index);
}

void MatrixMarketReader::requireNoMore(std::string_view rest) const
{
    const std::string_view word = takeWord(rest);
    if (!word.empty()) lines_.fail(inQuotes(word) + " stands where the line should end");
}

void writeMatrixMarketArray(const double* values, std::int32_t rows, std::int32_t cols,
                            const std::function<void(std::string_view)>& sink)
{
    constexpr std::size_t piece = std::size_t{1} << 16;
    std::string text = fmt::format("%%MatrixMarket matrix array real general\n{} {}\n", rows, cols);
    const std::int64_t count = std::int64_t{rows} * cols;
    for (std::int64_t i = 0; i < count; ++i) {
        std::array<char, 32> digits; // the longest, -1.2345678901234567e-308, has 24
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), values[i]).ptr;
        *end = '\n';
        text.append(digits.data(), end + 1);
        if (text.size() < piece) continue;
        sink(text);
        text.clear();
    }
    sink(text);
}

} // namespace Velmar::Lintrix::tools
