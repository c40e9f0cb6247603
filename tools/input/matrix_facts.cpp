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
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const auto& value) {
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
    forEachEntry(matrix, [&facts](std::int32_t row, std::int32_t col, const auto& value) {
        facts.storedZeros += value == 0.0 ? 1 : 0;
        facts.diagonal += row == col ? 1 : 0;
        facts.lowerBandwidth = std::max(facts.lowerBandwidth, row - col);
        facts.upperBandwidth = std::max(facts.upperBandwidth, col - row);
    });
    findNorms(matrix, facts);
    if (matrix.Rows() == matrix.Cols()) {
        const Symmetry found = symmetryOf(matrix);
        facts.symmetricPattern = found.pattern;
        facts.symmetric = found.values;
        facts.skewSymmetric = found.opposite;
        facts.hermitian = found.conjugated && !found.values;
    }
    return facts;
}

/// Compares each entry with the one at the mirrored place. Entries are visited row by row, so those of column
/// r ask for the entries of row r one after another: a cursor a row finds them without a search.
template <class Matrix>
Symmetry symmetryOf(const Matrix& matrix)
{
    const auto starts = matrix.RowPointers(), cols = matrix.ColumnIndices();
    const auto values = matrix.Values();
    std::vector<std::int32_t> cursor(starts.begin(),
                                     starts.end() - 1); // one-based slots, as the row pointers
    bool pattern = true, same = true, opposite = true, conjugated = true;
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const auto& value) {
        const auto mirrorRow = static_cast<std::size_t>(col);
        const auto k = static_cast<std::size_t>(cursor[mirrorRow]++ - 1);
        pattern = pattern && k + 1 < static_cast<std::size_t>(starts[mirrorRow + 1]) && cols[k] - 1 == row;
        same = same && pattern && values[k] == value;
        opposite = opposite && pattern && values[k] == -value;
        conjugated = conjugated && pattern && values[k] == conjugate(value);
    });
    return {pattern, same, !same && opposite, conjugated};
}

template MatrixFacts factsOf(const SparseMatrix&);
template MatrixFacts factsOf(const CSparseMatrix&);
template Symmetry symmetryOf(const SparseMatrix&);
template Symmetry symmetryOf(const CSparseMatrix&);

std::string_view symmetryInWords(const MatrixFacts& facts, std::int32_t rows, std::int32_t cols)
{
    if (rows != cols) return "rectangular";
    if (facts.symmetric) return "symmetric";
    if (facts.hermitian) return "hermitian";
    if (facts.skewSymmetric) return "skew-symmetric";
    return facts.symmetricPattern ? "unsymmetric with a symmetric pattern" : "unsymmetric";
}

} // namespace Velmar::Lintrix::tools
