#pragma once
/// @file
/// Elements of a matrix that nothing can be solved with.

#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>

#include <cstdint>
#include <string>

namespace Velmar::Lintrix::detail {

/// NaN, infinities.
struct NonFinite {
    std::int64_t count = 0;
    std::int32_t row = 0, col = 0; ///< of the first one in the order of storage, from 0
};

/// Cost: one pass over the elements.
template <class Cell>
LINTRIX_TESTABLE NonFinite nonFiniteElements(const AnyMatrix<Cell>& A);

/// For people: "The element in row 3, column 17 is not a finite number, and 4 others are none." Rows and
/// columns are counted from `firstIndex`.
/// @pre there is one
LINTRIX_TESTABLE std::string explain(const NonFinite& elements, std::int32_t firstIndex = 0);

} // namespace Velmar::Lintrix::detail
