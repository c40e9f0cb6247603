// The reader and the writer of Matrix Market files. What is refused: hostile_input_test.cpp.

#include <tests/tools/command.h>
#include <tools/dense_system.h>
#include <tools/input_error.h>
#include <tools/matrix_market.h>

#include <gmock/gmock.h>

#include <clocale>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

MatrixMarket readFile(const std::string& path)
{
    Progress progress;
    return MatrixMarketReader(path, progress).read();
}

MatrixMarket readText(const std::string& text)
{
    const Scratch scratch;
    return readFile(scratch.file("a.mtx", text));
}

/// Dense, row after row.
std::vector<std::vector<double>> rowsOf(const MatrixMarket& matrix)
{
    std::vector rows(static_cast<std::size_t>(matrix.header.rows),
                     std::vector<double>(static_cast<std::size_t>(matrix.header.cols)));
    forEachEntry(matrix, [&](int row, int col, double value) {
        rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(col)] += value;
    });
    return rows;
}

using Rows = std::vector<std::vector<double>>;

const std::string kGeneral = "%%MatrixMarket matrix coordinate real general\n";

/// The value that the reader makes of one word.
double valueOf(const std::string& word)
{
    return readText(kGeneral + "1 1 1\n1 1 " + word + "\n").coordinates.at(0).value;
}

TEST(MatrixMarketReader, CoordinateRealGeneral)
{
    const MatrixMarket matrix = readText(kGeneral + "2 3 3\n1 1 1.5\n2 3 -2\n1 2 1e2\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1.5, 100, 0}, {0, 0, -2}}));
    EXPECT_EQ(matrix.header.rows, 2);
    EXPECT_EQ(matrix.header.cols, 3);
    EXPECT_EQ(matrix.header.stored, 3);
    EXPECT_EQ(matrix.header.sizeLine, 2);
    EXPECT_EQ(entryCount(matrix), 3);
}

TEST(MatrixMarketReader, IntegerValues)
{
    const MatrixMarket matrix =
        readText("%%MatrixMarket matrix coordinate integer general\n2 2 3\n1 1 7\n2 2 -9\n2 1 "
                 "9007199254740993\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{7, 0}, {9007199254740992.0, -9}}));
}

TEST(MatrixMarketReader, PatternEntriesAreOnes)
{
    const MatrixMarket matrix =
        readText("%%MatrixMarket matrix coordinate pattern general\n2 2 2\n1 2\n2 1\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{0, 1}, {1, 0}}));
}

TEST(MatrixMarketReader, SymmetricEntriesAreMirrored)
{
    const std::string body = "3 3 4\n1 1 1\n2 1 2\n3 2 4\n3 3 5\n";
    const MatrixMarket matrix = readText("%%MatrixMarket matrix coordinate real symmetric\n" + body);
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 2, 0}, {2, 0, 4}, {0, 4, 5}}));
    EXPECT_EQ(entryCount(matrix), 6);
    const MatrixMarket pattern =
        readText("%%MatrixMarket matrix coordinate pattern symmetric\n2 2 2\n1 1\n2 1\n");
    EXPECT_EQ(rowsOf(pattern), (Rows{{1, 1}, {1, 0}}));
    EXPECT_EQ(entryCount(pattern), 3);
}

