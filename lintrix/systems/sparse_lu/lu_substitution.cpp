#include <lintrix/systems/sparse_lu/lu_substitution.h>

#include <lintrix/services/dispatch.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <complex>
#include <cstring>

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

/// A position's elements of `W` right-hand sides; several real ones are a vector.
template <class Cell, int W>
struct Lanes {
    Cell cells[W] = {};

    [[gnu::always_inline]] static Lanes at(const Cell* y)
    {
        Lanes lanes;
        for (int c = 0; c < W; ++c) lanes.cells[c] = y[c];
        return lanes;
    }
    [[gnu::always_inline]] void to(Cell* y) const
    {
        for (int c = 0; c < W; ++c) y[c] = cells[c];
    }
    [[gnu::always_inline]] void add(const Cell& value, const Lanes& other)
    {
        for (int c = 0; c < W; ++c) cells[c] += product(value, other.cells[c]);
    }
    [[gnu::always_inline]] void subtract(const Cell& value, const Lanes& other)
    {
        for (int c = 0; c < W; ++c) cells[c] -= product(value, other.cells[c]);
    }
    [[gnu::always_inline]] void subtract(const Lanes& other)
    {
        for (int c = 0; c < W; ++c) cells[c] -= other.cells[c];
    }
    [[gnu::always_inline]] void divide(const Divisor<Cell>& divisor)
    {
        for (int c = 0; c < W; ++c) cells[c] = divisor.of(cells[c]);
    }
};

template <int W>
requires(W > 1) struct Lanes<double, W> {
    typedef double Vector __attribute__((vector_size(W * sizeof(double))));
    Vector cells = {};

    [[gnu::always_inline]] static Lanes at(const double* y)
    {
        Lanes lanes;
        std::memcpy(&lanes.cells, y, sizeof(Vector));
        return lanes;
    }
    [[gnu::always_inline]] void to(double* y) const { std::memcpy(y, &cells, sizeof(Vector)); }
    [[gnu::always_inline]] void add(double value, const Lanes& other) { cells += value * other.cells; }
    [[gnu::always_inline]] void subtract(double value, const Lanes& other) { cells -= value * other.cells; }
    [[gnu::always_inline]] void subtract(const Lanes& other) { cells -= other.cells; }
    [[gnu::always_inline]] void divide(const Divisor<double>& divisor) { cells /= divisor.pivot(); }
};

/// `W` right-hand sides side by side.
template <class Cell, int W>
class Substitution {
    using Sides = Lanes<Cell, W>;

public:
    Substitution(const LuArrays<Cell>& arrays, Cell* y) : arrays_(arrays), y_(y) {}

    /// From the last block up: what is known goes to the right-hand sides of the blocks above.
    [[gnu::always_inline]] void run() const
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
    [[gnu::always_inline]] void runTransposed(Conjugate conjugated) const
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
    [[gnu::always_inline]] Cell* at(std::int32_t k) const { return y_ + std::int64_t{k} * W; }

    [[gnu::always_inline]] void subtractFrom(const Entries<Cell>& column, const Cell* factors) const
    {
        const Sides own = Sides::at(factors);
        for (std::int64_t e = 0; e < column.count; ++e) {
            Cell* const target = at(column.rows[e]);
            Sides sides = Sides::at(target);
            sides.subtract(column.values[e], own);
            sides.to(target);
        }
    }

    template <class Conjugate>
    [[gnu::always_inline]] void subtractProducts(const Entries<Cell>& column, Cell* target,
                                                 Conjugate conjugated) const
    {
        Sides sums;
        for (std::int64_t e = 0; e < column.count; ++e)
            sums.add(conjugated(column.values[e]), Sides::at(at(column.rows[e])));
        Sides sides = Sides::at(target);
        sides.subtract(sums);
        sides.to(target);
    }

    [[gnu::always_inline]] void divide(std::int32_t k, const Cell& pivot) const
    {
        Sides sides = Sides::at(at(k));
        sides.divide(Divisor<Cell>(pivot));
        sides.to(at(k));
    }

    const LuArrays<Cell>& arrays_;
    Cell* y_;
};

template <int W, class Cell>
[[gnu::always_inline]] inline void substituteIn(const LuArrays<Cell>& arrays, TransposeMode op, Cell* y)
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

// The bits are those of any other form: nothing is fused, and no side knows of the others.
template <int W, class Cell>
LINTRIX_FOR_AVX2 void substituteAvx2(const LuArrays<Cell>& arrays, TransposeMode op, Cell* y)
{
    substituteIn<W>(arrays, op, y);
}
template <int W, class Cell>
void substituteSse2(const LuArrays<Cell>& arrays, TransposeMode op, Cell* y)
{
    substituteIn<W>(arrays, op, y);
}
template <int W, class Cell>
void substituteWide(const LuArrays<Cell>& arrays, TransposeMode op, Cell* y)
{
    using Form = void (*)(const LuArrays<Cell>&, TransposeMode, Cell*);
    constexpr KernelForms<Form> forms{substituteSse2<W, Cell>, substituteAvx2<W, Cell>,
                                      substituteAvx2<W, Cell>};
    forms.chosen()(arrays, op, y);
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
    default:
        substituteWide<kMostColumns>(arrays, op, y);
        break;
    }
}

template void substitute(const LuArrays<double>&, std::int32_t, TransposeMode, double*);
template void substitute(const LuArrays<std::complex<double>>&, std::int32_t, TransposeMode,
                         std::complex<double>*);

} // namespace Velmar::Lintrix::detail::sparse_lu
