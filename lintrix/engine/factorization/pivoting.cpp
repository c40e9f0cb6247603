#include <lintrix/engine/factorization/pivoting.h>

#include <lintrix/engine/call/division.h>
#include <lintrix/engine/factorization/column_kernel.h>
#include <lintrix/engine/factorization/pivot_pair.h>
#include <lintrix/services/dispatch.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class T>
class Block {
public:
    Block(T* cells, int ld, int w) : cells_(cells), ld_(ld), w_(w) {}
    T& operator()(int i, int j) const { return cells_[i + std::ptrdiff_t{ld_} * j]; }
    T* column(int j) const { return cells_ + std::ptrdiff_t{ld_} * j; }
    int width() const { return w_; }

private:
    T* cells_;
    int ld_, w_;
};

template <class T>
bool isNegative(T value)
{
    return realPart(value) < 0;
}

// The pivot that is used in place of `value`.
template <class T>
T sufficient(T value, RealOf<T> eps, PivotCounts& counts)
{
    if (std::abs(realPart(value)) > eps || !(static_cast<double>(eps) >= modulus(value))) return value;
    ++counts.perturbed;
    return isNegative(value) ? T(-eps) : T(eps);
}

template <class T>
RealOf<T> threshold(double eps, double standard)
{
    const auto told = static_cast<RealOf<T>>(std::abs(eps)); // 0, too, where T does not hold it
    return told == 0 ? static_cast<RealOf<T>>(standard) : told;
}

struct Place {
    int row, column;
};

template <class T>
RealOf<T> largestMagnitude(const T* cells, int count)
{
    RealOf<T> largest = 0;
#pragma omp simd reduction(max : largest)
    for (int i = 0; i < count; ++i) {
        const RealOf<T> m = magnitude(cells[i]);
        largest = largest < m ? m : largest;
    }
    return largest;
}

// The column with the largest magnitude among those looked at, the last of equals.
template <class T>
struct Champion {
    RealOf<T> largest = 0;
    int column;

    void meet(int j, RealOf<T> largestThere)
    {
        if (largestThere >= largest) {
            largest = largestThere;
            column = j;
        }
    }
};

// The last row of it, from k on.
template <class T>
Place placeOf(const Champion<T>& champion, const Block<T>& a, int k)
{
    const T* const column = a.column(champion.column);
    int row = a.width() - 1;
    while (row > k && magnitude(column[row]) != champion.largest) --row;
    return {row, champion.column};
}

template <class T>
void exchange(const Block<T>& a, int k, Place with)
{
    if (with.row != k) {
        for (int j = 0; j < a.width(); ++j) std::swap(a(k, j), a(with.row, j));
    }
    if (with.column != k) std::swap_ranges(a.column(k), a.column(k) + a.width(), a.column(with.column));
}

// Real numbers are divided one by one: the last bit of L is that of a quotient.
template <class T>
void divide(T* cells, int count, T by)
{
    if constexpr (kIsComplex<T>) {
        divideByInverse(by, cells, count);
    } else {
        for (int i = 0; i < count; ++i) cells[i] /= by;
    }
}

// Column k becomes L's; the rest of the block loses the product of column and row k. Returns the column where
// the largest magnitude is now.
template <int Bytes, class T>
LINTRIX_ALWAYS_INLINE Champion<T> eliminate(const Block<T>& a, int k)
{
    const int behind = k + 1, count = a.width() - behind;
    T* const l = a.column(k) + behind;
    divide(l, count, a(k, k));
    Champion<T> champion{0, behind};
    for (int j = behind; j < a.width(); ++j) {
        T* const column = a.column(j) + behind;
        champion.meet(j, column_kernel::loseMultiple<Bytes, true>(l, a(k, j), column, count));
    }
    return champion;
}

// What is taken as a pivot at step k.
struct Pivot {
    int size;       // 1 or 2
    int partner;    // of k in a 1 x 1 pivot, of k + 1 in a 2 x 2 one
    bool mayBeTiny; // it is perturbed then
};

// The last of the largest on the diagonal.
template <class T>
Pivot chooseOnDiagonal(const Block<T>& a, int k, RealOf<T> /*eps*/)
{
    int r = k;
    for (int i = k; i < a.width(); ++i) {
        if (magnitude(a(i, i)) >= magnitude(a(r, r))) r = i;
    }
    return {1, r, true};
}

// The test of Bunch and Kaufman.
template <class T>
Pivot chooseBunchKaufman(const Block<T>& a, int k, RealOf<T> eps)
{
    using R = RealOf<T>;
    constexpr R alpha = static_cast<R>(0.6403882032022076); // (1 + sqrt(17)) / 8
    const int w = a.width();
    const R d = magnitude(a(k, k));
    R c = 0; // largest below it, the first of equals, in row r
    int r = k;
    for (int i = k + 1; i < w; ++i) {
        if (magnitude(a(i, k)) > c) {
            c = magnitude(a(i, k));
            r = i;
        }
    }
    if (eps >= std::max(d, c)) return {1, k, true};
    if (r == k || d >= alpha * c) return {1, k, false}; // alone also where d is not a number
    R e = 0;                                            // largest off the diagonal in row r
    for (int j = k; j < r; ++j) e = std::max(e, magnitude(a(r, j)));
    for (int i = r + 1; i < w; ++i) e = std::max(e, magnitude(a(i, r)));
    if (d / c * e >= alpha * c) return {1, k, false}; // d*e >= alpha*c*c, which may be no numbers
    if (magnitude(a(r, r)) >= alpha * e) return {1, r, false};
    return {2, r, false};
}

