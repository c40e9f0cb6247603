// C := op(A)*B, all in compressed rows.
//
// Row i of C is the sum of the rows j of B, each times op(A)(i, j), over the stored elements of row i of
// op(A). Pass 1 counts the columns that come together, pass 2 computes them: two walks over the same
// products. Linear in the multiplications. Source: F. G. Gustavson, Two fast algorithms for sparse matrices,
// ACM TOMS 4 (1978).

#include <lintrix/sparse/kernels.h>
#include <lintrix/sparse/kernels/column_sweep.h>
#include <lintrix/sparse/kernels/operand_rows.h>
#include <lintrix/sparse/kernels/parameter_check.h>
#include <lintrix/sparse/kernels/row_pointers.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

namespace {

/// One row of C while it is summed up, its elements in the order in which they turn up.
///
/// The elements of all rows are numbered through from 1, and marker_[j] is the number of the last one in
/// column j: column j is in this row if that is at least firstOfRow_. So the markers are cleared once a call.
/// Workspace for k columns: 2*k int, k cells and the bits of a ColumnSweep.
template <class Cell>
class RowSum {
public:
    explicit RowSum(int columns) noexcept
        : marker_(static_cast<std::size_t>(columns)), columns_(marker_.size()), values_(marker_.size()),
          sweep_(columns)
    {
        if (marker_.get() != nullptr) std::fill_n(marker_.get(), marker_.size(), 0);
    }

    bool isThere() const noexcept
    {
        return marker_.isThere() && columns_.isThere() && values_.isThere() && sweep_.isThere();
    }

    void begin() noexcept
    {
        firstOfRow_ += count_;
        count_ = 0;
    }

    /// Adds factor * (the row of B that has `length` elements).
    void add(const Cell& factor, const Cell* b, const int* jb, int length) noexcept
    {
        int* const marker = marker_.get();
        Cell* const values = values_.get();
        for (int q = 0; q < length; ++q) {
            const int j = jb[q] - 1;
            const int at = marker[j] - firstOfRow_;
            if (at >= 0) {
                values[at] += times(factor, b[q]);
            } else {
                marker[j] = firstOfRow_ + count_;
                columns_.get()[count_] = j;
                values[count_++] = times(factor, b[q]);
            }
        }
    }

    /// Calls work(column, value) for each element, columns from 0 and ascending. Short rows are sorted by
    /// insertion: they come as a few ascending pieces.
    template <class Work>
    void inOrder(Work work)
    {
        if (count_ > kShort) {
            sweep_.inOrder(columns_.get(), count_,
                           [&](int j) { work(j, values_.get()[marker_.get()[j] - firstOfRow_]); });
            return;
        }
        sort();
        for (int e = 0; e < count_; ++e) work(columns_.get()[e], values_.get()[e]);
    }

private:
    static constexpr int kShort = 32;

    void sort() noexcept
    {
        int* const columns = columns_.get();
        Cell* const values = values_.get();
        for (int e = 1; e < count_; ++e) {
            const int column = columns[e];
            const Cell value = values[e];
            int at = e;
            for (; at > 0 && columns[at - 1] > column; --at) {
                columns[at] = columns[at - 1];
                values[at] = values[at - 1];
            }
            columns[at] = column;
            values[at] = value;
        }
    }

