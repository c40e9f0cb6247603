// Every operation of the sparse room under a memory that refuses each of its requests in turn, those of the
// arrays as those of strings and lists: the objects stay as they were, and nothing is left behind.

#include "tests/sparse/random_pattern.h"
#include "tests/support/files.h"
#include "tests/support/refused_memory.h"

#include <lintrix/foundation/archive_stream.h>
#include <lintrix/sparse/file_format_exception.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <complex>
#include <functional>
#include <sstream>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

constexpr auto N = TransposeMode::NotTransposed;
constexpr auto T = TransposeMode::Transposed;

// What a refused request may end in: the array's own failure, that of strings and lists, and that of a kernel
// without scratch.
void expectFailureOfMemory()
{
    try {
        throw;
    } catch (const NotEnoughMemoryException& e) {
        EXPECT_STREQ(e.what(), "There is not enough memory to continue the execution.");
    } catch (const OperationFailedException& e) {
        EXPECT_STREQ(e.what(), "Operation has failed to complete.");
    } catch (const std::bad_alloc&) {
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
    }
}

// Text that goes through a stream of the standard library, which turns a refused request into a bad state.
void expectFailureOfMemoryOrStream()
{
    try {
        throw;
    } catch (const FileFormatException& e) {
        EXPECT_THAT(e.what(), ::testing::HasSubstr("cannot be"));
    } catch (const std::ios_base::failure&) {
    } catch (...) {
        expectFailureOfMemory();
    }
}

SparseMatrix general()
{
    return SparseMatrix({1.5, -2, 3, 4.25}, {0, 2, 2, 3, 4}, {0, 2, 1, 3});
}

SparseMatrix symmetric()
{
    SparseMatrix A(4, true, 4, 1.0F);
    A(0, 3) = 2.5;
    A(2, 1) = -1.0;
    return A;
}

SparseMatrix either(bool isSymmetric)
{
    return isSymmetric ? symmetric() : general();
}

State stateOf(const SparseMatrix& A)
{
    return State(A);
}

// Whether an array of A has so many bytes.
bool isOneArray(std::int64_t bytes, const SparseMatrix& A)
{
    const void* const arrays[] = {detail::SparseAccess::values(A), detail::SparseAccess::columns(A),
                                  detail::SparseAccess::rowPointers(A)};
    return std::ranges::any_of(arrays, [&](const void* array) {
        return static_cast<std::uint64_t>(bytes) == detail::blockBytes(array);
    });
}

// `operation` runs on a general and on a symmetric matrix.
void sweep(const char* name, const std::function<void(SparseMatrix&)>& operation,
           void (*raised)() = expectFailureOfMemory)
{
    SCOPED_TRACE(name);
    for (const bool isSymmetric : {false, true}) {
        SparseMatrix warm = either(isSymmetric); // what is made once in a process is made here
        operation(warm);
        MKL_FreeBuffers();
        EXPECT_GE(refuseEachRequest([&] { return either(isSymmetric); }, operation, stateOf, raised), 1);
    }
}

TEST(AllocationFailures, OfNewMatricesLeaveNothingBehind)
{
    const Matrix dense = general().ToDense();
    const SparseMatrix source = general();
    const std::vector<std::pair<const char*, std::function<void()>>> makers{
        {"empty", [] { SparseMatrix(); }},
        {"sizes", [] { SparseMatrix(3, 4, 50, 2.0F); }},
        {"symmetric", [] { SparseMatrix(5, true); }},
        {"dense", [&] { SparseMatrix made(dense); }},
        {"arrays", [] { general(); }},
        {"copy", [&] { SparseMatrix made(source); }},
        {"clone", [&] { (void)source.CloneableClone(); }},
    };
    for (const auto& maker : makers) {
        SCOPED_TRACE(maker.first);
        const int requests = refuseEachRequest([] { return 0; }, [&](int) { maker.second(); },
                                               [](int n) { return n; }, expectFailureOfMemory);
        EXPECT_GE(requests, 3) << "the arrays";
    }
}

TEST(AllocationFailures, OfConversionsLeaveTheMatrix)
{
    sweep("ToDense", [](SparseMatrix& A) { (void)A.ToDense(); });
    sweep("Data", [](SparseMatrix& A) { (void)A.Data(); });
    sweep("GetObjectData", [](SparseMatrix& A) { (void)ToArchive(A); });
    sweep("ToString", [](SparseMatrix& A) { (void)A.ToString("G"); });
    sweep("Print", [](SparseMatrix& A) {
        std::ostringstream out;
        A.Print(out);
    });
    sweep("there and back", [](SparseMatrix& A) { (void)FromArchive<SparseMatrix>(ToArchive(A)); });
}

