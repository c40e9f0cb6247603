#include <tools/input/matrix_file.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <iostream>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::uint64_t kQuietBytes = std::uint64_t{16} << 20; // text read before progress is worth showing

MatrixFileReader::ProgressFunction progressOf(const std::string& name, Progress& progress)
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

MatrixFileReader openMatrix(const std::string& file, Progress& progress)
{
    if (file != "-") return MatrixFileReader(file, progressOf(file, progress));
    return MatrixFileReader(std::cin, "<stdin>", progressOf("<stdin>", progress));
}

void writeMatrix(OutputFile& file, const Matrix& matrix, MatrixFileFormat format)
{
    WriteMatrixFile(
        format, [&file](std::string_view bytes) { file.write(bytes); }, matrix);
    file.close();
}

void writeMatrix(OutputFile& file, const CMatrix& matrix, MatrixFileFormat format)
{
    WriteMatrixFile(
        format, [&file](std::string_view bytes) { file.write(bytes); }, matrix);
    file.close();
}

MatrixFileFormat denseFormatOf(const std::string& name)
{
    const MatrixFileFormat format = FormatOfName(name).value_or(MatrixFileFormat::MatrixMarket);
    if (format == MatrixFileFormat::HarwellBoeing || format == MatrixFileFormat::RutherfordBoeing)
        throw InputError(name, std::string(NameOf(format)) + " files hold sparse matrices");
    return format;
}

bool isComplex(const MatrixFileReader& reader)
{
    return reader.Header().field == MatrixMarketField::ComplexNumber;
}

void requireReal(const MatrixFileReader& reader, const std::string& what)
{
    if (isComplex(reader)) throw InputError(reader.Header().file, 1, what);
}

template <>
SparseMatrix readRows<double>(MatrixFileReader& reader, MatrixMarketStorage storage)
{
    return reader.ReadSparse(storage);
}

template <>
CSparseMatrix readRows<ComplexNumber>(MatrixFileReader& reader, MatrixMarketStorage)
{
    return reader.ReadComplexSparse(MatrixMarketStorage::BothTriangles);
}

template <>
Matrix readColumns<double>(MatrixFileReader& reader)
{
    return reader.ReadDense();
}

template <>
CMatrix readColumns<ComplexNumber>(MatrixFileReader& reader)
{
    return reader.ReadComplexDense();
}

template <>
Matrix readOwnRightHands<double>(MatrixFileReader& reader)
{
    return reader.ReadRightHands();
}

template <>
CMatrix readOwnRightHands<ComplexNumber>(MatrixFileReader& reader)
{
    return reader.ReadComplexRightHands();
}

std::optional<MatrixMarketHeader> ownRightHands(const MatrixFileReader& reader)
{
    if (reader.RightHands() == 0) return std::nullopt;
    MatrixMarketHeader header = reader.Header();
    header.cols = reader.RightHands();
    return header;
}

} // namespace Velmar::Lintrix::tools
