#include <lintrix/systems/structure/structural_faults.h>

#include "tests/systems/structure/patterns.h"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <map>
#include <numeric>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using C = std::complex<double>;
using List = std::vector<Int>;
using Lists = std::vector<List>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <class Cell>
using Dense = std::vector<std::vector<Cell>>;

/// Every element is stored, zeros too.
template <class Cell>
StructuralFaults faultsOf(const Dense<Cell>& dense, Int cols)
{
    EntryArrays<Cell> arrays{{static_cast<Int>(dense.size()), cols}};
    for (const auto& row : dense) {
        for (Int j = 0; j < cols; ++j) arrays.pattern.columns.push_back(j);
        arrays.values.insert(arrays.values.end(), row.begin(), row.end());
        arrays.pattern.starts.push_back(static_cast<Int>(arrays.values.size()));
    }
    return findStructuralFaults<Cell>(arrays);
}
StructuralFaults faultsOf(const Dense<double>& dense)
{
    return faultsOf(dense, static_cast<Int>(dense.front().size()));
}

template <class Cell>
Dense<Cell> turned(const Dense<Cell>& A)
{
    Dense<Cell> result(A.front().size(), std::vector<Cell>(A.size()));
    for (std::size_t i = 0; i < A.size(); ++i)
        for (std::size_t j = 0; j < A[i].size(); ++j) result[j][i] = A[i][j];
    return result;
}

/// Of small integers: every 2x2 minor vanishes, and neither row is zero.
bool plainlyProportional(const std::vector<double>& x, const std::vector<double>& y)
{
    const auto isZero = [](double value) { return value == 0; };
    if (std::ranges::all_of(x, isZero) || std::ranges::all_of(y, isZero)) return false;
    for (std::size_t j = 0; j < x.size(); ++j)
        for (std::size_t k = 0; k < x.size(); ++k)
            if (x[j] * y[k] != x[k] * y[j]) return false;
    return true;
}

Lists plainDuplicates(const Dense<double>& A)
{
    Lists groups;
    std::vector<bool> told(A.size());
    for (std::size_t i = 0; i < A.size(); ++i) {
        List group{static_cast<Int>(i)};
        for (std::size_t k = i + 1; k < A.size(); ++k) {
            if (told[k] || !plainlyProportional(A[i], A[k])) continue;
            told[k] = true;
            group.push_back(static_cast<Int>(k));
        }
        if (!told[i] && group.size() > 1) groups.push_back(group);
    }
    return groups;
}

TEST(StructuralFaults, NamesDuplicatesOfRandomSmallMatricesAsDefined)
{
    std::mt19937_64 generator(1);
    std::uniform_int_distribution<int> value(-2, 2);
    std::size_t found = 0;
    for (int run = 0; run < 2000; ++run) {
        Dense<double> A(6, std::vector<double>(2 + run % 4));
        for (auto& row : A)
            for (double& x : row) x = value(generator);
        const StructuralFaults faults = faultsOf(A);
        EXPECT_EQ(faults.duplicateRows, plainDuplicates(A));
        EXPECT_EQ(faults.duplicateColumns, plainDuplicates(turned(A)));
        found += faults.duplicateRows.size() + faults.duplicateColumns.size();
    }
    EXPECT_GT(found, 500U);
}

TEST(StructuralFaults, TakesStoredZerosOfEitherSignForNothing)
{
    const StructuralFaults faults = faultsOf({{1, -0.0, 2}, {0.0, 0, -0.0}, {-3, 0, -6}});
    EXPECT_EQ(faults.emptyRows, List{1});
    EXPECT_EQ(faults.emptyColumns, List{1});
    EXPECT_EQ(faults.duplicateRows, (Lists{{0, 2}}));
    EXPECT_EQ(faults.structuralRank, 2);
}

