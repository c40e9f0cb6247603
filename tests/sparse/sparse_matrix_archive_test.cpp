// Byte form and archive of SparseMatrix, from friends and from strangers.

#include "tests/sparse/sparse_support.h"

#include <lintrix/foundation/archive_stream.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;
using Bytes = std::vector<std::byte>;

const std::string kIndex = IndexOutOfRangeException().what();

SparseMatrix example()
{
    return SparseMatrix({1.5, kNaN, -0.0}, {0, 2, 2, 3}, {1, 3, 0});
}

void put(Bytes& data, std::size_t offset, std::int32_t value)
{
    std::memcpy(data.data() + offset, &value, sizeof(value));
}

std::int32_t intAt(const Bytes& data, std::size_t offset)
{
    std::int32_t value = 0;
    std::memcpy(&value, data.data() + offset, sizeof(value));
    return value;
}

// ---- byte form

TEST(SparseMatrixData, LayoutIsSizesStartsValuesColumns)
{
    const SparseMatrix A({1, 2, 3}, {0, 2, 3}, {0, 2, 1});
    const Bytes data = A.Data();
    ASSERT_EQ(data.size(), 4u * (3 * 3 + 2 + 3));
    EXPECT_EQ(intAt(data, 0), 2);
    EXPECT_EQ(intAt(data, 4), 3);
    EXPECT_EQ(intAt(data, 8), 1);
    EXPECT_EQ(intAt(data, 12), 3);
    EXPECT_EQ(intAt(data, 16), 4);
    double value = 0;
    std::memcpy(&value, data.data() + 4 * (2 + 3) + 8, sizeof(value));
    EXPECT_EQ(value, 2.0);
    EXPECT_EQ(intAt(data, 4 * (2 + 3) + 8 * 3), 1);
    EXPECT_EQ(intAt(data, 4 * (2 + 3) + 8 * 3 + 4), 3);
    EXPECT_EQ(intAt(data, 4 * (2 + 3) + 8 * 3 + 8), 2);
}

TEST(SparseMatrixData, RoundTripKeepsEveryBitAndTheCapacityBecomesExact)
{
    for (const Shape& shape : allShapes()) {
        for (const double density : {0.0, 0.2, 1.0}) {
            SparseMatrix A(sparsePattern(shape, density, 5)), B;
            A.Capacity(A.NumElements() + 10);
            B.Data(A.Data());
            State expected(A);
            expected.capacity = A.NumElements();
            expected.growFactor = 1.0F; // the target's own
            EXPECT_EQ(State(B), expected);
        }
    }
    SparseMatrix B;
    B.Data(example().Data());
    EXPECT_TRUE(std::isnan(B(0, 3)));
    EXPECT_TRUE(std::signbit(B(2, 0)));
}

TEST(SparseMatrixData, SymmetricFormInANewMatrixIsGeneral)
{
    SparseMatrix A(3, true), B;
    A(2, 0) = 5;
    B.Data(A.Data());
    EXPECT_FALSE(B.Symmetric());
    EXPECT_EQ(startsOf(B), startsOf(A));
    EXPECT_EQ(columnsOf(B), columnsOf(A));
    EXPECT_EQ(valuesOf(B), valuesOf(A));
}

TEST(SparseMatrixData, FlagAndGrowFactorOfTheTargetStay)
{
    SparseMatrix A(3, true), B(7, true, 10, 3.0F);
    A(2, 0) = 5;
    B.Data(A.Data());
    EXPECT_TRUE(B.Symmetric());
    EXPECT_EQ(B.GrowFactor(), 3.0F);
    EXPECT_EQ(B(2, 0), 5.0);
    EXPECT_EQ(B.Capacity(), 4);
    B(1, 0) = 6;
    EXPECT_EQ(B.Capacity(), 12);
}

