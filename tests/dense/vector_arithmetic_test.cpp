// Element-wise operations of Vector, and where they differ from those of Matrix.

#include "tests/dense/dense_support.h"

#include <cmath>
#include <functional>
#include <stdexcept>
#include <type_traits>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kSizeMismatch = "Vectors are not of the same size.";

// Element i of the result is f(i).
template <class Function>
Vector elementByElement(int length, Function f)
{
    Vector result(length);
    for (int i = 0; i < length; ++i) result(i) = f(i);
    return result;
}

// ---- the twelve operators

TEST(VectorArithmetic, OperatorsOnTwoVectorsAreElementWise)
{
    std::mt19937_64 generator(31);
    for (const int n : kLengths) {
        SCOPED_TRACE(n);
        const Vector x = randomVector(n, generator), y = randomVector(n, generator);
        EXPECT_EQ(bitsOf(x + y), bitsOf(elementByElement(n, [&](int i) { return x(i) + y(i); })));
        EXPECT_EQ(bitsOf(x - y), bitsOf(elementByElement(n, [&](int i) { return x(i) - y(i); })));
        EXPECT_EQ(bitsOf(x * y), bitsOf(elementByElement(n, [&](int i) { return x(i) * y(i); })));
        EXPECT_EQ(bitsOf(x / y), bitsOf(elementByElement(n, [&](int i) { return x(i) / y(i); })));
    }
}

TEST(VectorArithmetic, OperatorsWithAScalarOnEitherSideAreElementWise)
{
    std::mt19937_64 generator(32);
    for (const int n : kLengths) {
        SCOPED_TRACE(n);
        const Vector x = randomVector(n, generator);
        for (const double alpha : {3.7, -0.1, 0.0, 49.0}) {
            EXPECT_EQ(bitsOf(alpha + x), bitsOf(elementByElement(n, [&](int i) { return x(i) + alpha; })));
            EXPECT_EQ(bitsOf(x + alpha), bitsOf(elementByElement(n, [&](int i) { return x(i) + alpha; })));
            EXPECT_EQ(bitsOf(alpha - x), bitsOf(elementByElement(n, [&](int i) { return alpha - x(i); })));
            EXPECT_EQ(bitsOf(x - alpha), bitsOf(elementByElement(n, [&](int i) { return x(i) - alpha; })));
            EXPECT_EQ(bitsOf(alpha * x), bitsOf(elementByElement(n, [&](int i) { return x(i) * alpha; })));
            EXPECT_EQ(bitsOf(x * alpha), bitsOf(elementByElement(n, [&](int i) { return x(i) * alpha; })));
            EXPECT_EQ(bitsOf(alpha / x), bitsOf(elementByElement(n, [&](int i) { return alpha / x(i); })));
            EXPECT_EQ(bitsOf(x / alpha), bitsOf(elementByElement(n, [&](int i) { return x(i) / alpha; })));
        }
    }
}

TEST(VectorArithmetic, WholeNumbersServeAsScalars)
{
    const Vector x{2, 4};
    EXPECT_THAT(blockOf(1 + x), ElementsAre(3, 5));
    EXPECT_THAT(blockOf(x + 1), ElementsAre(3, 5));
    EXPECT_THAT(blockOf(1 - x), ElementsAre(-1, -3));
    EXPECT_THAT(blockOf(x - 1), ElementsAre(1, 3));
    EXPECT_THAT(blockOf(2 * x), ElementsAre(4, 8));
    EXPECT_THAT(blockOf(x * 2), ElementsAre(4, 8));
    EXPECT_THAT(blockOf(8 / x), ElementsAre(4, 2));
    EXPECT_THAT(blockOf(x / 2), ElementsAre(1, 2));
}

TEST(VectorArithmetic, ProductOfTwoIsElementWiseAndDotProductIsTheInnerOne)
{
    const Vector x{1, 2}, y{3, 4};
    EXPECT_THAT(blockOf(x * y), ElementsAre(3, 8));
    EXPECT_EQ(x.DotProduct(y), 11.0);
    EXPECT_EQ(Vector::DotProduct(x, y), 11.0);
}

