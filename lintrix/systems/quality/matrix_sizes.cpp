#include <lintrix/systems/quality/matrix_sizes.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

/// Of the elements of a row or a column.
struct Gathered {
    double sum = 0.0, largest = 0.0; ///< of the moduli, the largest of those that are finite
    std::int32_t count = 0;

    [[gnu::always_inline]] void add(double size)
    {
        sum += size;
        const double finite = size <= std::numeric_limits<double>::max() ? size : 0.0;
        largest = finite > largest ? finite : largest;
        ++count;
    }
};

RowSizes sizesOfRows(const std::vector<Gathered>& rows, std::int32_t cols)
{
    RowSizes sizes{.sums = std::vector<double>(rows.size()), .cols = cols};
    std::int32_t longest = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        sizes.sums[i] = rows[i].sum;
        longest = std::max(longest, rows[i].count);
    }
    sizes.norm = largestModulus(sizes.sums.data(), static_cast<std::int32_t>(rows.size()));
    sizes.terms = longest + 1;
    return sizes;
}

Spread spreadOf(const std::vector<Gathered>& lines)
{
    Spread spread{std::numeric_limits<double>::infinity(), 0.0};
    for (const Gathered& line : lines) {
        if (line.largest == 0.0) continue;
        spread.least = std::min(spread.least, line.largest);
        spread.most = std::max(spread.most, line.largest);
    }
    return spread.most == 0.0 ? Spread() : spread;
}

/// Lines are those of the storage, across them run the places.
template <class Cell>
MatrixSizes ofWhole(const AnyMatrix<Cell>& A)
{
    const std::int32_t places = A.isDense() ? A.rows() : A.cols();
    std::vector<Gathered> along(static_cast<std::size_t>(A.lines())),
        across(static_cast<std::size_t>(places));
    for (std::int32_t line = 0; line < A.lines(); ++line) {
        Gathered own;
        A.forElements(line, 0, places, [&](std::int32_t place, const Cell& a) {
            const double size = modulus(a);
            own.add(size);
            across[static_cast<std::size_t>(place)].add(size);
        });
        along[static_cast<std::size_t>(line)] = own;
    }
    if (A.isDense()) std::swap(along, across);
    return {sizesOfRows(along, A.cols()), sizesOfRows(across, A.rows()), spreadOf(along), spreadOf(across)};
}

/// Row i is complete once the rows before it have been read.
template <class Cell>
MatrixSizes ofTriangle(const AnyMatrix<Cell>& A)
{
    std::vector<Gathered> rows(static_cast<std::size_t>(A.rows()));
    for (std::int32_t i = 0; i < A.rows(); ++i) {
        Gathered own = rows[static_cast<std::size_t>(i)];
        A.forElements(i, 0, A.cols(), [&](std::int32_t j, const Cell& a) {
            if (j < i) return;
            const double size = modulus(a);
            own.add(size);
            if (j > i) rows[static_cast<std::size_t>(j)].add(size);
        });
        rows[static_cast<std::size_t>(i)] = own;
    }
    const Spread spread = spreadOf(rows);
    return {sizesOfRows(rows, A.cols()), {}, spread, spread};
}

} // namespace

template <class Cell>
MatrixSizes sizesOf(const AnyMatrix<Cell>& A)
{
    WorkScope::tell();
    return A.isOneTriangle() ? ofTriangle(A) : ofWhole(A);
}

template MatrixSizes sizesOf(const AnyMatrix<double>&);
template MatrixSizes sizesOf(const AnyMatrix<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail
