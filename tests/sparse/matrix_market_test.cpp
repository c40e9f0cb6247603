// The reader of Matrix Market files. What is refused: matrix_market_failures_test.cpp, and
// tests/tools/hostile_input_test.cpp through the command.

#include <lintrix/sparse/matrix_market.h>

#include <tests/support/expect_failure.h>
#include <tests/support/files.h>
#include <tests/support/matrices.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

/// The matrix, row after row, and what the reader told beside it. Both ways of reading must agree.
struct Read {
    MatrixMarketHeader header;
    std::int64_t entries;
    Matrix dense;
};

Read readFile(const std::string& path)
{
    MatrixMarketReader reader(path);
    Matrix dense = reader.ReadDense();
    EXPECT_TRUE(identical(ReadMatrixMarket(path).ToDense(), dense));
    MatrixMarketReader both(path);
    const SparseMatrix general = both.ReadSparse(MatrixMarketStorage::BothTriangles);
    EXPECT_FALSE(general.Symmetric());
    EXPECT_TRUE(identical(general.ToDense(), dense));
    EXPECT_EQ(both.EntriesRead(), reader.EntriesRead());
    return {reader.Header(), reader.EntriesRead(), std::move(dense)};
}

Read readText(const std::string& text)
{
    const Scratch scratch;
    return readFile(scratch.file("a.mtx", text));
}

MatrixMarketTriplets tripletsOf(const std::string& text)
{
    std::istringstream in(text);
    return ReadMatrixMarketTriplets(in);
}

using Rows = std::vector<std::vector<double>>;

Rows rowsOf(const Read& read)
{
    Rows rows;
    for (int i = 0; i < read.dense.Rows(); ++i) {
        rows.emplace_back();
        for (int j = 0; j < read.dense.Cols(); ++j) rows.back().push_back(read.dense(i, j));
    }
    return rows;
}

const std::string kGeneral = "%%MatrixMarket matrix coordinate real general\n";

/// The value that the reader makes of one word.
double valueOf(const std::string& word)
{
    return tripletsOf(kGeneral + "1 1 1\n1 1 " + word + "\n").values.at(0).real();
}

TEST(MatrixMarketReader, CoordinateRealGeneral)
{
    const Read matrix = readText(kGeneral + "2 3 3\n1 1 1.5\n2 3 -2\n1 2 1e2\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1.5, 100, 0}, {0, 0, -2}}));
    EXPECT_EQ(matrix.header.rows, 2);
    EXPECT_EQ(matrix.header.cols, 3);
    EXPECT_EQ(matrix.header.stored, 3);
    EXPECT_EQ(matrix.header.sizeLine, 2);
    EXPECT_EQ(matrix.entries, 3);
}

TEST(MatrixMarketReader, IntegerValues)
{
    const Read matrix =
        readText("%%MatrixMarket matrix coordinate integer general\n2 2 3\n1 1 7\n2 2 -9\n2 1 "
                 "9007199254740993\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{7, 0}, {9007199254740992.0, -9}}));
}

TEST(MatrixMarketReader, PatternEntriesAreOnes)
{
    const Read matrix = readText("%%MatrixMarket matrix coordinate pattern general\n2 2 2\n1 2\n2 1\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{0, 1}, {1, 0}}));
}

TEST(MatrixMarketReader, SymmetricEntriesAreMirrored)
{
    const std::string body = "3 3 4\n1 1 1\n2 1 2\n3 2 4\n3 3 5\n";
    const Read matrix = readText("%%MatrixMarket matrix coordinate real symmetric\n" + body);
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 2, 0}, {2, 0, 4}, {0, 4, 5}}));
    EXPECT_EQ(matrix.entries, 6);
    const Read pattern = readText("%%MatrixMarket matrix coordinate pattern symmetric\n2 2 2\n1 1\n2 1\n");
    EXPECT_EQ(rowsOf(pattern), (Rows{{1, 1}, {1, 0}}));
    EXPECT_EQ(pattern.entries, 3);
}

