// Files that are wrong: each is one clear line with the right number, exit code 2, no output file and nothing
// left beside it, within the 1 GiB of address space that the command is run with.

#include <tests/tools/command.h>
#include <tools/support/text.h>

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

struct HostileFile {
    std::string name;
    std::string content;
    int line;
    std::string text;
};

std::ostream& operator<<(std::ostream& out, const HostileFile& file)
{
    return out << file.name;
}

std::string coordinate(const std::string& body)
{
    return "%%MatrixMarket matrix coordinate real general\n" + body;
}

std::string withHeader(const std::string& words, const std::string& body)
{
    return "%%MatrixMarket matrix " + words + "\n" + body;
}

std::string array(const std::string& body)
{
    return withHeader("array real general", body);
}

/// A file whose one entry has this value.
std::string valued(const std::string& word)
{
    return coordinate("1 1 1\n1 1 " + word + "\n");
}

std::string without(std::string content, std::size_t lastBytes)
{
    content.resize(content.size() - lastBytes);
    return content;
}

std::string withBitFlipped(std::string content, std::size_t at)
{
    content[at] = static_cast<char>(content[at] ^ 0x10);
    return content;
}

std::string announced(const std::string& count, const std::string& content, std::size_t shortest)
{
    return count + " entries are announced, but a file of this length holds at most " +
           std::to_string(content.size() / shortest + 1);
}

std::vector<HostileFile> headers()
{
    return {
        {"Empty", "", 1, "the file is empty"},
        {"EmptyCompressed", compressed(""), 1, "the file is empty"},
        {"NoHeader", "hello\n", 1, "a Matrix Market file begins with '%%MatrixMarket', not with 'hello'"},
        {"BlankFirstLine", std::string("\n") + coordinate("1 1 0\n"), 1,
         "a Matrix Market file begins with '%%MatrixMarket', not with ''"},
        {"ByteOrderMark", std::string("\xef\xbb\xbf") + coordinate("1 1 0\n"), 1,
         "a Matrix Market file begins with '%%MatrixMarket', not with '\xef\xbb\xbf%%MatrixMarket matrix "
         "coordinate real...'"},
        {"WideCharacters", std::string("%\0%\0M\0\n\0", 8), 1,
         "a Matrix Market file begins with '%%MatrixMarket', not with '%\\x00%\\x00M\\x00'"},
        {"TerminalCommands", "\x1b[2Jboo\n", 1,
         "a Matrix Market file begins with '%%MatrixMarket', not with '\\x1b[2Jboo'"},
        {"HeaderTooShort", "%%MatrixMarket matrix coordinate real\n1 1 0\n", 1,
         "the header needs an object, a form, a field and a symmetry"},
        {"HeaderTooLong", withHeader("coordinate real general extra", "1 1 0\n"), 1,
         "'extra' stands where the line should end"},
        {"ObjectUnknown", "%%MatrixMarket vector coordinate real general\n1 1 0\n", 1,
         "the object must be matrix, not 'vector'"},
        {"FormUnknown", withHeader("sparse real general", "1 1 0\n"), 1,
         "the form must be coordinate or array, not 'sparse'"},
        {"FieldUnknown", withHeader("coordinate single general", "1 1 0\n"), 1,
         "the field must be real, integer, pattern or complex, not 'single'"},
        {"SymmetryUnknown", withHeader("coordinate real diagonal", "1 1 0\n"), 1,
         "the symmetry must be general, symmetric, skew-symmetric or hermitian, not 'diagonal'"},
        {"RealHermitian", withHeader("coordinate real hermitian", "1 1 1\n1 1 1\n"), 1,
         "only a complex matrix can be hermitian"},
        {"PatternArray", withHeader("array pattern general", "1 1\n1\n"), 1, "a pattern has no array form"},
        {"PatternSkew", withHeader("coordinate pattern skew-symmetric", "2 2 1\n2 1\n"), 1,
         "a pattern has no signs and cannot be skew-symmetric"},
    };
}

