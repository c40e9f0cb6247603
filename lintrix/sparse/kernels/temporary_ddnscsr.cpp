// Stands in for the kernel until it lands; not to be kept.
#include <lintrix/sparse/kernels/kernels.h>

namespace Velmar::Lintrix::detail {

void mkl_ddnscsr(const int* job, const int& m, const int& n, const double* dense, const int& lda,
                 double* values, int* columns, int* rowPointers, int&)
{
    int count = 0;
    rowPointers[0] = job[2];
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            const double x = dense[static_cast<long>(i) * lda + j];
            if (x == 0.0) continue;
            if (job[5] != 0) {
                values[count] = x;
                columns[count] = j + job[2];
            }
            ++count;
        }
        rowPointers[i + 1] = count + job[2];
    }
}

} // namespace Velmar::Lintrix::detail
