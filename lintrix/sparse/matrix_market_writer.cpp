#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/parts.h>
#include <lintrix/dense/access.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/detail/byte_sink.h>
#include <lintrix/sparse/detail/market_words.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/detail/sound_matrix.h>
#include <lintrix/sparse/matrix_market.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ostream>
#include <span>

namespace Velmar::Lintrix {

using namespace detail;

namespace {

using Field = MatrixMarketField;
using Symmetry = MatrixMarketSymmetry;

constexpr const char* kFiniteOnly = "Matrix Market files hold finite numbers only";

/// How a matrix of these cells is named in a file, and in messages.
template <class Cell>
constexpr Field kField = Field::Real;
template <>
constexpr Field kField<Complex> = Field::ComplexNumber;
template <class Cell>
constexpr Symmetry kMarkedSymmetry = Symmetry::Symmetric;
template <>
constexpr Symmetry kMarkedSymmetry<Complex> = Symmetry::Hermitian;
/// Gathers the text of a file and hands it on in pieces.
class TextPieces {
public:
    explicit TextPieces(const MatrixMarketSink& sink) : sink_(sink) { text_.reserve(kPiece + kLongest); }

    void header(std::string_view form, Field field, Symmetry symmetry)
    {
        text_.append("%%MatrixMarket matrix ").append(form).append(" ").append(wordFor(field, kFields));
        text_.append(" ").append(wordFor(symmetry, kSymmetries)).append("\n");
    }

    /// Each number with as few digits as bring it back exactly, and `end` behind it.
    template <class Number>
    void number(Number value, char end)
    {
        const std::size_t size = text_.size();
        text_.resize(size + kLongest);
        char* const last = std::to_chars(&text_[size], &text_[size] + kLongest - 1, value).ptr;
        *last = end;
        text_.resize(static_cast<std::size_t>(last + 1 - text_.data()));
        if (text_.size() >= kPiece) flush();
    }
    /// To the end of the line.
    void value(double cell) { number(cell, '\n'); }
    void value(const Complex& cell)
    {
        number(cell.real(), ' ');
        number(cell.imag(), '\n');
    }
    void place(std::int32_t row, std::int32_t col, char end)
    {
        number(row + 1, ' ');
        number(col + 1, end);
    }
    void flush()
    {
        sink_(text_);
        text_.clear();
    }

private:
    static constexpr std::size_t kPiece = std::size_t{1} << 16;
    static constexpr std::size_t kLongest = 32; ///< -1.2345678901234567e-308 has 24 characters

