#pragma once
/// @file
/// Matrix Market files: reading and writing. The format: Boisvert, Pozo, Remington, The Matrix Market
/// Exchange Formats: Initial Design, NISTIR 5935 (1996).
///
/// A file is a header line, comments, a size line and one entry a line. The coordinate form gives "row column
/// value" in any order, the array form every value column by column. A symmetric, skew-symmetric or hermitian
/// file holds the lower triangle, and a skew-symmetric one no diagonal.
///
///     const SparseMatrix A = ReadMatrixMarket("a.mtx.gz");
///     WriteMatrixMarket("b.mtx", A);
///
/// Files may come from anywhere. Every fault is one FileFormatException with file and line: words that are no
/// numbers, values that are not finite, indices out of range or on the wrong side of the diagonal, entries
/// missing or in surplus, anything after an entry, more entries announced than the file has room for, damaged
/// compression. Entries are announced and not believed: memory grows with what is really read, unless the
/// length of the file vouches for them. The sizes of the matrix cannot be checked so; `MatrixMarketReader`
/// tells them before it takes memory. Comments and blank lines may stand anywhere after the header line,
/// lines may end in "\n" or "\r\n" and have up to 1048576 characters. Header words are read in any case,
/// numbers without regard to the locale; a leading "+" and the exponent letter D are taken. A value too small
/// for a double is zero.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/services/export.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/file_format_exception.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <complex>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {
class RawSource;
}

enum class MatrixMarketForm : std::int32_t { Coordinate, Array };
/// "double" in a file is read as "real".
enum class MatrixMarketField : std::int32_t { Real, Integer, Pattern, ComplexNumber };
enum class MatrixMarketSymmetry : std::int32_t { General, Symmetric, SkewSymmetric, Hermitian };

/// What stands before the entries. Rows and columns lie in 1 to 2147483647; with a symmetry they are equal.
struct MatrixMarketHeader {
    std::string file;          ///< name for messages
    std::int64_t sizeLine = 0; ///< number of the size line, for messages about the size
    MatrixMarketForm form = MatrixMarketForm::Coordinate;
    MatrixMarketField field = MatrixMarketField::Real;
    MatrixMarketSymmetry symmetry = MatrixMarketSymmetry::General;
    std::int32_t rows = 1, cols = 1;
    std::int64_t stored = 0; ///< entries that the file announces; of an array, those its form implies
};

/// A file as it stands, of any field: one triangle if it has a symmetry, several entries at one place if it
/// gives them.
struct MatrixMarketTriplets {
    std::int32_t rows = 1, cols = 1;
    MatrixMarketField field = MatrixMarketField::Real;
    MatrixMarketSymmetry symmetry = MatrixMarketSymmetry::General;
    std::vector<std::int32_t> rowIndices{}, colIndices{}; ///< from 0
    std::vector<std::complex<double>> values{};           ///< 1 in a pattern
};

/// How far the reading is.
struct MatrixMarketProgress {
    std::uint64_t textBytes = 0; ///< read so far, unpacked
    std::uint64_t fileBytes = 0; ///< read so far, as they lie in the file
    std::uint64_t fileSize = 0;  ///< 0: not known, as of a pipe or a stream
};

/// What a sparse matrix read from a symmetric file stores.
enum class MatrixMarketStorage : std::int32_t {
    UpperTriangle, ///< `Symmetric()` (`Hermitian()`) is true; all diagonal elements are there, also those
                   ///< not in the file
    BothTriangles  ///< a general matrix with just the entries of the file and the mirrored ones
};

/// Reads one file in two steps, so that a size can be refused before memory is taken. One of the reading
/// members may be called, once.
/// @throws InvalidOperationException  "The entries have been read already."
class LINTRIX_EXPORT MatrixMarketReader {
public:
    using ProgressFunction = std::function<void(const MatrixMarketProgress&)>;

    /// Reads as far as the size line. gzip is told by content, not by name. `progress` is called after each
    /// chunk of at most 1 MiB of text.
    explicit MatrixMarketReader(const std::string& path, ProgressFunction progress = {});
    /// `name` stands for the file in messages. `in` must outlive the reader; its length is not asked for.
    explicit MatrixMarketReader(std::istream& in, const std::string& name = "stream",
                                ProgressFunction progress = {});
    MatrixMarketReader(MatrixMarketReader&&) noexcept;
    MatrixMarketReader& operator=(MatrixMarketReader&&) noexcept;
    ~MatrixMarketReader();

    const MatrixMarketHeader& Header() const noexcept;

    /// Entries at one place are added up in the order of the file; a pattern has ones. A skew-symmetric file
    /// gives a general matrix. Cost: linear in file and sizes; 28 bytes an entry while it runs.
    /// @throws FileFormatException    a complex file: "a complex matrix cannot be read as a real one"
    /// @throws NotSupportedException  more elements than a sparse matrix can hold; see SparseAssembler
    SparseMatrix ReadSparse(MatrixMarketStorage storage = MatrixMarketStorage::UpperTriangle);