TEST(SparseMatrixData, SurplusIsIgnored)
{
    SparseMatrix A = example(), B;
    Bytes data = A.Data();
    data.resize(data.size() + 5);
    B.Data(data);
    EXPECT_EQ(B.NumElements(), 3);
}

TEST(SparseMatrixData, MayStandAtAnyAddress)
{
    Bytes data = example().Data();
    data.insert(data.begin(), std::byte{9});
    SparseMatrix B;
    B.Data(std::span(data).subspan(1));
    EXPECT_EQ(B.Data(), example().Data());
}

TEST(SparseMatrixData, EveryShortFormIsRefusedAndLeavesTheMatrix)
{
    const Bytes data = example().Data();
    SparseMatrix A(2, 2);
    A(1, 1) = 4;
    const State state(A);
    for (std::size_t length = 0; length < data.size(); ++length) {
        expectFailure<IndexOutOfRangeException>([&] { A.Data(std::span(data).first(length)); }, kIndex);
        EXPECT_EQ(State(A), state) << length;
    }
}

// Sizes from 1 on are valid, whatever the form holds: what they ask for is asked for, and given back.
TEST(SparseMatrixData, SizesThatMemoryCannotHoldAreAMatterOfMemory)
{
    SparseMatrix A(2, 2);
    const State state(A);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Bytes rows(8), elements(8 + 8);
    for (const std::int32_t size : {3, INT_MAX}) {
        put(rows, 0, size);
        put(rows, 4, 1);
        const FailingAllocator allocator(0);
        expectFailure<NotEnoughMemoryException>([&] { A.Data(rows); }, kNoMemory);
    }
    put(rows, 0, 3);
    expectFailure<IndexOutOfRangeException>([&] { A.Data(rows); }, kIndex);
    put(elements, 0, 1);
    put(elements, 4, 1);
    put(elements, 8, 1);
    for (const std::int32_t count : {3, INT_MAX}) {
        put(elements, 12, count);
        const FailingAllocator allocator(1); // row pointers there are
        expectFailure<NotEnoughMemoryException>([&] { A.Data(elements); }, kNoMemory);
    }
    put(elements, 12, 3);
    expectFailure<IndexOutOfRangeException>([&] { A.Data(elements); }, kIndex);
    EXPECT_EQ(State(A), state);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

// The sizes are stored before they are looked at.
TEST(SparseMatrixData, RefusedSizesStayInTheObjectAndTheArraysAreOld)
{
    SparseMatrix A = example();
    const Bytes good = A.Data();
    Bytes data = good;
    for (const int bad : {0, -1, INT_MIN}) {
        put(data, 0, bad);
        put(data, 4, 1);
        expectRefusedUnallocated<InvalidSizeException>([&] { A.Data(data); }, kInvalidRows);
        EXPECT_EQ(A.Rows(), bad);
        EXPECT_EQ(A.Cols(), 1);
        put(data, 4, bad);
        expectRefusedUnallocated<InvalidSizeException>([&] { A.Data(data); }, kInvalidRows);
        EXPECT_EQ(A.Cols(), bad);
        put(data, 0, 2);
        expectRefusedUnallocated<InvalidSizeException>([&] { A.Data(data); }, kInvalidColumns);
        EXPECT_EQ(A.Rows(), 2);
        EXPECT_EQ(A.NumElements(), 2); // the old row pointers
    }
    A.Data(good);
    EXPECT_EQ(A.Data(), good);
}

TEST(SparseMatrixData, ObjectThatKeptRefusedSizesReadsNothingThatIsNotThere)
{
    const char* text = "The matrix has no longer the row pointers that its sizes tell.";
    for (const int rows : {-1, INT_MIN, 4, 1000000, INT_MAX}) {
        SparseMatrix A(3, 3);
        Bytes data(8);
        put(data, 0, rows);
        put(data, 4, 0);
        EXPECT_THROW(A.Data(data), InvalidSizeException);
        const std::vector<std::function<void()>> uses{
            [&] { (void)A.NumElements(); },
            [&] { (void)A.Values(); },
            [&] { (void)A.RowPointers(); },
            [&] { A.Capacity(1000); },
            [&] { A.Rows(7); },
            [&] { A.RemoveZeros(); },
            [&] { A.FillRandom(0.5); },
            [&] { (void)A.Data(); },
            [&] { (void)ToArchive(A); },
            [&] { A.Cols(5); },
        };
        for (const auto& use : uses) expectFailure<InvalidOperationException>(use, text);
        EXPECT_THROW((void)A.Item(0, 0), IndexOutOfBoundsException);
        EXPECT_THROW((void)A.ToDense(), InvalidSizeException);
        EXPECT_THROW((void)A.Clone(), InvalidSizeException);
        A = SparseMatrix(2, 2);
        EXPECT_EQ(A.NumElements(), 0);
    }
}

// The smallest block has room for four row pointers, however few there are.
TEST(SparseMatrixData, RefusedRowCountWithinTheSmallestBlockReadsEmptyRows)
{
    const Bytes form = SparseMatrix(Matrix{{1.0, 2.0}}).Data();
    SparseMatrix other, taken, restored = FromArchive<SparseMatrix>(ToArchive(SparseMatrix(1, true)));
    other.FillRandom(1.0);
    taken.Data(form);
    SparseMatrix shrunk(9, 1, 9);
    for (int r = 0; r < 9; ++r) shrunk(r, 0) = r;
    shrunk.Rows(1);
    shrunk.Capacity(0);
    SparseMatrix made[] = {SparseMatrix(),
                           SparseMatrix(1, true),
                           SparseMatrix(Matrix{{1.0, 2.0}}),
                           SparseMatrix({3.0}, {0, 1}, {4}),
                           SparseMatrix(Matrix{{1.0}}).Transpose(),
                           SparseMatrix(Matrix{{1.0, 2.0}}).Clone(),
                           other,
                           taken,
                           restored,
                           shrunk};
    for (SparseMatrix& A : made) {
        const std::int32_t elements = A.NumElements();
        Bytes data(8);
        put(data, 0, 3);
        EXPECT_THROW(A.Data(data), InvalidSizeException);
        EXPECT_EQ(A.Rows(), 3);
        EXPECT_EQ(A.NumElements(), elements);
        EXPECT_THAT(startsOf(A), ElementsAre(1, elements + 1, elements + 1, elements + 1));
    }
}

void refuseSizes(SparseMatrix& A, std::int32_t rows, std::int32_t cols)
{
    Bytes form(8);
    put(form, 0, rows);
    put(form, 4, cols);
    EXPECT_THROW(A.Data(form), InvalidSizeException);
}

// Two refused forms: the first hides rows, an edit then works on those that are left, the second brings the
// hidden ones back. Their elements may be gone by then; they come back empty and never lead out of the
// arrays.
TEST(SparseMatrixData, RowsHiddenDuringAnEditComeBackEmpty)
{
    const std::vector<std::pair<const char*, std::function<void(SparseMatrix&)>>> edits{
        {"capacity", [](SparseMatrix& A) { A.Capacity(0); }},
        {"removal", [](SparseMatrix& A) { A.RemoveZeros(1e9, false); }},
        {"insertion", [](SparseMatrix& A) { A(0, 2) = 7.0; }},
        {"fewer columns", [](SparseMatrix& A) { A.Cols(1); }},
        {"as many rows", [](SparseMatrix& A) { A.Rows(2), A.Rows(1); }},
        {"random content", [](SparseMatrix& A) { A.FillRandom(0.3); }},
    };
    for (const auto& [name, edit] : edits) {
        SCOPED_TRACE(name);
        SparseMatrix A(Matrix{{1, 2, 0, 4}, {5, 6, 7, 8}, {9, 1, 2, 3}});
        refuseSizes(A, 1, 0);
        A.Cols(4);
        edit(A);
        const std::int32_t elements = A.NumElements();
        refuseSizes(A, 3, 0);
        EXPECT_EQ(A.NumElements(), elements);
        A.Cols(4);
        expectCompressedRows(A);
        EXPECT_EQ(A.Data().size(), std::size_t(4 * (3 * A.NumElements() + 3 + 3)));
    }
}

TEST(SparseMatrixData, RowsTakenInByARefusedFormAfterAnInsertionAreEmpty)
{
    SparseMatrix A;
    A(0, 0) = 3.0;
    refuseSizes(A, 3, 0);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 2, 2, 2));
}

