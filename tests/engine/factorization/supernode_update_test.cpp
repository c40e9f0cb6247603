// The update of one supernode by another, against the plain sum, over all shapes that choose another kernel.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/supernode_update.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

template <class T>
class SupernodeUpdate : public ::testing::Test {
protected:
    static T value(std::mt19937& random)
    {
        std::uniform_real_distribution<RealOf<T>> uniform(-1, 1);
        if constexpr (kIsComplex<T>) {
            const RealOf<T> re = uniform(random);
            return {re, uniform(random)};
        } else {
            return uniform(random);
        }
    }

    static std::vector<T> values(int count, std::mt19937& random)
    {
        std::vector<T> all(static_cast<std::size_t>(count));
        for (T& x : all) x = value(random);
        return all;
    }

    // Ascending numbers below `bound`; `dense` of them in long stretches.
    static std::vector<int> places(int count, int stretch, std::mt19937& random)
    {
        std::vector<int> all;
        for (int next = 0; static_cast<int>(all.size()) < count; ++next) {
            if (stretch > 0 && static_cast<int>(all.size()) % stretch == 0)
                next += static_cast<int>(random() % 3);
            all.push_back(next);
        }
        return all;
    }

    // So many columns to sum over that m rows of them outgrow the cache, and are packed.
    static int depthToPack(int m) { return 200 * 1024 / (m * static_cast<int>(sizeof(T))); }

    struct Shape {
        int m, k, w;
        int stretch; ///< of neighbours among the rows; 0: all are
        bool lowerTriangle;
        int above;
        int panels = 1;
        bool behindBlocks = false; ///< each panel has the rows behind its columns only, as those of U
    };

    // Panels of a common row list, each with the rows from its own first column on, or from behind its last.
    struct Panels {
        std::vector<UpdatePanel<T>> views;
        std::vector<std::vector<T>> cells;
        std::vector<int> firstColumn, firstRow; // in the common list
    };

    static Panels panelsFor(const Shape& shape, const std::vector<int>& row, std::mt19937& random)
    {
        Panels panels;
        const int height = row.back() + 1;
        for (int p = 0, taken = 0; p < shape.panels; ++p) {
            const int end = shape.k * (p + 1) / shape.panels, columns = end - taken;
            if (columns == 0) continue;
            const int origin = row[std::size_t(taken)], last = row[std::size_t(end - 1)];
            const int above = shape.behindBlocks ? last + 1 : origin, ld = height - above + 1;
            panels.cells.push_back(values(std::max(1, ld) * (last - origin + 1), random));
            panels.firstColumn.push_back(origin);
            panels.firstRow.push_back(above);
            panels.views.push_back({panels.cells.back().data() - above - std::ptrdiff_t{ld} * origin, ld,
                                    columns, shape.behindBlocks ? end : taken});
            taken = end;
        }
        return panels;
    }

    static void expectExact(const Shape& shape)
    {
        const auto [m, k, w, stretch, lowerTriangle, above, panelCount, behindBlocks] = shape;
        SCOPED_TRACE(::testing::Message() << "m " << m << ", k " << k << ", w " << w << ", stretch "
                                          << stretch << ", lower " << lowerTriangle << ", above " << above
                                          << ", panels " << panelCount << ", behind " << behindBlocks);
        std::mt19937 random(static_cast<unsigned>(m * 131 + k * 17 + w));
        const int lda = above + m + 3, ldb = k + 2;
        const std::vector<T> a = values(lda * w, random), b = values(ldb * w, random);
        const std::vector<int> row = places(m, stretch, random);
        Panels target = panelsFor(shape, row, random);
        const std::vector<std::vector<T>> before = target.cells;
        std::vector<T> buffer(static_cast<std::size_t>(updateBufferSize(k, w, panelCount)));
        const UpdateProduct<T> product{a.data() + above, lda, b.data(), ldb, m, k, w, above};
        subtractProduct<T>(product, {target.views, row.data()}, lowerTriangle, buffer.data());

        const auto tolerance =
            static_cast<RealOf<T>>(4 * (w + 2)) * std::numeric_limits<RealOf<T>>::epsilon();
        int c = 0;
        for (std::size_t p = 0; p < target.views.size(); ++p) {
            const UpdatePanel<T>& panel = target.views[p];
            std::vector<bool> touched(before[p].size());
            for (const int end = c + panel.columns; c < end; ++c) {
                for (int i = panel.firstRow; i < m; ++i) {
                    const auto cell =
                        static_cast<std::size_t>(row[std::size_t(i)] - target.firstRow[p] +
                                                 panel.ld * (row[std::size_t(c)] - target.firstColumn[p]));
                    touched[cell] = true;
                    if (lowerTriangle && i < c) continue; // undefined
                    T sum = before[p][cell];
                    for (int q = 0; q < w; ++q)
                        sum -= a[std::size_t(above + i + lda * q)] * b[std::size_t(c + ldb * q)];
                    ASSERT_LE(std::abs(target.cells[p][cell] - sum), tolerance) << i << ' ' << c;
                }
            }
            for (std::size_t cell = 0; cell < touched.size(); ++cell) {
                if (touched[cell]) continue;
                ASSERT_EQ(target.cells[p][cell], before[p][cell]) << "panel " << p << " cell " << cell;
            }
        }
    }
};

using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(SupernodeUpdate, Scalars);

TYPED_TEST(SupernodeUpdate, SmallShapes)
{
    for (int m = 1; m <= 40; m += m < 10 ? 1 : 3) {
        for (int k = 1; k <= std::min(m, 19); k += m < 10 ? 1 : 2) {
            for (const int w : {1, 2, 7}) {
                for (const bool lower : {false, true}) {
                    this->expectExact({m, k, w, 3, lower, (m * k) % 20});
                    this->expectExact({m, k, w, 0, lower, 0});
                }
            }
        }
    }
}

TYPED_TEST(SupernodeUpdate, ShapesInPlaceAndPackedInStretches)
{
    for (const int m : {24, 25, 31, 48, 97, 150}) {
        for (const int k : {1, 4, 7, 8, 9, 17, 24}) {
            for (const int w : {13, 64, this->depthToPack(m)}) {
                for (const int stretch : {1, 4, 30}) {
                    for (const bool lower : {false, true}) this->expectExact({m, k, w, stretch, lower, 5});
                }
            }
        }
    }
}

TYPED_TEST(SupernodeUpdate, LargeShapesInOneStretch)
{
    for (const bool lower : {false, true}) {
        this->expectExact({200, 128, 128, 0, lower, 40});
        this->expectExact({130, 90, 60, 0, lower, 0});
        this->expectExact({130, 90, 60, 7, lower, 0});
    }
}

// The three ways in which panels take their rows: L's of symmetric storage, of unsymmetric, and U's.
TYPED_TEST(SupernodeUpdate, SeveralPanels)
{
    for (const int panels : {2, 3, 4}) {
        for (const int m : {5, 23, 60, 131}) {
            for (const int k : {4, 5, 23, 50}) {
                if (k > m) continue;
                for (const int w : {2, 40, this->depthToPack(m)}) {
                    for (const int stretch : {0, 5}) {
                        this->expectExact({m, k, w, stretch, true, 5, panels, false});
                        this->expectExact({m, k, w, stretch, false, 5, panels, false});
                        this->expectExact({m, k, w, stretch, false, 5, panels, true});
                    }
                }
            }
        }
    }
}