std::vector<HostileFile> sizeLines()
{
    const std::string million = coordinate("3 3 1000000\n1 1 1\n");
    const std::string patterns = withHeader("coordinate pattern general", "3 3 1000000\n1 1\n");
    const std::string huge = coordinate("3 3 9223372036854775807\n1 1 1\n");
    const std::string bigArray = array("30000 30000\n1\n");
    const std::string bigTriangle = withHeader("array real symmetric", "30000 30000\n1\n");
    return {
        {"NoSizeLine", coordinate(""), 1, "the file ends before its size line"},
        {"OnlyComments", coordinate("% a\n\n% b\n"), 4, "the file ends before its size line"},
        {"SizeLineTooShort", coordinate("2 2\n1 1 1\n"), 2,
         "the size line needs rows, columns and the number of entries"},
        {"SizeLineTooLong", coordinate("2 2 1 7\n1 1 1\n"), 2, "'7' stands where the line should end"},
        {"ArraySizeLineTooShort", array("2\n1\n2\n"), 2, "the size line needs rows and columns"},
        {"ArraySizeLineTooLong", array("2 1 2\n1\n2\n"), 2, "'2' stands where the line should end"},
        {"SizeNoNumber", coordinate("%\n2 x 1\n"), 3, "'x' is not a whole number"},
        {"SizeNotWhole", coordinate("2.0 2 1\n1 1 1\n"), 2, "'2.0' is not a whole number"},
        {"NoRows", coordinate("0 2 0\n"), 2, "rows and columns must be at least 1"},
        {"NoColumns", array("2 0\n"), 2, "rows and columns must be at least 1"},
        {"NegativeRows", coordinate("-1 2 1\n1 1 1\n"), 2, "rows and columns must be at least 1"},
        {"TooManyRows", coordinate("2147483648 1 1\n1 1 1\n"), 2,
         "a size of 2147483648 x 1 exceeds the limit of 2147483647"},
        {"SizeBeyond64Bits", coordinate("1 99999999999999999999 1\n1 1 1\n"), 2,
         "'99999999999999999999' is too large"},
        {"NegativeEntries", coordinate("1 1 -1\n"), 2, "the number of entries must not be negative"},
        {"SymmetricNotSquare", withHeader("coordinate real symmetric", "2 3 1\n1 1 1\n"), 2,
         "a symmetric or skew-symmetric matrix must be square, not 2 x 3"},
        {"SkewArrayNotSquare", withHeader("array real skew-symmetric", "2 1\n1\n"), 2,
         "a symmetric or skew-symmetric matrix must be square, not 2 x 1"},
        {"MoreAnnouncedThanTheFileHolds", million, 2, announced("1000000", million, 6)},
        {"MorePatternAnnounced", patterns, 2, announced("1000000", patterns, 4)},
        {"LargestAnnouncement", huge, 2, announced("9223372036854775807", huge, 6)},
        {"ArrayLargerThanTheFile", bigArray, 2, announced("900000000", bigArray, 2)},
        {"TriangleLargerThanTheFile", bigTriangle, 2, announced("450015000", bigTriangle, 2)},
    };
}

