#pragma once
/// @file
/// The triplets by way of M^H*M, where the values are large enough for it.

#include <lintrix/systems/structure/column_block.h>
#include <lintrix/systems/truncated_svd.h>
#include <lintrix/systems/truncated_svd/gram_lanczos.h>
#include <lintrix/systems/truncated_svd/restarted_bidiagonalization.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The `count` leading triplets of M by `GramLanczos`. Where they have converged, a few steps from a random
/// vector beside them tell of a multiple value whose other vectors the first one did not hold: then it goes
/// on.
template <class Cell>
class LINTRIX_TESTABLE GramSearch {
public:
    /// M, the options and the random source are referred to. @pre count < basis @throws std::bad_alloc
    GramSearch(const LinearMap<Cell>& M, std::int32_t count, std::int32_t basis,
               const TruncatedSvdOptions& options, Random& random, const Cell* start);

    /// @return whether the triplets stand: measured within the tolerance, or all restarts are used up. They
    /// do
    ///         not where the last value is too small beside the first.
    bool run();

    const Cell* left(std::int32_t j) const noexcept { return left_.column(j); }
    const Cell* right(std::int32_t j) const noexcept { return lanczos_.right(j); }
    /// Of the triplets, and behind them estimates of smaller ones.
    const std::vector<double>& values() const noexcept { return values_; }
    /// As measured, in the units of the values.
    const std::vector<double>& residuals() const noexcept { return measured_; }
    std::int32_t restarts() const noexcept { return restarts_; }
    std::int64_t products() const noexcept { return lanczos_.products() + measuring_; }
    StandingTriplets<Cell> standing() const;

    /// Bytes for the search, its result, and a copy of that for who takes it over.
    static double bytesFor(std::int32_t rows, std::int32_t cols, std::int32_t count, std::int32_t basis);

private:
    bool isReachable() const;
    double ratioOfLast() const;
    bool seesMore();
    std::int32_t kept() const;
    void formLeft();
    void makeOrthonormal();
    void measureRight();

    const LinearMap<Cell>& M_;
    const TruncatedSvdOptions& options_;
    std::int32_t count_, basis_;
    GramLanczos<Cell> lanczos_;
    ColumnBlock<Cell> left_;
    std::vector<Cell> next_, couplings_; // behind the right vectors; of each triplet with it
    std::vector<double> values_, measured_;
    std::int32_t restarts_ = 0;
    std::int64_t measuring_ = 0; ///< products
};

extern template class GramSearch<double>;
extern template class GramSearch<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
