#include <lintrix/systems/sparse_lu/lu_substitution.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <complex>

namespace Velmar::Lintrix::detail::sparse_lu {

namespace {

/// Entries of a column of whatever array.
template <class Cell>
struct Entries {
    const std::int32_t* rows;
    const Cell* values;
    std::int64_t count;
};

template <class Cell>
Entries<Cell> entriesOf(const GrowingColumns<Cell>& T, std::int32_t k)
{
    return {T.rows() + T.begin(k), T.values() + T.begin(k), T.end(k) - T.begin(k)};
}

/// Column k of F.
template <class Cell>
Entries<Cell> entriesAbove(const PlacedColumns<Cell>& A, std::int32_t k)
{
    const std::int32_t begin = A.starts[k];
    return {A.rows.data() + begin, A.values.data() + begin, A.ownStarts[k] - begin};
}

/// `W` right-hand sides side by side.
template <class Cell, int W>
class Substitution {
public:
    Substitution(const LuArrays<Cell>& arrays, Cell* y) : arrays_(arrays), y_(y) {}

    /// From the last block up: what is known goes to the right-hand sides of the blocks above.
    void run() const
    {
        for (std::size_t b = arrays_.blockStarts.size() - 1; b > 0; --b) {
            const std::int32_t begin = arrays_.blockStarts[b - 1], end = arrays_.blockStarts[b];
            for (std::int32_t k = begin; k < end - 1; ++k) subtractFrom(entriesOf(arrays_.L, k), at(k));
            for (std::int32_t k = end - 1; k >= begin; --k) {
                divide(k, arrays_.pivots[k]);
                subtractFrom(entriesOf(arrays_.U, k), at(k));
                subtractFrom(entriesAbove(arrays_.A, k), at(k));
            }
        }
    }

    /// The other way round, by scalar products with columns.
    template <class Conjugate>
    void runTransposed(Conjugate conjugated) const
    {
        for (std::size_t b = 1; b < arrays_.blockStarts.size(); ++b) {
            const std::int32_t begin = arrays_.blockStarts[b - 1], end = arrays_.blockStarts[b];
            for (std::int32_t k = begin; k < end; ++k) {
                subtractProducts(entriesAbove(arrays_.A, k), at(k), conjugated);
                subtractProducts(entriesOf(arrays_.U, k), at(k), conjugated);
                divide(k, conjugated(arrays_.pivots[k]));
            }
            for (std::int32_t k = end - 2; k >= begin; --k)
                subtractProducts(entriesOf(arrays_.L, k), at(k), conjugated);
        }
    }

private:
    Cell* at(std::int32_t k) const { return y_ + std::int64_t{k} * W; }

    void subtractFrom(const Entries<Cell>& column, const Cell* factors) const
    {
        Cell own[W];
        for (int c = 0; c < W; ++c) own[c] = factors[c];
        for (std::int64_t e = 0; e < column.count; ++e) {
            Cell* const target = at(column.rows[e]);
            for (int c = 0; c < W; ++c) target[c] -= product(column.values[e], own[c]);
        }
    }

    template <class Conjugate>
    void subtractProducts(const Entries<Cell>& column, Cell* target, Conjugate conjugated) const
    {
        Cell sums[W] = {};
        for (std::int64_t e = 0; e < column.count; ++e) {
            const Cell value = conjugated(column.values[e]);
            const Cell* const source = at(column.rows[e]);
            for (int c = 0; c < W; ++c) sums[c] += product(value, source[c]);
        }
        for (int c = 0; c < W; ++c) target[c] -= sums[c];
    }

    void divide(std::int32_t k, const Cell& pivot) const
    {
        const Divisor<Cell> divisor(pivot);
        for (int c = 0; c < W; ++c) at(k)[c] = divisor.of(at(k)[c]);
    }

    const LuArrays<Cell>& arrays_;
    Cell* y_;
};

template <int W, class Cell>
void substituteWide(const LuArrays<Cell>& arrays, TransposeMode op, Cell* y)
{
    const Substitution<Cell, W> substitution(arrays, y);
    switch (op) {
    case TransposeMode::NotTransposed:
        substitution.run();
        break;
    case TransposeMode::Transposed:
        substitution.runTransposed([](const Cell& x) { return x; });
        break;
    case TransposeMode::ConjugateTransposed:
        substitution.runTransposed([](const Cell& x) { return conjugate(x); });
        break;
    }
}

} // namespace

template <class Cell>
void substitute(const LuArrays<Cell>& arrays, std::int32_t columns, TransposeMode op, Cell* y)
{
    switch (columns) {
    case 1:
        substituteWide<1>(arrays, op, y);
        break;
    case 2:
        substituteWide<2>(arrays, op, y);
        break;
    case 3:
        substituteWide<3>(arrays, op, y);
        break;
    default:
        substituteWide<kMostColumns>(arrays, op, y);
        break;
    }
}

template void substitute(const LuArrays<double>&, std::int32_t, TransposeMode, double*);
template void substitute(const LuArrays<std::complex<double>>&, std::int32_t, TransposeMode,
                         std::complex<double>*);

} // namespace Velmar::Lintrix::detail::sparse_lu
