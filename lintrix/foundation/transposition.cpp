#include <lintrix/foundation/transposition.h>

#include <algorithm>

namespace Velmar::Lintrix {

namespace {

// A tile of 8 x 8 doubles: eight cache lines read, eight written.
constexpr std::uint64_t kTile = 8;
// Rows of A that one sweep covers: 8 columns of B lines for 256 rows stay in the first-level cache.
constexpr std::uint64_t kSweep = 256;

void transposeTile(std::uint64_t rows, std::uint64_t cols, double alpha, const double* a, std::uint64_t lda,
                   double* b, std::uint64_t ldb)
{
    for (std::uint64_t i = 0; i < rows; ++i) {
        for (std::uint64_t j = 0; j < cols; ++j) b[j + ldb * i] = alpha * a[i + lda * j];
    }
}

} // namespace

void MKL_Domatcopy(const char& ordering, const char& trans, const std::uint64_t& rows,
                   const std::uint64_t& cols, const double& alpha, const double* a, const std::uint64_t& lda,
                   double* b, const std::uint64_t& ldb)
{
    if (ordering != 'C' || trans != 'T') return;
    for (std::uint64_t top = 0; top < rows; top += kSweep) {
        const std::uint64_t bottom = std::min(rows, top + kSweep);
        for (std::uint64_t j = 0; j < cols; j += kTile) {
            for (std::uint64_t i = top; i < bottom; i += kTile) {
                transposeTile(std::min(kTile, bottom - i), std::min(kTile, cols - j), alpha, a + i + lda * j,
                              lda, b + j + ldb * i, ldb);
            }
        }
    }
}

void detail::vmr_transo(const double* a, double* b, const std::int32_t& m, const std::int32_t& n)
{
    const auto rows = static_cast<std::uint64_t>(m), cols = static_cast<std::uint64_t>(n);
    MKL_Domatcopy('C', 'T', rows, cols, 1.0, a, rows, b, cols);
}

} // namespace Velmar::Lintrix
