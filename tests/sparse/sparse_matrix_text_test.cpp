// Text form of SparseMatrix.

#include "tests/sparse/random_pattern.h"
#include "tests/support/comma_locale.h"

#include <lintrix/foundation/number_format.h>
#include <lintrix/services/hardening.h>

#include <limits>
#include <sstream>
#include <string>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;

// [ 1 . ]
// [ . 2 ]
SparseMatrix diagonal()
{
    return SparseMatrix({1, 2}, {0, 1, 2}, {0, 1});
}

// The layout told element by element, through `Item`.
std::string plainText(const SparseMatrix& A, const std::string& format)
{
    std::size_t width = 0;
    for (const double value : A.Values())
        width = std::max(width, FormatNumber(value, format, comma()).size());
    std::string text;
    for (int r = 0; r < A.Rows(); ++r) {
        text += "<<";
        for (int c = 0; c < A.Cols(); ++c) {
            const std::string cell = FormatNumber(A.Item(r, c), format, comma());
            if (cell.size() < width) text.append(width - cell.size(), ' ');
            text += cell + (c < A.Cols() - 1 ? " ; " : "");
        }
        text += r < A.Rows() - 1 ? ">>\n" : "end";
    }
    return text;
}

void expectPlainText(const SparseMatrix& A)
{
    for (const char* format : {"F3", "G", "E2", "N0", "P1"}) {
        EXPECT_EQ(A.ToString(comma(), format, " ; ", "<<", ">>\n", "end"), plainText(A, format)) << format;
    }
}

TEST(SparseMatrixText, DefaultsPrintAllElementsBetweenBars)
{
    EXPECT_EQ(diagonal().ToString(), "| 1.000 0.000 |\n| 0.000 2.000 |\n");
}

TEST(SparseMatrixText, ImplicitZerosArePaddedToTheLongestStoredElement)
{
    SparseMatrix A(2, 2);
    A(0, 1) = 123.456;
    EXPECT_EQ(A.ToString("F3"), "|   0.000 123.456 |\n|   0.000   0.000 |\n");
}

TEST(SparseMatrixText, ImplicitZerosAreNotMeasuredAndNotCut)
{
    SparseMatrix A(1, 3);
    A(0, 1) = 5.0;
    EXPECT_EQ(A.ToString("G"), "| 0 5 0 |\n");
    A(0, 1) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(A.ToString("F3"), "| 0.000 NaN 0.000 |\n") << "three characters wide, and zeros of five";
    EXPECT_EQ(SparseMatrix(1, 2).ToString("F1"), "| 0.0 0.0 |\n") << "nothing is stored: no width";
}

TEST(SparseMatrixText, StoredZerosAreMeasuredAndKeepTheirSign)
{
    SparseMatrix A(1, 2);
    A(0, 0) = -0.0;
    EXPECT_EQ(A.ToString("F1"), "| -0.0  0.0 |\n");
}

TEST(SparseMatrixText, TheLastRowClosesWithTheEndAlone)
{
    EXPECT_EQ(diagonal().ToString("F0", ", ", "[", "];", "]"), "[1, 0];[0, 2]");
    EXPECT_EQ(SparseMatrix(1, 1).ToString("F1", ", ", "[", "];", "]"), "[0.0]");
}

TEST(SparseMatrixText, TheFormsWithoutProviderDifferInWhatIsGivenAlone)
{
    const std::string expected = diagonal().ToString(std::locale(), "F3", " ", "| ", " |\n", " |\n");
    EXPECT_EQ(diagonal().ToString(), expected);
    EXPECT_EQ(diagonal().ToString("F3"), expected);
    EXPECT_EQ(diagonal().ToString("F3", " "), expected);
    EXPECT_EQ(diagonal().ToString("F3", " ", "| ", " |\n", " |\n"), expected);
    EXPECT_EQ(diagonal().ToString("F1", ";"), "| 1.0;0.0 |\n| 0.0;2.0 |\n");
}

TEST(SparseMatrixText, TheFormWithAProviderHasNoBlankBeforeTheClosingBar)
{
    EXPECT_EQ(diagonal().ToString(std::locale(), "F3"), "| 1.000 0.000|\n| 0.000 2.000|\n");
    EXPECT_EQ(diagonal().ToString(comma(), "F1"), "| 1,0 0,0|\n| 0,0 2,0|\n");
}