TEST(SparseMatrixData, ElementsThatLostTheirColumnsDoNotComeBackBehindTheLast)
{
    for (const bool symmetric : {false, true}) {
        for (const bool byRows : {false, true}) {
            if (byRows && !symmetric) continue; // the columns do not follow
            SparseMatrix A(3, symmetric);
            A(0, 1) = 5.0;
            A(0, 2) = 7.0;
            Bytes data(8);
            put(data, 0, 3);
            EXPECT_THROW(A.Data(data), InvalidSizeException);
            EXPECT_EQ(A.Cols(), 0);
            EXPECT_EQ(A.NumElements(), symmetric ? 5 : 2) << "the arrays are old";
            byRows ? A.Rows(2) : A.Cols(2);
            EXPECT_EQ(A.Cols(), 2);
            EXPECT_EQ(A(0, 1), 5.0);
            expectCompressedRows(A);
        }
    }
}

// The flag is only a reading of the arrays, and may be set on any matrix.
TEST(SparseMatrixData, SymmetricTargetTakesAFormThatIsNotSquareAndStaysSymmetric)
{
    SparseMatrix A(2, true);
    A.Data(example().Data());
    EXPECT_TRUE(A.Symmetric());
    EXPECT_EQ(A.Rows(), 3);
    EXPECT_EQ(A.Cols(), 4);
    EXPECT_EQ(A.Item(1, 0), 1.5) << "the mirrored element";
    EXPECT_THROW((void)A.ToDense(), IndexOutOfBoundsException);
    EXPECT_THROW((void)(A * Vector(4)), NotSquareMatrixException);
    A.Symmetric(false);
    EXPECT_EQ(A.Data(), example().Data());
}

