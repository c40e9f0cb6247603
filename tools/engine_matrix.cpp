#include <tools/engine_matrix.h>

#include <tools/input_error.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::tools {

namespace {

bool isSymmetric(int mtype)
{
    return mtype % 2 == 0;
}

std::vector<double> diagonalOf(const SparseMatrix& matrix)
{
    std::vector<double> diagonal(static_cast<std::size_t>(matrix.Rows()));
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, double value) {
        if (row == col) diagonal[static_cast<std::size_t>(row)] = value;
    });
    return diagonal;
}

/// Every 2 x 2 minor on the diagonal is positive: what a positive definite matrix must have, and cheap to
/// see.
bool mayBeDefinite(const SparseMatrix& matrix, const std::vector<double>& diagonal)
{
    if (std::ranges::any_of(diagonal, [](double value) { return !(value > 0.0); })) return false;
    bool positive = true;
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, double value) {
        const double ratio = value / diagonal[static_cast<std::size_t>(row)] * value; // may underflow to 0
        positive = positive && (row == col || ratio < diagonal[static_cast<std::size_t>(col)]);
    });
    return positive;
}

} // namespace

int typeOf(const SparseMatrix& matrix, const MatrixFacts& facts)
{
    const std::vector<double> diagonal = diagonalOf(matrix);
    if (facts.symmetric) return mayBeDefinite(matrix, diagonal) ? 2 : -2;
    const bool fullDiagonal = std::ranges::none_of(diagonal, [](double value) { return value == 0.0; });
    return facts.symmetricPattern && fullDiagonal ? 1 : 11;
}

std::string_view typeInWords(int mtype)
{
    switch (mtype) {
    case 1:
        return "real with a symmetric pattern";
    case 2:
        return "real symmetric, may be positive definite";
    case -2:
        return "real symmetric indefinite";
    default:
        return "real unsymmetric";
    }
}

EngineMatrix engineMatrixOf(const SparseMatrix& matrix, int mtype)
{
    if (matrix.NumElements() > std::numeric_limits<std::int32_t>::max() - matrix.Rows() - 1) {
        throw InputError("the matrix has too many entries");
    }
    const auto starts = matrix.RowPointers(), columns = matrix.ColumnIndices();
    const auto values = matrix.Values();
    EngineMatrix result{mtype, {}, {1}, {}};
    const auto put = [&result](std::int32_t column, double value) {
        result.ja.push_back(column);
        result.a.push_back(value);
    };
    for (std::int32_t row = 1; row <= matrix.Rows(); ++row) {
        bool diagonalPut = false;
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(row)] - 1);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(row) - 1] - 1); k < end; ++k) {
            if (columns[k] < row && isSymmetric(mtype)) continue;
            if (columns[k] > row && !diagonalPut) put(row, 0.0);
            diagonalPut = diagonalPut || columns[k] >= row;
            put(columns[k], values[k]);
        }
        if (!diagonalPut) put(row, 0.0);
        result.ia.push_back(static_cast<std::int32_t>(result.ja.size()) + 1);
    }
    return result;
}

} // namespace Velmar::Lintrix::tools
