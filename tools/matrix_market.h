#pragma once
// Matrix Market files: a hostile-input safe reader and a writer of arrays.
//
// A file is a header line, comments, a size line and one entry a line. The coordinate form gives
// "row column value" in any order, the array form every value column by column. A symmetric or skew-symmetric
// file holds the lower triangle. Reading has two steps, so that a size can be refused before memory is taken:
//
//     MatrixMarketReader reader("a.mtx.gz", progress);   // header and size line
//     requireRoom(reader.header());
//     const MatrixMarket matrix = reader.read();
//     forEachEntry(matrix, [&](int row, int col, double value) { ... });

#include <tools/line_reader.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

enum class Form { Coordinate, Array };
enum class Field { Real, Integer, Pattern };
enum class Symmetry { General, Symmetric, SkewSymmetric };

/// What stands before the entries. Sizes lie in 1 to 2147483647; with a symmetry they are equal.
struct MatrixMarketHeader {
    std::string file;          ///< name for messages
    std::int64_t sizeLine = 0; ///< number of the size line, for messages about the size
    Form form = Form::Coordinate;
    Field field = Field::Real;
    Symmetry symmetry = Symmetry::General;
    std::int32_t rows = 0, cols = 0;
    std::int64_t stored = 0; ///< entries that the file announces; of an array, those its form implies
};

struct Coordinate {
    std::int32_t row, col; ///< from 0
    double value;          ///< 1 in a pattern file
};

/// A file as it stands: only one of the two lists is in use.
struct MatrixMarket {
    MatrixMarketHeader header;
    std::vector<Coordinate> coordinates; ///< Form::Coordinate; several at one place add up
    std::vector<double> values;          ///< Form::Array
};

/// Visits the entries of the whole matrix, mirrored ones included: visit(row, col, value), from 0.
template <class Visit>
void forEachEntry(const MatrixMarket& matrix, Visit visit);

/// How many entries forEachEntry visits.
std::int64_t entryCount(const MatrixMarket& matrix);

/// Every fault is one InputError with file and line: words that are no numbers, values that are not finite,
/// indices out of range or on the wrong side of the diagonal, entries missing or in surplus, anything after
/// an entry, sizes that the file has no room for. Complex files are refused as not supported. Numbers are
/// read without regard to the locale; a leading "+" and the exponent letter D are taken. Comments and blank
/// lines may stand anywhere after the header line.
class MatrixMarketReader {
public:
    /// Reads as far as the size line.
    MatrixMarketReader(const std::string& file, Progress& progress);

    const MatrixMarketHeader& header() const noexcept { return header_; }

    /// Reads the entries and makes sure that the file ends there. Once.
    MatrixMarket read();

private:
    std::optional<std::string_view> nextContent();
    void readHeaderLine();
    void readSizeLine();
    void requireSizes(std::int64_t rows, std::int64_t cols) const;
    void requireRoomInFile() const;
    std::size_t firstReservation() const;
    std::string_view nextEntry(std::int64_t index);
    Coordinate coordinateFrom(std::string_view line) const;
    void requireStoredSide(const Coordinate& entry) const;
    double valueFrom(std::string_view word) const;
    double realFrom(std::string_view word) const;
    std::int64_t wholeFrom(std::string_view word) const;
    std::int32_t indexFrom(std::string_view word, std::string_view what, std::int32_t limit) const;
    void requireNoMore(std::string_view rest) const;

    LineReader lines_;
    MatrixMarketHeader header_;
};

/// Writes rows x cols values, column by column, as an array file, each with as many digits as bring it back
/// exactly. `sink` is given the text in pieces.
void writeMatrixMarketArray(const double* values, std::int32_t rows, std::int32_t cols,
                            const std::function<void(std::string_view)>& sink);

template <class Visit>
void forEachEntry(const MatrixMarket& matrix, Visit visit)
{
    const Symmetry symmetry = matrix.header.symmetry;
    const double mirrorSign = symmetry == Symmetry::SkewSymmetric ? -1.0 : 1.0;
    const auto visitBoth = [&](std::int32_t row, std::int32_t col, double value) {
        visit(row, col, value);
        if (symmetry != Symmetry::General && row != col) visit(col, row, mirrorSign * value);
    };
    for (const Coordinate& entry : matrix.coordinates) visitBoth(entry.row, entry.col, entry.value);

    std::size_t next = 0;
    const bool array = matrix.header.form == Form::Array;
    for (std::int32_t col = 0; array && col < matrix.header.cols; ++col) {
        const std::int32_t first = symmetry == Symmetry::General     ? 0
                                   : symmetry == Symmetry::Symmetric ? col
                                                                     : col + 1;
        for (std::int32_t row = first; row < matrix.header.rows; ++row) {
            visitBoth(row, col, matrix.values[next++]);
        }
    }
}

} // namespace Velmar::Lintrix::tools