    Scratch<int> marker_, columns_;
    Scratch<Cell> values_;
    ColumnSweep sweep_;
    int firstOfRow_ = 1, count_ = 0;
};

/// Pass 1. seen[j] = i + 1: column j is counted for row i.
template <class Cell>
int countRows(char trans, const SparseOperand<Cell>& A, const SparseOperand<Cell>& B, int rows, int* ic)
{
    const Scratch<int> seen(static_cast<std::size_t>(B.columns));
    if (!seen.isThere()) return KernelNoMemory;
    if (B.columns != 0) std::fill_n(seen.get(), seen.size(), 0);
    const bool served = forRowsOf(trans, A, [&](int i, const int* ja, int aCount, auto) {
        int* const mark = seen.get();
        int length = 0;
        for (int e = 0; e < aCount; ++e) {
            const int j = ja[e] - 1;
            for (int q = B.ia[j] - 1; q < B.ia[j + 1] - 1; ++q) {
                const int column = B.ja[q] - 1;
                length += mark[column] != i + 1;
                mark[column] = i + 1;
            }
        }
        ic[i + 1] = length;
    });
    if (!served) return KernelNoMemory;
    return lengthsToPointers(rows, ic) ? 0 : KernelTooManyElements;
}

/// Pass 2. "N" keeps elements that cancel and finds `ic` as pass 1 left it, while the transposed forms drop
/// them and write `ic` anew. Patterns that callers keep come from both, so the difference stays.
template <class Cell>
int fillRows(char trans, const SparseOperand<Cell>& A, const SparseOperand<Cell>& B, Cell* c, int* jc,
             int* ic)
{
    RowSum<Cell> sum(B.columns);
    if (!sum.isThere()) return KernelNoMemory;
    const bool dropping = trans != 'N';
    int rewritten = 0;
    const bool served = forRowsOf(trans, A, [&](int i, const int* ja, int aCount, auto a) {
        sum.begin();
        for (int e = 0; e < aCount; ++e) {
            const int start = B.ia[ja[e] - 1] - 1;
            sum.add(a(e), B.values + start, B.ja + start, B.ia[ja[e]] - 1 - start);
        }
        int at = dropping ? rewritten : ic[i] - 1;
        sum.inOrder([&](int j, const Cell& value) {
            if (dropping && value == Cell{0.0}) return;
            jc[at] = j + 1;
            c[at++] = value;
        });
        if (dropping) {
            rewritten = at;
            ic[i + 1] = at + 1;
        }
    });
    if (!served) return KernelNoMemory;
    if (dropping) ic[0] = 1;
    return 0;
}

template <class Cell>
void csrmultcsr(const char* routine, char trans, int request, int sort, int k, const SparseOperand<Cell>& A,
                const Cell* b, const int* jb, const int* ib, Cell* c, int* jc, int* ic, int nzmax, int& info)
{
    if (!parametersHold(routine, {{isTransposition(trans), 1},
                                  {request >= 0 && request <= 2, 2},
                                  {A.rows >= 0, 4},
                                  {A.columns >= 0, 5},
                                  {k >= 0, 6},
                                  {request != 0 || nzmax >= 0, 16}})) {
        return;
    }
    const bool straight = trans == 'N';
    const SparseOperand<Cell> B{straight ? A.columns : A.rows, k, b, jb, ib};
    if (request == 0 || sort != 0) {
        info = KernelNotServed;
    } else if (request == 1) {
        info = countRows(trans, A, B, straight ? A.rows : A.columns, ic);
    } else {
        info = fillRows(trans, A, B, c, jc, ic);
    }
}

} // namespace

} // namespace Velmar::Lintrix::detail

namespace Velmar::Lintrix {

void mkl_dcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m, const int& n,
                     const int& k, const double* a, const int* ja, const int* ia, const double* b,
                     const int* jb, const int* ib, double* c, int* jc, int* ic, const int& nzmax, int& info)
{
    detail::csrmultcsr<double>("MKL_DCSRMULTCSR", *trans, request, sort, k, {m, n, a, ja, ia}, b, jb, ib, c,
                               jc, ic, nzmax, info);
}

void mkl_zcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m, const int& n,
                     const int& k, const std::complex<double>* a, const int* ja, const int* ia,
                     const std::complex<double>* b, const int* jb, const int* ib, std::complex<double>* c,
                     int* jc, int* ic, const int& nzmax, int& info)
{
    detail::csrmultcsr<std::complex<double>>("MKL_ZCSRMULTCSR", *trans, request, sort, k, {m, n, a, ja, ia},
                                             b, jb, ib, c, jc, ic, nzmax, info);
}

} // namespace Velmar::Lintrix
