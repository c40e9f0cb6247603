#pragma once
/// @file
/// The judge of a system that is not square: the pseudo-inverse in 113 bits. With A = L*U, L of full column
/// rank and U of full row rank, it is U^H*(U*U^H)^-1*(L^H*L)^-1*L^H (Ben-Israel, Greville, Generalized
/// Inverses, section 1.6).

#include <tests/systems/quality/reference.h>

namespace Velmar::Lintrix::testing {

class ExactLeastSquares {
public:
    /// Eliminates with a pivot from all that is left, as long as one is above 1e-25 of the first.
    explicit ExactLeastSquares(QuadMatrix A) : A_(std::move(A)), inverse_(A_.cols, A_.rows)
    {
        QuadMatrix left = A_;
        std::vector<QuadVector> L, U;
        long double first = 0.0L;
        for (int step = 0; step < std::min(A_.rows, A_.cols); ++step) {
            const auto top =
                std::max_element(left.cells.begin(), left.cells.end(),
                                 [](const QuadCell& a, const QuadCell& b) { return sizeOf(a) < sizeOf(b); });
            if (step == 0) first = sizeOf(*top);
            if (sizeOf(*top) <= 1e-25L * first) break;
            takeStep(left, static_cast<int>(top - left.cells.begin()), L, U);
        }
        rank_ = static_cast<int>(L.size());
        if (rank_ > 0) invert(L, U);
    }

    int rank() const { return rank_; }
    bool isDeficient() const { return rank_ < std::min(A_.rows, A_.cols); }
    /// Of Frobenius norms.
    long double condition() const { return frobenius(A_.cells) * frobenius(inverse_.cells); }
    long double norm() const { return frobenius(A_.cells); }
    /// The shortest of all x with the least ||b - A*x||.
    QuadVector solve(const QuadVector& b) const { return product(inverse_, b); }
    QuadVector residual(const QuadVector& b, const QuadVector& x) const
    {
        return difference(b, product(A_, x));
    }
    QuadVector adjointTimes(const QuadVector& y) const { return product(adjointOf(A_), y); }

    static long double frobenius(const QuadVector& cells)
    {
        long double sum = 0.0L;
        for (const QuadCell& cell : cells) sum += sizeOf(cell) * sizeOf(cell);
        return std::sqrt(sum);
    }

private:
    static void takeStep(QuadMatrix& left, int place, std::vector<QuadVector>& L, std::vector<QuadVector>& U)
    {
        const int row = place % left.rows, col = place / left.rows;
        QuadVector l(static_cast<std::size_t>(left.rows)), u(static_cast<std::size_t>(left.cols));
        for (int i = 0; i < left.rows; ++i) l[static_cast<std::size_t>(i)] = left(i, col) / left(row, col);
        for (int j = 0; j < left.cols; ++j) u[static_cast<std::size_t>(j)] = left(row, j);
        for (int j = 0; j < left.cols; ++j)
            for (int i = 0; i < left.rows; ++i)
                left(i, j) = i == row || j == col ? QuadCell()
                                                  : left(i, j) - l[static_cast<std::size_t>(i)] *
                                                                     u[static_cast<std::size_t>(j)];
        L.push_back(std::move(l));
        U.push_back(std::move(u));
    }

    static QuadMatrix adjointOf(const QuadMatrix& A)
    {
        QuadMatrix H(A.cols, A.rows);
        for (int j = 0; j < A.cols; ++j)
            for (int i = 0; i < A.rows; ++i) H(j, i) = QuadCell(A(i, j).re, -A(i, j).im);
        return H;
    }
    static QuadMatrix times(const QuadMatrix& A, const QuadMatrix& B)
    {
        QuadMatrix C(A.rows, B.cols);
        for (int j = 0; j < B.cols; ++j)
            for (int k = 0; k < A.cols; ++k)
                for (int i = 0; i < A.rows; ++i) C(i, j) = C(i, j) + A(i, k) * B(k, j);
        return C;
    }
    /// Vectors as columns.
    static QuadMatrix joined(const std::vector<QuadVector>& vectors)
    {
        QuadMatrix A(static_cast<int>(vectors.front().size()), 0);
        A.cols = static_cast<int>(vectors.size());
        for (const QuadVector& vector : vectors) A.cells.insert(A.cells.end(), vector.begin(), vector.end());
        return A;
    }

    void invert(const std::vector<QuadVector>& lines, const std::vector<QuadVector>& rows)
    {
        const QuadMatrix L = joined(lines), LH = adjointOf(L);
        QuadMatrix UT = joined(rows); // plain transpose of U
        QuadMatrix U(UT.cols, UT.rows);
        for (int j = 0; j < UT.cols; ++j)
            for (int i = 0; i < UT.rows; ++i) U(j, i) = UT(i, j);
        const QuadMatrix UH = adjointOf(U);
        inverse_ = times(UH, solution(times(U, UH), solution(times(LH, L), LH)));
    }

    QuadMatrix A_, inverse_;
    int rank_ = 0;
};

} // namespace Velmar::Lintrix::testing