// ---- wrong rows, in bytes and archives

struct WrongRows {
    const char* name;
    std::vector<std::int32_t> starts, columns;
};
const std::vector<WrongRows> kWrongRows{
    {"base 0", {0, 1, 2, 3}, {2, 4, 1}},
    {"base 2", {2, 3, 3, 4}, {2, 4, 1}},
    {"falling", {1, 4, 3, 4}, {2, 4, 1}},
    {"falling below the base", {1, -5, 3, 4}, {2, 4, 1}},
    {"beyond the end", {1, 3, 3, 9}, {2, 4, 1}},
    {"largest", {1, 3, 3, INT_MAX}, {2, 4, 1}},
    {"column 0", {1, 3, 3, 4}, {0, 4, 1}},
    {"column behind the last", {1, 3, 3, 4}, {2, 5, 1}},
    {"column far off", {1, 3, 3, 4}, {2, 4, INT_MAX}},
    {"negative column", {1, 3, 3, 4}, {2, 4, INT_MIN}},
};

TEST(SparseMatrixData, WrongRowsAreRefusedAndLeaveTheMatrix)
{
    for (const WrongRows& wrong : kWrongRows) {
        SCOPED_TRACE(wrong.name);
        Bytes data = example().Data();
        for (std::size_t i = 0; i < 4; ++i) put(data, 8 + 4 * i, wrong.starts[i]);
        for (std::size_t k = 0; k < 3; ++k) put(data, 24 + 24 + 4 * k, wrong.columns[k]);
        SparseMatrix A(2, 2);
        const State state(A);
        expectFailure<IndexOutOfRangeException>([&] { A.Data(data); }, kIndex);
        EXPECT_EQ(State(A), state);
    }
}

