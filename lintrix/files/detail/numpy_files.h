#pragma once
/// @file
/// NumPy's files of one array and its archives, which are also the form of SciPy's sparse matrices.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/files/detail/entry_file.h>
#include <lintrix/files/detail/npy_array.h>
#include <lintrix/files/detail/zip_archive.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/detail/byte_source.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

/// One array: of two dimensions, or of one, which is a column, or a single number, which is 1 x 1.
class NpyFile : public EntryFile {
public:
    NpyFile(ByteSource bytes, const std::string& name);

    std::int64_t vouchedEntries() const override;
    void readEntries(const Take& take) override;

private:
    std::unique_ptr<ByteSource> source_;
    BinaryReader bytes_;
    NpyHeader array_;
};

/// An archive with one array, or a sparse matrix as `scipy.sparse.save_npz` writes it: by rows (csr), by
/// columns (csc), or in entries (coo).
class NpzFile : public EntryFile {
public:
    /// Reads all bytes: the directory stands at their end.
    NpzFile(ByteSource bytes, const std::string& name);

    std::int64_t vouchedEntries() const override { return header_.stored; }
    void readEntries(const Take& take) override;

private:
    /// A member with the reader of its bytes.
    struct Member {
        std::unique_ptr<ZipArchive::Stream> stream;
        BinaryReader bytes;
    };
    Member open(std::string_view name) const;
    std::vector<std::int64_t> wholes(std::string_view member) const;
    std::vector<std::int64_t> indices(std::string_view member, std::int64_t count, std::int64_t limit) const;
    std::vector<std::int64_t> starts(std::int64_t lines) const;
    void openSparse();
    void openArray();
    void readCompressed(const Take& take, bool byRows);
    void readCoordinates(const Take& take);

    std::string content_;
    std::optional<ZipArchive> archive_;
    std::string format_; ///< csr, csc, coo; empty: an array
    std::string array_;  ///< name of its member
};

using BinarySink = std::function<void(std::string_view)>;

void writeNpy(const BinarySink& sink, const Matrix& matrix);
void writeNpy(const BinarySink& sink, const CMatrix& matrix);
/// As `numpy.savez` would write the array; it is called arr_0.
void writeNpz(const BinarySink& sink, const Matrix& matrix);
void writeNpz(const BinarySink& sink, const CMatrix& matrix);
/// As `scipy.sparse.save_npz` would, by rows; of a marked matrix both triangles.
void writeNpz(const BinarySink& sink, const SparseMatrix& matrix);
void writeNpz(const BinarySink& sink, const CSparseMatrix& matrix);

} // namespace Velmar::Lintrix::detail
