#include <lintrix/systems/roads/quality.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr double kSharp = 0x1p-50; // of a residual in working precision: eight halves of a last place

template <class Cells>
double largestMagnitude(Cells cells)
{
    double largest = 0.0;
    for (const auto cell : cells) largest = std::max(largest, modulus(cell));
    return largest;
}

template <class Cells>
bool areFinite(Cells cells)
{
    return std::ranges::all_of(cells, [](auto cell) { return isFinite(cell); });
}

template <class Block>
double infinityNorm(const Block& A)
{
    std::vector<double> sums(static_cast<std::size_t>(A.Rows()));
    const auto cells = cellsOf(A);
    for (std::size_t begin = 0; begin < cells.size(); begin += sums.size()) {
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += modulus(cells[begin + i]);
    }
    return sums.empty() ? 0.0 : *std::ranges::max_element(sums);
}

template <class Block>
double oneNorm(const Block& A)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j) {
        double sum = 0.0;
        for (const auto& cell : columnCells(A, j)) sum += modulus(cell);
        largest = std::max(largest, sum);
    }
    return largest;
}

/// The largest over the columns from `begin` to before `end` of ||r|| / (factor*(||A|| ||x|| + ||b||)); a
/// zero residual is zero whatever the scale. A norm that overflows gives NaN, not a flattering zero; products
/// of norms do not, in the exponents of long double.
template <class Block>
double scaledResidual(const Block& R, double factor, double normA, const Block& X, const Block& B,
                      std::int32_t begin, std::int32_t end)
{
    double worst = 0.0;
    for (std::int32_t j = begin; j < end; ++j) {
        WorkScope::tell();
        const auto r = columnCells(R, j);
        const double size = largestModulus(r.data(), R.Rows());
        const long double scale =
            factor * (static_cast<long double>(normA) * largestMagnitude(columnCells(X, j)) +
                      largestMagnitude(columnCells(B, j)));
        const double scaled = !std::isfinite(size) || !std::isfinite(scale) ? NAN
                              : size == 0.0                                 ? 0.0
                                            : static_cast<double>(size / scale);
        if (!(scaled <= worst)) worst = scaled;
    }
    return worst;
}

/// The largest componentwise backward error of all columns.
template <class Cell>
double componentwiseError(const AnyMatrix<Cell>& A, TransposeMode op, const MatrixOf<Cell>& X,
                          const MatrixOf<Cell>& B, const MatrixOf<Cell>& R)
{
    double largest = 0.0;
    for (const BackwardError& error :
         backwardErrors<Cell>(A, op, B.Cols(), cellsOf(B).data(), cellsOf(X).data(), cellsOf(R).data()))
        largest = largerOrNaN(largest, error.componentwise);
    return largest;
}

template <class Draw>
void draw(double& cell, Draw next)
{
    cell = next();
}

template <class Draw>
void draw(Complex& cell, Draw next)
{
    const double real = next();
    cell = {real, next()};
}

/// The power of two that takes the larger part of a cell to [1/2, 1).
template <class Cell>
double unitOf(const Cell& cell)
{
    const double size = std::max(std::abs(std::real(cell)), std::abs(std::imag(cell)));
    return powerOfTwo(-exponentOf(size));
}

} // namespace

double worseError(double probeError, std::optional<double> knownError)
{
    if (!knownError || std::isnan(probeError)) return probeError;
    return *knownError <= probeError ? probeError : *knownError;
}

double ProbedQuality::error() const
{
    return worseError(probeError, knownError);
}

Verdict verdictOf(double residual, double error)
{
    if (!(residual <= kPoor) || !(error < kNoDigit)) return Verdict::Failed;
    return residual <= kRoundingLevel && error <= kFewDigits ? Verdict::Accurate : Verdict::Degraded;
}

template <class Cell>
MatrixOf<Cell> probeSolution(std::int32_t rows, std::span<const int> units)
{
    std::mt19937_64 generator(20240607);
    const auto next = [&generator] {
        const std::uint64_t bits = generator();
        const double size = 0.5 + static_cast<double>(bits >> 12) * 0x1p-53;
        return (bits & 1) != 0 ? size : -size;
    };
    MatrixOf<Cell> column(rows, 1);
    for (Cell& cell : cellsOf(column)) draw(cell, next);
    for (std::size_t j = 0; j < units.size(); ++j) cellsOf(column)[j] *= powerOfTwo(units[j]);
    return column;
}

template <class Block>
double probeError(const Block& known, const Block& found)
{
    const double difference = largestDifference(found, known);
    return difference == 0.0 ? 0.0 : difference / largestMagnitude(cellsOf(known));
}

