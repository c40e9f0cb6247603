// C := alpha*op(A)*B + beta*C for dense B and C.

#include <lintrix/sparse/kernels.h>
#include <lintrix/sparse/kernels/dense_operand.h>
#include <lintrix/sparse/kernels/parameter_check.h>
#include <lintrix/sparse/kernels/scratch.h>
#include <lintrix/sparse/kernels/thread_plan.h>

#include <lintrix/services/team.h>
#include <lintrix/services/threads.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Velmar::Lintrix::detail {

namespace {

template <class Cell>
struct Product {
    int m, n, k; // A is m x k; B and C have n columns
    Cell alpha, beta;
    CompressedRowsView<Cell> A;
    Panel<const Cell> B;
    Panel<Cell> C;

    Panel<const Cell> bFrom(int column) const { return {B.cells + column * B.stride, B.stride}; }
    Panel<Cell> cFrom(int column) const { return {C.cells + column * C.stride, C.stride}; }
};

/// Calls work(column, width) for the columns first .. last-1, four at a time and the rest one by one. The
/// width is an integral constant.
template <class Work>
void forPanels(int first, int last, Work work)
{
    int column = first;
    for (; column + 4 <= last; column += 4) work(column, std::integral_constant<int, 4>{});
    for (; column < last; ++column) work(column, std::integral_constant<int, 1>{});
}

/// Calls work(first, last) for each block of columns, in parallel if there are several.
template <class Work>
void forColumnBlocks(const Blocks& blocks, Work work)
{
    runParts(blocks.count, blocks.count, [&](int block) { work(blocks.first(block), blocks.last(block)); });
}

/// Columns first .. last-1 of B in panels as wide as a cache line, each copied so that a row of it is one
/// line: wherever an element of A points to, its products take one access to memory and not one for each
/// column. The copy pays from so many elements for each row of B on, whatever their pattern. Returns the
/// first column that is left, since it fills no panel, or the copy does not pay, or there is no memory for
/// it.
template <class Cell, class Scaling>
int multiplyPacked(const Product<Cell>& p, int first, int last, Scaling scaled)
{
    constexpr int kWidth = 64 / sizeof(Cell);
    constexpr std::int64_t kElementsThatPay = 16;
    const std::int64_t elements = p.m == 0 ? 0 : p.A.ends[p.m - 1] - p.A.starts[0];
    if (last - first < kWidth || elements < kElementsThatPay * p.k) return first;
    const Scratch<Cell> packed(static_cast<std::size_t>(p.k) * kWidth);
    if (!packed.isThere()) return first;
    for (; last - first >= kWidth; first += kWidth) {
        pack(p.bFrom(first), p.k, PackedPanel<Cell, kWidth>{packed.get()});
        gatherRows<kWidth, 1>(p.A, 0, p.m, p.alpha, PackedPanel<const Cell, kWidth>{packed.get()},
                              p.cFrom(first), scaled);
    }
    return first;
}

template <class Cell>
void multiply(const Product<Cell>& p, const Blocks& blocks)
{
    withScaling(p.beta, [&](auto scaled) {
        forColumnBlocks(blocks, [&](int first, int last) {
            first = multiplyPacked(p, first, last, scaled);
            forPanels(first, last, [&](int column, auto width) {
                gatherRows<width, 1>(p.A, 0, p.m, p.alpha, p.bFrom(column), p.cFrom(column), scaled);
            });
        });
    });
}

/// The k rows of a transposed result, one column after the other.
template <class Cell>
void scaleTransposed(const Product<Cell>& p)
{
    withScaling(p.beta, [&](auto scaled) {
        for (int column = 0; column < p.n; ++column) scaleRows<1>(p.cFrom(column), 0, p.k, scaled);
    });
}

/// All of C is scaled first. A caller may set the columns of C nearer to each other than the k rows of the
/// result are long; they overlap then, what several of them have in common is scaled repeatedly, and one
/// thread does it all.
template <class Cell>
void multiplyTransposed(const Product<Cell>& p, bool conjugate, const Blocks& planned)
{
    const Blocks blocks = p.k > p.C.stride ? Blocks{p.n, 1} : planned;
    scaleTransposed(p);
    withConjugation<Cell>(conjugate, [&](auto conjugated) {
        forColumnBlocks(blocks, [&](int first, int last) {
            forPanels(first, last, [&](int column, auto width) {
                scatterRows<width, conjugated>(p.A, p.m, p.alpha, p.bFrom(column), p.cFrom(column));
            });
        });
    });
}

/// Transposed, the columns of a wide matrix's result are longer than its triangle reaches, and all of them is
/// scaled.
template <class Cell>
void multiplySymmetric(Product<Cell> p, char trans, const Blocks& blocks)
{
    if (trans != 'N' && p.k > p.m) {
        scaleTransposed(p);
        p.beta = Cell{1.0};
    }
    withConjugation<Cell>(trans == 'C', [&](auto conjugated) {
        withScaling(p.beta, [&](auto scaled) {
            forColumnBlocks(blocks, [&](int first, int last) {
                forPanels(first, last, [&](int column, auto width) {
                    const Panel<Cell> c = p.cFrom(column);
                    const int ready = symmetricRows<width, conjugated>(p.A, 0, p.m, p.m, p.alpha,
                                                                       p.bFrom(column), c, scaled);
                    scaleRows<width>(c, ready, p.m, scaled);
                });
            });
        });
    });
}

template <class Cell>
void csrmm(const char* routine, char trans, const char* descriptor, const Product<Cell>& product)
{
    if (!parametersHold(routine, {{isTransposition(trans), 1},
                                  {product.m >= 0, 2},
                                  {product.n >= 0, 3},
                                  {product.k >= 0, 4},
                                  {isDescriptor(descriptor), 6}})) {
        return;
    }
    const Blocks blocks = planColumns(product.n, MKL_Get_Max_Threads());
    if (isSymmetric(descriptor)) {
        multiplySymmetric(product, trans, blocks);
    } else if (isGeneral(descriptor)) {
        if (trans == 'N') {
            multiply(product, blocks);
        } else {
            multiplyTransposed(product, trans == 'C', blocks);
        }
    }
}

} // namespace

} // namespace Velmar::Lintrix::detail

namespace Velmar::Lintrix {

void mkl_dcsrmm(const char* transa, const int& m, const int& n, const int& k, const double& alpha,
                const char* descriptor, const double* values, const int* columns, const int* rowStarts,
                const int* rowEnds, const double* B, const int& ldb, const double& beta, double* C,
                const int& ldc)
{
    detail::csrmm<double>("MKL_DCSRMM", *transa, descriptor,
                          {m, n, k, alpha, beta, {values, columns, rowStarts, rowEnds}, {B, ldb}, {C, ldc}});
}

void mkl_zcsrmm(const char* transa, const int& m, const int& n, const int& k,
                const std::complex<double>& alpha, const char* descriptor, const std::complex<double>* values,
                const int* columns, const int* rowStarts, const int* rowEnds, const std::complex<double>* B,
                const int& ldb, const std::complex<double>& beta, std::complex<double>* C, const int& ldc)
{
    detail::csrmm<std::complex<double>>(
        "MKL_ZCSRMM", *transa, descriptor,
        {m, n, k, alpha, beta, {values, columns, rowStarts, rowEnds}, {B, ldb}, {C, ldc}});
}

} // namespace Velmar::Lintrix