std::vector<HostileFile> entries()
{
    return {
        {"EntriesMissing", coordinate("2 2 2\n1 1 1\n"), 3, "the file ends after 1 of 2 entries"},
        {"EntriesMissingAfterComments", coordinate("2 2 2\n1 1 1\n% end\n\n"), 5,
         "the file ends after 1 of 2 entries"},
        {"EntriesInSurplus", coordinate("2 2 1\n1 1 1\n\n% more\n2 2 2\n3 3 3\n"), 6,
         "there are more entries than the 1 announced"},
        {"TextBehindTheEntries", coordinate("1 1 1\n1 1 1\nthe end\n"), 4,
         "there are more entries than the 1 announced"},
        {"RowZero", coordinate("2 2 1\n0 1 1\n"), 3, "row 0 is outside 1 to 2"},
        {"RowTooLarge", coordinate("2 2 1\n3 1 1\n"), 3, "row 3 is outside 1 to 2"},
        {"RowNegative", coordinate("2 2 1\n-1 1 1\n"), 3, "row -1 is outside 1 to 2"},
        {"RowFarOut", coordinate("2 2 1\n99999999999 1 1\n"), 3, "row 99999999999 is outside 1 to 2"},
        {"RowThatWrapsTo32Bits", coordinate("2 2 1\n4294967297 1 1\n"), 3,
         "row 4294967297 is outside 1 to 2"},
        {"RowBeyond64Bits", coordinate("2 2 1\n18446744073709551617 1 1\n"), 3,
         "'18446744073709551617' is too large"},
        {"ColumnZero", coordinate("2 2 2\n1 1 1\n1 0 1\n"), 4, "column 0 is outside 1 to 2"},
        {"ColumnTooLarge", coordinate("2 3 1\n1 4 1\n"), 3, "column 4 is outside 1 to 3"},
        {"RowNotWhole", coordinate("2 2 1\n1.5 1 1\n"), 3, "'1.5' is not a whole number"},
        {"RowNoNumber", coordinate("2 2 1\nx 1 1\n"), 3, "'x' is not a whole number"},
        {"ColumnMissing", coordinate("2 2 1\n1\n"), 3, "the column is missing"},
        {"ValueMissing", coordinate("2 2 1\n1 1\n"), 3, "the value is missing"},
        {"WordBehindTheValue", coordinate("2 2 1\n1 1 1 x\n"), 3, "'x' stands where the line should end"},
        {"ValueNoNumber", valued("abc"), 3, "'abc' is not a number"},
        {"ValueWithTail", valued("1.5x"), 3, "'1.5x' is not a number"},
        {"ValueWithoutExponent", valued("1e"), 3, "'1e' is not a number"},
        {"ValueHexadecimal", valued("0x10"), 3, "'0x10' is not a number"},
        {"ValueWithComma", valued("1,5"), 3, "'1,5' is not a number"},
        {"ValueWithTwoSigns", valued("++1"), 3, "'++1' is not a number"},
        {"ValueWithOppositeSigns", valued("+-1"), 3, "'+-1' is not a number"},
        {"ValueOnlyASign", valued("+"), 3, "'+' is not a number"},
        {"ValueWithTwoExponents", valued("1d2d3"), 3, "'1d2d3' is not a number"},
        {"ValueNaN", valued("nan"), 3, "'nan' is not a finite number"},
        {"ValueInfinite", valued("-Infinity"), 3, "'-Infinity' is not a finite number"},
        {"ValueOverflows", valued("1e400"), 3, "'1e400' is not a finite number"},
        {"ValueOverflowsWithD", valued("-1D+400"), 3, "'-1D+400' is not a finite number"},
        {"ValueWithZeroByte",
         valued(std::string("1\0"
                            "2",
                            3)),
         3, "'1\\x002' is not a number"},
        {"ValueWithVerticalTab", valued("1\v2"), 3, "'1\\x0b2' is not a number"},
        {"ValueOfAThousandLetters", valued(std::string(1000, 'q')), 3,
         std::string("'").append(40, 'q') + "...' is not a number"},
        {"CarriageReturnInside", coordinate("1 1 1\n1\r1 1\n"), 3, "'1\\x0d1' is not a whole number"},
        {"CarriageReturnsForLineEnds", "%%MatrixMarket matrix coordinate real general\r1 1 1\r1 1 1\r", 1,
         "'1' stands where the line should end"},
        {"DosLinesCountOnce",
         "%%MatrixMarket matrix coordinate real general\r\n% c\r\n\r\n1 1 1\r\n\r\n1 1 x\r\n", 6,
         "'x' is not a number"},
        {"IntegerNotWhole", withHeader("coordinate integer general", "1 1 1\n1 1 1.5\n"), 3,
         "'1.5' is not a whole number"},
        {"IntegerTooLarge", withHeader("array integer general", "1 1\n9223372036854775808\n"), 3,
         "'9223372036854775808' is too large"},
        {"PatternWithValue", withHeader("coordinate pattern general", "1 1 1\n1 1 1\n"), 3,
         "'1' stands where the line should end"},
        {"SymmetricAboveTheDiagonal", withHeader("coordinate real symmetric", "3 3 2\n1 1 1\n1 3 1\n"), 4,
         "entry (1, 3) is above the diagonal; a symmetric file holds the lower triangle"},
        {"SkewOnTheDiagonal", withHeader("coordinate real skew-symmetric", "3 3 1\n2 2 0\n"), 3,
         "entry (2, 2) is on the diagonal, which is zero in a skew-symmetric matrix"},
        {"SkewAboveTheDiagonal", withHeader("coordinate real skew-symmetric", "3 3 1\n2 3 1\n"), 3,
         "entry (2, 3) is above the diagonal; a symmetric file holds the lower triangle"},
        {"ArrayTwoValuesOnALine", array("2 1\n1 2\n"), 3, "'2' stands where the line should end"},
        {"ArrayValuesMissing", array("2 2\n1\n2\n3\n"), 5, "the file ends after 3 of 4 entries"},
        {"ArrayValuesInSurplus", array("1 1\n1\n2\n"), 4, "there are more entries than the 1 announced"},
        {"ArrayNoNumber", array("2 1\n1\n--\n"), 4, "'--' is not a number"},
        {"LineWithoutEnd", coordinate(std::string("%").append(std::size_t{2} << 20, 'x')), 2,
         "the line is longer than 1048576 characters"},
    };
}

