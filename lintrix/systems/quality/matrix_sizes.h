#pragma once
/// @file
/// What a single reading of A tells of the sizes of its elements.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/quality/backward_error.h>

#include <optional>

namespace Velmar::Lintrix::detail {

/// Of positive numbers; 0 and 0 of none.
struct Spread {
    double least = 0.0, most = 0.0;
};

struct MatrixSizes {
    RowSizes ofRows{};                   ///< of A
    std::optional<RowSizes> ofColumns{}; ///< those of its transpose, where A is not one triangle of itself
    /// Of the largest finite elements of rows and of columns, those that are 0 left out.
    Spread largestOfRows{}, largestOfColumns{};

    /// Of the rows of op(A), which are those of `rowSizesOf`.
    const RowSizes& of(TransposeMode op) const noexcept
    {
        return op == TransposeMode::NotTransposed || !ofColumns ? ofRows : *ofColumns;
    }
};

/// Cost: a pass over the elements, by one thread.
template <class Cell>
LINTRIX_TESTABLE MatrixSizes sizesOf(const AnyMatrix<Cell>& A);

} // namespace Velmar::Lintrix::detail
