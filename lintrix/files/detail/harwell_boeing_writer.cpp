#include <lintrix/files/detail/harwell_boeing.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/detail/sound_matrix.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <complex>
#include <cstddef>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kCard = 80;      // characters
constexpr std::int32_t kRealWidth = 25; // " -1.2345678901234567E+308"
constexpr std::int32_t kReals = kCard / kRealWidth;
constexpr std::string_view kRealFormat = "(3E25.16)"; // 17 digits bring every double back

/// Whole numbers of one width, as many as fit a card.
struct WholeFormat {
    std::int32_t width, perLine;

    explicit WholeFormat(std::int64_t largest)
        : width(static_cast<std::int32_t>(std::to_string(largest).size()) + 1), perLine(kCard / width)
    {
    }
    std::string text() const { return fmt::format("({}I{})", perLine, width); }
    std::int64_t lines(std::int64_t numbers) const { return (numbers + perLine - 1) / perLine; }
};

/// Fields of fixed width, gathered into lines and handed on in pieces.
class CardWriter {
public:
    explicit CardWriter(const TextSink& sink) : sink_(sink) { text_.reserve(kPiece + kCard); }

    /// `word` on the left (right) side of `width` characters.
    void left(std::string_view word, std::size_t width)
    {
        text_.append(word.substr(0, width)).append(width - std::min(width, word.size()), ' ');
    }
    void right(std::string_view word, std::int32_t width)
    {
        text_.append(static_cast<std::size_t>(width) - std::min(static_cast<std::size_t>(width), word.size()),
                     ' ');
        text_.append(word);
    }
    void right(std::int64_t number, std::int32_t width) { right(std::to_string(number), width); }
    void endLine()
    {
        text_ += '\n';
        fields_ = 0;
        if (text_.size() >= kPiece) flush();
    }

    void whole(std::int64_t number, const WholeFormat& format)
    {
        right(number, format.width);
        if (++fields_ == format.perLine) endLine();
    }
    void real(double value)
    {
        std::array<char, 32> digits;
        char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                        std::chars_format::scientific, 16)
                              .ptr;
        *std::find(digits.data(), end, 'e') = 'E';
        right(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())), kRealWidth);
        if (++fields_ == kReals) endLine();
    }
    /// The last line of a part may be short.
    void endPart()
    {
        if (fields_ > 0) endLine();
    }
    void flush()
    {
        sink_(text_);
        text_.clear();
    }

private:
    static constexpr std::size_t kPiece = std::size_t{1} << 16;

    const TextSink& sink_;
    std::string text_;
    std::int32_t fields_ = 0; ///< of the line at hand
};

template <class Cell>
constexpr std::int64_t kParts = static_cast<std::int64_t>(sizeof(Cell) / sizeof(double));

/// "RUA", "RSA", "RRA", "CUA", "CHA", "CRA".
template <class Cell>
std::string typeOf(const CompressedMatrix<Cell>& matrix)
{
    const bool complex = kParts<Cell> == 2;
    const char shape = SparseAccess::isMarked(matrix)   ? (complex ? 'H' : 'S')
                       : matrix.Rows() == matrix.Cols() ? 'U'
                                                        : 'R';
    return {complex ? 'C' : 'R', shape, 'A'};
}

template <class Cell>
void writeHead(CardForm form, CardWriter& cards, const CompressedMatrix<Cell>& matrix,
               const WholeFormat& starts, const WholeFormat& rows)
{
    const bool old = form == CardForm::HarwellBoeing;
    const std::int64_t entries = matrix.NumElements();
    const std::int64_t startLines = starts.lines(std::int64_t{matrix.Cols()} + 1),
                       rowLines = rows.lines(entries),
                       valueLines = (kParts<Cell> * entries + kReals - 1) / kReals;
    std::string type = typeOf(matrix);
    if (!old)
        std::ranges::transform(type, type.begin(), [](char c) { return static_cast<char>(c - 'A' + 'a'); });
    cards.left("Matrix written by Lintrix", 72);
    cards.left("LINTRIX", 8);
    cards.endLine();
    for (const std::int64_t lines : {startLines + rowLines + valueLines, startLines, rowLines, valueLines})
        cards.right(lines, 14);
    if (old) cards.right(0, 14);
    cards.endLine();
    cards.left(type, 14);
    for (const std::int64_t size :
         {std::int64_t{matrix.Rows()}, std::int64_t{matrix.Cols()}, entries, std::int64_t{0}})
        cards.right(size, 14);
    cards.endLine();
    cards.left(starts.text(), 16);
    cards.left(rows.text(), 16);
    cards.left(kRealFormat, 20);
    cards.endLine();
}

void writeValue(CardWriter& cards, double value)
{
    cards.real(value);
}
void writeValue(CardWriter& cards, const Complex& value)
{
    cards.real(value.real());
    cards.real(value.imag());
}

/// Columns of A are rows of its transpose; of the upper triangle they are the rows themselves, read as
/// columns of the lower one.
template <class Cell>
void writeMatrix(CardForm form, const TextSink& sink, const SparseOf<Cell>& matrix)
{
    if (matrix.Rows() < 1 || matrix.Cols() < 1) throw InvalidSizeException();
    requireSoundSparse<Cell>(matrix, form == CardForm::HarwellBoeing
                                         ? "Harwell-Boeing files hold finite numbers only"
                                         : "Rutherford-Boeing files hold finite numbers only");
    const bool marked = SparseAccess::isMarked(matrix);
    SparseOf<Cell> turned;
    if (!marked) turned = matrix.Transpose();
    const SparseOf<Cell>& columns = marked ? matrix : turned;

    const WholeFormat starts(std::int64_t{matrix.NumElements()} + 1), rows(matrix.Rows());
    CardWriter cards(sink);
    writeHead(form, cards, static_cast<const CompressedMatrix<Cell>&>(matrix), starts, rows);
    for (const std::int32_t start : columns.RowPointers()) cards.whole(start, starts);
    cards.endPart();
    for (const std::int32_t row : columns.ColumnIndices()) cards.whole(row, rows);
    cards.endPart();
    for (const auto [col, row, value] : columns)
        writeValue(cards, marked && row != col ? mirrored(value) : value);
    cards.endPart();
    cards.flush();
}

} // namespace

void writeCards(CardForm form, const TextSink& sink, const SparseMatrix& matrix)
{
    writeMatrix<double>(form, sink, matrix);
}

void writeCards(CardForm form, const TextSink& sink, const CSparseMatrix& matrix)
{
    writeMatrix<Complex>(form, sink, matrix);
}

} // namespace Velmar::Lintrix::detail
