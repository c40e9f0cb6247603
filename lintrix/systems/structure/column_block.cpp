#include <lintrix/systems/structure/column_block.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/systems/cells.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr int kSweeps = 40; ///< a handful is the rule

double largestPart(double x)
{
    return std::abs(x);
}
double largestPart(const std::complex<double>& x)
{
    return std::max(std::abs(x.real()), std::abs(x.imag()));
}

/// A power of two by which the largest part of the cells becomes about 1; 1 for zeros.
template <class Cell>
double scaleOf(const Cell* x, std::size_t count)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i) largest = std::max(largest, largestPart(x[i]));
    return largest > 0.0 ? std::ldexp(1.0, std::min(-std::ilogb(largest), 1023)) : 1.0;
}

/// Of term(i), in four sums side by side, which the processor need not wait for.
template <class Sum, class Term>
Sum sumOf(std::int32_t length, const Term& term)
{
    Sum sums[4] = {};
    std::int32_t i = 0;
    for (; i + 4 <= length; i += 4)
        for (std::int32_t k = 0; k < 4; ++k) sums[k] += term(i + k);
    for (; i < length; ++i) sums[0] += term(i);
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

template <class Cell>
double squareSum(std::int32_t length, const Cell* x)
{
    return sumOf<double>(length, [x](std::int32_t i) { return std::norm(x[i]); });
}

/// x, y := c*x - s*phase^-1*y, s*x + c*phase^-1*y.
template <class Cell>
struct Rotation {
    double c, s;
    Cell inversePhase;

    void apply(std::int32_t length, Cell* x, Cell* y) const
    {
        for (std::int32_t i = 0; i < length; ++i) {
            const Cell turned = inversePhase * y[i], before = x[i];
            x[i] = c * before - s * turned;
            y[i] = s * before + c * turned;
        }
    }
};

/// That makes columns of squares a, b with the scalar product g orthogonal: cot(2*angle) = (b - a)/(2*|g|).
template <class Cell>
Rotation<Cell> rotationFor(double a, double b, const Cell& g)
{
    const double modulus = std::abs(g), zeta = (b - a) / (2.0 * modulus);
    const double t = std::copysign(1.0, zeta) / (std::abs(zeta) + std::hypot(1.0, zeta));
    const double c = 1.0 / std::hypot(1.0, t);
    return {c, c * t, conjugate(g) / modulus};
}

/// @return whether any pair had to be rotated
template <class Cell>
bool sweep(ColumnBlock<Cell>& W, ColumnBlock<Cell>* companion)
{
    const double tolerance = kEps * std::sqrt(static_cast<double>(W.length));
    bool rotated = false;
    std::vector<double> squares;
    for (std::int32_t j = 0; j < W.count; ++j) squares.push_back(squareSum(W.length, W.column(j)));
    for (std::int32_t i = 0; i < W.count; ++i) {
        for (std::int32_t j = i + 1; j < W.count; ++j) {
            Cell *const x = W.column(i), *const y = W.column(j);
            const double a = squares[i], b = squares[j];
            const Cell g = scalarProduct(W.length, x, y);
            if (!(std::abs(g) > tolerance * std::sqrt(a) * std::sqrt(b))) continue;
            const Rotation<Cell> rotation = rotationFor(a, b, g);
            rotation.apply(W.length, x, y);
            squares[i] = squareSum(W.length, x);
            squares[j] = squareSum(W.length, y);
            if (companion != nullptr)
                rotation.apply(companion->length, companion->column(i), companion->column(j));
            rotated = true;
        }
    }
    return rotated;
}

constexpr std::int32_t kFewColumns = 8;

/// For what combines each of so many columns with each of so many others.
template <class Cell>
SequentialBlasScope scopeOf(std::int32_t length, std::int32_t columns, std::int32_t others)
{
    return SequentialBlasScope(kMultiplications<Cell> * length * columns * others);
}

/// W := W*V, V square.
template <class Cell>
void multiply(ColumnBlock<Cell>& W, const ColumnBlock<Cell>& V)
{
    ColumnBlock<Cell> product(W);
    const SequentialBlasScope sequential = scopeOf<Cell>(W.length, W.count, W.count);
    if (W.length > 0)
        blas::gemm('N', 'N', W.length, W.count, W.count, Cell(1.0), W.cells.data(), W.length, V.cells.data(),
                   W.count, Cell(), product.cells.data(), W.length);
    W = std::move(product);
}

/// R of W = Q*R, square.
template <class Cell>
ColumnBlock<Cell> triangleOf(ColumnBlock<Cell> W)
{
    const std::int32_t n = W.count;
    std::vector<Cell> tau(static_cast<std::size_t>(n)), work(tau.size() * 32);
    const SequentialBlasScope sequential = scopeOf<Cell>(W.length, n, n);
    int info = 0;
    lapack::geqrf(W.length, n, W.cells.data(), W.length, tau.data(), work.data(),
                  static_cast<std::int32_t>(work.size()), info);
    ColumnBlock<Cell> R{n, n};
    for (std::int32_t j = 0; j < n; ++j) std::copy_n(W.column(j), j + 1, R.column(j));
    return R;
}

/// The rotations that make the columns of R orthogonal, W = Q*R, make those of W orthogonal, too, but for
/// rounding beside the longest; R is small (Z. Drmac, K. Veselic, "New fast and accurate Jacobi SVD
/// algorithm", SIAM J. Matrix Anal. Appl. 29 (2008)).
template <class Cell>
void rotateByTriangle(ColumnBlock<Cell>& W, ColumnBlock<Cell>* companion)
{
    const std::int32_t n = W.count;
    ColumnBlock<Cell> R = triangleOf(W), V{n, n};
    for (std::int32_t j = 0; j < n; ++j) V.column(j)[j] = 1.0;
    for (int done = 0; done < kSweeps && sweep(R, &V); ++done) {
    }
    multiply(W, V);
    if (companion != nullptr) multiply(*companion, V);
}

/// The singular values of a square R = U*S*J^H, the largest first, and J. Workspaces by the formulas for the
/// vectors of square matrices: 4*n^2 + 7*n and, of complex cells, n^2 + 3*n.
/// @return  none: they do not converge
template <class Cell>
std::vector<double> decompose(ColumnBlock<Cell> R, ColumnBlock<Cell>& J)
{
    const std::int32_t n = R.count;
    const auto size = static_cast<std::size_t>(n);
    std::vector<double> lengths(size);
    std::vector<Cell> U(size * size), adjoint(size * size), work(size * (4 * size + 7));
    std::vector<int> whole(8 * size);
    const SequentialBlasScope sequential = scopeOf<Cell>(n, n, n);
    const auto count = static_cast<std::int32_t>(work.size());
    int info = 0;
    if constexpr (std::is_same_v<Cell, double>) {
        lapack::gesdd('S', n, n, R.cells.data(), n, lengths.data(), U.data(), n, adjoint.data(), n,
                      work.data(), count, whole.data(), info);
    } else {
        std::vector<double> reals(size * (5 * size + 7));
        lapack::gesdd('S', n, n, R.cells.data(), n, lengths.data(), U.data(), n, adjoint.data(), n,
                      work.data(), count, reals.data(), whole.data(), info);
    }
    if (info != 0) return {};
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = 0; i < n; ++i) J.column(j)[i] = conjugate(adjoint[i * size + j]);
    return lengths;
}

