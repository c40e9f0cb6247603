#include <lintrix/systems/quality/residual.h>

#include <lintrix/services/dispatch.h>
#include <lintrix/services/team.h>
#include <lintrix/services/threads.h>
#include <lintrix/services/work.h>
#include <lintrix/sparse/kernels/cell.h>
#include <lintrix/systems/quality/error_free.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <complex>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

// Rules: how the sum of row i of op(A) begins, what element (i, j) adds to it, where it goes.

/// Of several columns, at one reading of A.
template <class Cell, int W>
struct Residuals {
    struct Sum {
        Cell cells[W];
    };
    const Cell *b, *x;
    Cell* r;
    std::int64_t rows, cols;

    Sum begin(std::int32_t i) const
    {
        Sum sum;
        for (int c = 0; c < W; ++c) sum.cells[c] = b[c * rows + i];
        return sum;
    }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t j) const
    {
        for (int c = 0; c < W; ++c) sum.cells[c] -= times(a, x[c * cols + j]);
    }
    void finish(std::int32_t i, const Sum& sum) const
    {
        for (int c = 0; c < W; ++c) r[c * rows + i] = sum.cells[c];
    }
};

template <class Cell>
struct TwofoldResidual {
    using Sum = TwofoldSum<Cell>;
    const Cell *b, *x, *dx;
    Cell* r;

    Sum begin(std::int32_t i) const { return Sum(b[i]); }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t j) const
    {
        sum.addProduct(-a, x[j]);
        if (dx != nullptr) sum.addProduct(-a, dx[j]);
    }
    void finish(std::int32_t i, const Sum& sum) const { r[i] = sum.value(); }
};

template <class Cell>
struct Scale {
    using Sum = double;
    const Cell *b, *x;
    double* w;

    Sum begin(std::int32_t i) const { return modulus(b[i]); }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t j) const
    {
        sum += modulus(a) * modulus(x[j]);
    }
    void finish(std::int32_t i, Sum sum) const { w[i] = sum; }
};

/// The first of these and the second, at one reading of A; `sizes` are the moduli of x.
template <class Cell>
struct ResidualAndScale {
    struct Sum {
        TwofoldSum<Cell> residual;
        double scale;
    };
    const Cell *b, *x;
    const double* sizes;
    Cell* r;
    double* w;

    Sum begin(std::int32_t i) const { return {TwofoldSum<Cell>(b[i]), modulus(b[i])}; }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t j) const
    {
        sum.residual.addProduct(-a, x[j]);
        sum.scale += modulus(a) * sizes[j];
    }
    void finish(std::int32_t i, const Sum& sum) const
    {
        r[i] = sum.residual.value();
        w[i] = sum.scale;
    }
};

template <class Cell>
struct RowSum {
    using Sum = double;
    double* sums;

    Sum begin(std::int32_t) const { return 0.0; }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t) const { sum += modulus(a); }
    void finish(std::int32_t i, Sum sum) const { sums[i] = sum; }
};

template <class Cell>
struct RowLength {
    using Sum = std::int32_t;
    std::int32_t* lengths;

    Sum begin(std::int32_t) const { return 0; }
    [[gnu::always_inline]] void add(Sum& sum, const Cell&, std::int32_t) const { ++sum; }
    void finish(std::int32_t i, Sum sum) const { lengths[i] = sum; }
};

/// The two before, at one reading of A.
template <class Cell>
struct RowSumAndLength {
    struct Sum {
        double moduli;
        std::int32_t length;
    };
    double* sums;
    std::int32_t* lengths;

    Sum begin(std::int32_t) const { return {0.0, 0}; }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t) const
    {
        sum.moduli += modulus(a);
        ++sum.length;
    }
    void finish(std::int32_t i, const Sum& sum) const
    {
        sums[i] = sum.moduli;
        lengths[i] = sum.length;
    }
};

template <class Cell>
struct Product {
    using Sum = Cell;
    const Cell* x;
    Cell* y;

