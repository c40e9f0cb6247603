#include <tools/input/matrix_facts.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

/// sqrt(sum |x|^2), scaled by the largest so that no square overflows.
template <class Cell>
double frobenius(std::span<const Cell> values, double largest)
{
    if (largest == 0.0 || !std::isfinite(largest)) return largest;
    double sum = 0.0;
    for (const Cell value : values) {
        const double scaled = std::abs(value) / largest;
        sum += scaled * scaled;
    }
    return largest * std::sqrt(sum);
}

template <class Matrix>
void findNorms(const Matrix& matrix, MatrixFacts& facts)
{
    std::vector<double> rowSums(static_cast<std::size_t>(matrix.Rows()));
    std::vector<double> colSums(static_cast<std::size_t>(matrix.Cols()));
    ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const auto& value) {
        const double size = std::abs(value);
        rowSums[static_cast<std::size_t>(row)] += size;
        colSums[static_cast<std::size_t>(col)] += size;
        facts.largestMagnitude = std::max(facts.largestMagnitude, size);
        if (size != 0.0 && (facts.smallestMagnitude == 0.0 || size < facts.smallestMagnitude)) {
            facts.smallestMagnitude = size;
        }
    });
    facts.infinityNorm = *std::ranges::max_element(rowSums);
    facts.oneNorm = *std::ranges::max_element(colSums);
    facts.frobeniusNorm = frobenius(matrix.Values(), facts.largestMagnitude);
}

} // namespace

template <class Matrix>
MatrixFacts factsOf(const Matrix& matrix)
{
    MatrixFacts facts;
    facts.entries = matrix.NumElements();
    ForEachEntry(matrix, [&facts](std::int32_t row, std::int32_t col, const auto& value) {
        facts.storedZeros += value == 0.0 ? 1 : 0;
        facts.diagonal += row == col ? 1 : 0;
        facts.lowerBandwidth = std::max(facts.lowerBandwidth, row - col);
        facts.upperBandwidth = std::max(facts.upperBandwidth, col - row);
    });
    findNorms(matrix, facts);
    if (matrix.Rows() == matrix.Cols()) {
        const MatrixSymmetry found = SymmetryOf(matrix);
        facts.symmetricPattern = found.pattern;
        facts.symmetric = found.values;
        facts.skewSymmetric = found.opposite;
        facts.hermitian = found.conjugated && !found.values;
    }
    return facts;
}

template MatrixFacts factsOf(const SparseMatrix&);
template MatrixFacts factsOf(const CSparseMatrix&);

std::string_view symmetryInWords(const MatrixFacts& facts, std::int32_t rows, std::int32_t cols)
{
    if (rows != cols) return "rectangular";
    if (facts.symmetric) return "symmetric";
    if (facts.hermitian) return "hermitian";
    if (facts.skewSymmetric) return "skew-symmetric";
    return facts.symmetricPattern ? "unsymmetric with a symmetric pattern" : "unsymmetric";
}

} // namespace Velmar::Lintrix::tools
