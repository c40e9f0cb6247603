// The tutorial on dense matrices, step by step: hold numbers, solve, factorize once for many right-hand
// sides, fit, find eigenvalues, and meet a failure.

#include <lintrix/lintrix.h>

#include <cstdio>

using namespace Velmar::Lintrix;

namespace {

void hold()
{
    // [hold]
    const Matrix A{{4, -1, 0}, {-1, 4, -1}, {0, -1, 4}}; // row after row
    Matrix B(3, 2);                                      // zeros
    B(0, 1) = 5.0;                                       // row 0, column 1
    const Matrix C = 2.0 * (A * B) + B;                  // each operator makes a new matrix
    std::printf("C is %d x %d, C(0, 1) = %g\n", C.Rows(), C.Cols(), C(0, 1));
    // [/hold]
}

void solve()
{
    // [solve]
    const Matrix A{{4, -1, 0}, {-1, 4, -1}, {0, -1, 4}};
    const Matrix b{{2}, {4}, {10}};
    SolveRoad road;
    const Matrix x = A.Solve(b, road);
    std::printf("x = (%.3f, %.3f, %.3f), by %s\n", x(0, 0), x(1, 0), x(2, 0),
                road == SolveRoad::LU ? "LU" : "another road");
    // [/solve]
}

void factorizeOnce()
{
    // [factorize]
    const Matrix A{{4, -1, 0}, {-1, 4, -1}, {0, -1, 4}};
    const Cholesky factor(A); // n^3/3 operations, once
    if (!factor.Succeeded()) return;
    for (const double load : {1.0, 2.0, 3.0}) {
        const Matrix x = factor.Solve(Matrix{{load}, {0}, {0}}); // 2n^2 each
        std::printf("load %g moves the first point by %.4f\n", load, x(0, 0));
    }
    // [/factorize]
}

void fit()
{
    // [fit]
    const Matrix A{{1, 0}, {1, 1}, {1, 2}, {1, 3}}; // a row (1, t) a point
    const Matrix y{{1.0}, {3.0}, {5.0}, {7.0}};
    const QR qr(A);
    const Matrix line = qr.Solve(y);
    std::printf("y = %.2f + %.2f t\n", line(0, 0), line(1, 0));
    // [/fit]
}

void eigenvalues()
{
    // [eigenvalues]
    const Matrix A{{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}};
    const SymEigen eigen(A);
    if (!eigen.Succeeded()) return;
    const Vector values = eigen.Eigenvalues(); // largest first
    std::printf("eigenvalues %.4f, %.4f, %.4f\n", values[0], values[1], values[2]);
    // [/eigenvalues]
}

void complexNumbers()
{
    // [complex]
    const CMatrix Z{{2, {0, 1}}, {{0, -1}, 2}}; // 2, i; -i, 2
    const CMatrix b{{1}, {0}};
    const CMatrix x = CLU(Z).Solve(b);
    std::printf("x(1) = %.4f%+.4fi, Hermitian: %s\n", x(1, 0).real(), x(1, 0).imag(),
                Z.IsHermitian() ? "yes" : "no");
    // [/complex]
}

void failures()
{
    // [failures]
    const Matrix A{{1, 2}, {2, 4}}; // the second row is twice the first
    try {
        A.Inverse();
    } catch (const SingularMatrixException& failure) {
        std::printf("refused: %s\n", failure.what());
    }
    const LU lu(A);
    std::printf("singular, asked before: %s\n", lu.IsSingular() ? "yes" : "no");
    // [/failures]
}

} // namespace

int main()
{
    hold();
    solve();
    factorizeOnce();
    fit();
    eigenvalues();
    complexNumbers();
    failures();
}
