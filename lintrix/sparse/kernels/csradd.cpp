// C := A + beta*op(B), all in compressed rows.
//
// Row i of C merges row i of A with row i of op(B). Pass 1 counts, pass 2 fills.

#include <lintrix/sparse/kernels.h>
#include <lintrix/sparse/kernels/operand_rows.h>
#include <lintrix/sparse/kernels/parameter_check.h>
#include <lintrix/sparse/kernels/row_pointers.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

namespace {

// The merges branch on which list is behind. Patterns met in practice repeat from row to row, and the
// processor learns them; advancing both cursors by computed steps instead gains a fifth on random patterns
// and loses up to a half on the others.

/// How many distinct numbers two ascending lists hold.
int unionSize(const int* a, int aCount, const int* b, int bCount)
{
    int p = 0, q = 0, common = 0;
    while (p < aCount && q < bCount) {
        if (a[p] < b[q]) {
            ++p;
        } else if (b[q] < a[p]) {
            ++q;
        } else {
            ++p, ++q, ++common;
        }
    }
    return aCount - common + bCount;
}

/// Where the elements of C go.
template <class Cell>
struct Output {
    Cell* values;
    int* columns;

    void put(int column, const Cell& value)
    {
        *columns++ = column;
        *values++ = value;
    }
};

/// One row: the elements of A, and beta times those of op(B); where both have one, beta*b + a in this form.
/// Nothing is dropped, and beta is applied also when it is 1 or 0: pass 1 counts without values, and its
/// pattern must be this one.
template <class Cell, class BValue>
void mergeRow(const Cell* a, const int* ja, int aCount, const Cell& beta, BValue b, const int* jb, int bCount,
              Output<Cell> out)
{
    int p = 0, q = 0;
    while (p < aCount && q < bCount) {
        if (ja[p] < jb[q]) {
            out.put(ja[p], a[p]);
            ++p;
        } else if (jb[q] < ja[p]) {
            out.put(jb[q], times(beta, b(q)));
            ++q;
        } else {
            out.put(ja[p], times(beta, b(q)) + a[p]);
            ++p, ++q;
        }
    }
    for (; p < aCount; ++p) out.put(ja[p], a[p]);
    for (; q < bCount; ++q) out.put(jb[q], times(beta, b(q)));
}

template <class Cell>
int countRows(char trans, const SparseOperand<Cell>& A, const SparseOperand<Cell>& B, int* ic)
{
    const bool served = forRowsOf(trans, B, [&](int i, const int* jb, int bCount, auto) {
        const int start = A.ia[i] - 1;
        ic[i + 1] = unionSize(A.ja + start, A.ia[i + 1] - 1 - start, jb, bCount);
    });
    if (!served) return KernelNoMemory;
    return lengthsToPointers(A.rows, ic) ? 0 : KernelTooManyElements;
}

template <class Cell>
int fillRows(char trans, const SparseOperand<Cell>& A, const Cell& beta, const SparseOperand<Cell>& B,
             const int* ic, Cell* c, int* jc)
{
    const bool served = forRowsOf(trans, B, [&](int i, const int* jb, int bCount, auto b) {
        const int start = A.ia[i] - 1, out = ic[i] - 1;
        mergeRow(A.values + start, A.ja + start, A.ia[i + 1] - 1 - start, beta, b, jb, bCount,
                 Output<Cell>{c + out, jc + out});
    });
    return served ? 0 : KernelNoMemory;
}

template <class Cell>
void csradd(const char* routine, char trans, int request, int sort, const SparseOperand<Cell>& A,
            const Cell& beta, const Cell* b, const int* jb, const int* ib, Cell* c, int* jc, int* ic,
            int nzmax, int& info)
{
    if (!parametersHold(routine, {{isTransposition(trans), 1},
                                  {request >= 0 && request <= 2, 2},
                                  {A.rows >= 0, 4},
                                  {A.columns >= 0, 5},
                                  {request != 0 || nzmax >= 0, 16}})) {
        return;
    }
    const bool straight = trans == 'N';
    const SparseOperand<Cell> B{straight ? A.rows : A.columns, straight ? A.columns : A.rows, b, jb, ib};
    if (request == 0 || sort != 0) {
        info = KernelNotServed;
    } else if (request == 1) {
        info = countRows(trans, A, B, ic);
    } else {
        info = fillRows(trans, A, beta, B, ic, c, jc);
    }
}

} // namespace

} // namespace Velmar::Lintrix::detail

namespace Velmar::Lintrix {

void mkl_dcsradd(const char* trans, const int& request, const int& sort, const int& m, const int& n,
                 const double* a, const int* ja, const int* ia, const double& beta, const double* b,
                 const int* jb, const int* ib, double* c, int* jc, int* ic, const int& nzmax, int& info)
{
    detail::csradd<double>("MKL_DCSRADD", *trans, request, sort, {m, n, a, ja, ia}, beta, b, jb, ib, c, jc,
                           ic, nzmax, info);
}

void mkl_zcsradd(const char* trans, const int& request, const int& sort, const int& m, const int& n,
                 const std::complex<double>* a, const int* ja, const int* ia,
                 const std::complex<double>& beta, const std::complex<double>* b, const int* jb,
                 const int* ib, std::complex<double>* c, int* jc, int* ic, const int& nzmax, int& info)
{
    detail::csradd<std::complex<double>>("MKL_ZCSRADD", *trans, request, sort, {m, n, a, ja, ia}, beta, b, jb,
                                         ib, c, jc, ic, nzmax, info);
}

} // namespace Velmar::Lintrix
