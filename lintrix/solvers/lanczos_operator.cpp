#include <lintrix/solvers/lanczos_operator.h>

#include <lintrix/sparse/kernels.h>

namespace Velmar::Lintrix::detail {

LanczosOperator::LanczosOperator(const LanczosMatrix& matrix, std::int64_t mostBytes) : A_(matrix)
{
    if (A_.symmetric) return;
    transposed_ = SlicedRows::make(SlicedRows::Of::Transpose, A_, mostBytes);
    const std::int64_t left = mostBytes - (transposed_ ? transposed_->bytes() : 0);
    slices_ = SlicedRows::make(SlicedRows::Of::A, A_, left);
}

void LanczosOperator::multiply(const double* x, double* y) const
{
    if (slices_) return slices_->multiply(x, y);
    mkl_dcsrmv("N", A_.m, A_.n, 1.0, A_.descriptor(), A_.a, A_.ja, A_.ia, A_.ia + 1, x, 0.0, y);
}

void LanczosOperator::multiplyTransposed(const double* x, double* y) const
{
    if (transposed_) return transposed_->multiply(x, y);
    mkl_dcsrmv("T", A_.m, A_.n, 1.0, A_.descriptor(), A_.a, A_.ja, A_.ia, A_.ia + 1, x, 0.0, y);
}

void LanczosOperator::addTransposed(double alpha, const double* x, double* y) const
{
    mkl_dcsrmv("T", A_.m, A_.n, alpha, A_.descriptor(), A_.a, A_.ja, A_.ia, A_.ia + 1, x, 1.0, y);
}

} // namespace Velmar::Lintrix::detail
