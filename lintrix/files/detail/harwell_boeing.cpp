#include <lintrix/files/detail/harwell_boeing.h>

#include <lintrix/sparse/detail/market_words.h>
#include <lintrix/sparse/detail/message_text.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

using Field = MatrixMarketField;
using Symmetry = MatrixMarketSymmetry;

constexpr std::int64_t kUnvouched = 1 << 16;

char capital(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string typeWord(std::string_view card)
{
    std::string word(takeWord(card).substr(0, 3));
    std::ranges::transform(word, word.begin(), capital);
    return word;
}

bool isOneOf(char c, std::string_view letters)
{
    return letters.find(c) != std::string_view::npos;
}

bool isType(std::string_view word)
{
    return word.size() == 3 && isOneOf(word[0], "RCPIQ") && isOneOf(word[1], "SUHZR") &&
           isOneOf(word[2], "AE");
}

std::string_view withoutEnd(std::string_view line)
{
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

bool areWholeNumbers(std::string_view words)
{
    int count = 0;
    for (std::string_view word = takeWord(words); !word.empty(); word = takeWord(words), ++count) {
        std::int64_t value = 0;
        if (parseWord(word, value) != std::errc()) return false;
    }
    return count > 0;
}

bool isBlankLine(std::string_view line)
{
    return std::ranges::all_of(line, isBlank);
}

} // namespace

bool looksLikeHarwellBoeing(std::string_view beginning)
{
    std::string_view cards[3];
    for (std::string_view& card : cards) {
        const std::size_t end = beginning.find('\n');
        if (end == std::string_view::npos) return false;
        card = withoutEnd(beginning.substr(0, end));
        beginning.remove_prefix(end + 1);
    }
    std::string_view rest = cards[2];
    const std::string_view word = takeWord(rest);
    return areWholeNumbers(cards[1]) && word.size() == 3 && isType(typeWord(word)) && areWholeNumbers(rest);
}

// ---- fields

/// The columns of a field, as far as the line has them.
std::string_view FieldReader::columns(std::int32_t field) const
{
    const auto width = static_cast<std::size_t>(format_.width),
               begin = static_cast<std::size_t>(field) * width;
    return begin < line_.size() ? std::string_view(line_).substr(begin, width) : std::string_view();
}

/// Whether two fields touch, or what stands there is cut.
bool FieldReader::isCut() const
{
    for (std::int32_t k = 1; k <= fields_; ++k) {
        const auto at = static_cast<std::size_t>(k) * static_cast<std::size_t>(format_.width);
        if (at < line_.size() && !isBlank(line_[at]) && !isBlank(line_[at - 1])) return true;
    }
    return false;
}

void FieldReader::beginLine(std::string_view what)
{
    const auto line = lines_->next();
    if (!line) lines_->fail("the file ends before " + std::string(what));
    line_ = *line;
    next_ = 0;
    fields_ = static_cast<std::int32_t>(std::min<std::int64_t>(format_.perLine, left_));
    words_.clear();
    if (!isCut()) return;
    std::string_view rest = line_;
    for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest)) words_.push_back(word);
    if (words_.size() != static_cast<std::size_t>(fields_)) words_.clear();
}

std::string_view FieldReader::field(std::string_view what)
{
    if (next_ == fields_) beginLine(what);
    const std::string_view text = words_.empty() ? columns(next_) : words_[static_cast<std::size_t>(next_)];
    if (isBlankLine(text)) lines_->fail("field " + std::to_string(next_ + 1) + " of the line is empty");
    ++next_;
    --left_;
    return text;
}

std::int64_t FieldReader::whole(std::string_view what)
{
    const std::string_view text = field(what);
    const auto value = format_.wholeFrom(text);
    if (!value) lines_->fail(quoted(text) + " is not a whole number");
    return *value;
}

double FieldReader::real(std::string_view what)
{
    const std::string_view text = field(what);
    const auto value = format_.realFrom(text);
    if (!value) lines_->fail(quoted(text) + " is not a number");
    return *value;
}

// ---- the cards before the numbers

HarwellBoeingFile::HarwellBoeingFile(LineReader lines) : lines_(std::move(lines))
{
    header_.file = lines_.name();
    card("a title");
    readCounts();
    readType();
    readFormats();
    if (hasRightHands_) readRightHandCard();
    requireRoomInFile();
}

