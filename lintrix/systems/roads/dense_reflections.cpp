#include <lintrix/systems/roads/dense_reflections.h>

#include <lintrix/decompositions/qr.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/quality/norm_estimate.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr std::int32_t kPanel = 64, kNarrowest = 64;
constexpr double kStretch = 1e8; // multiplications, some 10 ms

template <class Cell>
constexpr char kAdjoint = std::is_same_v<Cell, double> ? 'T' : 'C';

/// What LAPACK's blocked reflections of so many columns want: two blocks of 64.
std::int32_t workCells(std::int32_t columns)
{
    return 64 * columns + 65 * 64;
}

Matrix tallOf(const Matrix& A, bool wide)
{
    return wide ? A.Transpose() : copyOfColumns(A);
}
CMatrix tallOf(const CMatrix& A, bool wide)
{
    return wide ? A.Adjoint() : copyOfColumns(A);
}

/// The elements on and above the diagonal of a pivoted QR of a triangle.
Matrix pivotedTriangle(const Matrix& R)
{
    return QR(R, true).R();
}
CMatrix pivotedTriangle(const CMatrix& R)
{
    return CQR(R, true).R();
}

/// The reflections of a tall block of cells in place.
template <class Cell>
class PanelReflection {
public:
    PanelReflection(MatrixOf<Cell>& A, Cell* scalars)
        : rows_(A.Rows()), cols_(A.Cols()), a_(AccessTo<Cell>::cells(A)), scalars_(scalars),
          stretch_(std::clamp(
              static_cast<std::int32_t>(kStretch / (2.0 * kMultiplications<Cell> * kPanel * rows_)),
              kNarrowest, std::max(cols_, kNarrowest))),
          work_(workCells(stretch_))
    {
    }

    void run()
    {
        const SequentialBlasScope sequential(kMultiplications<Cell> * rows_ * cols_ * cols_);
        for (std::int32_t first = 0; first < cols_; first += kPanel) {
            const std::int32_t width = std::min(kPanel, cols_ - first), below = rows_ - first;
            WorkScope::tell();
            int info = 0;
            lapack::geqrf(below, width, at(first, first), rows_, scalars_ + first, work_.get(),
                          workCells(stretch_), info);
            WorkScope::tell(2.0 * kMultiplications<Cell> * width * width * (below - width / 3.0));
            for (std::int32_t j = first + width; j < cols_; j += stretch_)
                reflect(first, width, j, std::min(stretch_, cols_ - j));
        }
    }

private:
    Cell* at(std::int32_t i, std::int32_t j) const
    {
        return a_ + static_cast<std::size_t>(i) +
               static_cast<std::size_t>(rows_) * static_cast<std::size_t>(j);
    }

    void reflect(std::int32_t first, std::int32_t width, std::int32_t j, std::int32_t columns) const
    {
        int info = 0;
        lapack::ormqr('L', kAdjoint<Cell>, rows_ - first, columns, width, at(first, first), rows_,
                      scalars_ + first, at(first, j), rows_, work_.get(), workCells(stretch_), info);
        WorkScope::tell(4.0 * kMultiplications<Cell> * width * columns * (rows_ - first - width / 2.0));
    }

    std::int32_t rows_, cols_;
    Cell* a_;
    Cell* scalars_;
    std::int32_t stretch_;
    Block<Cell> work_;
};

} // namespace

template <class Cell>
DenseReflections<Cell>::DenseReflections(const MatrixOf<Cell>& A)
    : wide_(A.Rows() < A.Cols()), reflections_(tallOf(A, wide_)), scalars_(shorter())
{
    evenColumns();
    PanelReflection<Cell>(reflections_, scalars_.get()).run();
}

template <class Cell>
void DenseReflections<Cell>::evenColumns()
{
    std::vector<double> lengths;
    for (std::int32_t j = 0; j < shorter(); ++j)
        lengths.push_back(euclideanNorm(columnCells(reflections_, j).data(), longer()));
    scales_ = ColumnScales(lengths);
    if (!scales_.differ) return;
    for (std::int32_t j = 0; j < shorter(); ++j)
        for (Cell& cell : columnCells(reflections_, j)) cell *= scales_.scale[static_cast<std::size_t>(j)];
}

template <class Cell>
MatrixOf<Cell> DenseReflections<Cell>::triangle() const
{
    MatrixOf<Cell> R = zeroColumns<Cell>(shorter(), shorter());
    for (std::int32_t j = 0; j < shorter(); ++j)
        std::ranges::copy(columnCells(reflections_, j).first(static_cast<std::size_t>(j) + 1),
                          columnCells(R, j).begin());
    return R;
}

/// x := op(R)^-1*x, its columns `rows` cells apart.
template <class Cell>
void DenseReflections<Cell>::divideByTriangle(char op, std::int32_t columns, Cell* x, std::int32_t rows) const
{
    blas::trsm('L', 'U', op, 'N', shorter(), columns, Cell(1.0), AccessTo<Cell>::cells(reflections_),
               longer(), x, rows);
}

