#include <lintrix/solvers/lanczos_matrix.h>

#include <lintrix/sparse/kernels.h>

namespace Velmar::Lintrix::detail {

void LanczosMatrix::multiply(const double* x, double* y) const
{
    product("N", 1.0, x, 0.0, y);
}

void LanczosMatrix::multiplyTransposed(const double* x, double* y) const
{
    product("T", 1.0, x, 0.0, y);
}

void LanczosMatrix::addTransposed(double alpha, const double* x, double* y) const
{
    product("T", alpha, x, 1.0, y);
}

void LanczosMatrix::product(const char* trans, double alpha, const double* x, double beta, double* y) const
{
    mkl_dcsrmv(trans, m, n, alpha, symmetric ? "SUNF" : "GUNF", a, ja, ia, ia + 1, x, beta, y);
}

} // namespace Velmar::Lintrix::detail