std::string_view HarwellBoeingFile::card(std::string_view what)
{
    const auto line = lines_.next();
    if (!line)
        throw FileFormatException(lines_.name(), lines_.line() + 1,
                                  "the file ends before " + std::string(what));
    card_ = *line;
    return card_;
}

std::vector<std::int64_t> HarwellBoeingFile::countsOf(std::string_view words, std::string_view what) const
{
    std::vector<std::int64_t> counts;
    for (std::string_view word = takeWord(words); !word.empty(); word = takeWord(words)) {
        std::int64_t value = 0;
        const std::errc error = parseWord(word, value);
        if (error == std::errc::result_out_of_range) fail(quoted(word) + " is too large");
        if (error != std::errc()) fail(quoted(word) + " is not a whole number");
        if (value < 0) fail(std::string(what) + " must not be negative");
        counts.push_back(value);
        if (counts.size() > 5) fail("there are more than 5 of " + std::string(what));
    }
    return counts;
}

// lines in all, of pointers, of row numbers, of values, and of right-hand sides, which may be left out
void HarwellBoeingFile::readCounts()
{
    const auto counts = countsOf(card("the counts of its lines"), "the counts of lines");
    if (counts.size() < 3) fail("the counts of lines are missing");
    hasValues_ = counts.size() > 3 && counts[3] > 0;
    hasRightHands_ = counts.size() > 4 && counts[4] > 0;
}

void HarwellBoeingFile::readType()
{
    std::string_view rest = card("its type and sizes");
    header_.sizeLine = lines_.line();
    const std::string_view word = takeWord(rest);
    const std::string type = typeWord(word);
    if (word.size() != 3 || !isType(type)) {
        fail("the type must be three letters such as RUA, RSA, CHA or PUA, not " + quoted(word));
    }
    if (type[2] == 'E') fail("element matrices, as of type " + type + ", are not read, only assembled ones");
    if (type[0] == 'Q') fail("values in a file beside this one, as of type " + type + ", are not read");
    header_.form = MatrixMarketForm::Coordinate;
    header_.field = type[0] == 'C'   ? Field::ComplexNumber
                    : type[0] == 'P' ? Field::Pattern
                    : type[0] == 'I' ? Field::Integer
                                     : Field::Real;
    header_.symmetry = type[1] == 'S'   ? Symmetry::Symmetric
                       : type[1] == 'H' ? Symmetry::Hermitian
                       : type[1] == 'Z' ? Symmetry::SkewSymmetric
                                        : Symmetry::General;
    if (type[0] != 'C' && type[1] == 'H')
        fail("only a complex matrix can be hermitian, not one of type " + type);
    if (type[0] == 'P' && type[1] == 'Z') fail("a pattern has no signs and cannot be skew-symmetric");

    const auto sizes = countsOf(rest, "rows, columns and entries");
    if (sizes.size() < 3) fail("the type needs rows, columns and the number of entries behind it");
    const std::string shape = std::to_string(sizes[0]) + " x " + std::to_string(sizes[1]);
    if (sizes[0] < 1 || sizes[1] < 1) fail("rows and columns must be at least 1");
    if (std::max(sizes[0], sizes[1]) > std::numeric_limits<std::int32_t>::max())
        fail("a size of " + shape + " exceeds the limit of 2147483647");
    if (header_.symmetry != Symmetry::General && sizes[0] != sizes[1])
        fail("a matrix of type " + type + " must be square, not " + shape);
    header_.rows = static_cast<std::int32_t>(sizes[0]);
    header_.cols = static_cast<std::int32_t>(sizes[1]);
    header_.stored = sizes[2];
    if (header_.field == Field::Pattern)
        hasValues_ = false;
    else if (!hasValues_ && header_.stored > 0)
        fail("the values are missing: the file announces no line of them");
}

FortranFormat HarwellBoeingFile::formatOf(std::string_view& text, std::string_view what,
                                          bool wholeNumbers) const
{
    const std::size_t begin = text.find('(');
    if (begin == std::string_view::npos) fail("the format of " + std::string(what) + " is missing");
    int depth = 0;
    std::size_t end = begin;
    for (; end < text.size(); ++end) {
        depth += text[end] == '(' ? 1 : text[end] == ')' ? -1 : 0;
        if (depth == 0) break;
    }
    const std::string_view word = text.substr(begin, end - begin + 1);
    const auto format = FortranFormat::parse(word);
    if (!format || (wholeNumbers && format->letter != 'I')) {
        fail(quoted(word) + " is no format of " + std::string(what) + " that is known");
    }
    text.remove_prefix(std::min(text.size(), end + 1));
    return *format;
}

