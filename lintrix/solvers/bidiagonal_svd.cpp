#include <lintrix/solvers/bidiagonal_svd.h>

#include <lintrix/dense/detail/finite.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/hardening.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail {

BidiagonalSvd::BidiagonalSvd(std::int32_t order, const double* diagonal, const double* subdiagonal,
                             double* values)
    : b(order), left(std::int64_t{b} * b), rightTrans(std::int64_t{b} * b)
{
    const std::int64_t size = b;
    if (!allFinite(diagonal, b) || !allFinite(subdiagonal, b)) {
        constexpr double nan = std::numeric_limits<double>::quiet_NaN();
        std::fill_n(left.get(), size * size, nan);
        std::fill_n(rightTrans.get(), size * size, nan);
        std::fill_n(values, size, nan);
        return;
    }
    const Block<double> work((3 * size + 4) * size);
    const Block<std::int32_t> integers(8 * size);
    const auto offDiagonal = Block<double>::copyOf(subdiagonal, size); // destroyed
    std::copy_n(diagonal, size, values);
    int info = 0;
    lapack::bdsdc('L', 'I', b, values, offDiagonal.get(), left.get(), b, rightTrans.get(), b, nullptr,
                  nullptr, work.get(), integers.get(), info);
    if constexpr (kHardened) {
        if (info != 0) {
            throw InvalidOperationException("The singular values of the bidiagonal matrix did not converge.");
        }
    }
}

} // namespace Velmar::Lintrix::detail
