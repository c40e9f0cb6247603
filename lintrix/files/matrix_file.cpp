#include <lintrix/files/matrix_file.h>

#include <lintrix/files/detail/entry_file.h>
#include <lintrix/files/detail/harwell_boeing.h>
#include <lintrix/files/detail/numpy_files.h>
#include <lintrix/files/detail/peeked_source.h>
#include <lintrix/sparse/detail/byte_sink.h>
#include <lintrix/sparse/detail/entry_reading.h>
#include <lintrix/sparse/detail/market_words.h>
#include <lintrix/sparse/detail/message_text.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using namespace detail;

namespace {

using Format = MatrixFileFormat;

/// Of three letters as in ".rua".
bool isHarwellName(std::string_view end)
{
    const auto isOneOf = [](char c, std::string_view letters) {
        return letters.find(c) != std::string_view::npos;
    };
    return end == "hb" ||
           (end.size() == 3 && isOneOf(end[0], "rcpi") && isOneOf(end[1], "suhzr") && isOneOf(end[2], "ae"));
}

/// By content, then by name; what is neither is left to the messages of Matrix Market.
Format formatOf(std::string_view beginning, const std::string& name)
{
    if (beginning.starts_with("\x93NUMPY")) return Format::NumpyArray;
    if (beginning.starts_with("PK\x03\x04") || beginning.starts_with("PK\x05\x06"))
        return Format::NumpyArchive;
    if (beginning.starts_with("%%")) return Format::MatrixMarket;
    const Format named = FormatOfName(name).value_or(Format::MatrixMarket);
    if (named != Format::MatrixMarket) return named;
    return looksLikeHarwellBoeing(beginning) ? Format::HarwellBoeing : Format::MatrixMarket;
}

[[noreturn]] void refuseForm(Format format, std::string_view what)
{
    throw NotSupportedException(std::string(NameOf(format)) + " files hold " + std::string(what) +
                                " matrices");
}

template <class Sparse>
void writeSparse(Format format, const MatrixMarketSink& sink, const Sparse& matrix)
{
    switch (format) {
    case Format::MatrixMarket:
        return WriteMatrixMarket(sink, matrix);
    case Format::HarwellBoeing:
        return writeCards(CardForm::HarwellBoeing, sink, matrix);
    case Format::RutherfordBoeing:
        return writeCards(CardForm::RutherfordBoeing, sink, matrix);
    case Format::NumpyArchive:
        return writeNpz(sink, matrix);
    default:
        refuseForm(format, "dense");
    }
}

template <class Dense>
void writeDense(Format format, const MatrixMarketSink& sink, const Dense& matrix)
{
    switch (format) {
    case Format::MatrixMarket:
        return WriteMatrixMarket(sink, matrix);
    case Format::NumpyArray:
        return writeNpy(sink, matrix);
    case Format::NumpyArchive:
        return writeNpz(sink, matrix);
    default:
        refuseForm(format, "sparse");
    }
}

Format requireFormat(const std::string& path)
{
    const auto format = FormatOfName(path);
    if (!format)
        throw ArgumentException("The name " + quoted(path) + " does not say in which form to write", "path");
    return *format;
}

/// The file is opened with the first bytes, which come when all checks have passed.
template <class Object>
void writeFile(const std::string& path, const Object& matrix)
{
    const Format format = requireFormat(path);
    std::optional<detail::ByteSink> file;
    const auto write = [&](std::string_view bytes) {
        if (!file) file.emplace(path, path.ends_with(".gz"));
        file->write(bytes);
    };
    WriteMatrixFile(format, write, matrix);
    if (file) file->close();
}

} // namespace

std::optional<MatrixFileFormat> FormatOfName(std::string_view name)
{
    if (name.ends_with(".gz")) name.remove_suffix(3);
    const std::size_t point = name.rfind('.');
    if (point == std::string_view::npos) return std::nullopt;
    const std::string end = lowerCase(name.substr(point + 1));
    if (end == "mtx") return Format::MatrixMarket;
    if (end == "rb") return Format::RutherfordBoeing;
    if (end == "npy") return Format::NumpyArray;
    if (end == "npz") return Format::NumpyArchive;
    return isHarwellName(end) ? std::optional(Format::HarwellBoeing) : std::nullopt;
}

std::string_view NameOf(MatrixFileFormat format)
{
    switch (format) {
    case Format::HarwellBoeing:
        return "Harwell-Boeing";
    case Format::RutherfordBoeing:
        return "Rutherford-Boeing";
    case Format::NumpyArray:
        return "NumPy array";
    case Format::NumpyArchive:
        return "NumPy archive";
    default:
        return "Matrix Market";
    }
}

/// Bytes that have been looked at, and what they are called.
struct MatrixFileReader::Source {
    std::unique_ptr<PeekedSource> bytes;
    std::string name;
};

MatrixFileReader::MatrixFileReader(const std::string& path, ProgressFunction progress)
    : MatrixFileReader(Source{std::make_unique<PeekedSource>(openFile(path)), path}, std::move(progress))
{
}

MatrixFileReader::MatrixFileReader(std::istream& in, const std::string& name, ProgressFunction progress)
    : MatrixFileReader(Source{std::make_unique<PeekedSource>(sourceFrom(in)), name}, std::move(progress))
{
}

