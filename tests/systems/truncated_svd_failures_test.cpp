// Each request for memory of a truncated SVD refused in turn.

#include <lintrix/lintrix.h>
#include <tests/support/refused_memory.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

/// Wide, with a value that is twice multiple: every part of the work is done.
template <class Sparse>
Sparse wideMatrix()
{
    Sparse A(8, 12);
    for (std::int32_t i = 0; i < 8; ++i) A(i, i + 2) = i < 2 ? 5.0 : 4.0 - 0.3 * i;
    return A;
}

template <class Cell, class Sparse>
void refuseEachRequestOf(const TruncatedSvdOptions& options)
{
    const Sparse A = wideMatrix<Sparse>();
    { // what is made once, such as the threads' buffers
        const TruncatedSVD<Cell> svd(A, 3, options);
        EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged);
        EXPECT_NEAR(svd.S()[1], 5.0, 1e-9);
    }
    const int requests =
        refuseEachRequest([] { return 0; },
                          [&](int&) {
                              const TruncatedSVD<Cell> svd(A, 3, options);
                              EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged);
                              EXPECT_NE(svd.Certificate().certainty, TripletsCertainty::Missed);
                          },
                          [](const int& object) { return object; },
                          [] {
                              try {
                                  throw;
                              } catch (const NotEnoughMemoryException&) {
                              }
                          });
    EXPECT_GT(requests, 20);
}

TEST(TruncatedSvdFailures, RefusedMemoryLeavesNothingBehind)
{
    refuseEachRequestOf<double, SparseMatrix>({});
    refuseEachRequestOf<Complex, CSparseMatrix>({});
}

TEST(TruncatedSvdFailures, SoDoesTheCertificate)
{
    refuseEachRequestOf<double, SparseMatrix>({.certify = true});
}

} // namespace
} // namespace Velmar::Lintrix::testing
