#include <tools/input/matrix_file.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <iostream>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::uint64_t kQuietBytes = std::uint64_t{16} << 20; // text read before progress is worth showing

MatrixMarketReader::ProgressFunction progressOf(const std::string& name, Progress& progress)
{
    return [name, &progress](const MatrixMarketProgress& read) {
        if (read.textBytes < kQuietBytes) return;
        const std::string extent = read.fileSize == 0
                                       ? bytesInWords(static_cast<double>(read.textBytes))
                                       : fmt::format("{:.0f} %", 100.0 * static_cast<double>(read.fileBytes) /
                                                                     static_cast<double>(read.fileSize));
        progress.show(fmt::format("reading {}: {}", name, extent));
    };
}

} // namespace

MatrixMarketReader openMatrix(const std::string& file, Progress& progress)
{
    if (file != "-") return MatrixMarketReader(file, progressOf(file, progress));
    return MatrixMarketReader(std::cin, "<stdin>", progressOf("<stdin>", progress));
}

void writeMatrix(OutputFile& file, const Matrix& matrix)
{
    WriteMatrixMarket([&file](std::string_view text) { file.write(text); }, matrix);
    file.close();
}

void writeMatrix(OutputFile& file, const CMatrix& matrix)
{
    WriteMatrixMarket([&file](std::string_view text) { file.write(text); }, matrix);
    file.close();
}

bool isComplex(const MatrixMarketReader& reader)
{
    return reader.Header().field == MatrixMarketField::ComplexNumber;
}

void requireReal(const MatrixMarketReader& reader, const std::string& what)
{
    if (isComplex(reader)) throw InputError(reader.Header().file, 1, what);
}

template <>
SparseMatrix readRows<double>(MatrixMarketReader& reader, MatrixMarketStorage storage)
{
    return reader.ReadSparse(storage);
}

template <>
CSparseMatrix readRows<ComplexNumber>(MatrixMarketReader& reader, MatrixMarketStorage)
{
    return reader.ReadComplexSparse(MatrixMarketStorage::BothTriangles);
}

template <>
Matrix readColumns<double>(MatrixMarketReader& reader)
{
    return reader.ReadDense();
}

template <>
CMatrix readColumns<ComplexNumber>(MatrixMarketReader& reader)
{
    return reader.ReadComplexDense();
}

} // namespace Velmar::Lintrix::tools
