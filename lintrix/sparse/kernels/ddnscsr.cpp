// Dense to compressed rows.

#include <lintrix/sparse/kernels.h>
#include <lintrix/sparse/kernels/parameter_check.h>

#include <cstddef>

namespace Velmar::Lintrix::detail {

namespace {

/// The job array by name.
struct Job {
    explicit Job(const int* job)
        : direction(job[0]), denseBase(job[1]), base(job[2]), part(job[3]), limit(job[4]), filling(job[5])
    {
    }
    bool isLegal() const
    {
        const auto isFlag = [](int entry) { return entry == 0 || entry == 1; };
        return isFlag(direction) && isFlag(denseBase) && isFlag(base) && part >= 0 && part <= 2 &&
               limit >= 0 && filling >= 0;
    }
    /// From dense, the whole matrix.
    bool isServed() const { return direction == 0 && part == 2; }

    int direction, denseBase, base, part, limit, filling;
};

/// An element that compares equal to zero is skipped: negative zero goes, a NaN stays. Elements beyond
/// the limit are counted and not stored.
void convert(const Job& job, int m, int n, const double* dense, int lda, double* values, int* columns,
             int* rowPointers, int& info)
{
    int count = 0;
    rowPointers[0] = job.base;
    for (int i = 0; i < m; ++i) {
        const double* const row = dense + static_cast<std::ptrdiff_t>(i) * lda;
        for (int j = 0; j < n; ++j) {
            if (row[j] == 0.0) continue;
            if (job.filling != 0 && count < job.limit) {
                values[count] = row[j];
                columns[count] = j + job.base;
            }
            ++count;
        }
        rowPointers[i + 1] = count + job.base;
        if (count >= job.limit) {
            info = i + 1;
            if (job.filling != 0) return;
        }
    }
}

} // namespace

} // namespace Velmar::Lintrix::detail

namespace Velmar::Lintrix {

void mkl_ddnscsr(const int* job, const int& m, const int& n, const double* dense, const int& lda,
                 double* values, int* columns, int* rowPointers, int& info)
{
    const detail::Job named(job);
    if (!detail::parametersHold("MKL_DDNSCSR",
                                {{named.isLegal(), 1}, {m >= 0, 2}, {n >= 0, 3}, {lda >= 0, 5}})) {
        return;
    }
    if (named.isServed()) {
        detail::convert(named, m, n, dense, lda, values, columns, rowPointers, info);
    } else {
        info = KernelNotServed;
    }
}

} // namespace Velmar::Lintrix