    Sum begin(std::int32_t) const { return Cell(0.0); }
    [[gnu::always_inline]] void add(Sum& sum, const Cell& a, std::int32_t j) const { sum += times(a, x[j]); }
    void finish(std::int32_t i, const Sum& sum) const { y[i] = sum; }
};

/// Whether a rule asks for the error of a product, which takes one fused operation where there is one.
template <class Rule>
constexpr bool kErrorFree = false;
template <class Cell>
constexpr bool kErrorFree<TwofoldResidual<Cell>> = true;
template <class Cell>
constexpr bool kErrorFree<ResidualAndScale<Cell>> = true;

// A part of the work in the form for this processor, the part and all that it calls inlined. The bits are
// those of any other form. No other rule may have fused operations at hand: GCC 12 makes them of complex
// products, also where contraction is switched off.
template <class Part>
LINTRIX_FOR_AVX2_AND_FMA void partAvx2AndFma(const Part& part)
{
    part();
}
template <class Part>
LINTRIX_FOR_AVX2 void partAvx2(const Part& part)
{
    part();
}
template <class Part>
void partSse2(const Part& part)
{
    part();
}
template <class Rule, class Part>
void runPart(const Part& part)
{
    using Form = void (*)(const Part&);
    constexpr Form avx2 = [] {
        if constexpr (kErrorFree<Rule>) return partAvx2AndFma<Part>;
        if constexpr (!kErrorFree<Rule>) return partAvx2<Part>;
    }();
    constexpr KernelForms<Form> forms{partSse2<Part>, avx2, avx2};
    forms.chosen()(part);
}

/// How many of their elements are worth a thread.
constexpr std::int64_t kElementsAThread = 100000;
constexpr double kNanosecondsAnElement = 1.0;

/// The sums of the rows of op(A) by a rule.
template <class Cell, class Rule>
class Summation {
public:
    using Sum = typename Rule::Sum;

    Summation(const AnyMatrix<Cell>& A, TransposeMode op, const Rule& rule) : A_(A), op_(op), rule_(rule) {}

    void run() const
    {
        const bool transposed = op_ != TransposeMode::NotTransposed;
        withConjugation<Cell>(op_ == TransposeMode::ConjugateTransposed, [&](auto conjugated) {
            if (A_.isOneTriangle()) return triangle<conjugated>();
            if (A_.isDense() == transposed) return byLines<conjugated>();
            acrossLines<conjugated>(transposed ? A_.cols() : A_.rows());
        });
    }

private:
    int team() const
    {
        const std::int64_t worthWhile = A_.elements() / kElementsAThread + 1;
        const auto threads = static_cast<int>(std::min<std::int64_t>(worthWhile, MKL_Get_Max_Threads()));
        return repaidTeam(threads, kNanosecondsAnElement * static_cast<double>(A_.elements()));
    }

    // A line is a row of op(A).
    template <bool Conjugate>
    void byLines() const
    {
        const std::int32_t places = A_.isDense() ? A_.rows() : A_.cols();
        runRanges(A_.lines(), team(), [&](int first, int behind) {
            runPart<Rule>([&]() __attribute__((always_inline)) {
                for (int i = first; i < behind; ++i) {
                    Sum sum = rule_.begin(i);
                    A_.forElements(
                        i, 0, places, [&](std::int32_t j, const Cell& a) __attribute__((always_inline)) {
                            rule_.add(sum, conjugatedIf<Conjugate>(a), j);
                        });
                    rule_.finish(i, sum);
                }
            });
        });
    }

    // A line is a column of op(A). Of a dense one each thread takes its own rows; where those of a sparse one
    // begin would have to be searched for, so one thread takes all.
    template <bool Conjugate>
    void acrossLines(std::int32_t rows) const
    {
        std::vector<Sum> sums = begun(rows);
        runRanges(rows, A_.isDense() ? team() : 1, [&](int first, int behind) {
            runPart<Rule>([&]() __attribute__((always_inline)) {
                for (std::int32_t j = 0; j < A_.lines(); ++j) {
                    A_.forElements(
                        j, first, behind, [&](std::int32_t i, const Cell& a) __attribute__((always_inline)) {
                            rule_.add(sums[i], conjugatedIf<Conjugate>(a), j);
                        });
                }
            });
        });
        finish(sums);
    }

