// Views and printing of the dense classes under a memory that refuses each of its requests in turn, those of
// blocks as those of strings: the objects stay as they were, and nothing is left behind.

#include "tests/dense/dense_twins.h"
#include "tests/support/refused_memory.h"

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/views.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

/// What a refused request may end in: the block's own failure, and that of strings.
void expectFailureOfMemory()
{
    try {
        throw;
    } catch (const NotEnoughMemoryException& e) {
        EXPECT_STREQ(e.what(), "There is not enough memory to continue the execution.");
    } catch (const std::bad_alloc&) {
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
    }
}

template <class Dense>
auto cellsOf(const Dense& object)
{
    return std::vector(object.begin(), object.end());
}

/// 1, 2, 3, ... in the order of the block, times the twin's unit.
template <class Twin, class Dense>
void count(Dense& object)
{
    double next = 0.0;
    for (auto& cell : object) cell = Twin::cell(++next);
}

template <class Twin>
class DenseAllocationFailures : public ::testing::Test {
protected:
    static typename Twin::M matrix()
    {
        typename Twin::M A(4, 4);
        count<Twin>(A);
        return A;
    }
    static typename Twin::V vector()
    {
        typename Twin::V x(6);
        count<Twin>(x);
        return x;
    }
    /// `operation` on a fresh object of `make`, which asks for memory `least` times or more.
    template <class Make>
    static void sweep(const char* name, Make make, const std::function<void(decltype(make())&)>& operation,
                      int least = 1)
    {
        SCOPED_TRACE(name);
        auto warm = make(); // what is made once in a process is made here
        operation(warm);
        using Object = decltype(make());
        EXPECT_GE(refuseEachRequest(make, operation, cellsOf<Object>, expectFailureOfMemory), least);
    }
};
using Twins = ::testing::Types<Real, ComplexCells>;
TYPED_TEST_SUITE(DenseAllocationFailures, Twins);

TYPED_TEST(DenseAllocationFailures, OfCopiesOfViewsLeaveTheObject)
{
    using M = typename TypeParam::M;
    using V = typename TypeParam::V;
    this->sweep("block", this->matrix, [](M& A) { (void)M(A.View(1, 0, 2, 3)); });
    this->sweep("whole matrix", this->matrix, [](M& A) { (void)A.View().ToMatrix(); });
    this->sweep("row", this->matrix, [](M& A) { (void)V(A.RowView(2)); });
    this->sweep("diagonal", this->matrix, [](M& A) { (void)A.DiagonalView().ToVector(); });
    this->sweep("part of a vector", this->vector, [](V& x) { (void)x.View(0, 3, 2).ToVector(); });
}

// The cells that are read are those before the change, and so they are copied where they overlap.
TYPED_TEST(DenseAllocationFailures, OfOverlappingAssignmentsLeaveTheObject)
{
    using M = typename TypeParam::M;
    using V = typename TypeParam::V;
    this->sweep("takes", this->matrix, [](M& A) { A.View(1, 1, 3, 3) = A.View(0, 0, 3, 3); });
    this->sweep("plus", this->matrix, [](M& A) { A.View(0, 0, 3, 3) += A.View(1, 1, 3, 3); });
    this->sweep("minus", this->matrix, [](M& A) { A.View(0, 1, 4, 3) -= A.View(0, 0, 4, 3); });
    this->sweep("row and column", this->matrix, [](M& A) { A.RowView(0) = A.ColView(0); });
    this->sweep("row plus diagonal", this->matrix, [](M& A) { A.RowView(1) += A.DiagonalView(); });
    this->sweep("strides", this->vector, [](V& x) { x.View(0, 3, 2) -= x.View(0, 3); });
    this->sweep("move by one", this->vector, [](V& x) { x.View(1, 5) = x.View(0, 5); });
}

