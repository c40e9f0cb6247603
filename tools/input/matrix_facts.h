#pragma once
// Facts of a matrix that need no dense copy of it.

#include <tools/input/sparse_rows.h>

#include <cstdint>
#include <string_view>

namespace Velmar::Lintrix::tools {

struct MatrixFacts {
    std::int64_t entries = 0;     ///< places with a stored entry
    std::int64_t storedZeros = 0; ///< of these, with the value 0
    std::int64_t diagonal = 0;    ///< of these, on the diagonal
    std::int32_t lowerBandwidth = 0, upperBandwidth = 0;
    bool symmetricPattern = false, symmetric = false, skewSymmetric = false;
    bool hermitian = false; ///< and not symmetric: complex
    double oneNorm = 0.0, infinityNorm = 0.0, frobeniusNorm = 0.0, largestMagnitude = 0.0;
    double smallestMagnitude = 0.0; ///< of the entries that are not zero; 0 if there is none
};

/// Of a matrix with both triangles stored. Cost: a few passes over the entries.
template <class Matrix>
MatrixFacts factsOf(const Matrix& matrix);

/// "symmetric", "hermitian", "skew-symmetric", "unsymmetric with a symmetric pattern", "unsymmetric" or
/// "rectangular".
std::string_view symmetryInWords(const MatrixFacts& facts, std::int32_t rows, std::int32_t cols);

} // namespace Velmar::Lintrix::tools
