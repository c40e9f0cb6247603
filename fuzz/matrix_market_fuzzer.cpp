// The Matrix Market reader. What it accepts is written to a file that reads back to the same entries, and the
// other ways of reading agree on it; what it refuses it refuses with a line number.

#include "fuzz/fuzzing.h"

#include <lintrix/sparse/matrix_market.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::fuzzing {
namespace {

constexpr std::int64_t kLargest = 1000; // rows and columns: a size is taken at its word, and takes memory

std::optional<MatrixMarketTriplets> readTriplets(const std::string& input)
{
    std::istringstream in(input);
    try {
        MatrixMarketReader reader(in);
        if (std::max(reader.Header().rows, reader.Header().cols) > kLargest) return std::nullopt;
        return reader.ReadTriplets();
    } catch (const FileFormatException& e) {
        require(e.Line() > 0 && std::string_view(e.what()).starts_with("stream:"),
                "a refusal names its line");
        return std::nullopt;
    }
}

/// Whole numbers beyond 2^53 are rounded when they are read, so that they are not written as such.
bool canBeWritten(const MatrixMarketTriplets& read)
{
    return read.field != MatrixMarketField::Integer ||
           std::ranges::all_of(read.values,
                               [](const auto& value) { return std::abs(value.real()) <= 0x1p53; });
}

void checkRoundTrip(const MatrixMarketTriplets& read)
{
    if (!canBeWritten(read)) return;
    std::ostringstream out;
    WriteMatrixMarket(out, read);
    const auto again = readTriplets(out.str());
    require(again && again->rowIndices == read.rowIndices && again->colIndices == read.colIndices &&
                again->values == read.values,
            "accepted entries survive their own text");
}

/// Both add in the order of the file, so they agree bit by bit.
void checkMatrices(const std::string& input, const MatrixMarketTriplets& read)
{
    if (read.field == MatrixMarketField::ComplexNumber) return;
    std::istringstream sparseIn(input), denseIn(input);
    const SparseMatrix sparse = ReadMatrixMarket(sparseIn);
    const Matrix dense = ReadMatrixMarketDense(denseIn), expanded = sparse.ToDense();
    for (std::int32_t i = 0; i < dense.Rows(); ++i) {
        for (std::int32_t j = 0; j < dense.Cols(); ++j) {
            const bool equal = dense(i, j) == expanded(i, j) ||
                               (std::isnan(dense(i, j)) && std::isnan(expanded(i, j))); // inf - inf
            require(equal, "sparse and dense reading agree");
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Velmar::Lintrix::fuzzing;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto read = readTriplets(input);
    if (!read) return 0;
    checkRoundTrip(*read);
    checkMatrices(input, *read);
    return 0;
}