TEST(StructuralFaults, TakesANaNForAValueThatEqualsNone)
{
    const StructuralFaults faults = faultsOf({{1, kNaN}, {1, kNaN}});
    EXPECT_EQ(faults.structuralRank, 2);
    EXPECT_TRUE(faults.duplicateRows.empty());
    EXPECT_TRUE(faults.duplicateColumns.empty());
    EXPECT_TRUE(faultsOf({{1, kInfinity}, {2, kInfinity}}).duplicateRows.empty());
    EXPECT_EQ(faultsOf({{kNaN, 0}, {0, 0}}).emptyRows, List{1});
}

TEST(StructuralFaults, FindsComplexMultiples)
{
    const C f(3, -1);
    const Dense<C> A{{{1, 2}, 0.0, {0, 5}}, {1.0, 1.0, 1.0}, {f * C(1, 2), {-0.0, 0.0}, f * C(0, 5)}};
    EXPECT_EQ(faultsOf<C>(A, 3).duplicateRows, (Lists{{0, 2}}));
}

// Columns 1, 4 and 5 have rows 0 and 2 alone; rows 3, 4 have column 0 alone; 2, 3 and row 1 are left in
// pairs.
const Dense<double> kUneven{{0, 1, 0, 0, 2, 3}, {1, 0, 4, 1, 0, 0}, {0, 4, 0, 1, 0, 6},
                            {7, 0, 0, 0, 0, 0}, {8, 0, 0, 0, 0, 0}, {0, 0, 3, 2, 0, 0}};

TEST(StructuralFaults, NamesFreeColumnsAndOverDeterminedRows)
{
    const StructuralFaults faults = faultsOf(kUneven);
    EXPECT_EQ(faults.structuralRank, 5);
    ASSERT_EQ(faults.underDetermined.size(), 1U);
    EXPECT_EQ(faults.underDetermined[0].columns, (List{1, 4, 5}));
    EXPECT_EQ(faults.underDetermined[0].rows, (List{0, 2}));
    ASSERT_EQ(faults.overDetermined.size(), 1U);
    EXPECT_EQ(faults.overDetermined[0].rows, (List{3, 4}));
    EXPECT_EQ(faults.overDetermined[0].columns, List{0});
    EXPECT_EQ(faults.duplicateRows, (Lists{{3, 4}}));
}

TEST(StructuralFaults, ExplainsThem)
{
    EXPECT_EQ(explain(faultsOf(kUneven)),
              "The structural rank is 5 of 6: the matrix is singular, whatever its values. "
              "Columns 1, 4 and 5 are free: they share rows 0 and 2 alone. "
              "Rows 3 and 4 are over-determined: they share column 0 alone. "
              "Rows 3 and 4 are the same up to a factor.");
    EXPECT_EQ(explain(faultsOf({{1, 0}, {0, 0}})),
              "The structural rank is 1 of 2: the matrix is singular, whatever its values. "
              "Row 1 is empty. Column 1 is empty.");
    EXPECT_EQ(explain(faultsOf({{1, 2}, {2, 1}})), "");
}

TEST(StructuralFaults, ExplainsNothingThatLiesInTheShape)
{
    const Dense<double> tall{{1, 2}, {3, 1}, {5, 7}};
    EXPECT_EQ(faultsOf(tall).overDetermined.size(), 1U);
    EXPECT_EQ(explain(faultsOf(tall)), "");
    EXPECT_EQ(faultsOf(turned(tall)).underDetermined.size(), 1U);
    EXPECT_EQ(explain(faultsOf(turned(tall))), "");
    EXPECT_EQ(explain(faultsOf({{1, 0}, {2, 0}, {4, 0}})),
              "The structural rank is 1 of 2: the matrix has not full rank, whatever its values. "
              "Column 1 is empty. Rows 0, 1 and 2 are over-determined: they share column 0 alone. "
              "Rows 0, 1 and 2 are the same up to a factor.");
}

