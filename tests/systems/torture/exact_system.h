#pragma once
/// @file
/// The judge of a square system: its inverse and solutions in 113 bits, by complete pivoting on a matrix that
/// powers of two have brought to rows and columns of one size.
///
/// An element of the inverse that is 0, or far below the others, comes out as their rounding; and where
/// units differ by more than 113 bits, that is all that is seen of an unknown. Newton's step X + X*(I - A*X)
/// takes away as many bits of it each time, and a solution is judged before it judges others.

#include <tests/systems/quality/reference.h>

#include <cmath>
#include <numeric>

namespace Velmar::Lintrix::testing {

class ExactSystem {
public:
    /// `left` and `right`: exponents of two by which rows and columns of a matrix have been scaled.
    ExactSystem(QuadMatrix A, const std::vector<int>& left, const std::vector<int>& right)
        : A_(std::move(A)), inverse_(A_.rows, A_.rows), rows_(left), columns_(right)
    {
        for (int& exponent : rows_) exponent = -exponent;
        for (int& exponent : columns_) exponent = -exponent;
        equilibrate();
        QuadMatrix scaled = A_;
        for (int j = 0; j < A_.cols; ++j)
            for (int i = 0; i < A_.rows; ++i) scaled(i, j) = scaled(i, j) * QuadCell(scaleOf(i, j), 0);
        const long double norm = rowNorm(scaled);
        eliminate(std::move(scaled));
        if (isSingular()) return;
        scaledCondition_ = norm * rowNorm(inverse_);
        for (int j = 0; j < A_.cols; ++j)
            for (int i = 0; i < A_.rows; ++i) inverse_(i, j) = inverse_(i, j) * QuadCell(scaleOf(j, i), 0);
        condition_ = rowNorm(A_) * rowNorm(inverse_);
    }

    int rank() const { return rank_; }
    bool isSingular() const { return rank_ < A_.rows; }
    /// In infinity norms, of A and of the matrix of one size.
    long double condition() const { return condition_; }
    long double scaledCondition() const { return scaledCondition_; }
    /// Whether what is told of solutions has digits enough to judge others by.
    bool knows() const { return !isSingular() && scaledCondition_ < 1e22L; }

    /// x with op(A)*x = b; with steps of Newton's for the inverse where it is not known else.
    QuadVector solve(TransposeMode op, const QuadVector& b)
    {
        for (; steps_ < kMostSteps; ++steps_) {
            QuadVector x = refined(op, b);
            if (knows(op, b, x)) return x;
            sharpen();
        }
        return refined(op, b);
    }
    /// Whether x, which was solved for, has digits enough to judge others by: its error is A^-1 times its
    /// residual, of which rounding may hide some.
    bool knows(TransposeMode op, const QuadVector& b, const QuadVector& x) const
    {
        const QuadVector r = residual(op, b, x);
        QuadVector g = termSizes(op, b, x);
        const auto unit = static_cast<Quad>(0x1p-112L * (A_.rows + 2));
        for (std::size_t i = 0; i < g.size(); ++i) g[i].re = g[i].re * unit + static_cast<Quad>(sizeOf(r[i]));
        const long double error = largest(timesModuli(inverse_, op, g));
        return error <= 1e-12L * largest(x);
    }
    QuadVector residual(TransposeMode op, const QuadVector& b, const QuadVector& x) const
    {
        return difference(b, times(A_, op, x));
    }
    /// ||b - op(A)*x|| / (||op(A)|| ||x|| + ||b||)
    long double backwardError(TransposeMode op, const QuadVector& b, const QuadVector& x) const
    {
        const long double norm = op == TransposeMode::NotTransposed ? rowNorm(A_) : columnNorm(A_);
        const long double size = norm * largest(x) + largest(b), left = largest(residual(op, b, x));
        return left == 0.0L ? 0.0L : left / size;
    }

