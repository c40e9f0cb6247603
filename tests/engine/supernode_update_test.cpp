// The update of one supernode by another, against the plain sum, over all shapes that choose another kernel.

#include <lintrix/engine/scalar.h>
#include <lintrix/engine/supernode_update.h>

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

    // m rows by k columns over w, the rows in stretches (0: all neighbours).
    static void expectExact(int m, int k, int w, int stretch, bool lowerTriangle, int above)
    {
        SCOPED_TRACE(::testing::Message() << "m " << m << ", k " << k << ", w " << w << ", stretch "
                                          << stretch << ", lower " << lowerTriangle << ", above " << above);
        std::mt19937 random(static_cast<unsigned>(m * 131 + k * 17 + w));
        const int lda = above + m + 3, ldb = k + 2;
        const std::vector<T> a = values(lda * w, random), b = values(ldb * w, random);
        const std::vector<int> row = places(m, stretch, random);
        std::vector<int> column = places(k, stretch, random);
        if (lowerTriangle) column.assign(row.begin(), row.begin() + k);
        const int ld = row.back() + 2;
        const std::vector<T> before = values(ld * (column.back() + 1), random);
        std::vector<T> after = before, buffer(static_cast<std::size_t>(updateBufferSize(std::max(k, w))));
        const UpdateProduct<T> product{a.data() + above, lda, b.data(), ldb, m, k, w, above};
        subtractProduct<T>(product, {after.data(), ld, row.data(), column.data()}, lowerTriangle,
                           buffer.data());

        std::vector<bool> touched(before.size());
        const auto tolerance =
            static_cast<RealOf<T>>(4 * (w + 2)) * std::numeric_limits<RealOf<T>>::epsilon();
        for (int c = 0; c < k; ++c) {
            for (int i = 0; i < m; ++i) {
                const auto cell = static_cast<std::size_t>(row[std::size_t(i)] + ld * column[std::size_t(c)]);
                touched[cell] = true;
                if (lowerTriangle && i < c) continue; // undefined
                T sum = before[cell];
                for (int p = 0; p < w; ++p)
                    sum -= a[std::size_t(above + i + lda * p)] * b[std::size_t(c + ldb * p)];
                ASSERT_LE(std::abs(after[cell] - sum), tolerance) << i << ' ' << c;
            }
        }
        for (std::size_t cell = 0; cell < before.size(); ++cell) {
            if (touched[cell]) continue;
            ASSERT_EQ(after[cell], before[cell]) << "cell " << cell;
        }
    }
};

using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(SupernodeUpdate, Scalars);

TYPED_TEST(SupernodeUpdate, SmallShapes)
{
    for (int m = 1; m <= 40; m += 3) {
        for (int k = 1; k <= std::min(m, 19); k += 2) {
            for (const int w : {1, 2, 7}) {
                for (const bool lower : {false, true}) {
                    this->expectExact(m, k, w, 3, lower, (m * k) % 20);
                    this->expectExact(m, k, w, 0, lower, 0);
                }
            }
        }
    }
}

TYPED_TEST(SupernodeUpdate, PackedShapesInStretches)
{
    for (const int m : {24, 25, 31, 48, 97, 150}) {
        for (const int k : {1, 4, 7, 8, 9, 17, 24}) {
            for (const int w : {13, 64}) {
                for (const int stretch : {1, 4, 30}) {
                    for (const bool lower : {false, true}) this->expectExact(m, k, w, stretch, lower, 5);
                }
            }
        }
    }
}

TYPED_TEST(SupernodeUpdate, LargeShapesInOneStretch)
{
    for (const bool lower : {false, true}) {
        this->expectExact(200, 128, 128, 0, lower, 40);
        this->expectExact(130, 90, 60, 0, lower, 0);
        this->expectExact(130, 90, 60, 7, lower, 0);
    }
}

TYPED_TEST(SupernodeUpdate, NoRowsAreNoWork)
{
    const int index = 0;
    TypeParam cell(3);
    subtractProduct<TypeParam>({&cell, 1, &cell, 1, 0, 1, 1, 0}, {&cell, 1, &index, &index}, false, nullptr);
    EXPECT_EQ(cell, TypeParam(3));
}

} // namespace
} // namespace Velmar::Lintrix::testing