TEST(SparseMatrixData, OrderWithinARowIsLeftToTheMakerAndTheHardenedBuildTellsIt)
{
    Bytes data = example().Data();
    put(data, 24 + 24, 4);
    put(data, 24 + 24 + 4, 2);
    SparseMatrix A;
    if constexpr (detail::kHardened) {
        expectFailure<InvalidOperationException>(
            [&] { A.Data(data); },
            "The arrays are not compressed rows: row pointers rise, columns ascend within a row.");
    } else {
        A.Data(data);
        EXPECT_THAT(columnsOf(A), ElementsAre(4, 2, 1));
    }
}

/// Each stored element can be looked up and overwritten at its place.
void walk(SparseMatrix& A)
{
    ASSERT_LE(A.NumElements(), heldSlots(A));
    const std::vector<std::int32_t> starts = startsOf(A), columns = columnsOf(A);
    ASSERT_EQ(starts.size(), static_cast<std::size_t>(A.Rows()) + 1);
    for (std::int32_t r = 0; r < A.Rows(); ++r) {
        for (auto k = starts[std::size_t(r)] - 1; k < starts[std::size_t(r) + 1] - 1; ++k) {
            A.Item(r, columns[std::size_t(k)] - 1, 1.0);
        }
    }
}

TEST(SparseMatrixData, MutatedFormsAreRefusedOrSafe)
{
    const Bytes good = SparseMatrix(sparsePattern({6, 5}, 0.5, 9)).Data();
    std::mt19937 generator(23);
    const CappedAllocator memory(std::size_t{1} << 26); // sizes far off are refused, on a large machine too
    int refused = 0, taken = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        Bytes data = good;
        for (unsigned change = 0; change <= generator() % 3; ++change) {
            const std::size_t at = generator() % (data.size() / 4) * 4;
            const std::int32_t small = static_cast<std::int32_t>(generator() % 9) - 1;
            put(data, at, generator() % 2 == 0 ? small : static_cast<std::int32_t>(generator()));
        }
        if (generator() % 4 == 0) data.resize(generator() % data.size());
        SparseMatrix A(2, 2);
        try {
            A.Data(data);
            walk(A);
            ++taken;
        } catch (const IndexOutOfRangeException&) {
            ++refused;
        } catch (const InvalidSizeException&) {
            ++refused;
        } catch (const NotEnoughMemoryException&) {
            ++refused;
        } catch (const InvalidOperationException&) { // columns that do not ascend
            EXPECT_TRUE(detail::kHardened);
        }
    }
    EXPECT_GT(refused, 1000);
    EXPECT_GT(taken, 1000);
}

TEST(SparseMatrixData, RefusedMemoryLeavesTheMatrixAsItWas)
{
    const Bytes data = example().Data();
    SparseMatrix A(2, 2);
    A(1, 1) = 4;
    const State state(A);
    EXPECT_EQ(failEachAllocation([&] { A.Data(data); }, [&] { return State(A) == state; }), 3);
    EXPECT_EQ(A.NumElements(), 3);
}

TEST(SparseMatrixData, ReleasedMatrixTakesNewContentsAndTheHardenedBuildTellsIt)
{
    SparseMatrix A = example();
    const Bytes data = A.Data();
    A.Dispose();
    if constexpr (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { A.Data(data); }, kReleased);
    } else {
        A.Data(data);
        EXPECT_EQ(A.Data(), data);
    }
}

// ---- archive