MatrixFileReader::MatrixFileReader(Source&& source, ProgressFunction progress)
    : format_(formatOf(source.bytes->beginning(), source.name))
{
    const auto onChunk = [tell = progress](const LineReader& lines) {
        if (tell) tell({lines.textRead(), lines.bytes().rawRead(), lines.bytes().rawSize()});
    };
    switch (format_) {
    case Format::MatrixMarket:
        market_.emplace(MatrixMarketReader(std::move(source.bytes), source.name, std::move(progress)));
        return;
    case Format::NumpyArray:
        entries_ = std::make_unique<NpyFile>(ByteSource(std::move(source.bytes)), source.name);
        return;
    case Format::NumpyArchive:
        entries_ = std::make_unique<NpzFile>(ByteSource(std::move(source.bytes)), source.name);
        return;
    default:
        entries_ = std::make_unique<HarwellBoeingFile>(
            LineReader(ByteSource(std::move(source.bytes)), source.name, onChunk));
    }
}

MatrixFileReader::MatrixFileReader(MatrixFileReader&&) noexcept = default;
MatrixFileReader& MatrixFileReader::operator=(MatrixFileReader&&) noexcept = default;
MatrixFileReader::~MatrixFileReader() = default;

const MatrixMarketHeader& MatrixFileReader::Header() const noexcept
{
    return market_ ? market_->Header() : entries_->header();
}

std::int32_t MatrixFileReader::RightHands() const noexcept
{
    return market_ ? 0 : entries_->rightHands();
}

void MatrixFileReader::AcceptNonFinite()
{
    if (entries_) entries_->acceptNonFinite();
}

std::int64_t MatrixFileReader::EntriesRead() const noexcept
{
    return market_ ? market_->EntriesRead() : entriesRead_;
}

void MatrixFileReader::requireReal() const
{
    if (Header().field != MatrixMarketField::ComplexNumber) return;
    throw FileFormatException(Header().file, Header().sizeLine,
                              "a complex matrix cannot be read as a real one");
}

void MatrixFileReader::requireUnread()
{
    if (std::exchange(read_, true)) throw InvalidOperationException("The entries have been read already.");
    entriesRead_ = Header().stored;
}

/// Gives what takes entries all that the file has, in cells of its type.
template <class Cell>
auto MatrixFileReader::visitor()
{
    return [this](auto take) {
        requireUnread();
        entries_->readEntries([&take](std::int32_t row, std::int32_t col, const Complex& value) {
            if constexpr (std::is_same_v<Cell, double>) {
                take(row, col, value.real());
            } else {
                take(row, col, value);
            }
        });
    };
}

SparseMatrix MatrixFileReader::ReadSparse(MatrixMarketStorage storage)
{
    if (market_) return market_->ReadSparse(storage);
    requireReal();
    return sparseFrom<double>(Header(), storage, static_cast<std::size_t>(entries_->vouchedEntries()),
                              entriesRead_, visitor<double>());
}

CSparseMatrix MatrixFileReader::ReadComplexSparse(MatrixMarketStorage storage)
{
    if (market_) return market_->ReadComplexSparse(storage);
    return sparseFrom<Complex>(Header(), storage, static_cast<std::size_t>(entries_->vouchedEntries()),
                               entriesRead_, visitor<Complex>());
}

Matrix MatrixFileReader::ReadDense()
{
    if (market_) return market_->ReadDense();
    requireReal();
    return denseFrom<double>(Header(), entriesRead_, visitor<double>());
}

CMatrix MatrixFileReader::ReadComplexDense()
{
    if (market_) return market_->ReadComplexDense();
    return denseFrom<Complex>(Header(), entriesRead_, visitor<Complex>());
}

MatrixMarketTriplets MatrixFileReader::ReadTriplets()
{
    if (market_) return market_->ReadTriplets();
    return tripletsFrom(Header(), static_cast<std::size_t>(entries_->vouchedEntries()), visitor<Complex>());
}

template <class Dense>
Dense MatrixFileReader::readRightHands()
{
    using Cell = std::remove_cvref_t<decltype(*std::declval<Dense&>().data())>;
    if (RightHands() == 0) throw InvalidOperationException("The file has no right-hand sides.");
    if (!read_) throw InvalidOperationException("The matrix comes before its right-hand sides.");
    if (std::exchange(rightHandsRead_, true))
        throw InvalidOperationException("The right-hand sides have been read already.");
    MatrixMarketHeader sizes = Header();
    sizes.cols = RightHands();
    sizes.form = MatrixMarketForm::Coordinate; // of sparse columns several entries may be at one place
    sizes.symmetry = MatrixMarketSymmetry::General;
    std::int64_t ignored = 0;
    return denseFrom<Cell>(sizes, ignored, [this](auto take) {
        entries_->readRightHands([&take](std::int32_t row, std::int32_t col, const Complex& value) {
            if constexpr (std::is_same_v<Cell, double>) {
                take(row, col, value.real());
            } else {
                take(row, col, value);
            }
        });
    });
}

Matrix MatrixFileReader::ReadRightHands()
{
    requireReal();
    return readRightHands<Matrix>();
}

CMatrix MatrixFileReader::ReadComplexRightHands()
{
    return readRightHands<CMatrix>();
}

// ---- writing

void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink, const SparseMatrix& matrix)
{
    writeSparse(format, sink, matrix);
}

void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink, const CSparseMatrix& matrix)
{
    writeSparse(format, sink, matrix);
}

void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink, const Matrix& matrix)
{
    writeDense(format, sink, matrix);
}

void WriteMatrixFile(MatrixFileFormat format, const MatrixMarketSink& sink, const CMatrix& matrix)
{
    writeDense(format, sink, matrix);
}

void WriteMatrixFile(const std::string& path, const SparseMatrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixFile(const std::string& path, const CSparseMatrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixFile(const std::string& path, const Matrix& matrix)
{
    writeFile(path, matrix);
}

void WriteMatrixFile(const std::string& path, const CMatrix& matrix)
{
    writeFile(path, matrix);
}

} // namespace Velmar::Lintrix