/// X := Q*X or Q^H*X, q rows.
template <class Cell>
void DenseReflections<Cell>::reflect(bool adjoint, std::int32_t columns, Cell* x) const
{
    const double each = 2.0 * kMultiplications<Cell> * longer() * shorter();
    const auto most = static_cast<std::int32_t>(std::clamp(kStretch / each, 1.0, 1e3));
    const Block<Cell> work(workCells(most));
    const SequentialBlasScope sequential(each * columns);
    for (std::int32_t j = 0; j < columns; j += most) {
        WorkScope::tell();
        int info = 0;
        lapack::ormqr('L', adjoint ? kAdjoint<Cell> : 'N', longer(), std::min(most, columns - j), shorter(),
                      AccessTo<Cell>::cells(reflections_), longer(), scalars_.get(),
                      x + std::int64_t{longer()} * j, longer(), work.get(), workCells(most), info);
    }
}

/// The norm of R^-1 in the 1-norm is off by sqrt(p) at most, and the longest column of R is its norm, but for
/// as much. An estimate of the former is seldom below a third of it.
template <class Cell>
double DenseReflections<Cell>::condition() const
{
    const std::int32_t p = shorter();
    const auto divide = [this, p](char op) {
        return [this, p, op](std::int32_t columns, const Cell* x, Cell* y) {
            std::copy_n(x, static_cast<std::size_t>(p) * static_cast<std::size_t>(columns), y);
            divideByTriangle(op, columns, y, p);
        };
    };
    const double normOfInverse = estimateOneNorm(LinearMap<Cell>{p, p, divide('N'), divide(kAdjoint<Cell>)});
    double longest = 0.0;
    for (std::int32_t j = 0; j < p; ++j)
        longest = std::max(longest, euclideanNorm(columnCells(reflections_, j).data(), j + 1));
    return std::sqrt(p) * normOfInverse * longest;
}

/// No diagonal element of any triangle with R^H*R is smaller than the smallest singular value, which is at
/// least 1/(sqrt(p)*||R^-1||_1), and the first pivot is the length of the longest column.
template <class Cell>
bool DenseReflections<Cell>::isSurelyOfFullRank() const
{
    constexpr double kAgainstEstimate = 100.0;
    return kAgainstEstimate * longer() * std::numeric_limits<double>::epsilon() * condition() < 1.0;
}

template <class Cell>
std::int32_t DenseReflections<Cell>::rank() const
{
    if (isSurelyOfFullRank()) return shorter();
    const MatrixOf<Cell> R = pivotedTriangle(triangle());
    const double limit = longer() * std::numeric_limits<double>::epsilon() * std::abs(R(0, 0));
    std::int32_t rank = 0;
    while (rank < R.Rows() && std::abs(R(rank, rank)) > limit) ++rank;
    return rank;
}

/// The first p of the rows times D.
template <class Cell>
void DenseReflections<Cell>::multiplyByScales(std::int32_t columns, Cell* x, std::int32_t rows) const
{
    if (!scales_.differ) return;
    for (std::int32_t j = 0; j < columns; ++j, x += rows)
        for (std::size_t i = 0; i < scales_.scale.size(); ++i) x[i] *= scales_.scale[i];
}

template <class Cell>
MatrixOf<Cell> DenseReflections<Cell>::solve(const MatrixOf<Cell>& B) const
{
    const std::int32_t columns = B.Cols();
    MatrixOf<Cell> work = zeroColumns<Cell>(longer(), columns);
    for (std::int32_t j = 0; j < columns; ++j)
        std::ranges::copy(columnCells(B, j), columnCells(work, j).begin());
    Cell* const cells = AccessTo<Cell>::cells(work);
    if (wide_) { // A = D^-1*R^H*Q^H
        multiplyByScales(columns, cells, longer());
        divideByTriangle(kAdjoint<Cell>, columns, cells, longer());
        reflect(false, columns, cells);
        return work;
    }
    reflect(true, columns, cells);
    divideByTriangle('N', columns, cells, longer());
    multiplyByScales(columns, cells, longer());
    MatrixOf<Cell> X(shorter(), columns);
    for (std::int32_t j = 0; j < columns; ++j)
        std::ranges::copy(columnCells(work, j).first(static_cast<std::size_t>(shorter())),
                          columnCells(X, j).begin());
    return X;
}

/// With h = Q^H*f, its first p rows h', and R^H*k = D*g: t = Q*[k; rest of h] and R*D^-1*w = h' - k.
template <class Cell>
void DenseReflections<Cell>::solveAugmented(std::int32_t columns, Cell* F, Cell* G) const
{
    const std::int32_t p = shorter();
    multiplyByScales(columns, G, p);
    divideByTriangle(kAdjoint<Cell>, columns, G, p);
    reflect(true, columns, F);
    for (std::int32_t j = 0; j < columns; ++j) {
        Cell *const h = F + std::int64_t{longer()} * j, *const k = G + std::int64_t{p} * j;
        std::swap_ranges(h, h + p, k);
        for (std::int32_t i = 0; i < p; ++i) k[i] -= h[i];
    }
    reflect(false, columns, F);
    divideByTriangle('N', columns, G, p);
    multiplyByScales(columns, G, p);
}

template class DenseReflections<double>;
template class DenseReflections<Complex>;

} // namespace Velmar::Lintrix::detail::roads