TEST(AllocationFailures, OfNewContentsLeaveTheMatrix)
{
    const SparseMatrix other(sparsePattern({6, 5}, 0.5, 3));
    const std::vector<std::byte> form = other.Data();
    sweep("Data", [&](SparseMatrix& A) { A.Data(form); });
    sweep("assignment", [&](SparseMatrix& A) { A = other; });
    sweep("FillRandom", [](SparseMatrix& A) { A.FillRandom(0.4); });
}

TEST(AllocationFailures, OfArithmeticLeaveTheOperands)
{
    const SparseMatrix B = general();
    sweep("A + B", [&](SparseMatrix& A) { (void)(A + B); });
    sweep("A - B'", [&](SparseMatrix& A) { (void)SparseMatrix::Add(A, -1.0, T, B); });
    sweep("2*A", [](SparseMatrix& A) { (void)(2.0 * A); });
    sweep("A'", [](SparseMatrix& A) { (void)A.Transpose(); });
    for (const TransposeMode mode : {N, T}) {
        EXPECT_GE(refuseEachRequest(
                      general, [&](SparseMatrix& A) { (void)SparseMatrix::Multiply(mode, A, B); }, stateOf,
                      expectFailureOfMemory),
                  3);
    }
}

TEST(AllocationFailures, OfDenseProductsLeaveTheOperands)
{
    const Vector x{1, 2, 3, 4};
    const Matrix D = Matrix(4, 3);
    sweep("A*x", [&](SparseMatrix& A) { (void)(A * x); });
    sweep("x*A", [&](SparseMatrix& A) { (void)(x * A); });
    sweep("A*D", [&](SparseMatrix& A) { (void)(A * D); });
}

// A resize that fails leaves the memory total too low by the size of the array, and of nothing else.
TEST(AllocationFailures, OfResizedArraysLeaveTheMatrix)
{
    struct Edit {
        const char* name;
        std::function<void(SparseMatrix&)> prepare, run;
        bool tellsCapacity; // that was tried
    };
    const auto nothing = [](SparseMatrix&) {};
    const auto widen = [](SparseMatrix& A) { A.Capacity(500); };
    const Edit edits[] = {
        {"more capacity", nothing, [](SparseMatrix& A) { A.Capacity(1000); }, false},
        {"less capacity", widen, [](SparseMatrix& A) { A.Capacity(0); }, false},
        {"more rows", nothing, [](SparseMatrix& A) { A.Rows(60); }, false},
        {"fewer rows", nothing, [](SparseMatrix& A) { A.Rows(2); }, false},
        {"insertion", nothing, [](SparseMatrix& A) { A(1, 3) = 7.0; }, true},
    };
    for (const Edit& edit : edits) {
        SCOPED_TRACE(edit.name);
        const auto expectUndone = [&edit](bool isSymmetric, int k, Refused refused) {
            SparseMatrix A = either(isSymmetric), passed = either(isSymmetric);
            edit.prepare(A);
            State before(A);
            std::int64_t lost = TrellConfiguration::TotalMemory();
            const auto failed = [&] {
                const FailingAllocator memory(k, refused);
                try {
                    edit.run(A);
                } catch (const NotEnoughMemoryException&) {
                    return true;
                }
                return false;
            }();
            if (!failed) return false;
            lost -= TrellConfiguration::TotalMemory();
            if (edit.tellsCapacity) before.capacity = A.Capacity();
            EXPECT_EQ(State(A), before) << "request " << k;
            EXPECT_TRUE(k > 0 || isOneArray(lost, A)) << lost;
            edit.prepare(passed);
            edit.run(passed);
            edit.run(A); // the next attempt makes good for it
            EXPECT_EQ(State(A), State(passed)) << "request " << k;
            EXPECT_LE(A.NumElements(), heldSlots(A));
            return true;
        };
        for (const bool isSymmetric : {false, true}) {
            EXPECT_TRUE(expectUndone(isSymmetric, 0, Refused::One));
            for (int k = 0; k < 4; ++k) {
                expectUndone(isSymmetric, k, Refused::One);
                expectUndone(isSymmetric, k, Refused::Rest);
            }
        }
    }
}

// ---- assembly

SparseAssembler entries()
{
    SparseAssembler some(5, 5, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Mirror});
    some.Add(0, 1, 2.0);
    some.Add(3, 1, -1.0);
    some.Add(0, 1, 0.5);
    return some;
}

// What it holds, as it would be assembled.
State assembled(const SparseAssembler& some)
{
    return State(some.Assemble());
}