void HarwellBoeingFile::readFormats()
{
    std::string_view text = card("the formats of its numbers");
    pointers_ = formatOf(text, "column pointers", true);
    indices_ = formatOf(text, "row numbers", true);
    if (hasValues_) values_ = formatOf(text, "values", false);
    if (hasRightHands_) {
        // Of a pattern the format of the values may stand there all the same.
        rightHandValues_ = formatOf(text, "right-hand sides", false);
        if (!hasValues_ && text.find('(') != std::string_view::npos)
            rightHandValues_ = formatOf(text, "right-hand sides", false);
    }
}

// "FGX" or "F X" with the number of right-hand sides and, of form M, of their entries
void HarwellBoeingFile::readRightHandCard()
{
    std::string_view rest = card("the type of its right-hand sides");
    const std::string type = typeWord(rest.substr(0, 3)); // "F X" has a blank for the guesses
    rest.remove_prefix(std::min<std::size_t>(3, rest.size()));
    if (type.empty() || !isOneOf(type[0], "FM"))
        fail("right-hand sides are of type F or M, not " + quoted(type));
    const auto counts = countsOf(rest, "the counts of right-hand sides");
    if (counts.empty()) fail("the number of right-hand sides is missing");
    if (counts[0] > std::numeric_limits<std::int32_t>::max())
        fail(std::to_string(counts[0]) + " right-hand sides exceed the limit of 2147483647");
    rightHandForm_ = type[0];
    rightHands_ = static_cast<std::int32_t>(counts[0]);
    if (rightHandForm_ == 'M' && counts.size() > 1) rightHandEntries_ = counts[1];
    if (rightHandEntries_ > std::numeric_limits<std::int32_t>::max() - 1)
        fail("the right-hand sides have too many entries: " + std::to_string(rightHandEntries_));
}

/// Each number takes a character at least, and not all are believed that are announced.
void HarwellBoeingFile::requireRoomInFile() const
{
    const std::uint64_t limit = lines_.bytes().byteLimit();
    const std::uint64_t each = hasValues_ ? 2 : 1;
    const std::int64_t rightHandNumbers =
        rightHandForm_ == 'F' ? std::int64_t{rightHands_} * header_.rows : rightHandEntries_;
    const auto fail = [this](std::int64_t line, const std::string& what) {
        throw FileFormatException(header_.file, line,
                                  what + " are announced, but a file of this length does not hold them");
    };
    if (static_cast<std::uint64_t>(header_.stored) > limit / each ||
        static_cast<std::uint64_t>(header_.cols) >= limit) {
        fail(header_.sizeLine,
             std::to_string(header_.cols) + " columns with " + std::to_string(header_.stored) + " entries");
    }
    if (static_cast<std::uint64_t>(rightHandNumbers) > limit)
        fail(lines_.line(), std::to_string(rightHandNumbers) + " numbers of right-hand sides");
}

std::int64_t HarwellBoeingFile::vouchedEntries() const
{
    const bool vouched = lines_.bytes().rawSize() > 0 && !lines_.bytes().packed();
    return vouched ? header_.stored : std::min(header_.stored, kUnvouched);
}

// ---- the numbers

std::vector<std::int32_t> HarwellBoeingFile::readPointers(std::int32_t columns, std::int64_t entries)
{
    FieldReader fields(lines_, pointers_, std::int64_t{columns} + 1);
    std::vector<std::int32_t> starts;
    starts.reserve(static_cast<std::size_t>(std::min<std::int64_t>(columns, kUnvouched)) + 1);
    std::int64_t before = 1;
    for (std::int64_t col = 0; col <= columns; ++col) {
        const std::int64_t start = fields.whole("all column pointers are there");
        if (start < before || start > entries + 1 || (col == 0 && start != 1)) {
            fail("column pointer " + std::to_string(col + 1) + " is " + std::to_string(start) + ", outside " +
                 std::to_string(before) + " to " + std::to_string(col == 0 ? 1 : entries + 1));
        }
        starts.push_back(static_cast<std::int32_t>(start - 1));
        before = start;
    }
    if (before != entries + 1) {
        fail("the last column pointer is " + std::to_string(before) + ", not " + std::to_string(entries + 1));
    }
    return starts;
}