std::vector<HostileFile> complexFiles()
{
    const auto general = [](const std::string& body) {
        return withHeader("coordinate complex general", body);
    };
    const auto hermitian = [](const std::string& body) {
        return withHeader("coordinate complex hermitian", body);
    };
    const std::string million = general("3 3 1000000\n1 1 1 1\n");
    return {
        {"ComplexWithoutImaginaryPart", general("2 2 1\n1 1 1\n"), 3, "the value is missing"},
        {"ComplexWithThreeParts", general("2 2 1\n1 1 1 2 3\n"), 3, "'3' stands where the line should end"},
        {"ComplexNaN", general("2 2 1\n1 1 1 nan\n"), 3, "'nan' is not a finite number"},
        {"ComplexInfinite", general("2 2 1\n1 1 -inf 1\n"), 3, "'-inf' is not a finite number"},
        {"ComplexInWords", general("2 2 1\n1 1 1+2i 0\n"), 3, "'1+2i' is not a number"},
        {"ComplexEndsEarly", general("2 2 3\n1 1 1 1\n"), 3, "the file ends after 1 of 3 entries"},
        {"ComplexInSurplus", general("2 2 1\n1 1 1 1\n2 2 1 1\n"), 4,
         "there are more entries than the 1 announced"},
        {"ComplexAnnouncesTooMuch", million, 2, announced("1000000", million, 8)},
        {"HermitianDiagonal", hermitian("2 2 1\n1 1 1 1\n"), 3,
         "entry (1, 1) is on the diagonal, which is real in a hermitian matrix"},
        {"HermitianAboveTheDiagonal", hermitian("2 2 1\n1 2 1 1\n"), 3,
         "entry (1, 2) is above the diagonal; a symmetric file holds the lower triangle"},
        {"HermitianRectangle", hermitian("2 3 1\n1 1 1 0\n"), 2,
         "a hermitian matrix must be square, not 2 x 3"},
        {"ComplexSkewDiagonal", withHeader("coordinate complex skew-symmetric", "2 2 1\n1 1 1 1\n"), 3,
         "entry (1, 1) is on the diagonal, which is zero in a skew-symmetric matrix"},
    };
}

