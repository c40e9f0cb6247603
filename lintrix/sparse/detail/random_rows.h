#pragma once
/// @file
/// Random compressed rows, for any cell: which places are stored, in rows of a fair share each.
///
/// Columns are chosen by sequential sampling (Knuth, The Art of Computer Programming, volume 2, section
/// 3.4.2, algorithm S): of the columns left, each is taken with the chance (slots left)/(columns left), so
/// they come out ascending and as many as there are slots.
///
/// A row with more slots than columns takes all columns and leaves its other slots unwritten: elements
/// without a column, which would lead every reader out of its arrays. This library closes them at the end,
/// and the row pointers with them, so that fewer elements are stored than were shared out. It happens from a
/// density of about one half in symmetric storage, and above 1 otherwise.

#include <lintrix/foundation/block.h>
#include <lintrix/foundation/random.h>
#include <lintrix/foundation/rounding.h>
#include <lintrix/sparse/detail/compressed_rows.h>
#include <lintrix/sparse/detail/sizes.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail {

template <class Cell>
struct RandomRows {
    std::int32_t capacity;
    Block<Cell> a;
    Block<std::int32_t> ia, ja;
};

inline constexpr std::int32_t kUnwritten = 0; // no column: they count from 1

/// Rows with `capacity` slots to fill, and `spare` more. All values zero, all columns unwritten.
template <class Cell>
RandomRows<Cell> emptyRows(std::int32_t rows, std::int64_t capacity, std::int32_t spare)
{
    requireElementCount(capacity + spare);
    return {static_cast<std::int32_t>(capacity), Block<Cell>::zeroed(capacity + spare),
            Block<std::int32_t>::zeroed(std::int64_t{rows} + 1),
            Block<std::int32_t>::zeroed(capacity + spare)};
}

template <class Cell>
void closeUnwritten(std::int32_t rows, RandomRows<Cell>& R)
{
    removeElements(rows, R.a.get(), R.ia.get(), R.ja.get(),
                   [](std::int32_t, std::int32_t column, const Cell&) { return column == kUnwritten; });
}

/// max(rows, (int32) Round(share)): on average at least one element a row.
inline std::int32_t randomTarget(std::int32_t rows, double share)
{
    return std::max(rows, truncatedToInt32(Round(share, 0)));
}

/// General storage: density*total elements, row i ending at slot i*target/rows. All values are drawn before
/// the first column. `total` is rows*cols in wrapping arithmetic.
template <class Cell, class NewValue>
RandomRows<Cell> randomRows(std::int32_t rows, std::int32_t cols, std::int32_t total, double density,
                            NewValue newValue)
{
    Random& random = RandomServer::GetRandom();
    const std::int32_t target = randomTarget(rows, total * density);
    auto R = emptyRows<Cell>(rows, target, 0);
    const double perRow = double(target) / rows;
    R.ia[0] = 1;
    for (std::int32_t i = 1; i <= rows; ++i) R.ia[i] = truncatedToInt32(Round(i * perRow, 0)) + 1;
    std::generate_n(R.a.get(), target, newValue);
    for (std::int32_t r = 0; r < rows; ++r) {
        std::int32_t quota = R.ia[r + 1] - R.ia[r], position = R.ia[r] - 1;
        for (std::int32_t c = 0; c < cols; ++c) {
            if (random.Next(0, cols - c) >= quota) continue;
            R.ja[position++] = c + 1;
            --quota;
        }
    }
    closeUnwritten(rows, R);
    return R;
}

/// Row pointers that share `target` elements out by the length of each row of the upper triangle, and give
/// one more to its diagonal, in running sums: where a share ends depends on the rounding of those before it,
/// and the same seed is to give the same matrix. A sum that rounding has carried past the last slot is held
/// back there.
inline void shareUpperTriangle(std::int32_t rows, double positions, std::int32_t target, std::int32_t* ia)
{
    const double p = target / positions, slots = double(rows) + target;
    double acc = 0.0;
    ia[0] = 1;
    for (std::int32_t i = 1; i <= rows; ++i) {
        acc = (double(rows) + 1.0 - i) * p + 1.0 + acc;
        ia[i] = static_cast<std::int32_t>(std::min(Round(acc, 0), slots)) + 1;
    }
}

/// Symmetric storage: the upper triangle with the whole diagonal. A diagonal element that is not chosen is a
/// stored zero and uses up no slot of its row's share: such a row may write one slot into the next one, whose
/// diagonal then takes its place. The same seed is to give the same matrix, so it stays. Behind the last row
/// there is a slot for that.
template <class Cell, class NewValue>
RandomRows<Cell> randomUpperRows(std::int32_t rows, std::int32_t cols, std::int32_t total, double density,
                                 NewValue newValue)
{
    Random& random = RandomServer::GetRandom();
    const std::int32_t target = randomTarget(rows, total * density * 0.5);
    auto R = emptyRows<Cell>(rows, std::int64_t{rows} + target, 1);
    const std::int64_t positions = (std::int64_t{rows} + 1) * rows / 2;
    const auto drawn = static_cast<std::int32_t>(std::min<std::int64_t>(positions, INT32_MAX));
    shareUpperTriangle(rows, static_cast<double>(positions), target, R.ia.get());
    for (std::int32_t r = 0; r < std::min(rows, cols); ++r) {
        std::int32_t quota = R.ia[r + 1] - R.ia[r], position = R.ia[r] - 1;
        const bool diagonal = random.Next(0, drawn) < target;
        R.ja[position] = r + 1;
        R.a[position++] = diagonal ? newValue() : Cell(0);
        quota -= diagonal;
        for (std::int32_t c = r + 1; c < cols; ++c) {
            if (random.Next(0, cols - c) >= quota) continue;
            R.ja[position] = c + 1;
            R.a[position++] = newValue();
            --quota;
        }
    }
    closeUnwritten(rows, R);
    return R;
}

} // namespace Velmar::Lintrix::detail
