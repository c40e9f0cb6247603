#pragma once
/// @file
/// Sparse systems that are not square: least squares and least norm, with what is known of the answer.

#include <lintrix/systems/iterations/lsmr.h>
#include <lintrix/systems/least_squares/augmented_system.h>
#include <lintrix/systems/least_squares/normal_equations.h>
#include <lintrix/systems/quality/augmented_refinement.h>
#include <lintrix/systems/structure/column_block.h>

#include <complex>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

enum class LeastSquaresMethod {
    Nothing,            ///< A or b is zero, empty or not finite: there was nothing to do
    NormalEquations,    ///< their Cholesky factor, refined with the residual of A
    AugmentedSystem,    ///< its factor, refined in the residual and in x
    PreconditionedLsmr, ///< LSMR with the former factor for preconditioner
    Lsmr,               ///< LSMR with scaled columns and no factor
};

/// "normal equations", "augmented system", ...
LINTRIX_TESTABLE std::string_view nameOf(LeastSquaresMethod method);

/// An x and how good it is. All norms are Euclidean, ||A|| is Frobenius's.
template <class Cell>
struct LeastSquaresAnswer {
    std::vector<Cell> x;         ///< NaN throughout where A or b is not finite
    double residual = 0.0;       ///< ||r||, r = b - A*x
    double normalResidual = 0.0; ///< ||A^H r|| / (||A|| ||r||); 0 where r is
    /// The smaller of normalResidual and ||r|| / (s + ||b||), s^2 being the sum of (||a_j|| |x_j|)^2: x
    /// solves a problem whose columns, and in the latter case b, are changed by so much. 1 where x is worse
    /// than 0.
    double backwardError = 0.0;
    /// On the error of x beside x, infinity norms, where A is of full rank and has a factor.
    std::optional<double> errorBound{};
    bool consistent = false; ///< ||r|| is rounding: a few eps*(s + ||b||)
    /// That, or normalResidual is rounding: below 1e-13, or, r being no small part of b, below a few
    /// eps*s/||r||, since r is known to eps*s only.
    bool settled = false;
    LeastSquaresMethod method = LeastSquaresMethod::Nothing;
    std::int32_t refinements = 0, iterations = 0; ///< steps of refinement, and of LSMR
    bool stopped = false;                         ///< by the callback
};

/// What the factor tells of A, with its columns (of a wide A, its rows) scaled alike where they differ
/// widely.
struct LeastSquaresRank {
    double condition = 1.0; ///< estimated; from below
    bool deficient = false; ///< the least singular value is below max(m, n)*eps of the norm
    /// Singular values below about 2^-20 of the norm, where the normal equations lose sight of them: of a
    /// deficient A with a gap in its spectrum they are its deficiency.
    std::int32_t small = 0;
};

/// min ||b - A*x||, and of all such x the one of least norm where A is wide or deficient. A is sparse, of any
/// shape, and never made dense.
///
/// The constructor analyses, and `forecast` tells what the factor of the normal equations will take. Where
/// that is much, `solve` tries a few steps of LSMR first; else, or where they do not settle the answer, the
/// first one factorizes and looks at the rank. Each answer is refined and measured, and where that does not
/// settle it the next method is tried: LSMR with the factor, the augmented system where its factor costs
/// bearably more, LSMR without a factor. The best by its residual is what is returned.
///
/// Deficient: where all scales are alike the shifted factor keeps the range of A^H, so that LSMR with it has
/// the solution of least norm from 0 on, as it has without it.
template <class Cell>
class LINTRIX_TESTABLE LeastSquares {
public:
    /// Refers to A's arrays. @throws std::bad_alloc, NotEnoughMemoryException
    explicit LeastSquares(const RowsView<Cell>& A);
    ~LeastSquares();

    /// False ends a solve with the best x so far. Told of each step of LSMR.
    void progress(std::function<bool(const LsmrStep&)> callback) { progress_ = std::move(callback); }

    /// Asked for the bytes that a factor may take beside those of others; where they do not suffice, the
    /// method that needs it is left.
    void memoryLeft(std::function<double(double held)> left) { memoryLeft_ = std::move(left); }

    /// Whether a `solve` has settled how the others go: by a factor, if there is one.
    bool isPrepared() const noexcept { return prepared_; }
    /// Of the factor that `solve` will make; nothing where there will be none, but LSMR alone.
    const std::optional<FactorForecast>& forecast() const noexcept { return forecast_; }

    /// Powers of two by which the columns of a tall A, the rows of a wide one are scaled.
    const std::vector<double>& scales() const noexcept { return M_.scale(); }

    /// b of length m. What the listener of `WorkScope` raises leaves a prepared object as it is; else it can
    /// only be destroyed.
    LeastSquaresAnswer<Cell> solve(const Cell* b);
    /// Factorizes if no `solve` has had to.
    const LeastSquaresRank& rank();
    /// As far as it is known without another factor.
    std::optional<LeastSquaresRank> knownRank() const;
    /// Whether A*x is rounding beside what it is summed up of: ||A*x|| <= max(m, n)*eps*s, s as above.
    bool isNullVector(const Cell* x) const;

private:
    using Answer = LeastSquaresAnswer<Cell>;
    class Attempt;

    bool hasWork() const;
    double termsOf(const Cell* x) const;
    void measureColumns();
    std::int32_t stepsWorthTrying() const;
    void prepare();
    bool factorizeSafely();
    double leastOn(ColumnBlock<Cell>& U, ColumnBlock<Cell>& P) const;
    void probe(std::int32_t count);
    void keepRange();
    bool hasRoomFor(double bytes, double held) const { return !memoryLeft_ || bytes <= memoryLeft_(held); }
    void solveRegular(Attempt& attempt);
    void solveDeficient(Attempt& attempt);
    double boundOf(const RefinedColumn& column, double unseen, const Answer& answer) const;
    bool isGoodByNormalEquations(Attempt& attempt);
    bool isGoodByAugmentedSystem(Attempt& attempt);
    AugmentedEquations<Cell> equations(typename AugmentedEquations<Cell>::Solve solve) const;
    AugmentedSystem<Cell>* augmentedOnce();

    TallMatrix<Cell> M_;
    LinearMap<Cell> A_;
    std::int32_t m_, n_;
    std::function<bool(const LsmrStep&)> progress_;
    std::function<double(double held)> memoryLeft_;
    std::unique_ptr<NormalEquations<Cell>> inverse_; // none where it cannot be had
    std::optional<FactorForecast> forecast_;
    std::unique_ptr<AugmentedSystem<Cell>> augmented_; // once it was asked for; likewise
    bool askedForAugmented_ = false;
    std::vector<double> columnNorms_; // of A
    LeastSquaresRank rank_;
    bool prepared_ = false, factorized_ = false;
};

extern template class LeastSquares<double>;
extern template class LeastSquares<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
