// Where the panels of a factor in files stand while they are in memory.

#include <lintrix/engine/factorization/factor_store.h>

#include "tests/engine/factorization/factorization_case.h"

#include <cstdint>

namespace Velmar::Lintrix::testing {
namespace {

template <class T>
class FactorStores : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(FactorStores, Scalars);

template <class T>
std::uintptr_t lineOf(const T* cells)
{
    return reinterpret_cast<std::uintptr_t>(cells) % detail::engine::kBlockAlignment;
}

// Kernels of BLAS may round by the address that a vector begins at.
TYPED_TEST(FactorStores, PanelsStandAsInMemoryModuloTheAlignmentOfBlocks)
{
    using T = TypeParam;
    const OwnedGraph graph = grid(7, 9);
    for (const Method method : {Method::CompletePivoting, Method::BunchKaufman}) {
        const bool hasUpper = isUnsymmetric(method);
        const TestMatrix<T> A(graph.view(), hasUpper ? Kind::Unsymmetric : Kind::Symmetric, 3, 17);
        FactorizationCase<T> c(graph.view(), A, {method, false, 0.0}, 3, 1);
        const FactorPlan plan = c.plan();
        OpenFactorFiles files;
        FactorStore<T> store(plan, files, 1);
        ASSERT_FALSE(store.allocate());
        const Factor<T> inMemory = c.factor();
        for (int first = 0; first < plan.structure.supernodes(); ++first) {
            for (int last = first; last < plan.structure.supernodes(); ++last) {
                const std::int64_t room = FactorStore<T>::roomFor(store.elements({first, last}));
                const auto cells = detail::engine::Scratch<T>::uninitialised(room);
                const Factor<T> placed = store.placedIn(cells.get(), {first, last}, inMemory);
                const T* const lower = placed.lower + plan.lowerStarts[first];
                const T* end = placed.lower + plan.lowerStarts[last + 1];
                EXPECT_GE(lower, cells.get());
                EXPECT_EQ(lineOf(lower), lineOf(inMemory.lower + plan.lowerStarts[first]));
                if (hasUpper) {
                    const T* const upper = placed.upper + plan.upperStarts[first];
                    EXPECT_GE(upper, end);
                    EXPECT_EQ(lineOf(upper), lineOf(inMemory.upper + plan.upperStarts[first]));
                    end = placed.upper + plan.upperStarts[last + 1];
                }
                EXPECT_LE(end, cells.get() + room);
                EXPECT_EQ(lineOf(cells.get() + room), 0U) << "another room may follow";
                EXPECT_LE(room, store.elements({first, last}) + FactorStore<T>::mostBeside());
                EXPECT_EQ(placed.rowExchange, inMemory.rowExchange);
                EXPECT_EQ(placed.columnExchange, inMemory.columnExchange);
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