std::vector<std::int32_t> HarwellBoeingFile::readIndices(std::int64_t count, std::int32_t limit)
{
    FieldReader fields(lines_, indices_, count);
    std::vector<std::int32_t> rows;
    rows.reserve(static_cast<std::size_t>(std::min(count, vouchedEntries())));
    for (std::int64_t k = 0; k < count; ++k) {
        const std::int64_t row = fields.whole("all row numbers are there");
        if (row < 1 || row > limit)
            fail("row " + std::to_string(row) + " is outside 1 to " + std::to_string(limit));
        rows.push_back(static_cast<std::int32_t>(row - 1));
    }
    return rows;
}

/// Of so many values, those of complex ones in two parts.
std::int64_t HarwellBoeingFile::numbersOf(std::int64_t values) const
{
    return header_.field == Field::ComplexNumber ? 2 * values : values;
}

std::complex<double> HarwellBoeingFile::readValue(FieldReader& fields, std::int32_t row,
                                                  std::int32_t col) const
{
    constexpr std::string_view missing = "all values are there";
    const double real = fields.real(missing);
    const double imaginary = header_.field == Field::ComplexNumber ? fields.real(missing) : 0.0;
    const std::complex<double> value(real, imaginary);
    if (isRefused(value)) fail(placeInWords(row, col) + " is not a finite number");
    return value;
}

void HarwellBoeingFile::requireStoredSide(std::int32_t row, std::int32_t col,
                                          const std::complex<double>& value) const
{
    if (header_.symmetry == Symmetry::General) return;
    if (row < col)
        fail(placeInWords(row, col) + " is above the diagonal; a symmetric file holds the lower triangle");
    if (row != col) return;
    if (header_.symmetry == Symmetry::SkewSymmetric)
        fail(placeInWords(row, col) + " is on the diagonal, which is zero in a skew-symmetric matrix");
    if (header_.symmetry == Symmetry::Hermitian && value.imag() != 0.0)
        fail(placeInWords(row, col) + " is on the diagonal, which is real in a hermitian matrix");
}

void HarwellBoeingFile::readEntries(const Take& take)
{
    if (header_.stored > std::numeric_limits<std::int32_t>::max() - 1)
        throw NotSupportedException("A sparse matrix holds at most 2147483646 elements.");
    const auto starts = readPointers(header_.cols, header_.stored);
    const auto rows = readIndices(header_.stored, header_.rows);
    FieldReader fields(lines_, values_, numbersOf(header_.stored));
    for (std::int32_t col = 0; col < header_.cols; ++col) {
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(col) + 1]);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(col)]); k < end; ++k) {
            const std::complex<double> value = hasValues_ ? readValue(fields, rows[k], col) : 1.0;
            requireStoredSide(rows[k], col, value);
            take(rows[k], col, value);
        }
    }
    if (!hasRightHands_) requireEnd();
}

void HarwellBoeingFile::readRightHands(const Take& take)
{
    if (rightHandForm_ == 'F') return readFullRightHands(take);
    readSparseRightHands(take);
}

void HarwellBoeingFile::readFullRightHands(const Take& take)
{
    FieldReader fields(lines_, rightHandValues_, numbersOf(std::int64_t{rightHands_} * header_.rows));
    for (std::int32_t col = 0; col < rightHands_; ++col) {
        for (std::int32_t row = 0; row < header_.rows; ++row) take(row, col, readValue(fields, row, col));
    }
}

void HarwellBoeingFile::readSparseRightHands(const Take& take)
{
    const auto starts = readPointers(rightHands_, rightHandEntries_);
    const auto rows = readIndices(rightHandEntries_, header_.rows);
    FieldReader fields(lines_, rightHandValues_, numbersOf(rightHandEntries_));
    for (std::int32_t col = 0; col < rightHands_; ++col) {
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(col) + 1]);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(col)]); k < end; ++k)
            take(rows[k], col, readValue(fields, rows[k], col));
    }
}

/// Blank lines may follow.
void HarwellBoeingFile::requireEnd()
{
    while (const auto line = lines_.next()) {
        if (!isBlankLine(*line)) fail("there are more lines than the numbers announced");
    }
}

} // namespace Velmar::Lintrix::detail
