#pragma once
/// @file
/// op(X) of a sparse operand as the kernels take it.

#include <lintrix/foundation/enumerations.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// The letter, and the sizes of op(X).
struct Operand {
    char letter;
    std::int32_t rows, cols;
};

/// A size that nothing has, since not even its row pointers could be allocated.
inline constexpr std::int32_t kNoSize = INT32_MIN;

/// A mode outside the enumeration has no sizes, so that the size check of the operation ends it: callers are
/// told a wrong mode by that failure.
template <class Sparse>
Operand operandOf(TransposeMode mode, const Sparse& X)
{
    switch (mode) {
    case TransposeMode::NotTransposed:
        return {'N', X.Rows(), X.Cols()};
    case TransposeMode::Transposed:
        return {'T', X.Cols(), X.Rows()};
    case TransposeMode::ConjugateTransposed:
        return {'C', X.Cols(), X.Rows()};
    }
    return {'N', kNoSize, kNoSize};
}

} // namespace Velmar::Lintrix::detail