    // a at (i, j), its conjugate at (j, i); in the transpose, where it is not conjugated, the other way
    // round.
    template <bool Conjugate>
    void triangle() const
    {
        std::vector<Sum> sums = begun(A_.rows());
        withConjugation<Cell>(op_ == TransposeMode::Transposed, [&](auto turned) {
            runPart<Rule>([&]() __attribute__((always_inline)) {
                for (std::int32_t i = 0; i < A_.lines(); ++i) {
                    Sum own = sums[i];
                    A_.forElements(
                        i, 0, A_.cols(), [&](std::int32_t j, const Cell& a) __attribute__((always_inline)) {
                            if (j == i) rule_.add(own, conjugatedIf<Conjugate>(a), i);
                            if (j <= i) return;
                            rule_.add(own, conjugatedIf<turned>(a), j);
                            rule_.add(sums[j], conjugatedIf<!turned>(a), i);
                        });
                    sums[i] = own;
                }
            });
        });
        finish(sums);
    }

    std::vector<Sum> begun(std::int32_t rows) const
    {
        std::vector<Sum> sums(static_cast<std::size_t>(rows));
        for (std::int32_t i = 0; i < rows; ++i) sums[static_cast<std::size_t>(i)] = rule_.begin(i);
        return sums;
    }
    void finish(const std::vector<Sum>& sums) const
    {
        for (std::size_t i = 0; i < sums.size(); ++i) rule_.finish(static_cast<std::int32_t>(i), sums[i]);
    }

    const AnyMatrix<Cell>& A_;
    TransposeMode op_;
    const Rule& rule_;
};

/// @throws as `WorkScope::tell`, before each pass over A
template <class Cell, class Rule>
void sumRows(const AnyMatrix<Cell>& A, TransposeMode op, const Rule& rule)
{
    WorkScope::tell();
    Summation<Cell, Rule>(A, op, rule).run();
}

/// The sizes of op(A), wide enough for offsets in a block.
struct Sizes {
    std::int64_t rows, cols;
};
template <class Cell>
Sizes sizesOf(const AnyMatrix<Cell>& A, TransposeMode op)
{
    if (op == TransposeMode::NotTransposed) return {A.rows(), A.cols()};
    return {A.cols(), A.rows()};
}

template <class Cell>
void multiply(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns, const Cell* x, Cell* y)
{
    const Sizes size = sizesOf(A, op);
    for (std::int32_t c = 0; c < columns; ++c) {
        sumRows(A, op, Product<Cell>{x + c * size.cols, y + c * size.rows});
    }
}

template <class Cell>
double largestRowSum(const AnyMatrix<Cell>& A, TransposeMode op)
{
    std::vector<double> sums(sizesOf(A, op).rows);
    rowSums(A, op, sums.data());
    return largestModulus(sums.data(), static_cast<std::int32_t>(sums.size()));
}

} // namespace

template <class Cell>
void residual(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns, const Cell* b, const Cell* x,
              Cell* r)
{
    const Sizes size = sizesOf(A, op);
    std::int32_t c = 0;
    const auto takeAtOnce = [&]<int W>(std::integral_constant<int, W>) {
        for (; c + W <= columns; c += W)
            sumRows(A, op,
                    Residuals<Cell, W>{b + c * size.rows, x + c * size.cols, r + c * size.rows, size.rows,
                                       size.cols});
    };
    takeAtOnce(std::integral_constant<int, 4>());
    takeAtOnce(std::integral_constant<int, 3>());
    takeAtOnce(std::integral_constant<int, 2>());
    takeAtOnce(std::integral_constant<int, 1>());
}