TEST(VectorArithmetic, NamedFormsAreTheOperators)
{
    const Vector x{8, 6}, y{2, 3};
    EXPECT_THAT(blockOf(Vector::Add(x, 2.0)), ElementsAre(10, 8));
    EXPECT_THAT(blockOf(Vector::Add(x, y)), ElementsAre(10, 9));
    EXPECT_THAT(blockOf(Vector::Subtract(2.0, x)), ElementsAre(-6, -4));
    EXPECT_THAT(blockOf(Vector::Subtract(x, 2.0)), ElementsAre(6, 4));
    EXPECT_THAT(blockOf(Vector::Subtract(x, y)), ElementsAre(6, 3));
    EXPECT_THAT(blockOf(Vector::Multiply(x, 2.0)), ElementsAre(16, 12));
    EXPECT_THAT(blockOf(Vector::Multiply(x, y)), ElementsAre(16, 18));
    EXPECT_THAT(blockOf(Vector::Divide(24.0, x)), ElementsAre(3, 4));
    EXPECT_THAT(blockOf(Vector::Divide(x, 2.0)), ElementsAre(4, 3));
    EXPECT_THAT(blockOf(Vector::Divide(x, y)), ElementsAre(4, 2));
    EXPECT_THAT(blockOf(Vector::Add(x, {1, 1})), ElementsAre(9, 7));
}

template <class X>
concept HasUnaryPlus = requires(const X& x)
{
    +x;
};
template <class X>
concept HasUnaryMinus = requires(const X& x)
{
    -x;
};
template <class X>
concept AddsToAScalar = requires(const X& x)
{
    X::Add(2.0, x);
};
template <class X>
concept MultipliesAScalarByName = requires(const X& x)
{
    X::Multiply(2.0, x);
};
template <class X>
concept AddsAScalar = requires(const X& x)
{
    x + 2.0;
};

TEST(VectorArithmetic, FormsThatDoNotExistDoNotCompile)
{
    static_assert(HasUnaryPlus<Matrix> && HasUnaryMinus<Matrix>);
    static_assert(!HasUnaryPlus<Vector> && !HasUnaryMinus<Vector>);
    static_assert(!AddsToAScalar<Vector> && !MultipliesAScalarByName<Vector>);
    static_assert(!MultipliesAScalarByName<Matrix>);
    static_assert(AddsAScalar<Vector> && !AddsAScalar<Matrix>);
    SUCCEED();
}

TEST(VectorArithmetic, LengthsThatDifferAreRefusedBeforeTheBlockIsTaken)
{
    const Vector x = counted(3), y = counted(4), empty{std::vector<double>()};
    for (const Vector* other : {&y, &empty}) {
        const std::vector<std::function<Vector()>> operations{
            [&] { return x - *other; },
            [&] { return *other - x; },
            [&] { return x * *other; },
            [&] { return x / *other; },
            [&] { return Vector::Subtract(x, *other); },
            [&] { return Vector::Multiply(x, *other); },
            [&] { return Vector::Divide(x, *other); },
        };
        for (const auto& operation : operations) {
            expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, operation);
        }
    }
    EXPECT_TRUE(identical(x, counted(3)));
    EXPECT_TRUE(identical(y, counted(4)));
}

TEST(VectorArithmetic, SumOfDifferentLengthsIsRefusedAfterTheSecondWasCopied)
{
    const Vector x = counted(3), y = counted(4);
    expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { return x + y; });
    expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { return Vector::Add(x, y); });
    EXPECT_TRUE(identical(x, counted(3)));
    EXPECT_TRUE(identical(y, counted(4)));
    // Matrix compares the shapes first.
    const Matrix A = x, B = y;
    expectRefusedUnallocated<SizeMismatchException>("Matrix sizes do not match.", [&] { return A + B; });
}

TEST(VectorArithmetic, DivisionByZeroGivesInfinitiesAndNaNWhereMatrixRefuses)
{
    const Vector x{1, -2, 0};
    EXPECT_TRUE(identical(x / 0.0, {kInf, -kInf, kNaN}));
    EXPECT_TRUE(identical(Vector::Divide(x, 0.0), {kInf, -kInf, kNaN}));
    EXPECT_TRUE(identical(x / -0.0, {-kInf, kInf, kNaN}));
    EXPECT_TRUE(identical(2.0 / x, {2, -1, kInf}));
    EXPECT_TRUE(identical(x / x, {1, 1, kNaN}));
    EXPECT_THAT([&] { return x.ToMatrix() / 0.0; },
                ThrowsMessage<ArgumentException>("Division by zero error"));
}

TEST(VectorArithmetic, DivisionByAScalarDividesWhereMatrixMultipliesByTheReciprocal)
{
    const Vector x{49.0};
    EXPECT_EQ((x / 49.0)(0), 1.0);
    EXPECT_EQ((x.ToMatrix() / 49.0)(0, 0), 0.9999999999999999);
}

