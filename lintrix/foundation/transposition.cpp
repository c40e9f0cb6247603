#include <lintrix/foundation/transposition.h>

#include <lintrix/foundation/detail/transpose_squares.h>
#include <lintrix/foundation/detail/transpose_tiles.h>

namespace Velmar::Lintrix {

void MKL_Domatcopy(const char& ordering, const char& trans, const std::uint64_t& rows,
                   const std::uint64_t& cols, const double& alpha, const double* a, const std::uint64_t& lda,
                   double* b, const std::uint64_t& ldb)
{
    if (ordering != 'C' || trans != 'T') return;
    if (alpha == 1.0) { // a multiplication would quiet a signalling NaN
        detail::transposeSquares().chosen()(rows, cols, a, lda, b, ldb);
    } else {
        detail::transposeTiles(rows, cols, a, lda, b, ldb, [alpha](double x) { return alpha * x; });
    }
}

void detail::vmr_transo(const double* a, double* b, const std::int32_t& m, const std::int32_t& n)
{
    const auto rows = static_cast<std::uint64_t>(m), cols = static_cast<std::uint64_t>(n);
    MKL_Domatcopy('C', 'T', rows, cols, 1.0, a, rows, b, cols);
}

} // namespace Velmar::Lintrix
