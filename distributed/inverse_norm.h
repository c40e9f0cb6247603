#pragma once
/// @file
/// ||A^-1||_1 of a matrix whose factor is distributed, estimated from below by a few solves.

#include <distributed/direct_engine.h>

namespace Velmar::Lintrix::Distributed {

/// Hager's method with Higham's second vector: Higham, Accuracy and Stability of Numerical Algorithms, 2nd
/// ed., algorithm 15.1. At most five solves with A and four with A^H. The same on every rank.
template <class Cell>
double inverseOneNorm(const Agreement& all, std::int32_t size, DirectEngine<Cell>& factor);

} // namespace Velmar::Lintrix::Distributed