TEST(VectorArithmetic, ProductOfAZeroAndAnInfiniteElementIsNaN)
{
    EXPECT_TRUE(identical(Vector{kInf, 1, kNaN} * 0.0, {kNaN, 0, kNaN}));
    EXPECT_TRUE(identical(0.0 * Vector{kInf, 1, kNaN}, {kNaN, 0, kNaN}));
}

TEST(VectorArithmetic, AVectorMayStandOnBothSides)
{
    const Vector x{1, -2, 3};
    EXPECT_THAT(blockOf(x + x), ElementsAre(2, -4, 6));
    EXPECT_THAT(blockOf(x - x), ElementsAre(0, 0, 0));
    EXPECT_THAT(blockOf(x * x), ElementsAre(1, 4, 9));
    EXPECT_EQ(x.DotProduct(x), 14.0);
}

TEST(VectorArithmetic, ArraysMixInAsVectorsAndVectorsAsColumns)
{
    const Vector x{1, 2};
    const std::vector<double> array{10, 20};
    const Matrix A{{1, 2}, {3, 4}}, column{{100}, {200}};
    EXPECT_THAT(blockOf(x + array), ElementsAre(11, 22));
    EXPECT_THAT(blockOf(array - x), ElementsAre(9, 18));
    EXPECT_THAT(blockOf(A * array), ElementsAre(50, 110));
    EXPECT_THAT(blockOf(array * A), ElementsAre(70, 100));
    EXPECT_TRUE(identical(column + x, {{101}, {202}}));
    EXPECT_TRUE(identical(x + column, {{101}, {202}}));
    EXPECT_EQ(x.DotProduct({3, 4}), 11.0);
}

// ---- sum in place

TEST(VectorArithmetic, AddWithThreeArgumentsChangesYInPlace)
{
    std::mt19937_64 generator(33);
    for (const int n : kLengths) {
        SCOPED_TRACE(n);
        const Vector x = randomVector(n, generator), y0 = randomVector(n, generator);
        for (const double alpha : {1.0, -1.0, 0.5, 0.0}) { // powers of two: the product is exact
            Vector y = y0;
            const std::intptr_t address = y.DataPtr();
            expectAllocations(0, x, [&] { Vector::Add(alpha, x, y); });
            EXPECT_TRUE(identical(y, elementByElement(n, [&](int i) { return alpha * x(i) + y0(i); })));
            EXPECT_EQ(y.DataPtr(), address);
        }
        Vector y = y0;
        Vector::Add(3.7, x, y);
        for (int i = 0; i < n; ++i) {
            ASSERT_LE(std::abs(y(i) - (3.7 * x(i) + y0(i))),
                      2 * kEps * (3.7 * std::abs(x(i)) + std::abs(y0(i))));
        }
    }
}

TEST(VectorArithmetic, AddOfDifferentLengthsLeavesYUnchanged)
{
    const Vector x = counted(3);
    for (const int length : {2, 4}) {
        Vector y = counted(length);
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, [&] { Vector::Add(1.0, x, y); });
        EXPECT_TRUE(identical(y, counted(length)));
    }
}

// ---- functions of the caller

TEST(VectorArithmetic, EachFormOfApplyFunctionPassesItsArguments)
{
    const Vector x{1, 2, 3};
    EXPECT_THAT(blockOf(x.ApplyFunction(DoubleFunction1Dbl(twice))), ElementsAre(2, 4, 6));
    EXPECT_THAT(blockOf(x.ApplyFunction(DoubleFunction2Dbl(scaled), 0.5)), ElementsAre(0.5, 1, 1.5));
    EXPECT_THAT(blockOf(x.ApplyFunction(DoubleFunction1Dbl1Int(shifted), 7)), ElementsAre(8, 9, 10));
    EXPECT_THAT(blockOf(x.ApplyFunction(DoubleFunction1Dbl2Int(placed), 5)), ElementsAre(150, 251, 352));
    EXPECT_THAT(blockOf(x.ApplyFunction(DoubleFunction2Dbl2Int(placedAndScaled), 1000.0, 5)),
                ElementsAre(1050, 2051, 3052));
    EXPECT_TRUE(identical(x, {1, 2, 3}));
}

TEST(VectorArithmetic, OneIntegerFormPassesTheSameIntegerForEveryElement)
{
    std::vector<int> seen;
    counted(4).ApplyFunction(
        [&](double x, int index) {
            seen.push_back(index);
            return x;
        },
        7);
    EXPECT_THAT(seen, ElementsAre(7, 7, 7, 7));
}

