// Sound files, damaged at random: the reader either takes what it finds or refuses it with one clear failure.

#include <lintrix/sparse/matrix_market.h>

#include <tests/support/files.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

std::vector<std::string> soundFiles()
{
    return {
        "%%MatrixMarket matrix coordinate real general\n% c\n3 4 4\n1 1 1.5\n2 2 -2e-3\n3 4 1D2\n1 2 +7\n",
        "%%MatrixMarket matrix coordinate integer symmetric\n3 3 3\n1 1 10\n3 1 -20\n3 3 30\n",
        "%%MatrixMarket matrix coordinate pattern symmetric\r\n3 3 3\r\n1 1\r\n3 1\r\n3 3\r\n",
        "%%MatrixMarket matrix coordinate real skew-symmetric\n4 4 2\n2 1 0.25\n4 3 1e10\n",
        "%%MatrixMarket matrix array real general\n2 3\n1\n2\n3\n4\n5\n6\n",
        "%%MatrixMarket matrix array integer symmetric\n3 3\n1\n2\n3\n4\n5\n6",
        "%%MatrixMarket matrix coordinate complex hermitian\n3 3 3\n1 1 1 0\n3 1 -2 5e-3\n3 3 3 0\n",
        "%%MatrixMarket matrix array complex general\n1 2\n1 -1\n2.5 0\n",
        contentOf(dataFile("b1_ss.mtx")),
        contentOf(dataFile("jgl011.mtx")),
    };
}

using Generator = std::mt19937_64;

std::size_t below(std::size_t limit, Generator& generator)
{
    return limit == 0 ? 0 : static_cast<std::size_t>(generator() % limit);
}

const std::string& randomPiece(Generator& generator)
{
    static const std::vector<std::string> pieces{"-",
                                                 "+",
                                                 ".",
                                                 "e",
                                                 "nan",
                                                 "inf",
                                                 "1e999",
                                                 "0",
                                                 "-1",
                                                 "2147483647",
                                                 "2147483648",
                                                 "4294967296",
                                                 "9223372036854775807",
                                                 "18446744073709551616",
                                                 "\n",
                                                 "\r",
                                                 "\r\n",
                                                 " ",
                                                 "\t",
                                                 "%",
                                                 "%%MatrixMarket",
                                                 "symmetric",
                                                 "skew-symmetric",
                                                 "array",
                                                 "pattern",
                                                 "complex",
                                                 std::string(1, '\0'),
                                                 "\xff",
                                                 "\x1f\x8b"};
    return pieces[below(pieces.size(), generator)];
}

/// One damage: a byte changed, a piece put in, a stretch taken out or doubled, the end cut off.
void damage(std::string& text, Generator& generator)
{
    const std::size_t at = below(text.size() + 1, generator);
    const std::size_t length = std::min(below(12, generator), text.size() - at);
    switch (generator() % 6) {
    case 0:
        if (at < text.size()) text[at] = static_cast<char>(generator());
        break;
    case 1:
        text.insert(at, randomPiece(generator));
        break;
    case 2:
        text.erase(at, length);
        break;
    case 3:
        text.insert(at, text.substr(at, length));
        break;
    case 4:
        text.replace(at, length, randomPiece(generator));
        break;
    default:
        text.resize(at);
    }
}

/// What is taken is sound, and comes back through the writer.
void checkTaken(const MatrixMarketTriplets& read)
{
    for (std::size_t k = 0; k < read.values.size(); ++k) {
        if (read.rowIndices[k] < 0 || read.rowIndices[k] >= read.rows) ADD_FAILURE();
        if (read.colIndices[k] < 0 || read.colIndices[k] >= read.cols) ADD_FAILURE();
        if (!std::isfinite(std::abs(read.values[k])) && !std::isfinite(read.values[k].real())) ADD_FAILURE();
    }
}

/// "" when the file was taken, else the message. A size that is large is taken at its word.
std::string verdictOn(const std::string& path)
{
    try {
        MatrixMarketReader reader(path);
        const MatrixMarketHeader header = reader.Header();
        checkTaken(reader.ReadTriplets());
        const bool small = std::int64_t{header.rows} * header.cols < 1000000 &&
                           header.rows + std::int64_t{header.cols} < 1000000;
        if (header.field == MatrixMarketField::ComplexNumber || !small) return {};
        EXPECT_EQ(ReadMatrixMarket(path).Rows(), ReadMatrixMarketDense(path).Rows());
    } catch (const FileFormatException& error) {
        EXPECT_GT(error.Line(), 0);
        return error.what();
    }
    return {};
}

/// "FILE:LINE: TEXT" on one line.
bool isClear(std::string_view message, const std::string& file)
{
    if (!message.starts_with(file + ":")) return false;
    message.remove_prefix(file.size() + 1);
    const std::size_t colon = std::min(message.find(": "), message.size());
    const std::string_view line = message.substr(0, colon), text = message.substr(colon);
    return line.find_first_of("123456789") == 0 &&
           line.find_first_not_of("0123456789") == std::string_view::npos && text.size() > 2 &&
           std::ranges::none_of(text, [](unsigned char c) { return c < 0x20; });
}

TEST(MatrixMarketReader, DamagedFilesAreTakenOrRefusedInOneLine)
{
    const Scratch scratch;
    const std::vector<std::string> sound = soundFiles();
    Generator generator(20240607);
    int taken = 0, refused = 0;
    for (int round = 0; round < 5000; ++round) {
        std::string text = sound[below(sound.size(), generator)];
        for (std::size_t damages = 1 + below(2, generator); damages > 0; --damages) damage(text, generator);
        const bool packed = generator() % 8 == 0;
        if (packed) text = compressed(text);
        if (packed && generator() % 2 == 0) damage(text, generator);
        const std::string verdict = verdictOn(scratch.file("a", text));
        ++(verdict.empty() ? taken : refused);
        ASSERT_TRUE(verdict.empty() || isClear(verdict, scratch.at("a"))) << verdict;
    }
    EXPECT_GT(taken, 400) << "the damage is so heavy that nothing behind the header is tried";
    EXPECT_GT(refused, 400);
}

} // namespace
} // namespace Velmar::Lintrix::testing