// Factors the lower triangle by pivots that `choose(a, k, eps)` takes. All is inlined into functions for one
// instruction set each.
template <class T, int Bytes>
class SymmetricPivoting {
public:
    SymmetricPivoting(const Block<T>& block, double eps, bool hermitian, int* exchanges)
        : a_(block), eps_(threshold<T>(eps, 1e-8)), hermitian_(hermitian), exchanges_(exchanges)
    {
    }

    template <class Choose>
    LINTRIX_ALWAYS_INLINE PivotCounts run(Choose choose)
    {
        for (int i = 0; i < a_.width(); ++i) keepReal(i);
        for (int k = 0; k < a_.width();) {
            const Pivot pivot = choose(a_, k, eps_);
            pivot.size == 1 ? takeOne(k, pivot) : takeTwo(k, pivot);
            k += pivot.size;
        }
        return counts_;
    }

private:
    T conjugated(T value) const { return conjugate(value, hermitian_); }

    // The diagonal of a Hermitian matrix, whatever its caller left in the imaginary part and rounding brings.
    void keepReal(int i)
    {
        if (hermitian_) a_(i, i) = T(realPart(a_(i, i)));
    }

    LINTRIX_ALWAYS_INLINE void takeOne(int k, const Pivot& pivot)
    {
        exchange(k, pivot.partner);
        exchanges_[k] = pivot.partner + 1;
        if (pivot.mayBeTiny) a_(k, k) = sufficient(a_(k, k), eps_, counts_);
        countSign(a_(k, k));
        eliminateOne(k);
    }

    LINTRIX_ALWAYS_INLINE void takeTwo(int k, const Pivot& pivot)
    {
        exchange(k + 1, pivot.partner);
        exchanges_[k] = -(k + 1);
        exchanges_[k + 1] = -(pivot.partner + 1);
        const T off = a_(k + 1, k);
        const PivotPair<T> pair(a_(k, k), off, conjugated(off), a_(k + 1, k + 1));
        const bool isSplit = pair.hasNegativeDeterminant(); // into one of each sign
        countSign(isSplit ? T(1) : a_(k, k));
        countSign(isSplit ? T(-1) : a_(k, k));
        eliminateTwo(k, pair);
    }

    void countSign(T value)
    {
        if (hermitian_ || !kIsComplex<T>) ++(isNegative(value) ? counts_.negative : counts_.positive);
    }

    // Rows and columns k <= r: L's rows so far, and what is still to do.
    void exchange(int k, int r)
    {
        if (k == r) return;
        for (int j = 0; j < k; ++j) std::swap(a_(k, j), a_(r, j));
        std::swap(a_(k, k), a_(r, r));
        for (int i = k + 1; i < r; ++i) {
            const T kept = conjugated(a_(i, k));
            a_(i, k) = conjugated(a_(r, i));
            a_(r, i) = kept;
        }
        a_(r, k) = conjugated(a_(r, k));
        for (int i = r + 1; i < a_.width(); ++i) std::swap(a_(i, k), a_(i, r));
    }

    // Column k becomes L's, the lower triangle behind it is updated.
    LINTRIX_ALWAYS_INLINE void eliminateOne(int k)
    {
        if (k + 1 == a_.width()) return;
        T* const l = a_.column(k);
        const T inverse = inverseOf(l[k]);
        for (int j = k + 1; j < a_.width(); ++j) {
            const T factor = product(conjugated(l[j]), inverse);
            column_kernel::loseMultiple<Bytes, false>(l + j, factor, a_.column(j) + j, a_.width() - j);
            keepReal(j);
        }
        for (int i = k + 1; i < a_.width(); ++i) l[i] = product(l[i], inverse);
    }

    // Columns (x, y) from k on become (x, y)*inv(D).
    LINTRIX_ALWAYS_INLINE void eliminateTwo(int k, const PivotPair<T>& pair)
    {
        T *const x = a_.column(k), *const y = a_.column(k + 1);
        for (int j = k + 2; j < a_.width(); ++j) {
            T* const column = a_.column(j);
            T first = conjugated(x[j]), second = conjugated(y[j]);
            pair.divideColumn(first, second);
            for (int i = j; i < a_.width(); ++i) column[i] -= product(x[i], first) + product(y[i], second);
            keepReal(j);
        }
        for (int i = k + 2; i < a_.width(); ++i) pair.divideRow(x[i], y[i]);
        y[k] = std::exchange(x[k + 1], T(0));
    }

    const Block<T> a_;
    const RealOf<T> eps_;
    const bool hermitian_;
    int* const exchanges_;
    PivotCounts counts_;
};

} // namespace