TEST(MatrixMarketReader, SkewSymmetricEntriesAreMirroredWithTheOtherSign)
{
    const Read matrix =
        readText("%%MatrixMarket matrix coordinate integer skew-symmetric\n3 3 2\n2 1 2\n3 2 -4\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{0, -2, 0}, {2, 0, 4}, {0, -4, 0}}));
    EXPECT_EQ(matrix.entries, 4);
}

TEST(MatrixMarketReader, ArraysGoColumnByColumn)
{
    const Read matrix = readText("%%MatrixMarket matrix array real general\n2 3\n1\n2\n3\n4\n5\n6\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 3, 5}, {2, 4, 6}}));
    EXPECT_EQ(matrix.entries, 6);
}

TEST(MatrixMarketReader, SymmetricArraysHoldTheLowerTriangle)
{
    const Read matrix = readText("%%MatrixMarket matrix array integer symmetric\n3 3\n1\n2\n3\n4\n5\n6\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{1, 2, 3}, {2, 4, 5}, {3, 5, 6}}));
    EXPECT_EQ(matrix.entries, 9);
}

TEST(MatrixMarketReader, SkewSymmetricArraysHoldTheStrictLowerTriangle)
{
    const Read matrix = readText("%%MatrixMarket matrix array real skew-symmetric\n3 3\n1\n2\n3\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{0, -1, -2}, {1, 0, -3}, {2, 3, 0}}));
    EXPECT_EQ(matrix.entries, 6);
    EXPECT_EQ(rowsOf(readText("%%MatrixMarket matrix array real skew-symmetric\n1 1\n")), (Rows{{0}}));
}

TEST(MatrixMarketReader, EntriesAtOnePlaceAddUp)
{
    const Read matrix = readText(kGeneral + "1 2 4\n1 1 1\n1 2 5\n1 1 2\n1 1 4\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{7, 5}}));
    EXPECT_EQ(matrix.entries, 4);
}

TEST(MatrixMarketReader, HeaderWordsAreCaseInsensitive)
{
    const Read matrix = readText("%%MATRIXMARKET Matrix COORDINATE Integer\tSymmetric  \n1 1 1\n1 1 3\n");
    EXPECT_EQ(rowsOf(matrix), (Rows{{3}}));
    EXPECT_EQ(matrix.header.field, MatrixMarketField::Integer);
    EXPECT_EQ(matrix.header.symmetry, MatrixMarketSymmetry::Symmetric);
}

TEST(MatrixMarketReader, CommentsAndBlankLinesStandAnywhereAfterTheHeader)
{
    const Read matrix =
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
        const MatrixMarketTriplets matrix = tripletsOf(content);
        ASSERT_EQ(matrix.values.size(), values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_EQ(matrix.colIndices[i], static_cast<int>(i));
            ASSERT_EQ(matrix.values[i], values[i]);
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
    MatrixMarketReader reader(scratch.file("a.mtx", kGeneral + "%\n5 4 1\n9 9 broken\n"));
    EXPECT_EQ(reader.Header().rows, 5);
    EXPECT_EQ(reader.Header().cols, 4);
    EXPECT_EQ(reader.Header().sizeLine, 3);
    EXPECT_THROW(reader.ReadSparse(), FileFormatException);
}

TEST(MatrixMarketReader, SymmetricFilesBecomeUpperStorageWithTheWholeDiagonal)
{
    std::istringstream in("%%MatrixMarket matrix coordinate real symmetric\n3 3 3\n3 1 5\n1 1 1\n2 1 2\n");
    const SparseMatrix matrix = ReadMatrixMarket(in);
    EXPECT_TRUE(matrix.Symmetric());
    EXPECT_THAT(matrix.RowPointers(), ElementsAre(1, 4, 5, 6));
    EXPECT_THAT(matrix.ColumnIndices(), ElementsAre(1, 2, 3, 2, 3));
    EXPECT_THAT(matrix.Values(), ElementsAre(1, 2, 5, 0, 0));
}

TEST(MatrixMarketReader, BothTrianglesHoldTheEntriesOfTheFileAndNoMore)
{
    std::istringstream in("%%MatrixMarket matrix coordinate real symmetric\n3 3 2\n1 1 1\n2 1 2\n");
    const SparseMatrix matrix = MatrixMarketReader(in).ReadSparse(MatrixMarketStorage::BothTriangles);
    EXPECT_EQ(matrix.NumElements(), 3);
}

TEST(MatrixMarketReader, StoredZerosAndTheirSignsAreKept)
{
    std::istringstream in(kGeneral + "2 2 2\n1 1 -0.0\n2 1 0\n");
    const SparseMatrix matrix = ReadMatrixMarket(in);
    ASSERT_EQ(matrix.NumElements(), 2);
    EXPECT_TRUE(std::signbit(matrix.Values()[0]));
    EXPECT_FALSE(std::signbit(matrix.Values()[1]));
    std::istringstream again(kGeneral + "2 2 4\n1 1 -0.0\n2 1 0\n1 2 -0.0\n1 2 0\n");
    const Matrix dense = MatrixMarketReader(again).ReadDense();
    EXPECT_TRUE(std::signbit(dense(0, 0)));
    EXPECT_FALSE(std::signbit(dense(1, 0)));
    EXPECT_FALSE(std::signbit(dense(0, 1))) << "a sum";
    EXPECT_FALSE(std::signbit(dense(1, 1))) << "nothing is given here";
}

TEST(MatrixMarketReader, DoubleIsReal)
{
    EXPECT_EQ(readText("%%MatrixMarket matrix coordinate double general\n1 1 1\n1 1 2.5\n").header.field,
              MatrixMarketField::Real);
}

TEST(MatrixMarketReader, ComplexFilesAreReadAsTriplets)
{
    const MatrixMarketTriplets read =
        tripletsOf("%%MatrixMarket matrix coordinate complex hermitian\n2 2 2\n1 1 3 0\n2 1 -1.5 2D0\n");
    EXPECT_EQ(read.field, MatrixMarketField::ComplexNumber);
    EXPECT_EQ(read.symmetry, MatrixMarketSymmetry::Hermitian);
    EXPECT_THAT(read.rowIndices, ElementsAre(0, 1));
    EXPECT_THAT(read.colIndices, ElementsAre(0, 0));
    EXPECT_THAT(read.values, ElementsAre(Complex(3, 0), Complex(-1.5, 2)));
}

TEST(MatrixMarketReader, ComplexMatricesAreReadDenseWithBothTriangles)
{
    const auto read = [](const std::string& text) {
        std::stringstream file("%%MatrixMarket matrix " + text);
        return ReadMatrixMarketComplexDense(file);
    };
    using namespace std::complex_literals;
    const auto expectCells = [](const CMatrix& A, const CMatrix& expected) { EXPECT_TRUE(A == expected); };
    expectCells(read("coordinate complex hermitian\n2 2 2\n1 1 3 0\n2 1 -1.5 2D0\n"),
                CMatrix{{3.0, -1.5 - 2i}, {-1.5 + 2i, 0.0}});
    expectCells(read("array complex skew-symmetric\n2 2\n1 2\n"), CMatrix{{0.0, -1.0 - 2i}, {1.0 + 2i, 0.0}});
    expectCells(read("coordinate complex symmetric\n2 2 2\n2 1 0 1\n2 1 1 0\n"), // added up
                CMatrix{{0.0, 1.0 + 1i}, {1.0 + 1i, 0.0}});
    expectCells(read("array real general\n1 2\n5\n-7\n"), CMatrix{{5.0, -7.0}});
    expectCells(read("coordinate pattern general\n1 2 1\n1 2\n"), CMatrix{{0.0, 1.0}});
}

/// `body` of a file, in the storage asked for, is `expected`.
void expectComplexSparse(const std::string& body, MatrixMarketStorage storage, bool hermitian,
                         const CMatrix& expected)
{
    std::istringstream file("%%MatrixMarket matrix " + body);
    const CSparseMatrix A = MatrixMarketReader(file).ReadComplexSparse(storage);
    EXPECT_EQ(A.Hermitian(), hermitian) << body;
    EXPECT_TRUE(A.ToDense() == expected) << body << A;
}

TEST(MatrixMarketReader, FilesOfEveryFieldAndSymmetryAreReadAsComplexSparseMatrices)
{
    using namespace std::complex_literals;
    const struct {
        std::string body;
        bool hermitian; ///< can be stored as one triangle
        CMatrix expected;
    } cases[] = {
        {"coordinate complex general\n2 3 3\n1 1 1 2\n2 3 0 -1\n1 1 1 1\n", false,
         CMatrix{{2.0 + 3i, 0.0, 0.0}, {0.0, 0.0, -1i}}},
        {"coordinate complex hermitian\n2 2 2\n1 1 3 0\n2 1 -1.5 2\n", true,
         CMatrix{{3.0, -1.5 - 2i}, {-1.5 + 2i, 0.0}}},
        {"coordinate complex symmetric\n2 2 2\n1 1 3 1\n2 1 -1.5 2\n", false,
         CMatrix{{3.0 + 1i, -1.5 + 2i}, {-1.5 + 2i, 0.0}}},
        {"coordinate complex skew-symmetric\n2 2 1\n2 1 -1.5 2\n", false,
         CMatrix{{0.0, 1.5 - 2i}, {-1.5 + 2i, 0.0}}},
        {"coordinate real symmetric\n2 2 2\n1 1 3\n2 1 4\n", true, CMatrix{{3.0, 4.0}, {4.0, 0.0}}},
        {"coordinate pattern symmetric\n2 2 1\n2 1\n", true, CMatrix{{0.0, 1.0}, {1.0, 0.0}}},
        {"coordinate integer general\n1 2 1\n1 2 7\n", false, CMatrix{{0.0, 7.0}}},
        {"array complex hermitian\n2 2\n1 0\n2 3\n4 0\n", true, CMatrix{{1.0, 2.0 - 3i}, {2.0 + 3i, 4.0}}}};
    for (const auto& c : cases) {
        expectComplexSparse(c.body, MatrixMarketStorage::UpperTriangle, c.hermitian, c.expected);
        expectComplexSparse(c.body, MatrixMarketStorage::BothTriangles, false, c.expected);
    }
}

TEST(MatrixMarketReader, HermitianFilesBecomeUpperStorageWithTheWholeDiagonal)
{
    std::istringstream file("%%MatrixMarket matrix coordinate complex hermitian\n3 3 1\n3 1 1 2\n");
    const CSparseMatrix A = ReadMatrixMarketComplex(file);
    EXPECT_TRUE(A.Hermitian());
    EXPECT_EQ(A.NumElements(), 4);
    EXPECT_EQ(A.Item(0, 2), Complex(1, -2));
    EXPECT_EQ(A.Item(2, 0), Complex(1, 2));
}

TEST(MatrixMarketReader, ComplexMatricesOfTooManyCellsAreRefusedAtTheSizeLine)
{
    std::stringstream file("%%MatrixMarket matrix coordinate complex general\n65536 65536 0\n");
    expectFailure<FileFormatException>(
        [&] { ReadMatrixMarketComplexDense(file); },
        "stream:2: a dense 65536 x 65536 matrix has 4294967296 cells, more than "
        "2147483647");
}

TEST(MatrixMarketReader, ComplexArraysGoColumnByColumn)
{
    const MatrixMarketTriplets read =
        tripletsOf("%%MatrixMarket matrix array complex skew-symmetric\n3 3\n1 2\n3 4\n5 6\n");
    EXPECT_THAT(read.rowIndices, ElementsAre(1, 2, 2));
    EXPECT_THAT(read.colIndices, ElementsAre(0, 0, 1));
    EXPECT_THAT(read.values, ElementsAre(Complex(1, 2), Complex(3, 4), Complex(5, 6)));
}

TEST(MatrixMarketReader, ProgressTellsTextAndFileBytes)
{
    const Scratch scratch;
    const std::string text = kGeneral + "1 1 1\n1 1 4\n", packed = compressed(text);
    MatrixMarketProgress last;
    const auto keep = [&last](const MatrixMarketProgress& progress) { last = progress; };
    MatrixMarketReader(scratch.file("a", packed), keep).ReadDense();
    EXPECT_EQ(last.textBytes, text.size());
    EXPECT_EQ(last.fileBytes, packed.size());
    EXPECT_EQ(last.fileSize, packed.size());
    std::istringstream in(text);
    MatrixMarketReader(in, "name", keep).ReadDense();
    EXPECT_EQ(last.fileSize, 0U);
}

/// A locale with a decimal comma and grouped digits, for the C++ streams and conversions.
struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(MatrixMarketReader, NumbersDoNotFollowTheLocale)
{
    const std::locale before = std::locale::global(std::locale(std::locale(), new Comma));
    const char* const c = std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // where it is installed
    EXPECT_EQ(valueOf("1234.5"), 1234.5);
    EXPECT_EQ(valueOf("1.5e-400"), 0.0);
    std::ostringstream out;
    WriteMatrixMarket(out, Matrix{{1234567.25}});
    EXPECT_EQ(out.str(), "%%MatrixMarket matrix array real general\n1 1\n1234567.25\n");
    if (c != nullptr) std::setlocale(LC_NUMERIC, "C");
    std::locale::global(before);
}

TEST(MatrixMarketReader, AComplexFileComesBackThroughTheWriter)
{
    const MatrixMarketTriplets read = ReadMatrixMarketTriplets(dataFile("GD99_c.mtx"));
    EXPECT_EQ(read.field, MatrixMarketField::ComplexNumber);
    EXPECT_EQ(read.rows, 105);
    std::ostringstream out;
    WriteMatrixMarket(out, read);
    const MatrixMarketTriplets again = tripletsOf(out.str());
    EXPECT_EQ(again.rowIndices, read.rowIndices);
    EXPECT_EQ(again.colIndices, read.colIndices);
    EXPECT_EQ(again.values, read.values);
}

class RealFiles : public ::testing::TestWithParam<std::string> {};

TEST_P(RealFiles, AreReadTheSameInEveryWayAndComeBackThroughTheWriter)
{
    const std::string path = dataFile(GetParam());
    const SparseMatrix matrix = ReadMatrixMarket(path);
    readFile(path);
    const Scratch scratch;
    for (const char* name : {"a.mtx", "a.mtx.gz"}) {
        WriteMatrixMarket(scratch.at(name), matrix);
        const SparseMatrix again = ReadMatrixMarket(scratch.at(name));
        EXPECT_EQ(again.Symmetric(), matrix.Symmetric());
        EXPECT_TRUE(std::ranges::equal(again.RowPointers(), matrix.RowPointers()));
        EXPECT_TRUE(std::ranges::equal(again.ColumnIndices(), matrix.ColumnIndices()));
        EXPECT_TRUE(std::ranges::equal(again.Values(), matrix.Values()));
    }
}

INSTANTIATE_TEST_SUITE_P(Data, RealFiles,
                         ::testing::Values("662_bus.mtx", "Maragal_1.mtx", "Trefethen_500.mtx", "ash219.mtx",
                                           "b1_ss.mtx", "bcsstk04.mtx", "bcsstm01.mtx", "bfw782a.mtx.gz",
                                           "curtis54.mtx", "fs_183_1.mtx", "illc1033.mtx", "jagmesh7.mtx",
                                           "jgl011.mtx", "jpwh_991.mtx", "lnsp_131.mtx", "lp_share2b.mtx",
                                           "mcca.mtx", "n3c4-b4.mtx", "pde225.mtx", "plskz362.mtx",
                                           "sherman4.mtx", "sphere2.mtx", "west0156.mtx", "west0479.mtx"),
                         [](const auto& parameter) {
                             std::string name = parameter.param.substr(0, parameter.param.find('.'));
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

} // namespace
} // namespace Velmar::Lintrix::testing
