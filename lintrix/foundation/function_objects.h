#pragma once
/// @file
/// The function-object types that the element-wise operations accept: five real and five complex ones, each a
/// callable value built from any callable of its shape.

#include <lintrix/foundation/failures.h>

#include <complex>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {

/// The host's complex type, on every public surface.
using Complex = std::complex<double>;

template <class Signature>
class FunctionObject;

namespace detail {
template <class T>
inline constexpr bool isFunctionObject = false;
template <class Signature>
inline constexpr bool isFunctionObject<FunctionObject<Signature>> = true;
} // namespace detail

/// A callable value: copyable, called through `Invoke` or `operator()`.
template <class Result, class... Args>
class FunctionObject<Result(Args...)> {
public:
    /// Any callable of this shape: a lambda, a function pointer, a function object.
    template <class Callable>
    requires(!detail::isFunctionObject<std::remove_cvref_t<Callable>> &&
             std::is_invocable_r_v<Result, Callable&, Args...>) FunctionObject(Callable&& callable)
        : callable_(std::forward<Callable>(callable))
    {
    }

    /// A plain function; also picks the matching one of an overloaded name, such as `std::sin`.
    FunctionObject(Result (*function)(Args...)) : callable_(function) {}

    /// @throws NullReferenceException  built from a null function
    Result Invoke(Args... args) const
    {
        if (!callable_) throw NullReferenceException();
        return callable_(args...);
    }
    /// As `Invoke`.
    Result operator()(Args... args) const { return Invoke(args...); }

private:
    std::function<Result(Args...)> callable_;
};

/// f(value), real
using DoubleFunction1Dbl = FunctionObject<double(double value)>;
/// f(value1, value2), real
using DoubleFunction2Dbl = FunctionObject<double(double value1, double value2)>;
/// f(value, index), real
using DoubleFunction1Dbl1Int = FunctionObject<double(double value, std::int32_t index)>;
/// f(value, index1, index2), real
using DoubleFunction1Dbl2Int = FunctionObject<double(double value, std::int32_t index1, std::int32_t index2)>;
/// f(value1, value2, index1, index2), real
using DoubleFunction2Dbl2Int =
    FunctionObject<double(double value1, double value2, std::int32_t index1, std::int32_t index2)>;

/// f(value), complex
using ComplexFunction1Cmp = FunctionObject<Complex(Complex value)>;
/// f(value1, value2), complex
using ComplexFunction2Cmp = FunctionObject<Complex(Complex value1, Complex value2)>;
/// f(value, index), complex
using ComplexFunction1Cmp1Int = FunctionObject<Complex(Complex value, std::int32_t index)>;
/// f(value, index1, index2), complex
using ComplexFunction1Cmp2Int =
    FunctionObject<Complex(Complex value, std::int32_t index1, std::int32_t index2)>;
/// f(value1, value2, index1, index2), complex
using ComplexFunction2Cmp2Int =
    FunctionObject<Complex(Complex value1, Complex value2, std::int32_t index1, std::int32_t index2)>;

} // namespace Velmar::Lintrix
