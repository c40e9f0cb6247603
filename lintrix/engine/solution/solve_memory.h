#pragma once
/// @file
/// What a solve will take beside the factor.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/factorization/numeric_factorization.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// The most kilobytes that a solve holds in pt[9], pt[10] and pt[15], with the call's right-hand sides (one
/// at least), threads and parameters. Where the method may perturb pivots, some are taken to have been, after
/// which a solution is refined unasked.
/// @return  outOfMemory(Transient)
template <class T>
Failure forecastSolve(const Arguments& call, Handle handle, const FactorPlan& plan, std::int64_t& kilobytes);

} // namespace Velmar::Lintrix::detail::engine
