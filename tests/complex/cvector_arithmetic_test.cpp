// Element-wise operations of CVector.

#include "tests/complex/complex_support.h"

#include <cmath>
#include <functional>
#include <stdexcept>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kDifferentLengths = "Vectors are not of the same size.";

template <class Function>
CVector elementByElement(const CVector& x, const CVector& y, Function f)
{
    std::vector<Complex> result;
    for (int i = 0; i < x.Length(); ++i) result.push_back(f(x[i], y[i]));
    return result;
}

Complex sum(Complex a, Complex b)
{
    return {a.real() + b.real(), a.imag() + b.imag()};
}
Complex difference(Complex a, Complex b)
{
    return {a.real() - b.real(), a.imag() - b.imag()};
}
// The platform's.
Complex quotient(Complex a, Complex b)
{
    return a / b;
}

// Every odd cell with every other, and random ones of lengths around the unrolling.
std::vector<std::pair<CVector, CVector>> operands()
{
    std::vector<Complex> left, right;
    for (const Complex& a : kOddCells) {
        for (const Complex& b : kOddCells) {
            left.push_back(a);
            right.push_back(b);
        }
    }
    std::vector<std::pair<CVector, CVector>> pairs{{left, right}};
    std::mt19937_64 generator(1);
    for (const int size : kLengths) {
        pairs.emplace_back(randomComplex(size, generator), randomComplex(size, generator));
    }
    return pairs;
}

TEST(CVectorArithmetic, OperatorsOnTwoVectorsAreElementWise)
{
    for (const auto& [x, y] : operands()) {
        SCOPED_TRACE(x.Length());
        EXPECT_TRUE(sameUpToNaN(x + y, elementByElement(x, y, sum)));
        EXPECT_TRUE(sameUpToNaN(x - y, elementByElement(x, y, difference)));
        EXPECT_TRUE(sameUpToNaN(x * y, elementByElement(x, y, plainProduct)));
        EXPECT_TRUE(sameUpToNaN(x / y, elementByElement(x, y, quotientOfRoutine)));
    }
}

TEST(CVectorArithmetic, OperatorsWithAScalarOnEitherSideAreElementWise)
{
    std::vector<Complex> scalars = kOddCells;
    scalars.insert(scalars.end(), {{0.1, -0.7}, {-3.0, 0.0}});
    for (const auto& [x, unused] : operands()) {
        for (const Complex& alpha : scalars) {
            SCOPED_TRACE(alpha);
            const CVector a(x.Length(), alpha);
            EXPECT_TRUE(sameUpToNaN(alpha + x, elementByElement(a, x, sum)));
            EXPECT_TRUE(sameUpToNaN(x + alpha, elementByElement(x, a, sum)));
            EXPECT_TRUE(sameUpToNaN(alpha - x, elementByElement(a, x, difference)));
            EXPECT_TRUE(sameUpToNaN(x - alpha, elementByElement(x, a, difference)));
            EXPECT_TRUE(sameUpToNaN(alpha * x, elementByElement(a, x, plainProduct)));
            EXPECT_TRUE(sameUpToNaN(x * alpha, elementByElement(x, a, plainProduct)));
            EXPECT_TRUE(sameUpToNaN(alpha / x, elementByElement(a, x, quotient)));
            EXPECT_TRUE(sameUpToNaN(x / alpha, elementByElement(x, a, quotientOfRoutine)));
        }
    }
}

TEST(CVectorArithmetic, DivisionOfAScalarIsThePlatformsAndTheOthersAreTheRoutines)
{
    const Complex one(1.0);
    const CVector zero(1), unit(1, one);
    EXPECT_TRUE(sameUpToNaN(one / zero, CVector(1, one / Complex())));
    EXPECT_TRUE(sameUpToNaN(unit / zero, CVector(1, quotientOfRoutine(one, 0.0))));
    EXPECT_TRUE(sameUpToNaN(unit / Complex(), CVector(1, quotientOfRoutine(one, 0.0))));
}

