#pragma once
/// @file
/// How many singular values are above a bound.

#include <lintrix/services/export.h>
#include <lintrix/systems/least_squares/tall_matrix.h>

#include <complex>
#include <cstdint>
#include <optional>
#include <span>

namespace Velmar::Lintrix::detail {

/// The augmented matrix [s*I M; M^H s*I] has the eigenvalues s + sigma and s - sigma for each singular value
/// sigma of M, and s besides: as many are negative as singular values are above s > 0. They are counted by a
/// factor, and the count is told if the factor, as measured, is near enough to the matrix.
template <class Cell>
class LINTRIX_TESTABLE SingularCount {
public:
    enum class Doubt {
        None,
        TooLarge, ///< the factorization passes the bounds on memory or operations
        Signs,    ///< rounding leaves signs of eigenvalues uncertain
    };

    /// Refers to M, whose adjoint rows are given, too. At most so many bytes and operations are taken.
    SingularCount(const RowsView<Cell>& rows, const RowsView<Cell>& adjoint, double bytes, double operations);

    struct Answer {
        double bound;
        std::int32_t above; ///< of M's singular values are so many
    };

    /// Of the first of these bounds, all above 0, where it is certain; none if it is of none, and `doubt()`
    /// tells why. Cost: an analysis, and up to a factor for each.
    /// @throws as the listener of `WorkScope`, OperationFailedException  "The matrix has too many entries."
    std::optional<Answer> firstCertain(std::span<const double> bounds);
    Doubt doubt() const noexcept { return doubt_; }

private:
    const RowsView<Cell>&rows_, &adjoint_;
    double bytes_, operations_;
    Doubt doubt_ = Doubt::None;
};

extern template class SingularCount<double>;
extern template class SingularCount<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
