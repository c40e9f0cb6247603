#pragma once
/// @file
/// Matrices in files of any form that is known here, told by their content:
///
/// - Matrix Market, `.mtx`: coordinate and array files of every field and symmetry. Written: sparse and dense
///   matrices.
/// - Harwell-Boeing, `.rua`, `.rsa`, `.cua`, `.pua`, ...: assembled; real, complex, whole, pattern; general,
///   symmetric, skew, Hermitian; right-hand sides, full and sparse. Written: sparse matrices.
/// - Rutherford-Boeing, `.rb`: the same, without right-hand sides. Written: sparse matrices.
/// - NumPy array, `.npy`: versions 1 to 3; f4, f8, c8, c16, whole numbers of 1 to 8 bytes, bool; either order
///   of bytes and of cells; up to two dimensions. Written: dense matrices.
/// - NumPy archive, `.npz`: one array (`numpy.savez`), or a sparse matrix (`scipy.sparse.save_npz`) by rows,
/// by
///   columns or in entries; stored or deflated. Written: sparse and dense matrices.
///
///     const SparseMatrix A = MatrixFileReader("bcsstk01.rsa").ReadSparse();
///     WriteMatrixFile("a.npz", A);                  // scipy.sparse.load_npz("a.npz")
///
/// gzip around any of them but archives is unpacked. Files may come from anywhere: each fault is one
/// FileFormatException with the line ("file.rua:5: ...") or, of bytes, the place ("x.npy: byte 17: ...",
/// "a.npz: data.npy: byte 17: ..."). Sizes and counts are announced and not believed: before memory is taken
/// they are compared with what a file of that length can hold, packed at most 1032 : 1. Values that are not
/// finite are refused, as no system with one of them has a solution; `AcceptNonFinite` takes them from the
/// forms other than Matrix Market.
///
/// What the forms have in common: entries at one place are added up; a symmetric, skew or Hermitian file
/// holds the lower triangle; an array of one dimension is a column. Numbers of a fixed Fortran format are
/// read by it (ISO/IEC 1539-1): without a point its digits are placed, a scale factor counts where there is
/// no exponent, and an exponent may come without its letter ("1.0+5"). Whole numbers past 2^53 are rounded.

#include <lintrix/services/export.h>
#include <lintrix/sparse/matrix_market.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

namespace detail {
class EntryFile;
}

enum class MatrixFileFormat : std::int32_t {
    MatrixMarket,
    HarwellBoeing,
    RutherfordBoeing,
    NumpyArray,
    NumpyArchive
};

/// What a name says by its end, without a ".gz" behind it: ".mtx", ".rb", ".npy", ".npz", and the three
/// letters of Harwell-Boeing types such as ".rua"; ".hb" too. Nothing for any other.
LINTRIX_EXPORT std::optional<MatrixFileFormat> FormatOfName(std::string_view name);
/// "Matrix Market", "Harwell-Boeing", ...
LINTRIX_EXPORT std::string_view NameOf(MatrixFileFormat format);

/// Reads one file in two steps, as `MatrixMarketReader`, whose members mean the same here.
class LINTRIX_EXPORT MatrixFileReader {
public:
    using ProgressFunction = MatrixMarketReader::ProgressFunction;

    /// Reads as far as the sizes. The form is told by the first bytes, and by the name where these leave it
    /// open. Progress is told of text; of a NumPy archive, whose directory stands at the end, all bytes are
    /// read at once.
    explicit MatrixFileReader(const std::string& path, ProgressFunction progress = {});
    /// `name` stands for the file in messages. `in` must outlive the reader.
    explicit MatrixFileReader(std::istream& in, const std::string& name = "stream",
                              ProgressFunction progress = {});
    MatrixFileReader(MatrixFileReader&&) noexcept;
    MatrixFileReader& operator=(MatrixFileReader&&) noexcept;
    ~MatrixFileReader();

    MatrixFileFormat Format() const noexcept { return format_; }
    /// Sizes, field and symmetry, whatever the form. `sizeLine` is 0 where a file has no lines.
    const MatrixMarketHeader& Header() const noexcept;
    /// Columns of right-hand sides beside the matrix; 0 but of Harwell-Boeing files.
    std::int32_t RightHands() const noexcept;

    /// Before the entries are read: values that are not finite come as they stand. No effect on Matrix
    /// Market.
    void AcceptNonFinite();

    /// @throws InvalidOperationException  a second call: "The entries have been read already."
    SparseMatrix ReadSparse(MatrixMarketStorage storage = MatrixMarketStorage::UpperTriangle);
    CSparseMatrix ReadComplexSparse(MatrixMarketStorage storage = MatrixMarketStorage::UpperTriangle);
    Matrix ReadDense();
    CMatrix ReadComplexDense();
    MatrixMarketTriplets ReadTriplets();
    /// Entries read, those counted twice that a symmetry mirrors.
    std::int64_t EntriesRead() const noexcept;

    /// Rows() x RightHands(), after the matrix.
    /// @throws InvalidOperationException  there are none, they have been read, or the matrix has not been
    /// @throws FileFormatException        of a complex file: "a complex matrix cannot be read as a real one"
    Matrix ReadRightHands();
    CMatrix ReadComplexRightHands();

private:
    struct Source;
    MatrixFileReader(Source&& source, ProgressFunction progress);

    void requireReal() const;
    void requireUnread();
    template <class Cell>
    auto visitor();
    template <class Dense>
    Dense readRightHands();

    MatrixFileFormat format_ = MatrixFileFormat::MatrixMarket;
    std::optional<MatrixMarketReader> market_;   ///< of Matrix Market
    std::unique_ptr<detail::EntryFile> entries_; ///< of every other form
    std::int64_t entriesRead_ = 0;
    bool read_ = false, rightHandsRead_ = false;
};

/// @name Writing
/// In the form that the name says; a ".gz" behind it packs the file. A Harwell-Boeing file is written in its
/// own type whatever letters the name has. Values come back bit by bit. A file is written in place, as by
/// `WriteMatrixMarket`.
/// @throws ArgumentException      "The name 'x.txt' does not say in which form to write"; values that are not
/// finite,
///         but of NumPy's forms; a marked matrix that is none
/// @throws NotSupportedException  a dense matrix in a form of sparse ones, or the reverse: "Harwell-Boeing
/// files
///         hold sparse matrices"; "NumPy array files hold dense matrices"
/// @throws InvalidSizeException   a matrix without rows or columns
/// @throws FileFormatException    "FILE: cannot be opened: ..."; "FILE: cannot be written: ..."
/// @{
LINTRIX_EXPORT void WriteMatrixFile(const std::string& path, const SparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixFile(const std::string& path, const CSparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixFile(const std::string& path, const Matrix& matrix);
LINTRIX_EXPORT void WriteMatrixFile(const std::string& path, const CMatrix& matrix);
/// To a sink, which is given the bytes in pieces, in a form that is told.
LINTRIX_EXPORT void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink,
                                    const SparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink,
                                    const CSparseMatrix& matrix);
LINTRIX_EXPORT void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink,
                                    const Matrix& matrix);
LINTRIX_EXPORT void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink,
                                    const CMatrix& matrix);
/// @}

} // namespace Velmar::Lintrix
