#pragma once
/// @file
/// Files of the Harwell-Boeing collection and of its successor: Duff, Grimes, Lewis, Users' Guide for the
/// Harwell-Boeing Sparse Matrix Collection, RAL-92-086 (1992); The Rutherford-Boeing Sparse Matrix
/// Collection, RAL-TR-97-031 (1997).
///
/// Cards of 80 columns: title and key; how many lines there are of each part; type and sizes; the formats of
/// the numbers; then column pointers, row numbers and values, column by column. A Harwell-Boeing file may
/// have right-hand sides, guesses and solutions behind them, told by a fifth card.

#include <lintrix/files/detail/entry_file.h>
#include <lintrix/files/detail/fortran_format.h>
#include <lintrix/services/export.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/detail/line_reader.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Numbers in columns of fixed width, line by line.
///
/// Some programs write fields of another width than their format says. A line in which the columns of the
/// format would cut through a word, and which has just as many words as fields should stand there, is taken
/// word by word: fields that truly touch each other make fewer words.
class FieldReader {
public:
    /// `count` numbers in all.
    FieldReader(LineReader& lines, const FortranFormat& format, std::int64_t count)
        : lines_(&lines), format_(format), left_(count)
    {
    }

    /// The next number. @throws FileFormatException  there is none, or it is not one of the format
    std::int64_t whole(std::string_view what);
    double real(std::string_view what);

private:
    std::string_view field(std::string_view what);
    void beginLine(std::string_view what);
    bool isCut() const;
    std::string_view columns(std::int32_t field) const;

    LineReader* lines_;
    FortranFormat format_;
    std::int64_t left_; ///< numbers that are still to come
    std::string line_;
    std::vector<std::string_view> words_; ///< of a line that is taken by words
    std::int32_t next_ = 0, fields_ = 0;  ///< of the line at hand
};

class HarwellBoeingFile : public EntryFile {
public:
    /// Reads the cards before the pointers.
    explicit HarwellBoeingFile(LineReader lines);

    std::int32_t rightHands() const noexcept override { return rightHands_; }
    std::int64_t vouchedEntries() const override;
    void readEntries(const Take& take) override;
    void readRightHands(const Take& take) override;

private:
    std::string_view card(std::string_view what);
    std::vector<std::int64_t> countsOf(std::string_view words, std::string_view what) const;
    FortranFormat formatOf(std::string_view& card, std::string_view what, bool wholeNumbers) const;
    void readCounts();
    void readType();
    void readFormats();
    void readRightHandCard();
    void requireRoomInFile() const;
    void requireStoredSide(std::int32_t row, std::int32_t col, const std::complex<double>& value) const;
    std::vector<std::int32_t> readPointers(std::int32_t columns, std::int64_t entries);
    std::vector<std::int32_t> readIndices(std::int64_t count, std::int32_t limit);
    std::int64_t numbersOf(std::int64_t values) const;
    std::complex<double> readValue(FieldReader& fields, std::int32_t row, std::int32_t col) const;
    void readFullRightHands(const Take& take);
    void readSparseRightHands(const Take& take);
    void requireEnd();
    [[noreturn]] void fail(std::string_view text) const { lines_.fail(text); }

    LineReader lines_;
    std::string card_; ///< the one at hand
    bool hasValues_ = true, hasRightHands_ = false;
    FortranFormat pointers_, indices_, values_, rightHandValues_;
    char rightHandForm_ = 'F'; ///< F: all elements; M: as the matrix
    std::int32_t rightHands_ = 0;
    std::int64_t rightHandEntries_ = 0; ///< of form M
};

/// Whether the third line is that of such a file, and the one before it has counts.
bool looksLikeHarwellBoeing(std::string_view beginning);

/// Which of the two is written.
enum class CardForm { HarwellBoeing, RutherfordBoeing };

/// Text, handed on in pieces. The lower triangle of a marked matrix.
using TextSink = std::function<void(std::string_view)>;
/// @throws ArgumentException  a value is NaN or infinite; a marked matrix that is none
void writeCards(CardForm form, const TextSink& sink, const SparseMatrix& matrix);
void writeCards(CardForm form, const TextSink& sink, const CSparseMatrix& matrix);

} // namespace Velmar::Lintrix::detail