TEST(SparseMatrixArchive, KeysAndTypesInOrder)
{
    SparseMatrix A(2, true, 9, 2.0F);
    A(0, 1) = 7;
    const SerializationInfo info = ToArchive(A);
    std::vector<std::string> names;
    for (const auto& [name, value] : info.Values()) names.push_back(name);
    EXPECT_THAT(names, ElementsAre("mRows", "mCols", "growFactor", "symm", "_IA", "_A", "_JA"));
    EXPECT_EQ(info.GetInt32("mRows"), 2);
    EXPECT_EQ(info.GetInt32("mCols"), 2);
    EXPECT_EQ(info.GetSingle("growFactor"), 2.0F);
    EXPECT_TRUE(info.GetBoolean("symm"));
    EXPECT_THAT(info.GetInt32Array("_IA"), ElementsAre(1, 3, 4));
    EXPECT_THAT(info.GetDoubleArray("_A"), ElementsAre(0, 7, 0));
    EXPECT_THAT(info.GetInt32Array("_JA"), ElementsAre(1, 2, 2));
}

TEST(SparseMatrixArchive, RoundTripKeepsAllButTheSpareCapacity)
{
    SparseMatrix symmetric(5, true, 50, 3.0F);
    symmetric(1, 4) = kNaN;
    for (const SparseMatrix& A : {symmetric, example(), SparseMatrix(), SparseMatrix(Matrix(3, 4)),
                                  SparseMatrix(sparsePattern({20, 30}, 0.1, 4))}) {
        std::stringstream stream;
        WriteArchive(stream, ToArchive(A));
        State expected(A);
        expected.capacity = A.NumElements();
        EXPECT_EQ(State(FromArchive<SparseMatrix>(ReadArchive(stream))), expected);
    }
}

/// An archive of a 3 x 4 matrix, any value of which can be exchanged.
struct Forged {
    std::int32_t rows = 3, cols = 4;
    float growFactor = 1.2F;
    bool symmetric = false;
    std::vector<std::int32_t> starts{1, 3, 3, 4}, columns{2, 4, 1};
    std::vector<double> values{1, 2, 3};
    std::string without = {};

    SerializationInfo archive() const
    {
        SerializationInfo info;
        const auto add = [&](const char* name, SerializationInfo::Value value) {
            if (name != without) info.AddValue(name, std::move(value));
        };
        add("mRows", rows);
        add("mCols", cols);
        add("growFactor", growFactor);
        add("symm", symmetric);
        add("_IA", starts);
        add("_A", values);
        add("_JA", columns);
        return info;
    }
    template <class Failure>
    void expectRefused(const std::string& text) const
    {
        const SerializationInfo info = archive();
        const std::int64_t before = TrellConfiguration::TotalMemory();
        expectFailure<Failure>([&] { FromArchive<SparseMatrix>(info); }, text);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    }
};

TEST(SparseMatrixArchive, MissingOrMistypedKeysAreNamed)
{
    EXPECT_EQ(FromArchive<SparseMatrix>(Forged{}.archive()).NumElements(), 3);
    for (const std::string name : {"mRows", "mCols", "growFactor", "symm", "_IA", "_A", "_JA"}) {
        Forged forged{.without = name};
        forged.expectRefused<SerializationException>("Value '" + name + "' was not found in the archive.");
        SerializationInfo info = forged.archive();
        info.AddValue(name, std::string("text"));
        expectFailure<SerializationException>([&] { FromArchive<SparseMatrix>(info); },
                                              "Value '" + name + "' in the archive is of another type.");
    }
}

// No row pointers belong to a negative count; columns are checked by the elements that stand in them.
TEST(SparseMatrixArchive, ANegativeRowCountIsRefused)
{
    for (const int bad : {-1, INT_MIN}) {
        Forged{.rows = bad, .cols = bad}.expectRefused<InvalidSizeException>(kInvalidRows);
    }
    for (const int bad : {0, -1, INT_MIN}) {
        Forged{.cols = bad}.expectRefused<IndexOutOfRangeException>(kIndex);
    }
}