TEST(CVectorArithmetic, RealAndWholeNumbersServeAsScalars)
{
    const CVector x{1, {2, 4}};
    EXPECT_THAT(blockOf(x * 2), ElementsAre(Complex(2), Complex(4, 8)));
    EXPECT_THAT(blockOf(0.5 * x), ElementsAre(Complex(0.5), Complex(1, 2)));
    EXPECT_THAT(blockOf(1 + x), ElementsAre(Complex(2), Complex(3, 4)));
    EXPECT_THAT(blockOf(x - 1.0), ElementsAre(Complex(0), Complex(1, 4)));
    EXPECT_THAT(blockOf(x / 2), ElementsAre(Complex(0.5), Complex(1, 2)));
}

TEST(CVectorArithmetic, NamedFormsAreTheOperators)
{
    const CVector x = countedComplex(3), y{kI, 2, {3, -1}};
    const Complex alpha(2, -1);
    EXPECT_EQ(CVector::Add(x, alpha), x + alpha);
    EXPECT_EQ(CVector::Add(x, y), x + y);
    EXPECT_EQ(CVector::Subtract(alpha, x), alpha - x);
    EXPECT_EQ(CVector::Subtract(x, alpha), x - alpha);
    EXPECT_EQ(CVector::Subtract(x, y), x - y);
    EXPECT_EQ(CVector::Multiply(x, alpha), x * alpha);
    EXPECT_EQ(CVector::Multiply(x, y), x * y);
    EXPECT_EQ(CVector::Divide(alpha, x), alpha / x);
    EXPECT_EQ(CVector::Divide(x, alpha), x / alpha);
    EXPECT_EQ(CVector::Divide(x, y), x / y);
}

TEST(CVectorArithmetic, LengthsThatDifferAreRefusedBeforeAnythingIsAllocated)
{
    const CVector x = countedComplex(2), y = countedComplex(3);
    const std::vector<std::function<CVector()>> operations{
        [&] { return x + y; },
        [&] { return x - y; },
        [&] { return x * y; },
        [&] { return x / y; },
        [&] { return y + x; },
        [&] { return CVector::Add(x, y); },
        [&] { return CVector::Subtract(x, y); },
        [&] { return CVector::Multiply(x, y); },
        [&] { return CVector::Divide(x, y); },
    };
    for (const auto& operation : operations) {
        expectRefusedUnallocated<SizeMismatchException>(kDifferentLengths, operation);
    }
    CVector target = y;
    expectRefusedUnallocated<SizeMismatchException>(kDifferentLengths, [&] { CVector::Add(kI, x, target); });
    EXPECT_EQ(target, y);
}

TEST(CVectorArithmetic, AVectorMayStandOnBothSides)
{
    const CVector x{{1, 2}, {-3, 0.5}};
    EXPECT_THAT(blockOf(x + x), ElementsAre(Complex(2, 4), Complex(-6, 1)));
    EXPECT_THAT(blockOf(x - x), ElementsAre(Complex(), Complex()));
    EXPECT_THAT(blockOf(x * x), ElementsAre(Complex(-3, 4), Complex(8.75, -3)));
    for (const Complex& one : blockOf(x / x)) EXPECT_LT(std::abs(one - 1.0), 4 * kEps);
}

TEST(CVectorArithmetic, AddWithThreeArgumentsChangesYInPlace)
{
    std::mt19937_64 generator(2);
    for (const int size : kLengths) {
        const CVector x = randomComplex(size, generator), y0 = randomComplex(size, generator);
        for (const Complex& alpha : {Complex(1), Complex(0, 1), Complex(-0.5, 2.25), Complex()}) {
            CVector y = y0;
            const std::intptr_t address = y.DataPtr();
            const FailingAllocator allocator(0);
            CVector::Add(alpha, x, y);
            EXPECT_FALSE(allocator.hasFailed());
            EXPECT_EQ(y.DataPtr(), address);
            for (int i = 0; i < size; ++i) {
                const Wide expected = Wide(alpha) * Wide(x[i]) + Wide(y0[i]);
                const long double scale =
                    std::abs(Wide(alpha)) * std::abs(Wide(x[i])) + std::abs(Wide(y0[i]));
                EXPECT_LT(std::abs(Wide(y[i]) - expected), 4 * scale * kEps);
            }
        }
    }
}

// ---- functions

