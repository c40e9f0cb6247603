#include <tools/convert/convert_command.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>
#include <tools/support/progress.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <unistd.h>

#include <type_traits>

namespace Velmar::Lintrix::tools {

namespace {

MatrixFileFormat formatFor(const std::string& name)
{
    if (name == kStandardOutput) return MatrixFileFormat::MatrixMarket;
    if (const auto format = FormatOfName(name)) return *format;
    throw InputError(name, "the name does not say a form: .mtx, .rua and its like, .rb, .npy or .npz");
}

/// Forms that hold both keep what comes.
bool becomesDense(const MatrixFileReader& reader, MatrixFileFormat format)
{
    if (format == MatrixFileFormat::NumpyArray) return true;
    const bool holdsBoth =
        format == MatrixFileFormat::MatrixMarket || format == MatrixFileFormat::NumpyArchive;
    return holdsBoth && reader.Header().form == MatrixMarketForm::Array;
}

/// One triangle where the file has one and the class can mark it; of an array what is not zero.
template <class Cell>
SparseRows<Cell> sparseFrom(MatrixFileReader& reader)
{
    if (reader.Header().form == MatrixMarketForm::Array) return SparseRows<Cell>(readColumns<Cell>(reader));
    if constexpr (kIsComplex<Cell>) {
        return reader.ReadComplexSparse();
    } else {
        return reader.ReadSparse();
    }
}

template <class Cell>
void convert(MatrixFileReader& reader, MatrixFileFormat format, OutputFile& out)
{
    const auto write = [&out](std::string_view bytes) { out.write(bytes); };
    if (becomesDense(reader, format)) {
        requireRoom(reader.Header(), MemoryLimit(), sizeof(Cell));
        WriteMatrixFile(format, write, readColumns<Cell>(reader));
    } else {
        requireMatrixRoom(reader.Header(), 0.0);
        WriteMatrixFile(format, write, sparseFrom<Cell>(reader));
    }
}

bool isNumpy(MatrixFileFormat format)
{
    return format == MatrixFileFormat::NumpyArray || format == MatrixFileFormat::NumpyArchive;
}

} // namespace

int runConvert(const ConvertOptions& options)
{
    const MatrixFileFormat format = formatFor(options.out);
    Progress progress;
    OutputFile out(options.out);
    MatrixFileReader reader = openMatrix(options.matrix, progress);
    if (isNumpy(format)) reader.AcceptNonFinite();
    if (isComplex(reader)) {
        convert<ComplexNumber>(reader, format, out);
    } else {
        convert<double>(reader, format, out);
    }
    progress.erase();
    out.close();
    out.commit();
    if (reader.RightHands() > 0)
        writeAll(STDERR_FILENO, fmt::format("lintrix: warning: {}: its right-hand sides are not written\n",
                                            printable(options.matrix)));
    return 0;
}

} // namespace Velmar::Lintrix::tools