namespace {

template <int Bytes, class T>
LINTRIX_ALWAYS_INLINE PivotCounts pivotBlock(const Block<T>& a, double eps, int* rowExchange,
                                             int* columnExchange)
{
    const int w = a.width();
    const RealOf<T> smallest = threshold<T>(eps, 1e-13);
    PivotCounts counts;
    Champion<T> champion{0, 0};
    for (int j = 0; j < w; ++j) champion.meet(j, largestMagnitude(a.column(j), w));
    for (int k = 0; k < w; ++k) {
        const Place place = placeOf(champion, a, k);
        exchange(a, k, place);
        rowExchange[k] = place.row + 1;
        columnExchange[k] = place.column + 1;
        a(k, k) = sufficient(a(k, k), smallest, counts);
        champion = eliminate<Bytes>(a, k);
    }
    return counts;
}

// Blocks of one column are most of those of networks.
template <class T>
PivotCounts pivotAlone(T& cell, double eps, int& rowExchange, int& columnExchange)
{
    PivotCounts counts;
    cell = sufficient(cell, threshold<T>(eps, 1e-13), counts);
    rowExchange = columnExchange = 1;
    return counts;
}

template <class T>
struct Pivoting {
    PivotCounts (*completely)(const Block<T>&, double, int*, int*);
    PivotCounts (*onDiagonal)(const Block<T>&, double, bool, int*);
    PivotCounts (*bunchKaufman)(const Block<T>&, double, bool, int*);
};

template <class T>
LINTRIX_FOR_AVX2 PivotCounts completelyAvx2(const Block<T>& a, double eps, int* rows, int* columns)
{
    return pivotBlock<32>(a, eps, rows, columns);
}
template <class T>
LINTRIX_FOR_AVX2 PivotCounts onDiagonalAvx2(const Block<T>& a, double eps, bool hermitian, int* exchanges)
{
    return SymmetricPivoting<T, 32>(a, eps, hermitian, exchanges).run(chooseOnDiagonal<T>);
}
template <class T>
LINTRIX_FOR_AVX2 PivotCounts bunchKaufmanAvx2(const Block<T>& a, double eps, bool hermitian, int* exchanges)
{
    return SymmetricPivoting<T, 32>(a, eps, hermitian, exchanges).run(chooseBunchKaufman<T>);
}
template <class T>
PivotCounts completelySse2(const Block<T>& a, double eps, int* rows, int* columns)
{
    return pivotBlock<16>(a, eps, rows, columns);
}
template <class T>
PivotCounts onDiagonalSse2(const Block<T>& a, double eps, bool hermitian, int* exchanges)
{
    return SymmetricPivoting<T, 16>(a, eps, hermitian, exchanges).run(chooseOnDiagonal<T>);
}
template <class T>
PivotCounts bunchKaufmanSse2(const Block<T>& a, double eps, bool hermitian, int* exchanges)
{
    return SymmetricPivoting<T, 16>(a, eps, hermitian, exchanges).run(chooseBunchKaufman<T>);
}

// Blocks are too narrow for longer vectors to pay.
template <class T>
constexpr Pivoting<T> kAvx2{completelyAvx2<T>, onDiagonalAvx2<T>, bunchKaufmanAvx2<T>};
template <class T>
constexpr KernelForms<Pivoting<T>> kForms{.sse2 = {completelySse2<T>, onDiagonalSse2<T>, bunchKaufmanSse2<T>},
                                          .avx2 = kAvx2<T>,
                                          .avx512 = kAvx2<T>};

template <class T>
const Pivoting<T>& pivoting()
{
    static const Pivoting<T> chosen = kForms<T>.chosen();
    return chosen;
}

} // namespace

template <class T>
PivotCounts pivotCompletely(T* block, int ld, int w, double eps, int* rowExchange, int* columnExchange)
{
    if (w == 1) return pivotAlone(*block, eps, *rowExchange, *columnExchange);
    return pivoting<T>().completely({block, ld, w}, eps, rowExchange, columnExchange);
}

// A block of one column leaves too little to do for a way to the function of an instruction set.
template <class T>
PivotCounts pivotOnDiagonal(T* block, int ld, int w, double eps, bool hermitian, int* exchanges)
{
    if (w == 1)
        return SymmetricPivoting<T, 16>({block, ld, 1}, eps, hermitian, exchanges).run(chooseOnDiagonal<T>);
    return pivoting<T>().onDiagonal({block, ld, w}, eps, hermitian, exchanges);
}

template <class T>
PivotCounts pivotBunchKaufman(T* block, int ld, int w, double eps, bool hermitian, int* exchanges)
{
    if (w == 1)
        return SymmetricPivoting<T, 16>({block, ld, 1}, eps, hermitian, exchanges).run(chooseBunchKaufman<T>);
    return pivoting<T>().bunchKaufman({block, ld, w}, eps, hermitian, exchanges);
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template PivotCounts pivotCompletely(T*, int, int, double, int*, int*);                                  \
    template PivotCounts pivotOnDiagonal(T*, int, int, double, bool, int*);                                  \
    template PivotCounts pivotBunchKaufman(T*, int, int, double, bool, int*);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