template <class Cell>
void swapColumns(ColumnBlock<Cell>& W, std::int32_t i, std::int32_t j)
{
    if (i != j) std::swap_ranges(W.column(i), W.column(i) + W.length, W.column(j));
}

} // namespace

template <class Cell>
Cell scalarProduct(std::int32_t length, const Cell* x, const Cell* y)
{
    return sumOf<Cell>(length, [x, y](std::int32_t i) { return conjugate(x[i]) * y[i]; });
}

template <class Cell>
double euclideanNorm(std::int32_t length, const Cell* x)
{
    const double scale = scaleOf(x, static_cast<std::size_t>(length));
    double sum = 0.0;
    for (std::int32_t i = 0; i < length; ++i) sum += std::norm(scale * x[i]);
    return std::sqrt(sum) / scale;
}

template <class Cell>
void addMultiple(std::int32_t length, const Cell& factor, const Cell* x, Cell* y)
{
    for (std::int32_t i = 0; i < length; ++i) y[i] += factor * x[i];
}

template <class Cell>
std::vector<double> orthogonalize(ColumnBlock<Cell>& W, ColumnBlock<Cell>* companion)
{
    const double scale = scaleOf(W.cells.data(), W.cells.size());
    for (Cell& x : W.cells) x *= scale;
    if (W.count > kFewColumns && W.length > 2 * W.count) rotateByTriangle(W, companion);
    for (int done = 0; done < kSweeps && sweep(W, companion); ++done) {
    }
    for (Cell& x : W.cells) x /= scale;
    std::vector<double> lengths;
    for (std::int32_t j = 0; j < W.count; ++j) lengths.push_back(euclideanNorm(W.length, W.column(j)));
    for (std::int32_t j = 0; j < W.count; ++j) {
        const auto longest =
            static_cast<std::int32_t>(std::max_element(lengths.begin() + j, lengths.end()) - lengths.begin());
        std::swap(lengths[j], lengths[longest]);
        swapColumns(W, j, longest);
        if (companion != nullptr) swapColumns(*companion, j, longest);
    }
    return lengths;
}