Complex placed(Complex x, int index1, int index2)
{
    return 100.0 * x + 10.0 * index1 + static_cast<double>(index2);
}

TEST(CVectorArithmetic, EachFormOfApplyFunctionPassesItsArguments)
{
    const CVector x{{1, 1}, {2, -1}};
    EXPECT_THAT(blockOf(x.ApplyFunction([](Complex z) { return kI * z; })),
                ElementsAre(Complex(-1, 1), Complex(1, 2)));
    EXPECT_THAT(blockOf(x.ApplyFunction([](Complex z, Complex w) { return z + w; }, kI)),
                ElementsAre(Complex(1, 2), Complex(2, 0)));
    // the constant, not the index
    const ComplexFunction1Cmp1Int shifted = [](Complex z, int k) { return z + static_cast<double>(k); };
    EXPECT_THAT(blockOf(x.ApplyFunction(shifted, 5)), ElementsAre(Complex(6, 1), Complex(7, -1)));
    EXPECT_THAT(blockOf(x.ApplyFunction(placed, 7)), ElementsAre(Complex(170, 100), Complex(271, -100)));
    const auto scaled = [](Complex z, Complex w, int k, int i) {
        return z * w + 10.0 * k + static_cast<double>(i);
    };
    EXPECT_THAT(blockOf(x.ApplyFunction(scaled, Complex(2), 3)),
                ElementsAre(Complex(32, 2), Complex(35, -2)));
}

TEST(CVectorArithmetic, ApplyFunctionTakesOverloadedNamesAndGoesInOrder)
{
    const CVector x{{0, 0}, {1, 0}};
    EXPECT_THAT(blockOf(x.ApplyFunction(static_cast<Complex (*)(const Complex&)>(std::exp<double>))),
                ElementsAre(Complex(1), std::exp(Complex(1))));
    std::vector<Complex> seen;
    countedComplex(4).ApplyFunction([&](Complex z) {
        seen.push_back(z);
        return z;
    });
    EXPECT_EQ(seen, countedCells(4));
}

TEST(CVectorArithmetic, ApplyFunctionGoesByTheCopyAndAFailureTravelsOut)
{
    CVector x = countedComplex(3);
    const CVector result = x.ApplyFunction([&](Complex z) {
        x.Clear();
        return 2.0 * z;
    });
    EXPECT_EQ(result, countedComplex(3) * 2.0);
    x = countedComplex(3);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    EXPECT_THROW(x.ApplyFunction([](Complex) -> Complex { throw std::domain_error("no"); }),
                 std::domain_error);
    EXPECT_THROW(x.ApplyFunction(ComplexFunction1Cmp(static_cast<Complex (*)(Complex)>(nullptr))),
                 NullReferenceException);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(x, countedComplex(3));
}

// ---- memory

TEST(CVectorArithmetic, EachResultCostsOneBlockAndNoneLeaksWhenItIsRefused)
{
    const CVector x = countedComplex(5);
    const std::vector<std::function<CVector()>> operations{
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
        [&] { return x.ApplyFunction([](Complex z) { return z; }); },
        [&] { return x.ApplyFunction(placed, 1); },
    };
    for (const auto& operation : operations) expectAllocations(1, x, operation);
    expectAllocations(0, x, [&] { x.DotProduct(x); });
    expectAllocations(0, x, [&] { x.Sum(); });
    expectAllocations(0, x, [&] { x.Norm(); });
    expectAllocations(0, x, [&] { x.AbsSum(); });
}

// The mean of equal elements need not be one of them: what is left then is stretched to length 1.
TEST(CVectorArithmetic, MeanOfZScoresIsTheQuotientOfTheRoutine)
{
    for (const int count : {3, 7, 49, 98}) {
        const Complex element(1, 3);
        CVector x(count, element);
        x.Normalize(NormalizeMode::ZScores);
        const Complex left = element - quotientOfRoutine(element * double(count), count);
        const Complex expected = left == 0.0 ? left : left / (std::abs(left) * std::sqrt(count));
        for (const Complex& cell : blockOf(x)) EXPECT_LE(std::abs(cell - expected), 8 * kEps) << count;
    }
}

} // namespace
} // namespace Velmar::Lintrix
