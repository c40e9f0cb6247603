#pragma once
/// @file
/// What the tests of the numeric phases share: elements of a type, and a look at the handle.

#include "tests/engine/engine_call.h"

#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/factorization/factor_plan.h>

#include <cstring>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

/// The same matrix in the element of the type: pairs with an imaginary part of 0 where that is complex.
inline Rows inElementsOf(int mtype, Rows A)
{
    if (!detail::engine::isComplex(mtype)) return A;
    std::vector<double> pairs;
    for (const double a : A.a) {
        pairs.push_back(a);
        pairs.push_back(0.);
    }
    A.a = std::move(pairs);
    return A;
}

/// The same numbers in single precision, in the first half of the room.
inline void toSingle(std::vector<double>& values)
{
    const std::vector<float> single(values.begin(), values.end());
    std::memcpy(values.data(), single.data(), single.size() * sizeof(float));
}

inline bool hasFactor(EngineCall& call, bool single = false)
{
    using namespace detail::engine;
    return holdsFactor(Handle(call.pt.data()), call.mnum, elementKind(call.mtype, single));
}

} // namespace Velmar::Lintrix::testing