template <class Cell>
std::vector<double> orthonormalize(ColumnBlock<Cell>& W)
{
    std::vector<double> lengths = orthogonalize(W);
    std::erase(lengths, 0.0); // the last ones
    // Of more columns than rows, what is left over is rounding.
    lengths.resize(std::min(lengths.size(), static_cast<std::size_t>(W.length)));
    W.shrink(static_cast<std::int32_t>(lengths.size()));
    for (std::int32_t j = 0; j < W.count; ++j)
        for (Cell* x = W.column(j); x != W.column(j + 1); ++x) *x /= lengths[j];
    return lengths;
}

template <class Cell>
std::vector<double> turnByLengths(ColumnBlock<Cell>& W, ColumnBlock<Cell>& companion)
{
    const std::int32_t n = W.count;
    const bool isFew = n <= kFewColumns;
    if (W.length < (isFew ? 2 * n : n)) return orthogonalize(W, &companion);
    const double scale = scaleOf(W.cells.data(), W.cells.size());
    for (Cell& x : W.cells) x *= scale;
    ColumnBlock<Cell> R = triangleOf(std::move(W)), J{n, n};
    std::vector<double> lengths;
    if (!isFew) lengths = decompose(R, J);
    if (lengths.empty()) {
        for (std::int32_t j = 0; j < n; ++j) J.column(j)[j] = 1.0;
        lengths = orthogonalize(R, &J);
    }
    multiply(companion, J);
    for (double& length : lengths) length /= scale;
    return lengths;
}

template <class Cell>
void clearOf(const ColumnBlock<Cell>& Q, ColumnBlock<Cell>& W)
{
    if (Q.count == 0 || W.count == 0 || W.length == 0) return;
    ColumnBlock<Cell> parts{Q.count, W.count};
    const SequentialBlasScope sequential = scopeOf<Cell>(W.length, Q.count, W.count);
    constexpr char adjoint = std::is_same_v<Cell, double> ? 'T' : 'C';
    blas::gemm(adjoint, 'N', Q.count, W.count, W.length, Cell(1.0), Q.cells.data(), Q.length, W.cells.data(),
               W.length, Cell(), parts.cells.data(), Q.count);
    blas::gemm('N', 'N', W.length, W.count, Q.count, Cell(-1.0), Q.cells.data(), Q.length, parts.cells.data(),
               Q.count, Cell(1.0), W.cells.data(), W.length);
}

template <class Cell>
void takeBasis(ColumnBlock<Cell>& W)
{
    W.shrink(std::min(W.count, W.length));
    if (W.count == 0) return;
    for (std::int32_t j = 0; j < W.count; ++j) {
        const double length = euclideanNorm(W.length, W.column(j));
        if (length == 0.0) continue;
        for (Cell* x = W.column(j); x != W.column(j + 1); ++x) *x /= length;
    }
    std::vector<Cell> tau(static_cast<std::size_t>(W.count)), work(tau.size() * 32);
    const auto size = static_cast<std::int32_t>(work.size());
    const SequentialBlasScope sequential = scopeOf<Cell>(W.length, W.count, W.count);
    int info = 0;
    lapack::geqrf(W.length, W.count, W.cells.data(), W.length, tau.data(), work.data(), size, info);
    lapack::orgqr(W.length, W.count, W.count, W.cells.data(), W.length, tau.data(), work.data(), size, info);
}

template double scalarProduct(std::int32_t, const double*, const double*);
template std::complex<double> scalarProduct(std::int32_t, const std::complex<double>*,
                                            const std::complex<double>*);
template LINTRIX_TESTABLE double euclideanNorm(std::int32_t, const double*);
template LINTRIX_TESTABLE double euclideanNorm(std::int32_t, const std::complex<double>*);
template void addMultiple(std::int32_t, const double&, const double*, double*);
template void addMultiple(std::int32_t, const std::complex<double>&, const std::complex<double>*,
                          std::complex<double>*);
template LINTRIX_TESTABLE std::vector<double> orthogonalize(ColumnBlock<double>&, ColumnBlock<double>*);
template LINTRIX_TESTABLE std::vector<double> orthogonalize(ColumnBlock<std::complex<double>>&,
                                                            ColumnBlock<std::complex<double>>*);
template LINTRIX_TESTABLE std::vector<double> turnByLengths(ColumnBlock<double>&, ColumnBlock<double>&);
template LINTRIX_TESTABLE std::vector<double> turnByLengths(ColumnBlock<std::complex<double>>&,
                                                            ColumnBlock<std::complex<double>>&);
template LINTRIX_TESTABLE void clearOf(const ColumnBlock<double>&, ColumnBlock<double>&);
template LINTRIX_TESTABLE void clearOf(const ColumnBlock<std::complex<double>>&,
                                       ColumnBlock<std::complex<double>>&);
template LINTRIX_TESTABLE std::vector<double> orthonormalize(ColumnBlock<double>&);
template LINTRIX_TESTABLE std::vector<double> orthonormalize(ColumnBlock<std::complex<double>>&);
template LINTRIX_TESTABLE void takeBasis(ColumnBlock<double>&);
template LINTRIX_TESTABLE void takeBasis(ColumnBlock<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail
