// The native entry: raw arrays in, raw arrays out.

#include "tests/solvers/svd_support.h"

#include <lintrix/solvers/do_lan.h>

namespace Velmar::Lintrix::testing {
namespace {

struct Buffers {
    Buffers(int m, int n, int k)
        : U(static_cast<std::size_t>(m * k) + 1, kGuard), V(static_cast<std::size_t>(n * k) + 1, kGuard),
          S(static_cast<std::size_t>(k) + 1, kGuard)
    {
    }
    void expectGuards() const
    {
        EXPECT_EQ(U.back(), kGuard);
        EXPECT_EQ(V.back(), kGuard);
        EXPECT_EQ(S.back(), kGuard);
    }

    static constexpr double kGuard = -77.0;
    std::vector<double> U, V, S;
};

TEST(DoLan, WritesWhatSparseSvdShows)
{
    const SparseMatrix A = scatteredSparse({40, 30}, 5);
    Buffers out(40, 30, 3);
    DoLan(40, 30, 3, 1e-10, A.Values().data(), A.RowPointers().data(), A.ColumnIndices().data(), false,
          out.U.data(), out.V.data(), out.S.data());
    const SparseSVD svd(A, 3, 1e-10);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(out.S[static_cast<std::size_t>(i)], svd.S()[i]);
    for (int c = 0; c < 3; ++c) {
        for (int r = 0; r < 40; ++r) EXPECT_EQ(out.U[static_cast<std::size_t>(r + 40 * c)], svd.U()(r, c));
        for (int r = 0; r < 30; ++r) EXPECT_EQ(out.V[static_cast<std::size_t>(r + 30 * c)], svd.V()(r, c));
    }
    out.expectGuards();
}

TEST(DoLan, SymFlagReadsTheRowsAsAnUpperTriangle)
{
    // 2 1 0        eigenvalues 2 + sqrt(2), 2, 2 - sqrt(2)
    // 1 2 1
    // 0 1 2
    const double a[] = {2, 1, 2, 1, 2};
    const std::int32_t ia[] = {1, 3, 5, 6}, ja[] = {1, 2, 2, 3, 3};
    Buffers out(3, 3, 1);
    DoLan(3, 3, 1, 1e-10, a, ia, ja, true, out.U.data(), out.V.data(), out.S.data());
    EXPECT_NEAR(out.S[0], 2.0 + std::sqrt(2.0), 1e-14);
    out.expectGuards();
}

/// Rows of `perRow` elements each, one of them on the diagonal, the others evenly behind it; with `upper` no
/// row goes around the end.
struct BandedRows {
    BandedRows(int size, int perRow, bool upper) : n(size)
    {
        for (int row = 0; row < n; ++row) {
            std::vector<std::int32_t> columns;
            for (int p = 0; p < perRow; ++p) {
                const int column = row + p * n / (2 * perRow);
                if (!upper || column < n) columns.push_back(column % n + 1);
            }
            std::ranges::sort(columns);
            for (const std::int32_t column : columns) {
                ja.push_back(column);
                a.push_back(column == row + 1 ? 4.0 + row % 7 : 1.0 / (row + column));
            }
            ia.push_back(static_cast<std::int32_t>(ja.size()) + 1);
        }
    }

    int n;
    std::vector<double> a;
    std::vector<std::int32_t> ia{1}, ja;
};

/// What a run of one pass asks the allocator for.
std::int64_t bytesOfOnePass(const BandedRows& A, bool sym)
{
    Buffers out(A.n, A.n, 1);
    const AllocationMeter meter;
    DoLan(A.n, A.n, 1, 1e300, A.a.data(), A.ia.data(), A.ja.data(), sym, out.U.data(), out.V.data(),
          out.S.data());
    return meter.bytes();
}

TEST(DoLan, MemoryDoesNotDependOnTheNumberOfElements)
{
    const BandedRows few(400, 2, false), many(400, 100, false);
    EXPECT_EQ(bytesOfOnePass(few, false), bytesOfOnePass(many, false));
}

// With one side copied it would be 12 bytes an element more.
TEST(DoLan, NoCopyOfTheMatrixIsMade)
{
    for (const bool sym : {false, true}) {
        const BandedRows A(400, 150, sym);
        const auto elements = static_cast<std::int64_t>(A.a.size());
        EXPECT_LT(bytesOfOnePass(A, sym), 8 * elements) << sym;
    }
}

// 46341*46341 wraps to a negative number of steps, of which no memory can be had.
TEST(DoLan, StepsThatWrapAreOutOfMemory)
{
    constexpr int size = 46341;
    const std::vector<std::int32_t> ia(size + 1, 1);
    const auto call = [&] {
        DoLan(size, size, size, 1e-6, nullptr, ia.data(), nullptr, false, nullptr, nullptr, nullptr);
    };
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>(
            call, "Too many singular values are wanted of a matrix of this size.");
    } else {
        EXPECT_THROW(call(), NotEnoughMemoryException);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
