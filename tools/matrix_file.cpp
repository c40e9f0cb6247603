#include <tools/matrix_file.h>

#include <tools/input_error.h>
#include <tools/text.h>

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

MatrixMarketReader openAny(const std::string& file, Progress& progress)
{
    if (file != "-") return MatrixMarketReader(file, progressOf(file, progress));
    return MatrixMarketReader(std::cin, "<stdin>", progressOf("<stdin>", progress));
}

} // namespace

MatrixMarketReader openMatrix(const std::string& file, Progress& progress)
{
    MatrixMarketReader reader = openAny(file, progress);
    if (reader.Header().field == MatrixMarketField::ComplexNumber) {
        throw InputError(reader.Header().file, 1, "complex matrices are not supported yet");
    }
    return reader;
}

} // namespace Velmar::Lintrix::tools