TEST(MatrixMarketReader, SkewSymmetricEntriesAreMirroredWithTheOtherSign)
{
    const MatrixMarket matrix =
        readText("%%MatrixMarket matrix coordinate integer skew-symmetric\n3 3 2\n2 1 2\n3 2 -4\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{0, -2, 0}, {2, 0, 4}, {0, -4, 0}}));
    EXPECT_EQ(entryCount(matrix), 4);
}

TEST(MatrixMarketReader, ArraysGoColumnByColumn)
{
    const MatrixMarket matrix = readText("%%MatrixMarket matrix array real general\n2 3\n1\n2\n3\n4\n5\n6\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 3, 5}, {2, 4, 6}}));
    EXPECT_EQ(entryCount(matrix), 6);
}

TEST(MatrixMarketReader, SymmetricArraysHoldTheLowerTriangle)
{
    const MatrixMarket matrix =
        readText("%%MatrixMarket matrix array integer symmetric\n3 3\n1\n2\n3\n4\n5\n6\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 2, 3}, {2, 4, 5}, {3, 5, 6}}));
    EXPECT_EQ(entryCount(matrix), 9);
}

TEST(MatrixMarketReader, SkewSymmetricArraysHoldTheStrictLowerTriangle)
{
    const MatrixMarket matrix = readText("%%MatrixMarket matrix array real skew-symmetric\n3 3\n1\n2\n3\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{0, -1, -2}, {1, 0, -3}, {2, 3, 0}}));
    EXPECT_EQ(entryCount(matrix), 6);
    EXPECT_EQ(rowsOf(readText("%%MatrixMarket matrix array real skew-symmetric\n1 1\n")), (Rows{{0}}));
}

TEST(MatrixMarketReader, EntriesAtOnePlaceAddUp)
{
    const MatrixMarket matrix = readText(kGeneral + "1 2 4\n1 1 1\n1 2 5\n1 1 2\n1 1 4\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{7, 5}}));
    EXPECT_EQ(entryCount(matrix), 4);
}

TEST(MatrixMarketReader, HeaderWordsAreCaseInsensitive)
{
    const MatrixMarket matrix =
        readText("%%MATRIXMARKET Matrix COORDINATE Integer\tSymmetric  \n1 1 1\n1 1 3\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{3}}));
    EXPECT_EQ(matrix.header.field, Field::Integer);
    EXPECT_EQ(matrix.header.symmetry, Symmetry::Symmetric);
}

TEST(MatrixMarketReader, CommentsAndBlankLinesStandAnywhereAfterTheHeader)
{
    const MatrixMarket matrix =
        readText(kGeneral + "% one\n\n%\n   \t\n2 2 2\n% two\n1 1 1\n\n%%three\n2 2 2\n\n% four\n\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 0}, {0, 2}}));
    EXPECT_EQ(matrix.header.sizeLine, 6);
}

TEST(MatrixMarketReader, LineEndsOfOtherSystemsAndAMissingLastOne)
{
    std::string dos = kGeneral + "% x\n2 2 2\n1 1 1.5\n2 2 -3";
    for (std::size_t at = 0; (at = dos.find('\n', at)) != std::string::npos; at += 2) dos.insert(at, 1, '\r');
    EXPECT_EQ(rowsOf(readText(dos)), (Rows{{1.5, 0}, {0, -3}}));
    EXPECT_EQ(rowsOf(readText(dos + "\r\n")), (Rows{{1.5, 0}, {0, -3}}));
    EXPECT_EQ(rowsOf(readText(dos + "\r\n\r\n")), (Rows{{1.5, 0}, {0, -3}}));
}

TEST(MatrixMarketReader, BlanksAndTabsAroundTheWords)
{
    EXPECT_EQ(rowsOf(readText(kGeneral + " \t2  2\t1 \n\t 2 \t 1   4.5\t \n")), (Rows{{0, 0}, {4.5, 0}}));
}

TEST(MatrixMarketReader, NumbersInEverySpelling)
{
    EXPECT_EQ(valueOf("+1.5"), 1.5);
    EXPECT_EQ(valueOf("-.5"), -0.5);
    EXPECT_EQ(valueOf("3."), 3.0);
    EXPECT_EQ(valueOf("1E3"), 1000.0);
    EXPECT_EQ(valueOf("1e+03"), 1000.0);
    EXPECT_EQ(valueOf("-1.25D+02"), -125.0);
    EXPECT_EQ(valueOf("+2.5d-1"), 0.25);
    EXPECT_EQ(valueOf("007"), 7.0);
    EXPECT_EQ(valueOf("1" + std::string(300, '0') + "e-300"), 1.0);
    EXPECT_EQ(rowsOf(readText(kGeneral + "+1 +1 +1\n+1 +1 1\n")), (Rows{{1}}));
}

TEST(MatrixMarketReader, NumbersAtTheEdgesOfTheRange)
{
    EXPECT_EQ(valueOf("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(valueOf("4.9406564584124654e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(valueOf("1e-400"), 0.0) << "nearest to it";
    EXPECT_EQ(valueOf("-1e-99999999999999999999"), 0.0);
    EXPECT_EQ(valueOf("1D-400"), 0.0);
    EXPECT_EQ(valueOf("0e99999"), 0.0);
    EXPECT_EQ(valueOf("0.1000000000000000055511151231257827021181583404541015625"), 0.1);
}

TEST(MatrixMarketReader, NoEntriesAtAll)
{
    EXPECT_EQ(rowsOf(readText(kGeneral + "2 1 0\n")), (Rows{{0}, {0}}));
}

TEST(MatrixMarketReader, LinesAcrossTheReadersChunks)
{
    // 3 MiB of entries of every length, so that lines lie across the borders of the chunks at all offsets.
    std::mt19937_64 generator(7);
    std::string body;
    std::vector<double> values;
    while (body.size() < std::size_t{3} << 20) {
        values.push_back(static_cast<double>(generator() >> (generator() % 60)) / 1024.0);
        std::array<char, 32> digits{};
        std::snprintf(digits.data(), digits.size(), "%.17g", values.back());
        body += "1 " + std::to_string(values.size()) + std::string(generator() % 50, ' ') + " " +
                digits.data() + "\n";
        if (generator() % 8 == 0) body += "%" + std::string(generator() % 300, '-') + "\n\n";
    }
    const std::string count = std::to_string(values.size());
    const std::string text = kGeneral + "1 " + count + " " + count + "\n" + body;
    for (const std::string& content : {text, compressed(text)}) {
        const MatrixMarket matrix = readText(content);
        ASSERT_EQ(matrix.coordinates.size(), values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_EQ(matrix.coordinates[i].col, static_cast<int>(i));
            ASSERT_EQ(matrix.coordinates[i].value, values[i]);
        }
    }
}

TEST(MatrixMarketReader, TheLongestLineIsTaken)
{
    const std::string comment = "%" + std::string((std::size_t{1} << 20) - 2, 'x') + "\n";
    EXPECT_EQ(rowsOf(readText(kGeneral + comment + "1 1 1\n1 1 1\n" + comment)), (Rows{{1}}));
}

TEST(MatrixMarketReader, CompressionIsToldByContentNotByName)
{
    const Scratch scratch;
    const std::string text = kGeneral + "1 1 1\n1 1 4\n";
    EXPECT_EQ(rowsOf(readFile(scratch.file("plain.mtx.gz", text))), (Rows{{4}}));
    EXPECT_EQ(rowsOf(readFile(scratch.file("packed.mtx", compressed(text)))), (Rows{{4}}));
    const std::string members = compressed(text.substr(0, 30)) + compressed(text.substr(30));
    EXPECT_EQ(rowsOf(readFile(scratch.file("members", members))), (Rows{{4}})) << "several gzip members";
}

TEST(MatrixMarketReader, SizesAreKnownBeforeTheEntriesAreRead)
{
    const Scratch scratch;
    Progress progress;
    MatrixMarketReader reader(scratch.file("a.mtx", kGeneral + "%\n5 4 1\n9 9 broken\n"), progress);
    EXPECT_EQ(reader.header().rows, 5);
    EXPECT_EQ(reader.header().cols, 4);
    EXPECT_EQ(reader.header().sizeLine, 3);
    EXPECT_THROW(reader.read(), InputError);
}

TEST(MatrixMarketWriter, EveryValueComesBackBitByBit)
{
    std::mt19937_64 generator(11);
    std::vector<double> values{0.0,        -0.0, 0.1, 1.0 / 3.0, 1e22, 4.9e-324, -1.7976931348623157e308,
                               123456789.0};
    while (values.size() < 20000) {
        const std::uint64_t bits = generator();
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value)) values.push_back(value);
    }
    std::string text;
    writeMatrixMarketArray(values.data(), 5000, 4, [&](std::string_view piece) { text += piece; });
    const MatrixMarket matrix = readText(text);
    EXPECT_EQ(matrix.header.rows, 5000);
    EXPECT_EQ(matrix.header.cols, 4);
    ASSERT_EQ(matrix.values.size(), values.size());
    EXPECT_EQ(std::memcmp(matrix.values.data(), values.data(), values.size() * sizeof(double)), 0);
}

TEST(MatrixMarketWriter, WritesTheShortestDigits)
{
    const std::vector<double> values{1.0, -0.1, 1e300, 2.5};
    std::string text;
    writeMatrixMarketArray(values.data(), 2, 2, [&](std::string_view piece) { text += piece; });
    EXPECT_EQ(text, "%%MatrixMarket matrix array real general\n2 2\n1\n-0.1\n1e+300\n2.5\n");
}

} // namespace
} // namespace Velmar::Lintrix::testing