    /// The same of a file of any field; real numbers have no imaginary parts. A hermitian file, or a
    /// symmetric one of real numbers, can be stored as its upper triangle; a symmetric one of complex numbers
    /// gives both triangles in either storage, since no class marks it.
    CSparseMatrix ReadComplexSparse(MatrixMarketStorage storage = MatrixMarketStorage::UpperTriangle);

    /// The full matrix; entries at one place are added up.
    /// @throws FileFormatException  a complex file, as above; "a dense R x C matrix has N cells, more than
    ///         2147483647", at the size line
    Matrix ReadDense();

    /// The same of a file of any field; real numbers have no imaginary parts.
    CMatrix ReadComplexDense();

    MatrixMarketTriplets ReadTriplets();

    /// Entries read, those counted twice that a symmetry mirrors.
    std::int64_t EntriesRead() const noexcept;

private:
    friend class MatrixFileReader;
    /// Of bytes that others have looked at before.
    MatrixMarketReader(std::unique_ptr<detail::RawSource> bytes, const std::string& name,
                       ProgressFunction progress);

    class Parser;
    std::unique_ptr<Parser> parser_;
};

/// @name In one step
/// The failures of MatrixMarketReader.
/// @{
LINTRIX_EXPORT SparseMatrix ReadMatrixMarket(const std::string& path);
LINTRIX_EXPORT SparseMatrix ReadMatrixMarket(std::istream& in);
LINTRIX_EXPORT CSparseMatrix ReadMatrixMarketComplex(const std::string& path);
LINTRIX_EXPORT CSparseMatrix ReadMatrixMarketComplex(std::istream& in);
LINTRIX_EXPORT Matrix ReadMatrixMarketDense(const std::string& path);
LINTRIX_EXPORT Matrix ReadMatrixMarketDense(std::istream& in);
LINTRIX_EXPORT CMatrix ReadMatrixMarketComplexDense(const std::string& path);
LINTRIX_EXPORT CMatrix ReadMatrixMarketComplexDense(std::istream& in);
LINTRIX_EXPORT MatrixMarketTriplets ReadMatrixMarketTriplets(const std::string& path);
LINTRIX_EXPORT MatrixMarketTriplets ReadMatrixMarketTriplets(std::istream& in);
/// @}

/// @name Writing
/// A sparse matrix becomes a coordinate file, general or symmetric (hermitian) as it is marked, stored zeros
/// among the entries; a dense one an array file; triplets a coordinate file of their field and symmetry. Each
/// number has as many digits as bring it back bit by bit, so integers are those that a double holds.
///
/// A file whose name ends in ".gz" is compressed. It is written in place: what stood there is gone, and after
/// a failure what has been written stands. Streams and sinks get plain text.
/// @throws ArgumentException    before anything is written: a value is NaN or infinite, "Matrix Market files
///         hold finite numbers only"; with triplets also one that its field or symmetry does not hold; a
///         sparse matrix marked symmetric stores more than its upper triangle, "A symmetric matrix has
///         elements below its diagonal" ("A Hermitian matrix ..."); one marked Hermitian has an imaginary
///         part on its diagonal, "A Hermitian matrix has a real diagonal"
/// @throws InvalidSizeException  a dense matrix or triplets with less than one row or column
/// @throws NotSquareMatrixException  a sparse matrix is marked and is not square
/// @throws FileFormatException  "FILE: cannot be opened: ..."; "FILE: cannot be written: ..."
/// @{

/// Is given the text in pieces.
using MatrixMarketSink = std::function<void(std::string_view)>;

LINTRIX_EXPORT void WriteMatrixMarket(const std::string& path, const SparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const std::string& path, const CSparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const std::string& path, const Matrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const std::string& path, const MatrixMarketTriplets& triplets);
LINTRIX_EXPORT void WriteMatrixMarket(const std::string& path, const CMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const MatrixMarketSink& sink, const SparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const MatrixMarketSink& sink, const CSparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const MatrixMarketSink& sink, const Matrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(const MatrixMarketSink& sink, const MatrixMarketTriplets& triplets);
LINTRIX_EXPORT void WriteMatrixMarket(const MatrixMarketSink& sink, const CMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(std::ostream& out, const SparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(std::ostream& out, const CSparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(std::ostream& out, const Matrix& matrix);
LINTRIX_EXPORT void WriteMatrixMarket(std::ostream& out, const MatrixMarketTriplets& triplets);
LINTRIX_EXPORT void WriteMatrixMarket(std::ostream& out, const CMatrix& matrix);
/// @}

} // namespace Velmar::Lintrix
