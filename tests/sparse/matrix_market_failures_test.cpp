// What the reader refuses that the command never meets: complex files, streams, misuse. The table of hostile
// files is tests/tools/hostile_input_test.cpp.

#include <lintrix/sparse/matrix_market.h>

#include <tests/support/expect_failure.h>
#include <tests/support/failing_allocator.h>
#include <tests/support/files.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

template <class Read>
void refused(const std::string& text, const std::string& message, Read read)
{
    std::istringstream in(text);
    expectFailure<FileFormatException>([&] { read(in); }, message);
}

/// `body` behind the header line of this form, field and symmetry, read as triplets.
void refusedTriplets(const std::string& words, const std::string& body, const std::string& message)
{
    refused("%%MatrixMarket matrix " + words + "\n" + body, message,
            [](std::istream& in) { ReadMatrixMarketTriplets(in); });
}

TEST(MatrixMarketFailures, QuoteWordsSafely)
{
    const auto refusedWord = [](const std::string& word, const std::string& shown) {
        refusedTriplets("coordinate real general", "1 1 1\n1 1 " + word + "\n",
                        "stream:3: " + shown + " is not a number");
    };
    refusedWord("\x1b[2J", "'\\x1b[2J'");
    refusedWord("\x9b"
                "2J",
                "'\\x9b2J'"); // the same command in one byte
    refusedWord("\xc2\x9b"
                "2J",
                "'\\xc2\\x9b2J'");                    // and as a character
    refusedWord("\xff\xe2\x82", "'\\xff\\xe2\\x82'"); // no character, and the beginning of one
    refusedWord("\u00a0\u20ac\U0001f600", "'\u00a0\u20ac\U0001f600'");
    const std::string long39(39, 'x');
    refusedWord(long39 + "y", "'" + long39 + "y'");
    refusedWord(long39 + "\u20ac", "'" + long39 + "...'"); // not cut in two
}

TEST(MatrixMarketFailures, OfComplexFiles)
{
    refusedTriplets("coordinate complex general", "1 1 1\n1 1 1\n", "stream:3: the value is missing");
    refusedTriplets("coordinate complex general", "1 1 1\n1 1 1 x\n", "stream:3: 'x' is not a number");
    refusedTriplets("coordinate complex general", "1 1 1\n1 1 1 2 3\n",
                    "stream:3: '3' stands where the line should end");
    refusedTriplets("coordinate complex general", "1 1 1\n1 1 1 inf\n",
                    "stream:3: 'inf' is not a finite number");
    refusedTriplets("array complex hermitian", "2 2\n1 0\n2 1\n3 1e-9\n",
                    "stream:5: entry (2, 2) is on the diagonal, which is real in a hermitian matrix");
    refusedTriplets(
        "coordinate complex hermitian", "2 2 1\n1 2 1 1\n",
        "stream:3: entry (1, 2) is above the diagonal; a symmetric file holds the lower triangle");
    refusedTriplets("coordinate complex hermitian", "2 3 0\n",
                    "stream:2: a hermitian matrix must be square, not 2 x 3");
    refusedTriplets("coordinate real hermitian", "2 2 0\n",
                    "stream:1: only a complex matrix can be hermitian");
}

TEST(MatrixMarketFailures, AComplexFileIsNoRealMatrix)
{
    const std::string text = "%%MatrixMarket matrix coordinate complex general\n1 1 1\n1 1 1 1\n";
    const std::string message = "stream:1: a complex matrix cannot be read as a real one";
    refused(text, message, [](std::istream& in) { ReadMatrixMarket(in); });
    refused(text, message, [](std::istream& in) { ReadMatrixMarketDense(in); });
}

TEST(MatrixMarketFailures, ADenseMatrixOfTooManyCells)
{
    refused("%%MatrixMarket matrix coordinate real general\n\n65536 65536 0\n",
            "stream:3: a dense 65536 x 65536 matrix has 4294967296 cells, more than 2147483647",
            [](std::istream& in) { ReadMatrixMarketDense(in); });
}

TEST(MatrixMarketFailures, FilesThatAreNone)
{
    const Scratch scratch;
    expectFailure<FileFormatException>([&] { MatrixMarketReader(scratch.at("none")); },
                                       scratch.at("none") + ": cannot be opened: No such file or directory");
    expectFailure<FileFormatException>([&] { MatrixMarketReader(scratch.at("")); },
                                       scratch.at("") + ": is a directory");
    try {
        MatrixMarketReader reader(scratch.at("none"));
    } catch (const FileFormatException& failure) {
        EXPECT_EQ(failure.Line(), 0);
    }
}

TEST(MatrixMarketFailures, TheLineIsToldAsANumberToo)
{
    std::istringstream in("%%MatrixMarket matrix array real general\n2 1\n1\nx\n");
    try {
        ReadMatrixMarketDense(in);
        ADD_FAILURE();
    } catch (const FileFormatException& failure) {
        EXPECT_EQ(failure.Line(), 4);
    }
}

TEST(MatrixMarketFailures, EntriesAreReadOnce)
{
    std::istringstream in("%%MatrixMarket matrix array real general\n1 1\n1\n");
    MatrixMarketReader reader(in);
    reader.ReadDense();
    expectFailure<InvalidOperationException>([&] { reader.ReadDense(); },
                                             "The entries have been read already.");
}

TEST(MatrixMarketFailures, AStreamThatBreaksIsNoEnd)
{
    struct Broken : std::streambuf {
        std::string text = "%%MatrixMarket matrix array real general\n1 1\n";
        int underflow() override
        {
            if (eback() != nullptr) throw std::runtime_error("broken");
            setg(text.data(), text.data(), text.data() + text.size());
            return text.front();
        }
    } buffer;
    std::istream in(&buffer);
    expectFailure<FileFormatException>([&] { ReadMatrixMarketDense(in); }, "stream:1: cannot be read");
}

TEST(MatrixMarketFailures, CompressedStreamsAreUnpackedAndTheirDamageTold)
{
    std::string packed = compressed("%%MatrixMarket matrix array real general\n1 1\n1\n");
    std::istringstream sound(packed);
    EXPECT_EQ(ReadMatrixMarketDense(sound)(0, 0), 1.0);
    packed.resize(packed.size() - 4);
    refused(packed, "stream:4: the compressed data ends too early",
            [](std::istream& in) { ReadMatrixMarketDense(in); });
}

TEST(MatrixMarketFailures, WhatFollowsTheLastMemberAndIsNoneIsPassedOver)
{
    std::istringstream in(compressed("%%MatrixMarket matrix array real general\n1 1\n7\n") + "padding");
    EXPECT_EQ(ReadMatrixMarketDense(in)(0, 0), 7.0);
}

TEST(MatrixMarketFailures, AnAnnouncementInAStreamTakesNoMemory)
{
    refused("%%MatrixMarket matrix coordinate real general\n9 9 3000000000000000000\n1 1 1\n",
            "stream:3: the file ends after 1 of 3000000000000000000 entries",
            [](std::istream& in) { ReadMatrixMarket(in); });
}

TEST(MatrixMarketFailures, FailingAllocationsLeakNothing)
{
    const std::string text = "%%MatrixMarket matrix coordinate real symmetric\n3 3 2\n1 1 1\n3 1 2\n";
    const auto readOnce = [&] {
        std::istringstream in(text);
        ReadMatrixMarket(in);
    };
    EXPECT_GT(failEachAllocation(readOnce, [] { return true; }), 2);
}

} // namespace
} // namespace Velmar::Lintrix::testing