std::vector<HostileFile> compressedFiles()
{
    std::string body;
    for (int i = 1; i <= 2000; ++i) body += std::to_string(i) + " " + std::to_string(i) + " 1\n";
    const std::string sound = compressed(coordinate("2000 2000 2000\n" + body));
    const std::string small = compressed(coordinate("1 1 1\n1 1 1\n"));
    const std::string bomb = compressed(coordinate("2 2 1000000000000000\n1 1 1\n"));
    return {
        {"CompressedCutInTheHeader", sound.substr(0, 5), 1, "the compressed data ends too early"},
        {"CompressedCutBeforeTheChecksum", without(small, 8), 4, "the compressed data ends too early"},
        {"CompressedCutInTheChecksum", without(small, 1), 4, "the compressed data ends too early"},
        {"CompressedChecksumWrong", withBitFlipped(small, small.size() - 6), 1,
         "the compressed data is damaged"},
        {"CompressedTwice", compressed("\x1f\x8b\x08 twice\n"), 1,
         "a Matrix Market file begins with '%%MatrixMarket', not with '\\x1f\\x8b\\x08 twice'"},
        {"CompressedAnnouncesTooMuch", bomb, 2,
         "1000000000000000 entries are announced, but a file of this length holds at most " +
             std::to_string(bomb.size() * 1032 / 6 + 1)},
        {"CompressedLineWithoutEnd",
         compressed(coordinate(std::string("1 1 1\n1 1 ").append(std::size_t{2} << 20, '1'))), 3,
         "the line is longer than 1048576 characters"},
        {"CompressedErrorInside", compressed(coordinate("2 2 2\n1 1 1\n2 2 oops\n")), 4,
         "'oops' is not a number"},
    };
}

std::vector<HostileFile> allFiles()
{
    std::vector<HostileFile> all;
    for (const auto& group : {headers(), sizeLines(), entries(), complexFiles(), compressedFiles()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

class HostileInput : public ::testing::TestWithParam<HostileFile> {};

TEST_P(HostileInput, AsTheMatrixIsOneLineAndLeavesNothing)
{
    const HostileFile& hostile = GetParam();
    const Scratch scratch;
    const std::string path = scratch.file("in", hostile.content);
    for (const bool json : {false, true}) {
        std::vector<std::string> arguments{"solve", path, "--out", scratch.at("out")};
        if (json) arguments.emplace_back("--json");
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  "lintrix: " + path + ":" + std::to_string(hostile.line) + ": " + hostile.text + "\n");
        EXPECT_THAT(scratch.names(), ElementsAre("in"));
    }
}

TEST(HostileSizes, ADenseMatrixOfTooManyCellsIsRefused)
{
    const std::vector<std::pair<std::string, std::string>> table{
        {"50000 49999", "50000 x 49999 matrix has 2499950000"},
        {"2147483647 2147483646", "2147483647 x 2147483646 matrix has 4611686011984936962"},
        {"65536 131072", "65536 x 131072 matrix has 8589934592"}}; // 0 in 32 bits
    const Scratch scratch;
    for (const auto& [sizes, cells] : table) {
        const std::string path = scratch.file("in", coordinate(sizes + " 1\n1 1 1\n"));
        const Outcome outcome = run({"solve", path, "--dense", "--out", scratch.at("out")});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  "lintrix: " + path + ":2: a dense " + cells + " cells, more than 2147483647\n");
        EXPECT_THAT(scratch.names(), ElementsAre("in"));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, HostileInput, ::testing::ValuesIn(allFiles()),
                         [](const auto& parameter) { return parameter.param.name; });

} // namespace
} // namespace Velmar::Lintrix::testing
