// Harwell-Boeing and Rutherford-Boeing files: what they hold, where their faults are, and that what is
// written comes back bit by bit. The files are written out here by the users' guides.

#include "tests/files/files_support.h"
#include "tests/support/expect_failure.h"

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

//   4  0 -1.5
//   0 1/3  0
//   2  0   3
const std::string kHead = "A title                                                                 KEY     \n"
                          "             3             1             1             1             0\n"
                          "RUA                        3             3             5             0\n"
                          "(10I4)          (10I4)          (5E12.4)            \n";
const std::string kBody = "   1   3   4   6\n"
                          "   1   3   2   1   3\n"
                          "  4.0000E+00  2.0000D+00  3.3333E-01 -1.5000+000  3.0000E+00\n";

std::string replaced(std::string text, const std::string& old, const std::string& fresh)
{
    const std::size_t at = text.find(old);
    EXPECT_NE(at, std::string::npos) << old;
    return text.replace(at, old.size(), fresh);
}

TEST(HarwellBoeing, GeneralRealMatrix)
{
    std::istringstream in(kHead + kBody);
    MatrixFileReader reader(in);
    EXPECT_EQ(reader.Format(), MatrixFileFormat::HarwellBoeing);
    EXPECT_EQ(reader.Header().rows, 3);
    EXPECT_EQ(reader.Header().stored, 5);
    EXPECT_EQ(reader.Header().sizeLine, 3);
    EXPECT_EQ(reader.RightHands(), 0);
    const SparseMatrix A = reader.ReadSparse();
    EXPECT_EQ(reader.EntriesRead(), 5);
    EXPECT_EQ(A.NumElements(), 5);
    EXPECT_EQ(A(0, 2), -1.5);
    EXPECT_EQ(A(1, 1), 0.33333);
    EXPECT_EQ(A(2, 0), 2.0);
    EXPECT_THROW(reader.ReadSparse(), InvalidOperationException);
    // Carriage returns, blank lines behind, trailing blanks cut off, gzip.
    std::string dos;
    for (const char c : kHead + kBody + "\n  \n") dos += c == '\n' ? "\r\n" : std::string(1, c);
    EXPECT_EQ(bitsOf(readSparse(dos)), bitsOf(A));
    EXPECT_EQ(bitsOf(readSparse(compressed(kHead + kBody), "a.mtx.gz")), bitsOf(A));
}

TEST(HarwellBoeing, ItsFormIsToldByContent)
{
    for (const char* name : {"a.mtx", "stream", "a.rua", "a.rsa", "A.RUA", "a.hb", "a.txt"})
        EXPECT_EQ(readSparse(kHead + kBody, name).NumElements(), 5) << name;
    std::istringstream in(replaced(kHead, "             1             0\n", "             1\n") + kBody);
    EXPECT_EQ(MatrixFileReader(in, "a.rb").Format(), MatrixFileFormat::RutherfordBoeing);
}