    /// || |op(A)^-1| * (|op(A)|*|x| + |b|) || / ||x||: by how many eps may rounding change x, whatever the
    /// units? Skeel, J. ACM 26 (1979).
    long double sensitivity(TransposeMode op, const QuadVector& b, const QuadVector& x) const
    {
        const long double size = largest(x);
        return size == 0.0L ? 0.0L : largest(timesModuli(inverse_, op, termSizes(op, b, x))) / size;
    }

private:
    /// With two steps of refinement.
    QuadVector refined(TransposeMode op, const QuadVector& b) const
    {
        QuadVector x(b.size());
        for (int step = 0; step < 3; ++step) {
            const QuadVector d = times(inverse_, op, residual(op, b, x));
            for (std::size_t i = 0; i < x.size(); ++i) x[i] = x[i] + d[i];
        }
        return x;
    }

    void sharpen()
    {
        const auto n = static_cast<std::size_t>(A_.rows);
        std::vector<QuadCell> corrections;
        for (std::size_t k = 0; k < n; ++k) {
            const auto first = inverse_.cells.begin() + static_cast<std::ptrdiff_t>(n * k);
            QuadVector unit(n);
            unit[k] = 1.0;
            const QuadVector left = difference(unit, product(A_, {first, first + A_.rows}));
            const QuadVector correction = product(inverse_, left);
            corrections.insert(corrections.end(), correction.begin(), correction.end());
        }
        for (std::size_t at = 0; at < corrections.size(); ++at)
            inverse_.cells[at] = inverse_.cells[at] + corrections[at];
    }

    /// |op(A)|*|x| + |b|
    QuadVector termSizes(TransposeMode op, const QuadVector& b, const QuadVector& x) const
    {
        QuadVector w = timesModuli(A_, op, x);
        for (std::size_t i = 0; i < w.size(); ++i) w[i] = w[i] + QuadCell(static_cast<Quad>(sizeOf(b[i])), 0);
        return w;
    }

    static QuadVector timesModuli(const QuadMatrix& A, TransposeMode op, const QuadVector& x)
    {
        QuadVector y(x.size());
        for (int j = 0; j < A.cols; ++j) {
            for (int i = 0; i < A.rows; ++i) {
                const auto [row, col] =
                    op == TransposeMode::NotTransposed ? std::pair(i, j) : std::pair(j, i);
                QuadCell& sum = y[static_cast<std::size_t>(row)];
                sum.re += static_cast<Quad>(sizeOf(A(i, j)) * sizeOf(x[static_cast<std::size_t>(col)]));
            }
        }
        return y;
    }

    static long double rowNorm(const QuadMatrix& A)
    {
        std::vector<long double> sums(static_cast<std::size_t>(A.rows));
        for (int j = 0; j < A.cols; ++j)
            for (int i = 0; i < A.rows; ++i) sums[static_cast<std::size_t>(i)] += sizeOf(A(i, j));
        return sums.empty() ? 0.0L : *std::max_element(sums.begin(), sums.end());
    }

    static QuadVector times(const QuadMatrix& A, TransposeMode op, const QuadVector& x)
    {
        if (op == TransposeMode::NotTransposed) return product(A, x);
        QuadVector y(static_cast<std::size_t>(A.cols));
        for (int j = 0; j < A.cols; ++j) {
            for (int i = 0; i < A.rows; ++i) {
                QuadCell cell = A(i, j);
                if (op == TransposeMode::ConjugateTransposed) cell.im = -cell.im;
                y[static_cast<std::size_t>(j)] =
                    y[static_cast<std::size_t>(j)] + cell * x[static_cast<std::size_t>(i)];
            }
        }
        return y;
    }

    Quad scaleOf(int i, int j) const
    {
        const int exponent = rows_[static_cast<std::size_t>(i)] + columns_[static_cast<std::size_t>(j)];
        return static_cast<Quad>(std::ldexp(1.0L, exponent));
    }