// Where the rows of the target stand decides how they are reached, not what is subtracted: the same bits go
// to rows side by side and to rows apart, from factors in place and from packed ones.
TYPED_TEST(SupernodeUpdate, BitsDoNotDependOnThePlacesOfTheRows)
{
    using T = TypeParam;
    for (const int m : {8, 24, 53, 90}) {
        for (const int w : {5, 33, this->depthToPack(m)}) {
            SCOPED_TRACE(::testing::Message() << "m " << m << ", w " << w);
            const int k = m / 2;
            std::mt19937 random(static_cast<unsigned>(m + w));
            const std::vector<T> a = this->values(m * w, random), b = this->values(k * w, random);
            std::vector<T> buffer(static_cast<std::size_t>(updateBufferSize(k, w, 1)));
            const auto subtractedFromZero = [&](int step) {
                const int ld = step * m;
                std::vector<T> cells(static_cast<std::size_t>(ld * ld));
                std::vector<int> row(static_cast<std::size_t>(m));
                for (int i = 0; i < m; ++i) row[static_cast<std::size_t>(i)] = step * i;
                const UpdatePanel<T> panel{cells.data(), ld, k, 0};
                subtractProduct<T>({a.data(), m, b.data(), k, m, k, w, 0}, {{&panel, 1}, row.data()}, false,
                                   buffer.data());
                std::vector<T> result;
                for (int c = 0; c < k; ++c) {
                    for (int i = 0; i < m; ++i)
                        result.push_back(cells[static_cast<std::size_t>(step * i + ld * step * c)]);
                }
                return result;
            };
            EXPECT_EQ(subtractedFromZero(1), subtractedFromZero(3));
        }
    }
}

// A column that gives to one column, in L alone and in L and U at once: `rows` stand at `place` in the
// target.
TYPED_TEST(SupernodeUpdate, AColumnGivesTheBitsOfTheProduct)
{
    using T = TypeParam;
    for (const int m : {1, 2, 3, 4, 5, 8, 9, 16}) {
        for (const int stretch : {0, 1, 3}) {
            SCOPED_TRACE(::testing::Message() << "m " << m << ", stretch " << stretch);
            std::mt19937 random(static_cast<unsigned>(17 * m + stretch));
            const std::vector<T> l = this->values(m, random), u = this->values(m, random);
            const std::vector<int> row = this->places(m, stretch, random);
            const int height = row.back() + 1;
            std::vector<int> rows, place(static_cast<std::size_t>(3 * height + 5));
            for (const int at : row) {
                rows.push_back(3 * at + 2);
                place[static_cast<std::size_t>(rows.back())] = at;
            }
            const std::vector<T> before = this->values(height, random),
                                 beforeU = this->values(height, random);
            std::vector<T> expected = before, expectedU = beforeU, buffer(updateBufferSize(1, 1, 1));
            const auto subtract = [&](const std::vector<T>& a, const T& b, std::vector<T>& cells, int first) {
                const UpdatePanel<T> panel{cells.data() - std::ptrdiff_t{height} * row[0], height, 1, first};
                subtractProduct<T>({a.data(), m, &b, 1, m, 1, 1, 0}, {{&panel, 1}, row.data()}, false,
                                   buffer.data());
            };
            subtract(l, u[0], expected, 0);
            subtract(u, l[0], expectedU, 1);

            std::vector<T> lower = before, upper = beforeU;
            columnUpdate<T>()(l.data(), u.data(), u[0], rows.data(), m,
                              {lower.data(), upper.data(), place.data()});
            EXPECT_EQ(lower, expected);
            EXPECT_EQ(upper, expectedU);

            std::vector<T> alone = before;
            columnUpdate<T>()(l.data(), nullptr, u[0], rows.data(), m, {alone.data(), nullptr, place.data()});
            EXPECT_EQ(alone, expected);
        }
    }
}

TYPED_TEST(SupernodeUpdate, NoRowsAreNoWork)
{
    const int index = 0;
    TypeParam cell(3);
    const UpdatePanel<TypeParam> panel{&cell, 1, 1, 0};
    subtractProduct<TypeParam>({&cell, 1, &cell, 1, 0, 1, 1, 0}, {{&panel, 1}, &index}, false, nullptr);
    EXPECT_EQ(cell, TypeParam(3));
}

} // namespace
} // namespace Velmar::Lintrix::testing