TEST(HarwellBoeing, SymmetriesHoldTheLowerTriangle)
{
    const std::string lower = "T\n 3 1 1 1\n%sA 2 2 3 0\n(8I4) (8I4) (4F8.2)\n   1   3   4\n   1   2   2\n";
    const auto file = [&](const std::string& type, const std::string& values) {
        return replaced(lower, "%s", type) + values;
    };
    const SparseMatrix S = readSparse(file("RS", "    2.00   -1.00    3.00\n"));
    EXPECT_TRUE(S.Symmetric());
    EXPECT_EQ(S(0, 1), -1.0);
    EXPECT_EQ(S(1, 0), -1.0);
    const CSparseMatrix H =
        readComplexSparse(file("CH", "    2.00    0.00   -1.00    5.00\n    3.00    0.00\n"));
    EXPECT_TRUE(H.Hermitian());
    EXPECT_EQ(H(1, 0), Complex(-1, 5));
    EXPECT_EQ(H(0, 1), Complex(-1, -5));
    const CSparseMatrix C =
        readComplexSparse(file("CS", "    2.00    1.00   -1.00    5.00\n    3.00    0.00\n"));
    EXPECT_FALSE(C.Hermitian());
    EXPECT_EQ(C(0, 1), Complex(-1, 5));
    EXPECT_EQ(faultOf(file("CH", "    2.00    1.00   -1.00    5.00\n    3.00    0.00\n")),
              "a.rua:7: entry (1, 1) is on the diagonal, which is real in a hermitian matrix");
    const std::string skew = "T\n 3 1 1 1\nRZA 2 2 1 0\n(8I4) (8I4) (4F8.2)\n   1   2   2\n   2\n    5.00\n";
    const SparseMatrix Z = readSparse(skew);
    EXPECT_EQ(Z(1, 0), 5.0);
    EXPECT_EQ(Z(0, 1), -5.0);
    EXPECT_EQ(faultOf(replaced(skew, "\n   2\n", "\n   1\n")),
              "a.rua:7: entry (1, 1) is on the diagonal, which is zero in a skew-symmetric matrix");
    EXPECT_EQ(faultOf("T\n 3 1 1 1\nRSA 2 2 1 0\n(8I4) (8I4) (4F8.2)\n   1   1   2\n   1\n    5.00\n"),
              "a.rua:7: entry (1, 2) is above the diagonal; a symmetric file holds the lower triangle");
}

TEST(HarwellBoeing, PatternsAndWholeNumbersAndRectangles)
{
    const SparseMatrix P =
        readSparse("T\n 2 1 1 0 0\nPUA 2 3 3 0\n(8I4) (8I4)\n   1   2   2   4\n   2   1   2\n");
    EXPECT_EQ(P.Cols(), 3);
    EXPECT_EQ(P(1, 0), 1.0);
    EXPECT_EQ(P(0, 2), 1.0);
    EXPECT_EQ(P.NumElements(), 3);
    const SparseMatrix W =
        readSparse("T\n 3 1 1 1\niua 1 1 1 0\n(8I4) (8I4) (4I8)\n   1   2\n   1\n     -42\n", "a.rb");
    EXPECT_EQ(W(0, 0), -42.0);
    const SparseMatrix R =
        readSparse("T\n 3 1 1 1\nRRA 1 4 1 0\n(8I4) (8I4) (4E8.1)\n   1   1   1   1   2\n   1\n     2.5\n");
    EXPECT_EQ(R.Cols(), 4);
    EXPECT_EQ(R(0, 3), 2.5);
    const SparseMatrix none = readSparse("T\n 1 1 0 0\nRUA 2 2 0 0\n(8I4) (8I4) (4E8.1)\n   1   1   1\n");
    EXPECT_EQ(none.NumElements(), 0);
}

TEST(HarwellBoeing, FieldsAreFixedAndMayTouch)
{
    const SparseMatrix A =
        readSparse("T\n 3 1 1 1\nRUA 12 2 3 0\n(3I1) (3I2) (3E7.1)\n134\n 11112\n1.5E+01-2.5E011.25E+3\n");
    EXPECT_EQ(A(0, 0), 15.0);
    EXPECT_EQ(A(10, 0), -25.0);
    EXPECT_EQ(A(11, 1), 1250.0);
    // Long parts break where the format says.
    std::string starts, rows, values;
    for (int k = 0; k < 25; ++k) {
        starts += (k % 4 == 0 && k > 0 ? "\n" : "") + std::string(k + 1 < 10 ? "    " : "   ") +
                  std::to_string(k + 1);
        if (k == 24) break;
        rows += (k % 7 == 0 && k > 0 ? "\n" : "") + std::string("  1");
        values += (k % 2 == 0 && k > 0 ? "\n" : "") + std::string("   ") + std::to_string(k % 10) + ".0";
    }
    const SparseMatrix wide = readSparse("T\n 3 7 4 12\nRRA 1 24 24 0\n(4I5) (7I3) (2F6.1)\n" + starts +
                                         "\n" + rows + "\n" + values + "\n");
    for (int k = 0; k < 24; ++k) EXPECT_EQ(wide(0, k), k % 10) << k;
}