TYPED_TEST(DenseAllocationFailures, OfCompoundAssignmentLeaveTheObject)
{
    using M = typename TypeParam::M;
    using V = typename TypeParam::V;
    const M B = this->matrix();
    this->sweep("product", this->matrix, [&](M& A) { A *= B; });
    this->sweep("square", this->matrix, [](M& A) { A *= A; });
    this->sweep("a view's matrix", this->matrix, [](M& A) { A = A.View(1, 1, 2, 2).ToMatrix(); });
    this->sweep("a view's vector", this->vector, [](V& x) { x = x.View(2, 3).ToVector(); });
}

// A matrix that fills the memory can still be worked on where it stands. Two rows of one matrix do not count:
// they interleave, and so one is copied.
TYPED_TEST(DenseAllocationFailures, WorkInPlaceAsksForNoMemory)
{
    using Cell = typename TypeParam::Cell;
    auto A = this->matrix(), B = this->matrix();
    auto x = this->vector();
    if constexpr (detail::kHardened) return; // which enters in its book each block that is looked into
    const FailingAllocator memory(0);
    A.View(0, 0, 4, 2) = B.View(0, 2, 4, 2);
    A.View() += B;
    A.RowView(1) -= B.RowView(2);
    A.ColView(3).Fill(Cell(2.0));
    A.DiagonalView() *= TypeParam::cell(0.5);
    A.View() /= TypeParam::cell(3.0);
    A += B;
    A -= B;
    A *= Cell(2.0);
    A /= Cell(4.0);
    x += x;
    x.View(0, 3) -= x.View(3, 3);
    for (Cell& cell : A.RowView(3)) cell += 1.0;
    EXPECT_FALSE(memory.hasFailed());
}

/// The failure, or that there is no memory for its text.
template <class Failure, class Operation>
void isRefused(Operation operation)
{
    try {
        operation();
        ADD_FAILURE() << "passed";
    } catch (const Failure&) {
    }
}

TYPED_TEST(DenseAllocationFailures, OfTheTextOfAFaultLeaveTheObject)
{
    using M = typename TypeParam::M;
    using V = typename TypeParam::V;
    using Outside = IndexOutOfBoundsException;
    this->sweep("row", this->matrix, [](M& A) { isRefused<Outside>([&] { A.RowView(5); }); });
    this->sweep("block", this->matrix, [](M& A) { isRefused<Outside>([&] { A.View(2, 3, 2, 2); }); });
    this->sweep("element", this->vector, [](V& x) { isRefused<Outside>([&] { x.View()(6) = 1.0; }); });
    this->sweep("sizes", this->matrix, [](M& A) {
        isRefused<SizeMismatchException>([&] { A.View(0, 0, 2, 3) = A.View(0, 0, 3, 2); });
    });
    this->sweep("lengths", this->vector,
                [](V& x) { isRefused<SizeMismatchException>([&] { x.View(0, 2) += x.View(0, 3); }); });
}

/// All of the text, or a stream that tells of the failure.
template <class Dense>
void printWhole(const Dense& object, const std::string& expected)
{
    std::ostringstream out;
    object.Print(out, 17);
    EXPECT_TRUE(out.fail() || out.view() == expected);
}

template <class Dense>
std::string printed(const Dense& object)
{
    std::ostringstream out;
    object.Print(out, 17);
    return out.str();
}

TYPED_TEST(DenseAllocationFailures, OfPrintingLeaveTheObjectAndNoHalfText)
{
    using M = typename TypeParam::M;
    using V = typename TypeParam::V;
    const std::string table = printed(this->matrix()), line = printed(this->vector());
    this->sweep(
        "matrix", this->matrix, [&](M& A) { printWhole(A, table); }, 3);
    this->sweep(
        "vector", this->vector, [&](V& x) { printWhole(x, line); }, 3);
    this->sweep("stream that throws", this->matrix, [&](M& A) {
        std::ostringstream out;
        out.exceptions(std::ios::badbit);
        A.Print(out);
    });
}

} // namespace
} // namespace Velmar::Lintrix::testing