TEST(VectorArithmetic, TwoIntegerFormsPassTheConstantAndThenTheIndexInOrder)
{
    std::vector<std::vector<int>> seen;
    const auto note = [&](double x, int index1, int index2) {
        seen.push_back({static_cast<int>(x), index1, index2});
        return x;
    };
    counted(3).ApplyFunction(note, 7);
    counted(2).ApplyFunction([&](double x, double y, int i, int j) { return note(x + y, i, j); }, 10.0, 8);
    EXPECT_THAT(seen, ElementsAre(ElementsAre(1, 7, 0), ElementsAre(2, 7, 1), ElementsAre(3, 7, 2),
                                  ElementsAre(11, 8, 0), ElementsAre(12, 8, 1)));
}

TEST(VectorArithmetic, ApplyFunctionTakesLambdasPointersAndOverloadedNames)
{
    const Vector x{1, 4, 9};
    EXPECT_THAT(blockOf(x.ApplyFunction(twice)), ElementsAre(2, 8, 18));
    EXPECT_THAT(blockOf(x.ApplyFunction([](double t) { return t - 1; })), ElementsAre(0, 3, 8));
    EXPECT_THAT(blockOf(x.ApplyFunction(std::sqrt)), ElementsAre(1, 2, 3));
    EXPECT_THAT(blockOf(x.ApplyFunction(std::fmax, 3.5)), ElementsAre(3.5, 4, 9));
    EXPECT_THAT(blockOf(x.ApplyFunction(std::ldexp, 2)), ElementsAre(4, 16, 36));
    EXPECT_THAT(blockOf(x.ApplyFunction(scaled, 2)), ElementsAre(2, 8, 18));
    EXPECT_THAT(blockOf(x.ApplyFunction(scaled, 0.5)), ElementsAre(0.5, 2, 4.5));
    EXPECT_THAT(blockOf(x.ApplyFunction(shifted, 2)), ElementsAre(3, 6, 11));
    EXPECT_THAT(blockOf(x.ApplyFunction(placed, 2)), ElementsAre(120, 421, 922));
    EXPECT_THAT(blockOf(x.ApplyFunction(placedAndScaled, 2, 3)), ElementsAre(32, 39, 50));
}

TEST(VectorArithmetic, IndexedFormsOfVectorAndMatrixPassDifferentIntegers)
{
    const Vector x{0, 0};
    EXPECT_THAT(blockOf(x.ApplyFunction(placed, 9)), ElementsAre(90, 91));       // constant, index
    EXPECT_THAT(blockOf(x.ToMatrix().ApplyFunction(placed)), ElementsAre(0, 1)); // column, row
}

// The copy stands from the start: what the function makes of the operand adds and drops no elements.
TEST(VectorArithmetic, ApplyFunctionGoesByTheCopyWhateverTheFunctionMakesOfTheOperand)
{
    for (const std::int32_t size : {1, 10000}) {
        SCOPED_TRACE(size);
        Vector x{1, 2, 3};
        const auto resizing = [&](double t) {
            x.Resize(size);
            return 2 * t;
        };
        EXPECT_THAT(blockOf(x.ApplyFunction(resizing)), ElementsAre(2, 4, 6));
    }
}

TEST(VectorArithmetic, FailureOfTheFunctionTravelsOutAndNothingIsLost)
{
    const Vector x = counted(5);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const auto failing = [](double t) {
        if (t > 3) throw std::domain_error("not here");
        return -t;
    };
    EXPECT_THAT([&] { x.ApplyFunction(failing); }, ThrowsMessage<std::domain_error>("not here"));
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_TRUE(identical(x, counted(5)));
    double (*const null)(double) = nullptr;
    EXPECT_THAT([&] { x.ApplyFunction(null); }, ThrowsMessage<NullReferenceException>(
                                                    "Object reference not set to an instance of an object."));
}

// ---- memory

TEST(VectorArithmetic, EachResultCostsOneBlockAndNoneLeaksWhenItIsRefused)
{
    const Vector x = counted(5);
    const std::vector<std::function<Vector()>> operations{
        [&] { return 2.0 + x; },
        [&] { return x + 2.0; },
        [&] { return x + x; },
        [&] { return 2.0 - x; },
        [&] { return x - 2.0; },
        [&] { return x - x; },
        [&] { return 2.0 * x; },
        [&] { return x * 2.0; },
        [&] { return x * x; },
        [&] { return 2.0 / x; },
        [&] { return x / 2.0; },
        [&] { return x / x; },
        [&] { return x.ApplyFunction(twice); },
        [&] { return x.ApplyFunction(placed, 1); },
    };
    for (const auto& operation : operations) expectAllocations(1, x, operation);
    expectAllocations(0, x, [&] { return x.DotProduct(x); });
}

} // namespace
} // namespace Velmar::Lintrix