    const MatrixMarketSink& sink_;
    std::string text_;
};

std::size_t countOf(std::int32_t rows, std::int32_t cols)
{
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

/// The numbers of a dense matrix, column by column; of complex cells both parts.
std::span<const double> numbersOf(const Matrix& matrix)
{
    return {DenseAccess::cells(matrix), countOf(matrix.Rows(), matrix.Cols())};
}
std::span<const double> numbersOf(const CMatrix& matrix)
{
    return {partsOf(ComplexAccess::cells(matrix)), 2 * countOf(matrix.Rows(), matrix.Cols())};
}
/// Integers up to 2^53, all of which a double holds.
bool isWhole(double value)
{
    return std::trunc(value) == value && std::abs(value) <= 0x1p53;
}

void requireOneSize(const MatrixMarketTriplets& triplets)
{
    const std::size_t entries = triplets.values.size();
    if (triplets.rowIndices.size() != entries || triplets.colIndices.size() != entries) {
        throw ArgumentException("Row indices, column indices and values should have equal size", "triplets");
    }
    if (triplets.rows < 1 || triplets.cols < 1) throw InvalidSizeException();
    if (triplets.symmetry != Symmetry::General && triplets.rows != triplets.cols) {
        throw NotSquareMatrixException();
    }
}

void requirePlace(const MatrixMarketTriplets& triplets, std::size_t k)
{
    const std::int32_t row = triplets.rowIndices[k], col = triplets.colIndices[k];
    if (row < 0 || row >= triplets.rows) throw IndexOutOfBoundsException("Row index exceeds matrix size.");
    if (col < 0 || col >= triplets.cols) throw IndexOutOfBoundsException("Column index exceeds matrix size.");
    const bool strict = triplets.symmetry == Symmetry::SkewSymmetric;
    if (triplets.symmetry != Symmetry::General && (row < col || (strict && row == col))) {
        throw ArgumentException("The entry is not in the triangle that its symmetry stores", "triplets");
    }
}

/// What `value` must be by field and symmetry.
void requireValue(const MatrixMarketTriplets& triplets, std::size_t k)
{
    const std::complex<double> value = triplets.values[k];
    const bool onDiagonal = triplets.rowIndices[k] == triplets.colIndices[k];
    const bool real =
        triplets.field != Field::ComplexNumber || (triplets.symmetry == Symmetry::Hermitian && onDiagonal);
    if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
        throw ArgumentException(kFiniteOnly, "triplets");
    }
    if ((real && value.imag() != 0.0) || (triplets.field == Field::Integer && !isWhole(value.real()))) {
        throw ArgumentException("A value is not of the field or symmetry it is written in", "triplets");
    }
}

/// A pattern has no signs, and only complex numbers a conjugate.
void requireSymmetryOfField(Field field, Symmetry symmetry)
{
    if ((field == Field::Pattern && symmetry == Symmetry::SkewSymmetric) ||
        (field != Field::ComplexNumber && symmetry == Symmetry::Hermitian)) {
        throw ArgumentException("The field does not go with the symmetry", "triplets");
    }
}

void requireSound(const MatrixMarketTriplets& triplets)
{
    requireSymmetryOfField(triplets.field, triplets.symmetry);
    requireOneSize(triplets);
    for (std::size_t k = 0; k < triplets.values.size(); ++k) {
        requirePlace(triplets, k);
        requireValue(triplets, k);
    }
}

void requireSound(const SparseMatrix& matrix)
{
    requireSoundSparse(matrix, kFiniteOnly);
}

void requireSound(const CSparseMatrix& matrix)
{
    requireSoundSparse(matrix, kFiniteOnly);
}

/// A matrix can be without cells: no file tells such sizes.
template <class Dense>
void requireSoundDense(const Dense& matrix)
{
    if (matrix.Rows() < 1 || matrix.Cols() < 1) throw InvalidSizeException();
    requireFinite(numbersOf(matrix), kFiniteOnly);
}

void requireSound(const Matrix& matrix)
{
    requireSoundDense(matrix);
}

void requireSound(const CMatrix& matrix)
{
    requireSoundDense(matrix);
}

/// Row by row; of one triangle, row i of the upper one is written as column i of the lower one.
template <class Cell>
void writeSparse(const MatrixMarketSink& sink, const CompressedMatrix<Cell>& matrix)
{
    TextPieces text(sink);
    const bool turned = SparseAccess::isMarked(matrix);
    text.header("coordinate", kField<Cell>, turned ? kMarkedSymmetry<Cell> : Symmetry::General);
    text.number(matrix.Rows(), ' ');
    text.number(matrix.Cols(), ' ');
    text.number(matrix.NumElements(), '\n');
    const auto starts = matrix.RowPointers(), cols = matrix.ColumnIndices();
    const auto values = matrix.Values();
    for (std::int32_t row = 0; row < matrix.Rows(); ++row) {
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(row) + 1] - 1);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(row)] - 1); k < end; ++k) {
            const std::int32_t col = cols[k] - 1;
            text.place(turned ? col : row, turned ? row : col, ' ');
            text.value(turned && col != row ? mirrored(values[k]) : values[k]);
        }
    }
    text.flush();
}

void writeText(const MatrixMarketSink& sink, const SparseMatrix& matrix)
{
    writeSparse(sink, matrix);
}

void writeText(const MatrixMarketSink& sink, const CSparseMatrix& matrix)
{
    writeSparse(sink, matrix);
}