template <class Cell>
void residualInTwicePrecision(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns, const Cell* b,
                              const Cell* x, const Cell* dx, Cell* r)
{
    const Sizes size = sizesOf(A, op);
    for (std::int32_t c = 0; c < columns; ++c) {
        const Cell* const change = dx == nullptr ? nullptr : dx + c * size.cols;
        sumRows(A, op,
                TwofoldResidual<Cell>{b + c * size.rows, x + c * size.cols, change, r + c * size.rows});
    }
}

template <class Cell>
void residualScale(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns, const Cell* b,
                   const Cell* x, double* w)
{
    const Sizes size = sizesOf(A, op);
    for (std::int32_t c = 0; c < columns; ++c) {
        sumRows(A, op, Scale<Cell>{b + c * size.rows, x + c * size.cols, w + c * size.rows});
    }
}

template <class Cell>
void residualAndScale(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns, const Cell* b,
                      const Cell* x, Cell* r, double* w)
{
    const Sizes size = sizesOf(A, op);
    std::vector<double> sizes(size.cols);
    for (std::int32_t c = 0; c < columns; ++c) {
        const Cell* const own = x + c * size.cols;
        for (std::int64_t j = 0; j < size.cols; ++j) sizes[j] = modulus(own[j]);
        const std::int64_t first = c * size.rows;
        sumRows(A, op, ResidualAndScale<Cell>{b + first, own, sizes.data(), r + first, w + first});
    }
}

template <class Cell>
void rowSums(const AnyMatrix<Cell>& A, TransposeMode op, double* sums)
{
    sumRows(A, op, RowSum<Cell>{sums});
}

template <class Cell>
void rowSumsAndLengths(const AnyMatrix<Cell>& A, TransposeMode op, double* sums, std::int32_t* lengths)
{
    sumRows(A, op, RowSumAndLength<Cell>{sums, lengths});
}

template <class Cell>
double oneNorm(const AnyMatrix<Cell>& A)
{
    return largestRowSum(A, TransposeMode::Transposed);
}

template <class Cell>
double infinityNorm(const AnyMatrix<Cell>& A)
{
    return largestRowSum(A, TransposeMode::NotTransposed);
}

template <class Cell>
std::int32_t longestRow(const AnyMatrix<Cell>& A, TransposeMode op)
{
    std::vector<std::int32_t> lengths(sizesOf(A, op).rows);
    sumRows(A, op, RowLength<Cell>{lengths.data()});
    return lengths.empty() ? 0 : *std::max_element(lengths.begin(), lengths.end());
}

template <class Cell>
LinearMap<Cell> mapOf(const AnyMatrix<Cell>& A)
{
    const auto productWith = [A](TransposeMode op) {
        return [A, op](std::int32_t columns, const Cell* x, Cell* y) { multiply(A, op, columns, x, y); };
    };
    return {A.rows(), A.cols(), productWith(TransposeMode::NotTransposed),
            productWith(TransposeMode::ConjugateTransposed)};
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void residual(const AnyMatrix<Cell>&, TransposeMode, std::int32_t, const Cell*, const Cell*,    \
                           Cell*);                                                                           \
    template void residualInTwicePrecision(const AnyMatrix<Cell>&, TransposeMode, std::int32_t, const Cell*, \
                                           const Cell*, const Cell*, Cell*);                                 \
    template void residualScale(const AnyMatrix<Cell>&, TransposeMode, std::int32_t, const Cell*,            \
                                const Cell*, double*);                                                       \
    template void residualAndScale(const AnyMatrix<Cell>&, TransposeMode, std::int32_t, const Cell*,         \
                                   const Cell*, Cell*, double*);                                             \
    template void rowSums(const AnyMatrix<Cell>&, TransposeMode, double*);                                   \
    template void rowSumsAndLengths(const AnyMatrix<Cell>&, TransposeMode, double*, std::int32_t*);          \
    template double oneNorm(const AnyMatrix<Cell>&);                                                         \
    template double infinityNorm(const AnyMatrix<Cell>&);                                                    \
    template std::int32_t longestRow(const AnyMatrix<Cell>&, TransposeMode);                                 \
    template LinearMap<Cell> mapOf(const AnyMatrix<Cell>&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
