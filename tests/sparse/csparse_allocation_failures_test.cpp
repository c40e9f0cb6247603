// Every operation of CSparseMatrix under a memory that refuses each of its requests in turn: the objects stay
// as they were, and nothing is left behind.

#include "tests/complex/complex_support.h"
#include "tests/sparse/sparse_support.h"
#include "tests/support/refused_memory.h"

#include <lintrix/foundation/archive_stream.h>
#include <lintrix/sparse/csparse_matrix.h>

#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

constexpr TransposeMode kAllModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                       TransposeMode::ConjugateTransposed};

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

CSparseMatrix general()
{
    return CSparseMatrix({{1.5, 1}, {-2, 0}, {0, 3}, {4.25, -1}}, {0, 2, 2, 3, 4}, {0, 2, 1, 3});
}
CSparseMatrix flagged()
{
    CSparseMatrix A(4, true, 4, 1.0F);
    A(0, 3) = Complex(2.5, 1);
    A(2, 1) = Complex(-1, 2);
    return A;
}

/// All that can be seen, but for the capacity.
auto contentsOf(const CSparseMatrix& A)
{
    return std::tuple(A.Rows(), A.Cols(), A.GrowFactor(), A.Hermitian(), A.Data());
}
auto allOf(const CSparseMatrix& A)
{
    return std::pair(A.Capacity(), contentsOf(A));
}

// `operation` runs on a general and on a flagged matrix.
void sweep(const char* name, const std::function<void(CSparseMatrix&)>& operation)
{
    SCOPED_TRACE(name);
    for (const auto make : {general, flagged}) {
        CSparseMatrix warm = make(); // what is made once in a process is made here
        operation(warm);
        MKL_FreeBuffers();
        EXPECT_GE(refuseEachRequest(make, operation, allOf, expectFailureOfMemory), 1);
    }
}

TEST(CSparseAllocationFailures, OfNewMatricesLeaveNothingBehind)
{
    const CMatrix dense = general().ToDense();
    const CSparseMatrix source = general();
    const std::vector<std::pair<const char*, std::function<void()>>> makers{
        {"empty", [] { CSparseMatrix(); }},
        {"sizes", [] { CSparseMatrix(3, 4, 50, 2.0F); }},
        {"flagged", [] { CSparseMatrix(5, true); }},
        {"dense", [&] { CSparseMatrix made(dense); }},
        {"arrays", [] { general(); }},
        {"copy", [&] { CSparseMatrix made(source); }},
        {"clone", [&] { (void)source.CloneableClone(); }},
    };
    for (const auto& maker : makers) {
        SCOPED_TRACE(maker.first);
        const int requests = refuseEachRequest([] { return 0; }, [&](int) { maker.second(); },
                                               [](int n) { return n; }, expectFailureOfMemory);
        EXPECT_GE(requests, 3) << "the arrays";
    }
}

TEST(CSparseAllocationFailures, OfConversionsLeaveTheMatrix)
{
    sweep("ToDense", [](CSparseMatrix& A) { (void)A.ToDense(); });
    sweep("Data", [](CSparseMatrix& A) { (void)A.Data(); });
    sweep("GetObjectData", [](CSparseMatrix& A) { (void)ToArchive(A); });
    sweep("ToString", [](CSparseMatrix& A) { (void)A.ToString("G"); });
    sweep("Print", [](CSparseMatrix& A) {
        std::ostringstream out;
        A.Print(out);
    });
    sweep("there and back", [](CSparseMatrix& A) { (void)FromArchive<CSparseMatrix>(ToArchive(A)); });
}

TEST(CSparseAllocationFailures, OfNewContentsLeaveTheMatrix)
{
    const CSparseMatrix other(CMatrix{{1, kI, 0}, {0, {2, 3}, 4}});
    const std::vector<std::byte> form = other.Data();
    sweep("Data", [&](CSparseMatrix& A) { A.Data(form); });
    sweep("assignment", [&](CSparseMatrix& A) { A = other; });
    sweep("FillRandom", [](CSparseMatrix& A) { A.FillRandom(0.4); });
}

TEST(CSparseAllocationFailures, OfArithmeticLeaveTheOperands)
{
    const CSparseMatrix B = general();
    for (const TransposeMode mode : kAllModes) {
        sweep("A + i*op(B)", [&](CSparseMatrix& A) { (void)CSparseMatrix::Add(A, kI, mode, B); });
        sweep("op(A)*B", [&](CSparseMatrix& A) { (void)CSparseMatrix::Multiply(mode, A, B); });
    }
    sweep("i*A", [](CSparseMatrix& A) { (void)(kI * A); });
    sweep("A'", [](CSparseMatrix& A) { (void)A.Transpose(); });
    const CVector x{1, kI, 3, 4};
    const CMatrix D(4, 3);
    sweep("A*x", [&](CSparseMatrix& A) { (void)(A * x); });
    sweep("x*A", [&](CSparseMatrix& A) { (void)(x * A); });
    sweep("A*D", [&](CSparseMatrix& A) { (void)(A * D); });
}

// After a refused insertion the capacity tells what was tried; all else is as before, and the next attempt
// makes good for it.
TEST(CSparseAllocationFailures, OfResizedArraysLeaveTheMatrix)
{
    struct Edit {
        const char* name;
        std::function<void(CSparseMatrix&)> run;
        bool tellsCapacity;
    };
    const Edit edits[] = {
        {"more capacity", [](CSparseMatrix& A) { A.Capacity(1000); }, false},
        {"more rows", [](CSparseMatrix& A) { A.Rows(60); }, false},
        {"fewer rows", [](CSparseMatrix& A) { A.Rows(2); }, false},
        {"insertion", [](CSparseMatrix& A) { A(1, 3) = kI; }, true},
    };
    for (const Edit& edit : edits) {
        for (const auto make : {general, flagged}) {
            for (int k = 0; k < 4; ++k) {
                SCOPED_TRACE(::testing::Message() << edit.name << ", request " << k);
                CSparseMatrix A = make(), passed = make();
                A.Capacity(0);
                passed.Capacity(0);
                const auto before = allOf(A);
                const auto failed = [&] {
                    const FailingAllocator memory(k, Refused::One);
                    try {
                        edit.run(A);
                    } catch (const NotEnoughMemoryException&) {
                        return true;
                    }
                    return false;
                }();
                EXPECT_TRUE(failed || k > 0);
                if (!failed) continue;
                EXPECT_EQ(contentsOf(A), before.second);
                EXPECT_EQ(A.Capacity(), before.first + (edit.tellsCapacity ? 1 : 0));
                edit.run(passed);
                edit.run(A);
                EXPECT_EQ(allOf(A), allOf(passed));
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
