#include <lintrix/systems/roads/dense_factor.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/columns.h>

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

char letterOf(TransposeMode op)
{
    return op == TransposeMode::NotTransposed ? 'N' : op == TransposeMode::Transposed ? 'T' : 'C';
}

/// Many columns are solved for at once, from one reading of the factor: so much faster is each.
constexpr double kReuse = 8.0;

/// P*L*U of a square matrix in place, with the pivots and the outcome of getrf.
///
/// By panels of columns: getrf of a panel, then its exchanges and its part of the elimination in the columns
/// behind it, a stretch of them after the other. Between all of these whoever listens is asked, so that no
/// step of a large matrix goes on for longer than a panel does.
template <class Cell>
class PanelElimination {
public:
    /// @throws as `WorkScope::tell`
    PanelElimination(std::int32_t n, Cell* a, std::int32_t* pivots) : n_(n), a_(a), pivots_(pivots) {}

    /// @return  as getrf: the first pivot that is exactly zero, counted from 1, or 0
    int run()
    {
        const SequentialBlasScope sequential(kMultiplications<Cell> / 3.0 * n_ * n_ * n_);
        const std::int32_t panel = n_ <= kWhole ? kWhole : kPanel;
        for (std::int32_t first = 0; first < n_; first += panel)
            eliminate(first, std::min(first + panel, n_));
        return info_;
    }

private:
    static constexpr std::int32_t kWhole = 512; ///< up to which a matrix is one panel
    static constexpr std::int32_t kPanel = 192, kNarrowest = 64;
    static constexpr double kStretch = 1e8; ///< multiplications, some 10 ms

    Cell* at(std::int32_t i, std::int32_t j) const
    {
        return a_ + static_cast<std::size_t>(i) + static_cast<std::size_t>(n_) * static_cast<std::size_t>(j);
    }

    void eliminate(std::int32_t first, std::int32_t behind)
    {
        const std::int32_t rows = n_ - first, width = behind - first;
        WorkScope::tell();
        int info = 0;
        lapack::getrf(rows, width, at(first, first), n_, pivots_ + first, info);
        if (info > 0 && info_ == 0) info_ = first + info;
        for (std::int32_t k = first; k < behind; ++k) pivots_[k] += first;
        WorkScope::tell(kMultiplications<Cell> * width * width * (rows - width / 3.0));
        exchange(first, behind, 0, first);
        const double cells = kMultiplications<Cell> * rows * width;
        const auto stretch = std::max(kNarrowest, static_cast<std::int32_t>(kStretch / cells));
        for (std::int32_t j = behind; j < n_; j += stretch)
            update(first, behind, j, std::min(j + stretch, n_));
    }

    /// The rows of the columns from `begin` to before `end`, as the pivots of a panel say.
    void exchange(std::int32_t first, std::int32_t behind, std::int32_t begin, std::int32_t end) const
    {
        for (std::int32_t j = begin; j < end; ++j)
            for (std::int32_t k = first; k < behind; ++k) std::swap(*at(k, j), *at(pivots_[k] - 1, j));
    }

    /// U := L^-1*U, S := S - L*U in the same columns.
    void update(std::int32_t first, std::int32_t behind, std::int32_t begin, std::int32_t end) const
    {
        const std::int32_t width = behind - first, columns = end - begin, below = n_ - behind;
        exchange(first, behind, begin, end);
        blas::trsm('L', 'L', 'N', 'U', width, columns, Cell(1.0), at(first, first), n_, at(first, begin), n_);
        if (below > 0)
            blas::gemm('N', 'N', below, columns, width, Cell(-1.0), at(behind, first), n_, at(first, begin),
                       n_, Cell(1.0), at(behind, begin), n_);
        WorkScope::tell(kMultiplications<Cell> * columns * width * (width + 2.0 * below));
    }

    std::int32_t n_;
    Cell* a_;
    std::int32_t* pivots_; ///< counted from 1
    int info_ = 0;
};

} // namespace

template <class Cell>
DenseFactor<Cell>::DenseFactor(const AnyMatrix<Cell>& A, MatrixOf<Cell> cells)
    : A_(A), units_(unitsOfUnknowns(A, TransposeMode::Transposed)), factors_(std::move(cells)),
      pivots_(A.rows())
{
    scaleRows(factors_);
    info_ = PanelElimination<Cell>(A.rows(), AccessTo<Cell>::cells(factors_), pivots_.get()).run();
    if (isSingular()) replaceZeroPivots();
}

/// Below a pivot that is exactly zero the column is so as well.
template <class Cell>
void DenseFactor<Cell>::replaceZeroPivots()
{
    const std::int32_t n = A_.rows();
    double largest = 0.0;
    for (std::int32_t k = 0; k < n; ++k) largest = std::max(largest, modulus(factors_(k, k)));
    for (std::int32_t k = 0; k < n; ++k)
        if (factors_(k, k) == 0.0) factors_(k, k) = largest > 0.0 ? 0x1p-52 * largest : 1.0;
}

template <class Cell>
DenseFactor<Cell>::DenseFactor(const AnyMatrix<Cell>& A, MatrixOf<Cell> factors, Block<std::int32_t> pivots)
    : A_(A), units_(unitsOfUnknowns(A, TransposeMode::Transposed)), factors_(std::move(factors)),
      pivots_(std::move(pivots))
{
}

/// X := D*X, D of the units: D*A is what is factorized, so that A^-1 = (D*A)^-1*D, and A^-T = D*(D*A)^-T.
template <class Cell>
void DenseFactor<Cell>::scaleRows(MatrixOf<Cell>& X) const
{
    if (units_.empty()) return;
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        WorkScope::tell();
        const auto cells = columnCells(X, j);
        for (std::size_t i = 0; i < cells.size(); ++i) cells[i] = timesPowerOfTwo(cells[i], units_[i]);
    }
}

template <class Cell>
MatrixOf<Cell> DenseFactor<Cell>::solved(const MatrixOf<Cell>& B, TransposeMode op) const
{
    MatrixOf<Cell> X = copyOfColumns(B);
    if (op == TransposeMode::NotTransposed) scaleRows(X);
    const std::int32_t n = A_.rows();
    const double each = kMultiplications<Cell> * n * n / kReuse;
    const SequentialBlasScope sequential(kMultiplications<Cell> * X.Cols() * n * n);
    inStretches(X.Cols(), each, [&](std::int32_t begin, std::int32_t end) {
        int info = 0;
        lapack::getrs(letterOf(op), n, end - begin, AccessTo<Cell>::cells(factors_), n, pivots_.get(),
                      columnCells(X, begin).data(), n, info);
        WorkScope::tell(operations(end - begin) / 2.0);
    });
    if (op != TransposeMode::NotTransposed) scaleRows(X);
    return X;
}

/// Of a solve and of its step of refinement.
template <class Cell>
double DenseFactor<Cell>::operations(std::int32_t rightHands) const
{
    return 4.0 * kMultiplications<Cell> * rightHands * A_.rows() * A_.rows();
}

template <class Cell>
EngineAnswer DenseFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                      std::optional<std::int32_t>)
try {
    X = solved(B, op);
    MatrixOf<Cell> R = zeroColumns<Cell>(B.Rows(), B.Cols());
    residual(A_, op, B.Cols(), cellsOf(B).data(), cellsOf(std::as_const(X)).data(), cellsOf(R).data());
    X = X + solved(R, op);
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
}

template class DenseFactor<double>;
template class DenseFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