// Some programs write fields a column narrower than their format says.
TEST(HarwellBoeing, LinesThatTheirFormatWouldCutAreTakenByWords)
{
    const std::string head =
        "T\n 3 1 1 1\nRRA 1 4 4 0\n(8I4) (8I4) (3E9.2)\n   1   2   3   4   5\n   1   1   1   1\n";
    const SparseMatrix A = readSparse(head + "  1.00E+0 2.00E+100 3.00E-200\n 4.00E+9\n");
    EXPECT_EQ(A(0, 0), 1.0);
    EXPECT_EQ(A(0, 1), 2e100);
    EXPECT_EQ(A(0, 2), 3e-200);
    EXPECT_EQ(A(0, 3), 4e9);
    // Fewer words than fields: the columns count.
    EXPECT_EQ(readSparse(head + "-1.00E+00-2.00E+00 3.00E+00\n 4.00E+9\n")(0, 1), -2.0);
}

TEST(HarwellBoeing, RightHandSides)
{
    const std::string head = replaced(replaced(kHead, "             0\n", "             2\n"),
                                      "(5E12.4)            \n", "(5E12.4)            (3F8.2)\n");
    const std::string full = head + "FGX            2             0\n" + kBody +
                             "    1.00    2.00    3.00\n    4.00    5.00    6.00\n"  // right-hand sides
                             "    0.00    0.00    0.00\n    0.00    0.00    0.00\n"; // guesses
    std::istringstream in(full);
    MatrixFileReader reader(in);
    EXPECT_EQ(reader.RightHands(), 2);
    EXPECT_THROW(reader.ReadRightHands(), InvalidOperationException);
    reader.ReadSparse();
    EXPECT_EQ(reader.ReadRightHands(), (Matrix{{1, 4}, {2, 5}, {3, 6}}));
    EXPECT_THROW(reader.ReadRightHands(), InvalidOperationException);

    std::istringstream solutions(replaced(full, "FGX", "F X")); // no guesses, but solutions
    MatrixFileReader third(solutions);
    EXPECT_EQ(third.RightHands(), 2);
    const std::string sparse = head + "M              2             3\n" + kBody +
                               "   1   3   4\n   1   3   2\n" + "    1.00    2.00    3.00\n";
    std::istringstream other(sparse);
    MatrixFileReader second(other);
    EXPECT_EQ(second.ReadSparse().NumElements(), 5);
    EXPECT_EQ(second.ReadRightHands(), (Matrix{{1, 0}, {0, 3}, {2, 0}}));
    EXPECT_THAT(faultOf(replaced(
                    full, "    4.00    5.00    6.00\n    0.00    0.00    0.00\n    0.00    0.00    0.00\n",
                    "    4.00    5.00\n")),
                HasSubstr("field 3 of the line is empty"));
    std::istringstream none(kHead + kBody);
    MatrixFileReader without(none);
    without.ReadSparse();
    EXPECT_THROW(without.ReadRightHands(), InvalidOperationException);
}

TEST(HarwellBoeing, FaultsNameTheirLine)
{
    const auto changed = [](const std::string& old, const std::string& fresh) {
        return faultOf(replaced(kHead + kBody, old, fresh));
    };
    EXPECT_EQ(changed("RUA", "RXA"),
              "a.rua:3: the type must be three letters such as RUA, RSA, CHA or PUA, not 'RXA'");
    EXPECT_EQ(changed("RUA", "RUE"),
              "a.rua:3: element matrices, as of type RUE, are not read, only assembled ones");
    EXPECT_EQ(changed("RUA", "RHA"), "a.rua:3: only a complex matrix can be hermitian, not one of type RHA");
    EXPECT_EQ(
        changed("RUA                        3             3", "RSA                        3             4"),
        "a.rua:3: a matrix of type RSA must be square, not 3 x 4");
    EXPECT_EQ(
        changed("RUA                        3             3", "RUA                        0             3"),
        "a.rua:3: rows and columns must be at least 1");
    EXPECT_EQ(
        changed("RUA                        3             3", "RUA               3000000000             3"),
        "a.rua:3: a size of 3000000000 x 3 exceeds the limit of 2147483647");
    EXPECT_EQ(changed("(10I4)          (10I4)", "(10I4)          (10E4)"),
              "a.rua:4: '(10E4)' is no format of row numbers that is known");
    EXPECT_EQ(changed("(5E12.4)", "        "), "a.rua:4: the format of values is missing");
    EXPECT_EQ(changed("   1   3   4   6\n", "   1   3   2   6\n"),
              "a.rua:5: column pointer 3 is 2, outside 3 to 6");
    EXPECT_EQ(changed("   1   3   4   6\n", "   2   3   4   6\n"),
              "a.rua:5: column pointer 1 is 2, outside 1 to 1");
    EXPECT_EQ(changed("   1   3   4   6\n", "   1   3   4   5\n"),
              "a.rua:5: the last column pointer is 5, not 6");
    EXPECT_EQ(changed("   1   3   4   6\n", "   1   3   4\n"), "a.rua:5: field 4 of the line is empty");
    EXPECT_EQ(changed("   1   3   2   1   3\n", "   1   3   4   1   3\n"),
              "a.rua:6: row 4 is outside 1 to 3");
    EXPECT_EQ(changed("   1   3   2   1   3\n", "   1   x   2   1   3\n"),
              "a.rua:6: '   x' is not a whole number");
    EXPECT_EQ(changed("  2.0000D+00", "  2.00*0D+00"), "a.rua:7: '  2.00*0D+00' is not a number");
    EXPECT_EQ(changed("  2.0000D+00", " 2.000D+9999"), "a.rua:7: entry (3, 1) is not a finite number");
    EXPECT_EQ(faultOf(kHead + kBody + "1\n"), "a.rua:8: there are more lines than the numbers announced");
    EXPECT_EQ(faultOf(kHead), "a.rua:4: the file ends before all column pointers are there");
    EXPECT_EQ(faultOf("T\n"), "a.rua:2: the file ends before the counts of its lines");
    EXPECT_EQ(faultOf(""), "a.rua:1: the file ends before a title");
    const Scratch scratch;
    const std::string path =
        scratch.file("big.rua", replaced(kHead, "5             0\n", "2000000000    0\n") + kBody);
    try {
        MatrixFileReader reader(path);
        ADD_FAILURE() << "announced entries are believed";
    } catch (const FileFormatException& fault) {
        EXPECT_EQ(std::string(fault.what()),
                  path + ":3: 3 columns with 2000000000 entries are announced, but a file "
                         "of this length does not hold them");
    }
}

TEST(HarwellBoeing, AnnouncedRightHandSidesAreNotBelieved)
{
    const Scratch scratch;
    const std::string head = replaced(replaced(kHead, "             0\n", "             2\n"),
                                      "(5E12.4)            \n", "(5E12.4)            (3F8.2)\n");
    for (const auto& [card, numbers] : {std::pair("F      500000000             0\n", "1500000000"),
                                        std::pair("M              1    1500000000\n", "1500000000")}) {
        const std::string path = scratch.file("big.rua", head + card + kBody);
        try {
            MatrixFileReader reader(path);
            ADD_FAILURE() << card;
        } catch (const FileFormatException& fault) {
            EXPECT_EQ(std::string(fault.what()), path + ":5: " + numbers +
                                                     " numbers of right-hand sides are announced, but a file "
                                                     "of this length does not hold them");
        }
    }
}

TEST(HarwellBoeing, ARealReaderRefusesComplexNumbers)
{
    std::istringstream in(
        "T\n 3 1 1 1\nCUA 1 1 1 0\n(8I4) (8I4) (4F8.2)\n   1   2\n   1\n    5.00    1.00\n");
    MatrixFileReader reader(in, "a.cua");
    expectFailure<FileFormatException>([&] { reader.ReadSparse(); },
                                       "a.cua:3: a complex matrix cannot be read as a real one");
    EXPECT_EQ(reader.ReadComplexDense()(0, 0), Complex(5, 1));
}

double anyDouble(std::mt19937_64& generator)
{
    double value = 0.0;
    do {
        value = std::bit_cast<double>(generator());
    } while (!std::isfinite(value));
    return value;
}

template <class Sparse>
Sparse randomSparse(std::mt19937_64& generator, bool marked)
{
    std::uniform_int_distribution<int> size(1, 40);
    const int rows = size(generator), cols = marked ? rows : size(generator);
    Sparse A = marked ? Sparse(rows, true) : Sparse(rows, cols);
    for (int k = 0; k < 60; ++k) {
        const int i = size(generator) % rows, j = size(generator) % cols;
        if (marked && i > j) continue;
        if constexpr (sizeof(A.Item(0, 0)) == sizeof(double)) {
            A(i, j) = anyDouble(generator);
        } else {
            const double re = anyDouble(generator);
            A(i, j) = Complex(re, marked && i == j ? 0.0 : anyDouble(generator));
        }
    }
    return A;
}

TEST(HarwellBoeing, WhatIsWrittenComesBackBitByBit)
{
    std::mt19937_64 generator(5);
    for (const MatrixFileFormat format :
         {MatrixFileFormat::HarwellBoeing, MatrixFileFormat::RutherfordBoeing}) {
        const std::string name = format == MatrixFileFormat::HarwellBoeing ? "a.rua" : "a.rb";
        for (int round = 0; round < 200; ++round) {
            const auto A = randomSparse<SparseMatrix>(generator, round % 2 == 0);
            const SparseMatrix B = readSparse(written(format, A), name);
            EXPECT_EQ(bitsOf(B), bitsOf(A));
            EXPECT_EQ(B.Symmetric(), A.Symmetric());
            const auto Z = randomSparse<CSparseMatrix>(generator, round % 2 == 0);
            const CSparseMatrix Y = readComplexSparse(written(format, Z), name);
            EXPECT_EQ(bitsOf(Y), bitsOf(Z));
            EXPECT_EQ(Y.Hermitian(), Z.Hermitian());
        }
    }
}

TEST(HarwellBoeing, CardsThatAreWritten)
{
    SparseMatrix A(2, 2);
    A(0, 0) = 4.0;
    A(0, 1) = -1.5;
    EXPECT_EQ(written(MatrixFileFormat::HarwellBoeing, A),
              "Matrix written by Lintrix                                               LINTRIX \n"
              "             3             1             1             1             0\n"
              "RUA                        2             2             2             0\n"
              "(40I2)          (40I2)          (3E25.16)           \n"
              " 1 2 3\n"
              " 1 1\n"
              "   4.0000000000000000E+00  -1.5000000000000000E+00\n");
    EXPECT_THAT(written(MatrixFileFormat::RutherfordBoeing, A), HasSubstr("\nrua                        2"));
}

TEST(HarwellBoeing, WhatCannotBeWrittenIsRefused)
{
    SparseMatrix A(1, 1);
    A(0, 0) = std::numeric_limits<double>::quiet_NaN();
    expectFailure<ArgumentException>([&] { written(MatrixFileFormat::HarwellBoeing, A); },
                                     "Harwell-Boeing files hold finite numbers only");
    SparseMatrix S(2, true);
    S(0, 1) = 1.0;
    S.Symmetric(false);
    S(1, 0) = 2.0;
    S.Symmetric(true);
    expectFailure<ArgumentException>([&] { written(MatrixFileFormat::RutherfordBoeing, S); },
                                     "A symmetric matrix has elements below its diagonal");
    expectFailure<NotSupportedException>([&] { written(MatrixFileFormat::HarwellBoeing, Matrix(2, 2)); },
                                         "Harwell-Boeing files hold sparse matrices");
}

} // namespace
} // namespace Velmar::Lintrix::testing