TEST(AllocationFailures, OfAssemblyLeaveTheEntries)
{
    const std::vector<SparseTriplet> many(200, {1, 2, 3.0});
    const std::vector<std::pair<const char*, std::function<void(SparseAssembler&)>>> operations{
        {"one entry", [](SparseAssembler& some) { some.Add(2, 2, 1.0); }},
        {"entries", [&](SparseAssembler& some) { some.Add(many); }},
        {"room", [](SparseAssembler& some) { some.Reserve(1000); }},
        {"matrix", [](SparseAssembler& some) { (void)some.Assemble(); }},
        {"joined",
         [&](SparseAssembler& some) {
             SparseAssembler other(5, 5, some.Options());
             other.Add(many);
             some.Append(std::move(other));
         }},
    };
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        const auto filled = [] {
            SparseAssembler some = entries();
            some.Add(4, 4, 1.0); // the piece is full
            return some;
        };
        EXPECT_GE(refuseEachRequest(filled, operation, assembled, expectFailureOfMemory), 1);
        EXPECT_GE(refuseEachRequest([] { return SparseAssembler(5, 5, entries().Options()); }, operation,
                                    [](const SparseAssembler& some) { return some.NumEntries(); },
                                    expectFailureOfMemory),
                  1);
    }
}

// ---- files

const char* const kCoordinates = "%%MatrixMarket matrix coordinate real symmetric\n% note\n4 4 4\n"
                                 "1 1 1.5\n3 1 -2\n3 1 0.25\n4 4 1e3\n";
const char* const kComplex = "%%MatrixMarket matrix coordinate complex hermitian\n2 2 2\n1 1 1 0\n2 1 3 -4\n";
const char* const kArray = "%%MatrixMarket matrix array integer general\n2 3\n1\n2\n3\n4\n5\n6\n";

void sweepFile(const char* name, const std::function<void()>& operation)
{
    SCOPED_TRACE(name);
    operation();
    EXPECT_GE(refuseEachRequest([] { return 0; }, [&](int) { operation(); }, [](int n) { return n; },
                                expectFailureOfMemoryOrStream),
              2);
}

TEST(AllocationFailures, OfReadingLeaveNothingBehind)
{
    const std::string sparse = kCoordinates, triplets = kComplex, array = kArray;
    sweepFile("sparse", [&] {
        std::istringstream in(sparse);
        EXPECT_EQ(ReadMatrixMarket(in).NumElements(), 5);
    });
    sweepFile("triplets", [&] {
        std::istringstream in(triplets);
        EXPECT_EQ(ReadMatrixMarketTriplets(in).values.size(), 2u);
    });
    sweepFile("complex", [&] {
        std::istringstream in(triplets);
        EXPECT_EQ(ReadMatrixMarketComplex(in).Item(0, 1), Complex(3, 4));
    });
    sweepFile("dense", [&] {
        std::istringstream in(array);
        EXPECT_EQ(ReadMatrixMarketDense(in)(1, 2), 6.0);
    });
    const Scratch scratch;
    const std::string packed = scratch.file("packed.mtx", compressed(sparse));
    sweepFile("packed", [&] { EXPECT_EQ(ReadMatrixMarket(packed).NumElements(), 5); });
}

TEST(AllocationFailures, OfWritingLeaveTheMatrix)
{
    const MatrixMarketTriplets triplets{
        .rows = 2, .cols = 2, .rowIndices = {0}, .colIndices = {1}, .values = {2.0}};
    const CMatrix complexArray{{{1, 2}}, {{3, -4}}};
    const Scratch scratch;
    const std::string plain = scratch.at("plain.mtx"), packed = scratch.at("packed.mtx.gz");
    const auto toSink = [](std::string_view) {};
    sweep(
        "sink", [&](SparseMatrix& A) { WriteMatrixMarket(toSink, A); }, expectFailureOfMemoryOrStream);
    std::ostringstream expected[2];
    for (const bool isSymmetric : {false, true})
        WriteMatrixMarket(expected[isSymmetric], either(isSymmetric));
    sweep(
        "stream",
        [&](SparseMatrix& A) {
            std::ostringstream out;
            WriteMatrixMarket(out, A);
            EXPECT_EQ(out.view(), expected[A.Symmetric()].view()) << "the stream has lost something";
        },
        expectFailureOfMemoryOrStream);
    sweep(
        "plain", [&](SparseMatrix& A) { WriteMatrixMarket(plain, A); }, expectFailureOfMemoryOrStream);
    sweep(
        "packed", [&](SparseMatrix& A) { WriteMatrixMarket(packed, A); }, expectFailureOfMemoryOrStream);
    sweepFile("triplets", [&] {
        std::ostringstream out;
        WriteMatrixMarket(out, triplets);
    });
    CSparseMatrix hermitian(2, true);
    hermitian(0, 1) = Complex(3, 4);
    sweepFile("hermitian", [&] {
        std::ostringstream out;
        WriteMatrixMarket(out, hermitian);
        EXPECT_EQ(hermitian.NumElements(), 3);
    });
    sweepFile("array", [&] {
        std::ostringstream out;
        WriteMatrixMarket(out, complexArray);
    });
}

} // namespace
} // namespace Velmar::Lintrix::testing
