#pragma once
/// @file
/// Normalization of complex vectors, columns and rows, in place.

#include <lintrix/dense/detail/line.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/function_objects.h>

namespace Velmar::Lintrix::detail {

/// `MaximumOne`: divided by the part of largest magnitude, with its sign, unless that is 0. `UnitLength`:
/// divided by the root of the sum of squares, unconjugated, unless that is 0. `ZScores`: centred, then
/// divided by the Euclidean norm unless that is 0. Other modes do nothing, nor is there anything to do
/// without cells.
///
/// Of several parts of the largest magnitude, a column, whose cells lie next to each other, takes the first;
/// a row takes the first real one, and an imaginary one only if that is larger than all real ones.
void normalizeColumn(const Line<Complex>& x, NormalizeMode mode);
void normalizeRow(const Line<Complex>& x, NormalizeMode mode);

} // namespace Velmar::Lintrix::detail
