// The ten function-object types.

#include <lintrix/foundation/function_objects.h>

#include "tests/support/expect_failure.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

// Distinct arguments: a swapped pair shows.
template <class T>
T argument(int place)
{
    return static_cast<T>(place + 1);
}
template <>
Complex argument<Complex>(int place)
{
    return {place + 1.0, -place - 1.0};
}

template <class Function>
struct Shape;
template <class Result_, class... Args>
struct Shape<FunctionObject<Result_(Args...)>> {
    using Result = Result_;
    using Arguments = std::tuple<Args...>;

    static Arguments arguments()
    {
        auto place = [next = 0]() mutable { return next++; };
        return Arguments{argument<Args>(place())...};
    }
    static Result plain(Args...) { return argument<Result>(40); }
};

template <class Function>
class FunctionObjectTest : public ::testing::Test {
};

using AllTen =
    ::testing::Types<DoubleFunction1Dbl, DoubleFunction2Dbl, DoubleFunction1Dbl1Int, DoubleFunction1Dbl2Int,
                     DoubleFunction2Dbl2Int, ComplexFunction1Cmp, ComplexFunction2Cmp,
                     ComplexFunction1Cmp1Int, ComplexFunction1Cmp2Int, ComplexFunction2Cmp2Int>;
TYPED_TEST_SUITE(FunctionObjectTest, AllTen);

TYPED_TEST(FunctionObjectTest, PassesEachArgumentInItsPlace)
{
    using S = Shape<TypeParam>;
    typename S::Arguments seen;
    const TypeParam function = [&seen](auto... args) {
        seen = {args...};
        return argument<typename S::Result>(20);
    };
    EXPECT_EQ(std::apply([&](auto... args) { return function.Invoke(args...); }, S::arguments()),
              argument<typename S::Result>(20));
    EXPECT_EQ(seen, S::arguments());
    seen = {};
    EXPECT_EQ(std::apply(function, S::arguments()), argument<typename S::Result>(20));
    EXPECT_EQ(seen, S::arguments());
}

TYPED_TEST(FunctionObjectTest, IsBuiltFromAFunctionPointer)
{
    using S = Shape<TypeParam>;
    const TypeParam function = &S::plain;
    EXPECT_EQ(std::apply(function, S::arguments()), argument<typename S::Result>(40));
}

TYPED_TEST(FunctionObjectTest, CallOfANullFunctionIsANullReference)
{
    using S = Shape<TypeParam>;
    const TypeParam function = static_cast<decltype(&S::plain)>(nullptr);
    expectFailure<NullReferenceException>([&] { std::apply(function, S::arguments()); },
                                          "Object reference not set to an instance of an object.");
}

TYPED_TEST(FunctionObjectTest, FailureOfTheFunctionTravelsOut)
{
    using S = Shape<TypeParam>;
    const TypeParam function = [](auto...) -> typename S::Result { throw NotSupportedException("mine"); };
    expectFailure<NotSupportedException>([&] { std::apply(function, S::arguments()); }, "mine");
}

TYPED_TEST(FunctionObjectTest, CopyOutlivesItsSource)
{
    using S = Shape<TypeParam>;
    auto calls = std::make_shared<int>(0);
    auto source = std::make_unique<TypeParam>([calls](auto...) {
        ++*calls;
        return typename S::Result();
    });
    const TypeParam copy(*source);
    source.reset();
    std::apply(copy, S::arguments());
    EXPECT_EQ(*calls, 1);
}

TEST(FunctionObjects, RefuseCallablesOfAnotherShape)
{
    auto one = [](double x) { return x; };
    auto two = [](double x, double y) { return x + y; };
    auto text = [](double) { return std::string(); };
    static_assert(std::is_constructible_v<DoubleFunction1Dbl, decltype(one)>);
    static_assert(!std::is_constructible_v<DoubleFunction1Dbl, decltype(two)>);
    static_assert(!std::is_constructible_v<DoubleFunction1Dbl, decltype(text)>);
    static_assert(!std::is_constructible_v<DoubleFunction2Dbl, decltype(one)>);
    static_assert(!std::is_constructible_v<DoubleFunction1Dbl1Int, DoubleFunction2Dbl>);
    static_assert(std::is_same_v<Complex, std::complex<double>>);
}

TEST(FunctionObjects, KeepAStateOfTheirOwn)
{
    const DoubleFunction1Dbl counter = [n = 0](double x) mutable { return x + ++n; };
    const DoubleFunction1Dbl copy(counter);
    EXPECT_EQ(counter(10.0), 11.0);
    EXPECT_EQ(counter.Invoke(10.0), 12.0);
    EXPECT_EQ(copy(10.0), 11.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
