#pragma once
// Facts of a matrix that need no dense copy of it.

#include <tools/matrix_market.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

/// The entries of the whole matrix, mirrored ones included, column by column and downwards within a column,
/// one for each place: what the file gives several times is added up.
std::vector<Coordinate> mergedEntries(const MatrixMarket& file);

struct MatrixFacts {
    std::int64_t entries = 0;     ///< places with a stored entry
    std::int64_t storedZeros = 0; ///< of these, with the value 0
    std::int64_t diagonal = 0;    ///< of these, on the diagonal
    std::int32_t lowerBandwidth = 0, upperBandwidth = 0;
    bool symmetricPattern = false, symmetric = false, skewSymmetric = false;
    double oneNorm = 0.0, infinityNorm = 0.0, frobeniusNorm = 0.0, largestMagnitude = 0.0;
    double smallestMagnitude = 0.0; ///< of the entries that are not zero; 0 if there is none
};

/// `entries` as mergedEntries gives them. Cost: a sort of the entries and a few passes.
MatrixFacts factsOf(const std::vector<Coordinate>& entries, std::int32_t rows, std::int32_t cols);

/// "symmetric", "skew-symmetric", "unsymmetric with a symmetric pattern", "unsymmetric" or "rectangular".
std::string_view symmetryInWords(const MatrixFacts& facts, std::int32_t rows, std::int32_t cols);

} // namespace Velmar::Lintrix::tools