template <class Block>
double probeErrorInUnits(const Block& known, const Block& found)
{
    const auto z = cellsOf(known), x = cellsOf(found);
    double largest = 0.0, difference = 0.0;
    for (std::size_t i = 0; i < z.size(); ++i) {
        const double unit = unitOf(z[i]);
        largest = std::max(largest, modulus(z[i] * unit));
        difference = largerOrNaN(difference, modulus(x[i] * unit - z[i] * unit));
    }
    return difference == 0.0 ? 0.0 : difference / largest;
}

template <class Block>
std::vector<Quality> judgeColumns(const Block& A, const Block& X, const Block& B)
{
    const bool isTall = A.Rows() > A.Cols();
    Block R(B), gradient(isTall ? A.Cols() : 1, isTall ? B.Cols() : 1);
    Block::Multiply(-1.0, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, X, 1.0, R);
    if (isTall)
        Block::Multiply(1.0, TransposeMode::ConjugateTransposed, A, TransposeMode::NotTransposed, R, 0.0,
                        gradient);
    const double normA = infinityNorm(A), normOfAdjoint = isTall ? oneNorm(A) : 0.0;
    std::vector<Quality> columns;
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        columns.push_back({scaledResidual(R, 1.0, normA, X, B, j, j + 1)});
        if (isTall)
            columns.back().normalResidual = scaledResidual(gradient, normOfAdjoint, normA, X, B, j, j + 1);
    }
    return columns;
}

Quality worseOf(const Quality& one, const Quality& other)
{
    Quality worst{.residual = largerOrNaN(one.residual, other.residual)};
    if (other.normalResidual)
        worst.normalResidual = largerOrNaN(one.normalResidual.value_or(0.0), *other.normalResidual);
    return worst;
}

template <class Cell>
ProbedQuality judge(const SparseOf<Cell>& A, const MatrixOf<Cell>& X, const MatrixOf<Cell>& B,
                    const MatrixOf<Cell>& known, TransposeMode op, std::optional<double> norm)
{
    const AnyMatrix<Cell> view(A);
    const MatrixOf<Cell> R = residualOf<Cell>(A, X, B, op);
    const double normA = norm ? *norm : rowSizesOf(view, op).norm;
    const std::int32_t last = B.Cols() - 1, others = known.Cols() - 1;
    const MatrixOf<Cell> probe = columnOf(known, others), back = columnOf(X, last);
    ProbedQuality quality{scaledResidual(R, 1.0, normA, X, B, 0, last),
                          scaledResidual(R, 1.0, normA, X, B, last, last + 1), probeError(probe, back),
                          probeErrorInUnits(probe, back)};
    for (std::int32_t k = 0; k < others; ++k) {
        const double error = probeError(columnOf(known, k), columnOf(X, last - others + k));
        quality.knownError = worseError(error, quality.knownError);
    }
    if (verdictOf(quality.residual, quality.error()) == Verdict::Degraded)
        quality.isSharp = componentwiseError<Cell>(view, op, X, B, R) <= kSharp;
    return quality;
}

template <class Block>
double largestDifference(const Block& X, const Block& Y)
{
    const auto x = cellsOf(X), y = cellsOf(Y);
    double largest = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double difference = modulus(x[i] - y[i]);
        if (std::isnan(difference)) return difference;
        largest = std::max(largest, difference);
    }
    return largest;
}

template <class Block>
bool allFinite(const Block& X)
{
    return areFinite(cellsOf(X));
}

template std::vector<Quality> judgeColumns(const Matrix&, const Matrix&, const Matrix&);
template std::vector<Quality> judgeColumns(const CMatrix&, const CMatrix&, const CMatrix&);
template bool allFinite(const Matrix&);
template bool allFinite(const CMatrix&);
template Matrix probeSolution<double>(std::int32_t, std::span<const int>);
template CMatrix probeSolution<Complex>(std::int32_t, std::span<const int>);
template ProbedQuality judge<double>(const SparseMatrix&, const Matrix&, const Matrix&, const Matrix&,
                                     TransposeMode, std::optional<double>);
template ProbedQuality judge<Complex>(const CSparseMatrix&, const CMatrix&, const CMatrix&, const CMatrix&,
                                      TransposeMode, std::optional<double>);
template double largestDifference(const Matrix&, const Matrix&);
template double largestDifference(const CMatrix&, const CMatrix&);
template double probeError(const Matrix&, const Matrix&);
template double probeError(const CMatrix&, const CMatrix&);

} // namespace Velmar::Lintrix::detail::roads
