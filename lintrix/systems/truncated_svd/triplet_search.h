#pragma once
/// @file
/// The way from a matrix to the triplets that are asked for: restarts, the measure, the certificate.

#include <lintrix/systems/least_squares/tall_matrix.h>
#include <lintrix/systems/truncated_svd.h>
#include <lintrix/systems/truncated_svd/gram_search.h>
#include <lintrix/systems/truncated_svd/restarted_bidiagonalization.h>
#include <lintrix/systems/truncated_svd/sliced_rows.h>

#include <functional>
#include <memory>
#include <optional>

namespace Velmar::Lintrix::detail {

/// A sparse matrix and its adjoint as products with M, which is whichever of the two is tall. Both are laid
/// out in slices as far as that keeps within the bytes; the adjoint comes first, which else is scattered.
template <class Cell>
class SvdMatrix {
public:
    SvdMatrix(const SparseOf<Cell>& A, double bytes);
    SvdMatrix(const SvdMatrix&) = delete;
    SvdMatrix& operator=(const SvdMatrix&) = delete;

    bool isFinite() const;
    bool isAdjoint() const noexcept { return view_.rows < view_.cols; } ///< M is A^H
    const LinearMap<Cell>& products() const noexcept { return products_; }
    const RowsView<Cell>& rows() const noexcept { return view_; }
    /// Of the copies that were made.
    double bytes() const noexcept;

private:
    typename LinearMap<Cell>::Apply productWith(const std::optional<SlicedRows<Cell>>& slices,
                                                bool adjoint) const;

    std::optional<SparseOf<Cell>> whole_; // of a matrix that stores one triangle
    RowsView<Cell> view_;
    std::optional<SlicedRows<Cell>> adjoint_, given_;
    LinearMap<Cell> products_;
};

/// The `count` leading triplets of M. `start`, of as many cells as M has columns, may lead the first block.
template <class Cell>
class TripletSearch {
public:
    /// @throws OperationFailedException  "The memory budget is too small."
    TripletSearch(const SvdMatrix<Cell>& matrix, std::int32_t count, double bytes,
                  const TruncatedSvdOptions& options, const Cell* start);

    /// Without which no search begins, for a matrix of these sizes.
    static double leastBytes(std::int32_t rows, std::int32_t cols, std::int32_t count,
                             const TruncatedSvdOptions& options);

    void run();

    const Cell* left(std::int32_t j) const noexcept { return lanczos_ ? lanczos_->left(j) : gram_->left(j); }
    const Cell* right(std::int32_t j) const noexcept
    {
        return lanczos_ ? lanczos_->right(j) : gram_->right(j);
    }
    /// Largest first, and behind the triplets' own what is known of smaller ones.
    const std::vector<double>& values() const noexcept
    {
        return lanczos_ ? lanczos_->values() : gram_->values();
    }
    /// Of the leading triplets, as measured, in the units of the values.
    const std::vector<double>& residuals() const noexcept { return measured_; }
    std::int32_t converged() const;
    const TripletsCertificate& certificate() const noexcept { return certificate_; }
    std::int32_t restarts() const noexcept { return restarts_; }
    std::int32_t basis() const noexcept { return lanczos_ ? sizes_.basis : gramBasis_; }
    std::int64_t products() const noexcept
    {
        return measuring_ + (lanczos_ ? lanczos_->products() : 0) + (gram_ ? gram_->products() : 0);
    }

private:
    using Lanczos = RestartedBidiagonalization<Cell>;

    static typename Lanczos::Sizes leastSizes(std::int32_t side, std::int32_t count, std::int32_t block);
    typename Lanczos::Sizes chosenSizes(double bytes) const;
    std::int32_t chosenGramBasis(double bytes) const;
    bool findByGram();
    void find(std::int32_t wanted);
    void begin();
    void beginAnew(std::int32_t vectors);
    void iterate(std::int32_t wanted, double tolerance);
    std::int32_t settled(std::int32_t wanted, double tolerance) const;
    std::int32_t kept(std::int32_t wanted) const;
    void measure(std::int32_t wanted);
    double limit() const;
    void certify();
    std::vector<double> boundsBelow(std::int32_t found) const;
    bool hasRoomFor(std::int32_t above, std::int32_t vectors) const;
    bool recover(std::int32_t above);
    void takeOver();
    void undecided(std::string_view reason);

    const SvdMatrix<Cell>& matrix_;
    const LinearMap<Cell>& M_;
    const TruncatedSvdOptions& options_;
    std::int32_t count_;
    double bytes_;
    typename Lanczos::Sizes sizes_;
    std::int32_t gramBasis_;
    Random random_;
    const Cell* start_;
    std::unique_ptr<GramSearch<Cell>> gram_; ///< that the triplets were found by
    std::unique_ptr<Lanczos> lanczos_;       ///< else by this
    std::vector<double> measured_;
    TripletsCertificate certificate_{};
    std::int32_t restarts_ = 0;
    std::int64_t measuring_ = 0; ///< products, and those of runs that were begun anew
};

extern template class SvdMatrix<double>;
extern template class SvdMatrix<std::complex<double>>;
extern template class TripletSearch<double>;
extern template class TripletSearch<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