    /// Each row and column in turn to its largest element near 1, until both are.
    void equilibrate()
    {
        std::vector<int> exponents(A_.cells.size(), kNone);
        for (std::size_t k = 0; k < exponents.size(); ++k)
            if (const long double size = sizeOf(A_.cells[k]); size > 0.0L) exponents[k] = std::ilogb(size);
        for (int round = 0; round < 8; ++round) {
            for (int i = 0; i < A_.rows; ++i) balance(exponents, i, A_.cols, A_.rows, rows_, columns_);
            for (int j = 0; j < A_.cols; ++j) balance(exponents, j * A_.rows, A_.rows, 1, columns_, rows_);
        }
    }

    /// Of one line, whose elements stand `stride` apart from `first` on.
    void balance(const std::vector<int>& exponents, int first, int count, int stride, std::vector<int>& own,
                 const std::vector<int>& others) const
    {
        int top = kNone;
        for (int k = 0; k < count; ++k) {
            const int exponent = exponents[static_cast<std::size_t>(first + k * stride)];
            if (exponent != kNone) top = std::max(top, exponent + others[static_cast<std::size_t>(k)]);
        }
        const auto line = static_cast<std::size_t>(stride == 1 ? first / A_.rows : first);
        if (top != kNone) own[line] = -top;
    }

    /// Gauss and Jordan, with a pivot from all that is left; as singular counts what leaves 1e-27 of the
    /// first one.
    void eliminate(QuadMatrix A)
    {
        const int n = A.rows;
        for (int i = 0; i < n; ++i) inverse_(i, i) = 1.0;
        std::vector<int> rowOf(static_cast<std::size_t>(n)); // of the pivot in column j
        std::vector<char> used(static_cast<std::size_t>(n)), done(static_cast<std::size_t>(n));
        long double first = 0.0L;
        for (rank_ = 0; rank_ < n; ++rank_) {
            int row = -1, col = -1;
            long double top = 0.0L;
            for (int j = 0; j < n; ++j) {
                if (done[static_cast<std::size_t>(j)] != 0) continue;
                for (int i = 0; i < n; ++i) {
                    if (used[static_cast<std::size_t>(i)] != 0) continue;
                    const long double size = roughSize(A(i, j));
                    if (size > top) top = size, row = i, col = j;
                }
            }
            first = std::max(first, top);
            if (top <= 1e-27L * first || row < 0) return;
            used[static_cast<std::size_t>(row)] = done[static_cast<std::size_t>(col)] = 1;
            rowOf[static_cast<std::size_t>(col)] = row;
            clearColumn(A, row, col, done);
        }
        QuadMatrix sorted(n, n);
        for (int j = 0; j < n; ++j) {
            const int row = rowOf[static_cast<std::size_t>(j)];
            for (int k = 0; k < n; ++k) sorted(j, k) = inverse_(row, k) / A(row, j);
        }
        inverse_ = std::move(sorted);
    }

    void clearColumn(QuadMatrix& A, int row, int col, const std::vector<char>& done)
    {
        const QuadCell pivot = A(row, col);
        for (int i = 0; i < A.rows; ++i) {
            if (i == row || roughSize(A(i, col)) == 0.0L) continue;
            const QuadCell factor = A(i, col) / pivot;
            for (int j = 0; j < A.cols; ++j)
                if (done[static_cast<std::size_t>(j)] == 0) subtract(A(i, j), factor, A(row, j));
            for (int j = 0; j < A.cols; ++j) subtract(inverse_(i, j), factor, inverse_(row, j));
            A(i, col) = QuadCell();
        }
    }

    static void subtract(QuadCell& from, const QuadCell& factor, const QuadCell& value)
    {
        if (value.re != 0 || value.im != 0) from = from - factor * value;
    }
    static long double roughSize(const QuadCell& cell)
    {
        return std::max(std::abs(static_cast<long double>(cell.re)),
                        std::abs(static_cast<long double>(cell.im)));
    }

    static constexpr int kNone = -1000000;
    static constexpr int kMostSteps = 16;

    QuadMatrix A_, inverse_;
    std::vector<int> rows_, columns_; ///< exponents of two
    int rank_ = 0, steps_ = 0;
    long double condition_ = INFINITY, scaledCondition_ = INFINITY;
};

} // namespace Velmar::Lintrix::testing
