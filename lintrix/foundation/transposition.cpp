#include <lintrix/foundation/transposition.h>

#include <algorithm>

namespace Velmar::Lintrix {

namespace {

// A tile of 16 x 16 doubles: pairs of neighbouring cache lines are read and written whole, and both sides of
// the tile (4 KiB) stay in the first-level cache whatever the leading dimensions.
constexpr std::uint64_t kTile = 16;

inline void transposeTile(std::uint64_t rows, std::uint64_t cols, double alpha, const double* a,
                          std::uint64_t lda, double* b, std::uint64_t ldb)
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
    for (std::uint64_t j = 0; j < cols; j += kTile) {
        for (std::uint64_t i = 0; i < rows; i += kTile) {
            const std::uint64_t height = std::min(kTile, rows - i), width = std::min(kTile, cols - j);
            const double* from = a + i + lda * j;
            double* to = b + j + ldb * i;
            if (height == kTile && width == kTile) { // constant bounds: the compiler unrolls
                transposeTile(kTile, kTile, alpha, from, lda, to, ldb);
            } else {
                transposeTile(height, width, alpha, from, lda, to, ldb);
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
