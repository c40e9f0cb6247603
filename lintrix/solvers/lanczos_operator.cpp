#include <lintrix/solvers/lanczos_operator.h>

#include <lintrix/services/threads.h>
#include <lintrix/sparse/detail/transposed_rows.h>
#include <lintrix/sparse/kernels/dense_operand.h>
#include <lintrix/sparse/kernels/kernels.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

namespace {

// Fewer elements than this are not worth a second thread.
constexpr int kElementsPerThread = 10000;

// On one thread, the long rows of a wide matrix are scattered faster than the short ones of its transpose are
// summed.
bool gatheringPays(const LanczosMatrix& A)
{
    return A.n <= A.m || MKL_Get_Max_Threads() > 1;
}

std::int64_t bytesOfTransposed(const LanczosMatrix& A)
{
    return std::int64_t{12} * A.elements() + std::int64_t{4} * A.n;
}

// y := A*x row by row, one sum a row; the rows are shared out by their elements.
void gather(const ResultRows<double>& A, std::int32_t rows, const double* x, double* y)
{
    const std::int32_t* const ia = A.ia.get();
    const std::int32_t elements = ia[rows] - ia[0];
    const int threads = std::clamp(elements / kElementsPerThread, 1, MKL_Get_Max_Threads());
    const CompressedRows<double> all{A.a.get(), A.ja.get(), ia, ia + 1};
    const auto firstRow = [&](std::int64_t part) {
        const std::int64_t start = ia[0] + elements * part / threads;
        return static_cast<int>(std::lower_bound(ia, ia + rows, start) - ia);
    };
#pragma omp parallel for num_threads(threads) schedule(static, 1)
    for (int part = 0; part < threads; ++part) {
        const int last = part + 1 == threads ? rows : firstRow(part + 1);
        gatherRows<1, 1>(all, firstRow(part), last, 1.0, Panel<const double>{x, 0}, Panel<double>{y, 0},
                         [](double) { return 0.0; });
    }
}

} // namespace

LanczosOperator::LanczosOperator(const LanczosMatrix& matrix, std::int64_t mostBytes) : A_(matrix)
{
    if (A_.symmetric || !gatheringPays(A_) || bytesOfTransposed(A_) > mostBytes) return;
    transposed_ = transposedRows(A_.m, A_.n, A_.a, A_.ia, A_.ja);
}

void LanczosOperator::multiply(const double* x, double* y) const
{
    mkl_dcsrmv("N", A_.m, A_.n, 1.0, A_.descriptor(), A_.a, A_.ja, A_.ia, A_.ia + 1, x, 0.0, y);
}

void LanczosOperator::multiplyTransposed(const double* x, double* y) const
{
    if (transposed_) return gather(*transposed_, A_.n, x, y);
    mkl_dcsrmv("T", A_.m, A_.n, 1.0, A_.descriptor(), A_.a, A_.ja, A_.ia, A_.ia + 1, x, 0.0, y);
}

void LanczosOperator::addTransposed(double alpha, const double* x, double* y) const
{
    mkl_dcsrmv("T", A_.m, A_.n, alpha, A_.descriptor(), A_.a, A_.ja, A_.ia, A_.ia + 1, x, 1.0, y);
}

} // namespace Velmar::Lintrix::detail