TEST(SparseMatrixArchive, MatricesWithoutRowsOrColumnsComeBack)
{
    if constexpr (detail::kHardened) return; // sizes below 1 are refused when they are set
    const auto comesBack = [](const SparseMatrix& A) {
        std::stringstream stream;
        WriteArchive(stream, ToArchive(A));
        State expected(A);
        expected.capacity = A.NumElements();
        EXPECT_EQ(State(FromArchive<SparseMatrix>(ReadArchive(stream))), expected);
    };
    for (const bool symmetric : {false, true}) {
        SparseMatrix noRows(3, symmetric);
        noRows.Rows(0);
        comesBack(noRows);
        EXPECT_EQ(noRows.Cols(), symmetric ? 0 : 3);
    }
    for (const int cols : {0, -1, INT_MIN}) {
        SparseMatrix A = example();
        A.Cols(cols);
        comesBack(A);
    }
}

TEST(SparseMatrixArchive, MarkedSymmetricAndNotSquareComesBackAsItWas)
{
    SparseMatrix A = example();
    A.Symmetric(true);
    State expected(A);
    EXPECT_EQ(State(FromArchive<SparseMatrix>(ToArchive(A))), expected);
}

TEST(SparseMatrixArchive, ShortArraysAreRefusedAndASurplusIsIgnored)
{
    Forged{.rows = 9}.expectRefused<IndexOutOfRangeException>(kIndex);
    Forged{.starts = {}}.expectRefused<IndexOutOfRangeException>(kIndex);
    Forged{.starts = {1, 3, 4}}.expectRefused<IndexOutOfRangeException>(kIndex);
    Forged{.columns = {2, 4}}.expectRefused<IndexOutOfRangeException>(kIndex);
    Forged{.values = {1, 2}}.expectRefused<IndexOutOfRangeException>(kIndex);
    const Forged longer{.starts = {1, 3, 3, 4, 9, -7}, .columns = {2, 4, 1, 99}, .values = {1, 2, 3, 4}};
    EXPECT_EQ(State(FromArchive<SparseMatrix>(longer.archive())),
              State(FromArchive<SparseMatrix>(Forged{}.archive())));
}

TEST(SparseMatrixArchive, WrongRowsAreRefused)
{
    for (const WrongRows& wrong : kWrongRows) {
        SCOPED_TRACE(wrong.name);
        Forged{.starts = wrong.starts, .columns = wrong.columns}.expectRefused<IndexOutOfRangeException>(
            kIndex);
    }
}

// As stored, also one that no matrix of this library writes; growing by it is told where it is used.
TEST(SparseMatrixArchive, TheStoredGrowFactorIsKept)
{
    for (const float factor : {0.0F, 0.5F, 4.0F, 9.0F, 1e30F, -1.0F, -INFINITY}) {
        SparseMatrix A = FromArchive<SparseMatrix>(Forged{.growFactor = factor}.archive());
        EXPECT_EQ(A.GrowFactor(), factor);
        A(1, 1) = 1;
        EXPECT_EQ(A.Capacity(), factor == 4.0F ? 12 : factor == 9.0F ? 27 : 4) << factor;
        expectCompressedRows(A);
    }
    SparseMatrix A = FromArchive<SparseMatrix>(Forged{.growFactor = NAN}.archive());
    EXPECT_TRUE(std::isnan(A.GrowFactor()));
    A(1, 1) = 1;
    EXPECT_EQ(A.Capacity(), 4);
}

TEST(SparseMatrixArchive, SizesThatMemoryCannotHoldAreAMatterOfMemory)
{
    const SerializationInfo info = Forged{.rows = INT_MAX}.archive();
    const FailingAllocator allocator(0);
    expectFailure<NotEnoughMemoryException>([&] { FromArchive<SparseMatrix>(info); }, kNoMemory);
}

TEST(SparseMatrixArchive, LeaksNothingWhenMemoryIsRefused)
{
    const SerializationInfo info = Forged{}.archive();
    EXPECT_EQ(failEachAllocation([&] { FromArchive<SparseMatrix>(info); }, [] { return true; }), 3);
}

} // namespace
} // namespace Velmar::Lintrix