template <class Cell>
void writeDense(const MatrixMarketSink& sink, const MatrixOf<Cell>& matrix)
{
    TextPieces text(sink);
    text.header("array", kField<Cell>, Symmetry::General);
    text.number(matrix.Rows(), ' ');
    text.number(matrix.Cols(), '\n');
    const std::span<const Cell> cells(AccessTo<Cell>::cells(matrix), countOf(matrix.Rows(), matrix.Cols()));
    for (const Cell& cell : cells) text.value(cell);
    text.flush();
}

void writeText(const MatrixMarketSink& sink, const Matrix& matrix)
{
    writeDense<double>(sink, matrix);
}

void writeText(const MatrixMarketSink& sink, const CMatrix& matrix)
{
    writeDense<Complex>(sink, matrix);
}

void writeText(const MatrixMarketSink& sink, const MatrixMarketTriplets& triplets)
{
    TextPieces text(sink);
    text.header("coordinate", triplets.field, triplets.symmetry);
    text.number(triplets.rows, ' ');
    text.number(triplets.cols, ' ');
    text.number(triplets.values.size(), '\n');
    for (std::size_t k = 0; k < triplets.values.size(); ++k) {
        const std::complex<double> value = triplets.values[k];
        const bool pattern = triplets.field == Field::Pattern;
        text.place(triplets.rowIndices[k], triplets.colIndices[k], pattern ? '\n' : ' ');
        if (triplets.field == Field::Integer) {
            text.number(static_cast<std::int64_t>(value.real()), '\n');
        } else if (triplets.field == Field::Real) {
            text.number(value.real(), '\n');
        } else if (!pattern) {
            text.value(value);
        }
    }
    text.flush();
}

template <class Content>
void writeTo(const MatrixMarketSink& sink, const Content& content)
{
    requireSound(content);
    writeText(sink, content);
}

template <class Content>
void writeFile(const std::string& path, const Content& content)
{
    requireSound(content);
    ByteSink file(path, path.ends_with(".gz"));
    writeText([&file](std::string_view text) { file.write(text); }, content);
    file.close();
}

MatrixMarketSink sinkInto(std::ostream& out)
{
    return [&out](std::string_view text) {
        if (!out.write(text.data(), static_cast<std::streamsize>(text.size()))) {
            throw FileFormatException("stream", "cannot be written");
        }
    };
}

} // namespace

void WriteMatrixMarket(const std::string& path, const SparseMatrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixMarket(const std::string& path, const CSparseMatrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixMarket(const std::string& path, const Matrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixMarket(const std::string& path, const MatrixMarketTriplets& triplets)
{
    writeFile(path, triplets);
}

void WriteMatrixMarket(const std::string& path, const CMatrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixMarket(const MatrixMarketSink& sink, const SparseMatrix& matrix)
{
    writeTo(sink, matrix);
}

void WriteMatrixMarket(const MatrixMarketSink& sink, const CSparseMatrix& matrix)
{
    writeTo(sink, matrix);
}

void WriteMatrixMarket(const MatrixMarketSink& sink, const Matrix& matrix)
{
    writeTo(sink, matrix);
}

void WriteMatrixMarket(const MatrixMarketSink& sink, const MatrixMarketTriplets& triplets)
{
    writeTo(sink, triplets);
}

void WriteMatrixMarket(const MatrixMarketSink& sink, const CMatrix& matrix)
{
    writeTo(sink, matrix);
}

void WriteMatrixMarket(std::ostream& out, const SparseMatrix& matrix)
{
    writeTo(sinkInto(out), matrix);
}

void WriteMatrixMarket(std::ostream& out, const CSparseMatrix& matrix)
{
    writeTo(sinkInto(out), matrix);
}

void WriteMatrixMarket(std::ostream& out, const Matrix& matrix)
{
    writeTo(sinkInto(out), matrix);
}

void WriteMatrixMarket(std::ostream& out, const MatrixMarketTriplets& triplets)
{
    writeTo(sinkInto(out), triplets);
}

void WriteMatrixMarket(std::ostream& out, const CMatrix& matrix)
{
    writeTo(sinkInto(out), matrix);
}

} // namespace Velmar::Lintrix
