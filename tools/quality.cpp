#include <tools/quality.h>

#include <tools/dense_system.h>
#include <tools/matrix_facts.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

double largestMagnitude(std::span<const double> cells)
{
    double largest = 0.0;
    for (const double cell : cells) largest = std::max(largest, std::abs(cell));
    return largest;
}

bool allFinite(std::span<const double> cells)
{
    return std::ranges::all_of(cells, [](double cell) { return std::isfinite(cell); });
}

double infinityNorm(const Matrix& A)
{
    std::vector<double> sums(static_cast<std::size_t>(A.Rows()));
    const std::span<const double> cells = cellsOf(A);
    for (std::size_t begin = 0; begin < cells.size(); begin += sums.size()) {
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += std::abs(cells[begin + i]);
    }
    return *std::ranges::max_element(sums);
}

/// Of the full matrix, also where one triangle is stored.
double infinityNorm(const SparseMatrix& A)
{
    std::vector<double> sums(static_cast<std::size_t>(A.Rows()));
    const bool mirrored = A.Symmetric();
    forEachEntry(A, [&](std::int32_t row, std::int32_t col, double value) {
        sums[static_cast<std::size_t>(row)] += std::abs(value);
        if (mirrored && row != col) sums[static_cast<std::size_t>(col)] += std::abs(value);
    });
    return *std::ranges::max_element(sums);
}

double oneNorm(const Matrix& A)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j) {
        double sum = 0.0;
        for (const double cell : columnCells(A, j)) sum += std::abs(cell);
        largest = std::max(largest, sum);
    }
    return largest;
}

/// The largest over the columns from `begin` to before `end` of ||r|| / (factor*(||A|| ||x|| + ||b||)); a
/// zero residual is zero whatever the scale. A norm that overflows gives NaN, not a flattering zero.
double scaledResidual(const Matrix& R, double factor, double normA, const Matrix& X, const Matrix& B,
                      std::int32_t begin, std::int32_t end)
{
    double worst = 0.0;
    for (std::int32_t j = begin; j < end; ++j) {
        const std::span<const double> r = columnCells(R, j);
        const double size = largestMagnitude(r);
        const double scale =
            factor * (normA * largestMagnitude(columnCells(X, j)) + largestMagnitude(columnCells(B, j)));
        const double scaled = !allFinite(r) || !std::isfinite(scale) ? NAN : size == 0.0 ? 0.0 : size / scale;
        if (!(scaled <= worst)) worst = scaled;
    }
    return worst;
}

} // namespace

std::string_view nameOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Accurate:
        return "accurate";
    case Verdict::Degraded:
        return "degraded";
    case Verdict::Failed:
        break;
    }
    return "failed";
}

Verdict verdictOf(double residual, double probeError)
{
    if (!(residual <= kPoor)) return Verdict::Failed;
    return residual <= kRoundingLevel && probeError <= kFewDigits ? Verdict::Accurate : Verdict::Degraded;
}

Matrix probeSolution(std::int32_t rows)
{
    std::mt19937_64 generator(20240607);
    Matrix column(rows, 1);
    for (double& cell : cellsOf(column)) {
        const std::uint64_t bits = generator();
        const double size = 0.5 + static_cast<double>(bits >> 12) * 0x1p-53;
        cell = (bits & 1) != 0 ? size : -size;
    }
    return column;
}

double probeError(std::span<const double> known, std::span<const double> found)
{
    return largestDifference(found, known) / largestMagnitude(known);
}

Quality judge(const Matrix& A, const Matrix& X, const Matrix& B)
{
    Matrix R(B);
    Matrix::Multiply(-1.0, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, X, 1.0, R);
    const double normA = infinityNorm(A);
    Quality quality{scaledResidual(R, 1.0, normA, X, B, 0, B.Cols())};
    if (A.Rows() > A.Cols()) {
        Matrix gradient(A.Cols(), B.Cols());
        Matrix::Multiply(1.0, TransposeMode::Transposed, A, TransposeMode::NotTransposed, R, 0.0, gradient);
        quality.normalResidual = scaledResidual(gradient, oneNorm(A), normA, X, B, 0, B.Cols());
    }
    return quality;
}

ProbedQuality judge(const SparseMatrix& A, const Matrix& X, const Matrix& B, const Matrix& probe)
{
    Matrix R(B);
    SparseMatrix::Multiply(-1.0, TransposeMode::NotTransposed, A, X, 1.0, R);
    const double normA = infinityNorm(A);
    const std::int32_t last = B.Cols() - 1;
    return {scaledResidual(R, 1.0, normA, X, B, 0, last), scaledResidual(R, 1.0, normA, X, B, last, last + 1),
            probeError(cellsOf(probe), columnCells(X, last))};
}

double largestDifference(std::span<const double> x, std::span<const double> y)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double difference = std::abs(x[i] - y[i]);
        if (std::isnan(difference)) return difference;
        largest = std::max(largest, difference);
    }
    return largest;
}

double largestDifference(const Matrix& X, const Matrix& Y)
{
    return largestDifference(cellsOf(X), cellsOf(Y));
}

bool allFinite(const Matrix& X)
{
    return allFinite(cellsOf(X));
}

} // namespace Velmar::Lintrix::tools