TEST(SparseMatrixText, TheProviderGivesDecimalSignAndGrouping)
{
    SparseMatrix A(1, 2);
    A(0, 0) = 1234.25;
    EXPECT_EQ(A.ToString(comma(), "N2", ";", "", "", "!"), "1.234,25;    0,00!");
}

TEST(SparseMatrixText, TheCurrentCultureIsTheGlobalLocale)
{
    const std::locale before = std::locale::global(comma());
    const std::string text = diagonal().ToString();
    std::locale::global(before);
    EXPECT_EQ(text, "| 1,000 0,000 |\n| 0,000 2,000 |\n");
}

TEST(SparseMatrixText, AStreamReceivesTheDefaultForm)
{
    std::ostringstream out;
    out << diagonal();
    EXPECT_EQ(out.str(), diagonal().ToString());
}

TEST(SparseMatrixText, ASymmetricMatrixPrintsInFull)
{
    SparseMatrix S(3, true);
    S(0, 2) = 7.0;
    S(1, 1) = -1.0;
    EXPECT_EQ(S.ToString("F0"), "|  0  0  7 |\n|  0 -1  0 |\n|  7  0  0 |\n");
}

TEST(SparseMatrixText, AnUnknownFormatFailsAlsoWhereNothingIsStored)
{
    expectFailure<FormatException>([] { diagonal().ToString("Z"); }, "Format specifier was invalid.");
    expectFailure<FormatException>([] { SparseMatrix(2, 2).ToString("Z"); }, "Format specifier was invalid.");
}

TEST(SparseMatrixText, LayoutIsThatOfThePlainAlgorithm)
{
    std::mt19937_64 generator(51);
    for (const Shape& shape : sparseShapes()) {
        for (const double density : {0.0, 0.3, 1.0}) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << density);
            expectPlainText(1e4 * randomSparse(shape, density, Values::Uniform, generator));
        }
    }
}

// The flag is only a reading of the arrays: elements below the diagonal are measured, but not printed.
TEST(SparseMatrixText, AnyMatrixMarkedSymmetricPrintsAsItemReadsIt)
{
    std::mt19937_64 generator(52);
    for (const Shape& shape : {Shape{1, 1}, {6, 6}, {33, 33}, {3, 8}}) {
        SparseMatrix A = 1e3 * randomSparse(shape, 0.5, Values::Uniform, generator);
        A.Symmetric(true);
        expectPlainText(A);
    }
}

TEST(SparseMatrixText, AMatrixWithoutColumnsFailsAtItsLastColumnAndOneWithoutRowsIsItsEnd)
{
    if (detail::kHardened) return; // sizes below 1 are refused when they are set
    for (const int cols : {0, -1, INT32_MIN}) {
        SparseMatrix A = diagonal();
        A.Cols(cols);
        expectFailure<IndexOutOfBoundsException>([&] { A.ToString(); }, "Column index exceeds matrix size.");
    }
    SparseMatrix A = diagonal();
    A.Rows(0);
    EXPECT_EQ(A.ToString(), " |\n");
}

TEST(SparseMatrixText, NothingIsFormattedWhereNothingIsPrinted)
{
    if (detail::kHardened) return; // sizes below 1 are refused when they are set
    for (const int cols : {2, 0, -1, INT32_MIN}) {
        SparseMatrix A = diagonal();
        A.Rows(0);
        A.Cols(cols);
        EXPECT_EQ(A.ToString(), " |\n") << cols;
        EXPECT_EQ(A.ToString("Z"), " |\n") << cols;
        A.Symmetric(true);
        EXPECT_EQ(A.ToString("Z"), " |\n") << cols;
    }
    SparseMatrix empty(2, 2);
    empty.Cols(0);
    expectFailure<IndexOutOfBoundsException>([&] { empty.ToString("Z"); },
                                             "Column index exceeds matrix size.");
}

TEST(SparseMatrixText, ATallMatrixMarkedSymmetricFailsAtTheFirstElementWithoutMirrorImage)
{
    SparseMatrix A(3, 2);
    A.Symmetric(true);
    expectFailure<IndexOutOfBoundsException>([&] { A.Item(2, 0); }, "Column index exceeds matrix size.");
    expectFailure<IndexOutOfBoundsException>([&] { A.ToString(); }, "Column index exceeds matrix size.");
}

} // namespace
} // namespace Velmar::Lintrix