TEST(StructuralFaults, ExplainsManyOfThemByTheFirst)
{
    Dense<double> A(20, std::vector<double>(20));
    for (std::size_t i = 0; i < 20; ++i) A[i][i / 2] = 1.0 + static_cast<double>(i);
    EXPECT_EQ(explain(faultsOf(A)),
              "The structural rank is 10 of 20: the matrix is singular, whatever its values. "
              "Columns 10, 11, 12, 13, 14 and 5 more are empty. "
              "Rows 0 and 1 are over-determined: they share column 0 alone. "
              "Rows 2 and 3 are over-determined: they share column 1 alone. "
              "Rows 4 and 5 are over-determined: they share column 2 alone. "
              "7 more groups of rows like these. "
              "Rows 0 and 1 are the same up to a factor. "
              "Rows 2 and 3 are the same up to a factor. "
              "Rows 4 and 5 are the same up to a factor. "
              "7 more groups of rows like these.");
}

/// The definition: a column is free when some largest matching does without it. Blocks are disjoint,
/// connected, and their rows all the rows of their columns.
TEST(StructuralFaults, HoldsForEverySmallPattern)
{
    for (const auto& [rows, cols] : {std::pair{4, 3}, {3, 4}, {3, 3}})
        for (std::uint64_t bits = 0; bits < std::uint64_t{1} << (rows * cols); ++bits) {
            const Cells cells = cellsOf(rows, cols, bits);
            const PatternArrays pattern = patternOf(cells, cols);
            EntryArrays<double> arrays{pattern, std::vector<double>(pattern.columns.size())};
            std::iota(arrays.values.begin(), arrays.values.end(), 1.0);
            const StructuralFaults faults = findStructuralFaults<double>(arrays);
            const Int rank = exhaustiveMatching(cells, 0, 0);
            List free = faults.emptyColumns, wanted;
            for (const UnevenBlock& block : faults.underDetermined) {
                EXPECT_LT(block.rows.size(), block.columns.size());
                free.insert(free.end(), block.columns.begin(), block.columns.end());
                for (Int i = 0; i < rows; ++i) {
                    const bool meets = std::ranges::any_of(block.columns, [&](Int j) { return cells[i][j]; });
                    EXPECT_EQ(meets, std::ranges::binary_search(block.rows, i));
                }
            }
            for (Int j = 0; j < cols; ++j)
                if (exhaustiveMatching(withoutColumn(cells, j), 0, 0) == rank) wanted.push_back(j);
            std::ranges::sort(free);
            EXPECT_EQ(free, wanted);
            if (HasFailure()) FAIL() << rows << " x " << cols << ", bits " << bits;
        }
}

TEST(StructuralFaults, MayHaveNoRowsOrNoColumns)
{
    EXPECT_EQ(explain(faultsOf<double>({}, 0)), "");
    EXPECT_EQ(faultsOf<double>({}, 2).emptyColumns, (List{0, 1}));
    EXPECT_EQ(faultsOf<double>({{}, {}}, 0).emptyRows, (List{0, 1}));
}

/// Thousands of rows of one pattern, and of one direction, must not be compared each with each.
TEST(StructuralFaults, OfManyLikeRowsAreFoundAtOnce)
{
    const Int n = 40000;
    EntryArrays<double> arrays{{n, 3}};
    for (Int i = 0; i < n; ++i) {
        arrays.pattern.columns.insert(arrays.pattern.columns.end(), {0, 1, 2});
        const double factor = 1.0 + i;
        arrays.values.insert(arrays.values.end(), {factor, 2 * factor, i % 2 == 0 ? 3 * factor : double(i)});
        arrays.pattern.starts.push_back(3 * i + 3);
    }
    const StructuralFaults faults = findStructuralFaults<double>(arrays);
    ASSERT_EQ(faults.duplicateRows.size(), 1U);
    EXPECT_EQ(faults.duplicateRows[0].size(), static_cast<std::size_t>(n / 2));
}

} // namespace
} // namespace Velmar::Lintrix::testing
