#include <lintrix/systems/iterations/gmres.h>

#include <lintrix/services/work.h>
#include <lintrix/sparse/kernels/cell.h>
#include <lintrix/systems/iterations/arnoldi.h>
#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = 0x1p-53;

template <class Cell>
class Gmres {
public:
    using Vector = std::vector<Cell>;

    Gmres(const LinearMap<Cell>& A, double normOfA, const LinearMap<Cell>& inverse, const Cell* b,
          const Cell* x, const GmresOptions& options)
        : A_(A), inverse_(inverse), options_(options), n_(A.rows), b_(b, b + n_), normOfA_(normOfA),
          normOfB_(largestModulus(b, n_)), best_(measured(Vector(x, x + n_)))
    {
        if (best_.error <= options.tolerance || largestModulus(best_.r.data(), n_) <= normOfB_) return;
        given_ = std::exchange(best_, measured(Vector(n_)));
    }

    GmresResult run()
    {
        if (std::isnan(best_.error)) return result(GmresOutcome::NotFinite);
        for (std::int32_t idle = 0;;) {
            if (best_.error <= options_.tolerance) return result(GmresOutcome::Converged);
            if (idle >= options_.patience) return result(GmresOutcome::Stagnated);
            if (steps_ >= options_.steps) return result(GmresOutcome::StepLimit);
            const double before = best_.error;
            const std::optional<GmresOutcome> early = cycle();
            if (early && best_.error > options_.tolerance) return result(*early);
            idle = best_.error > before / 2 ? idle + 1 : 0;
        }
    }

    const Vector& solution() const { return best_.x; }

private:
    /// An x, and how well it solves.
    struct Measured {
        Vector x, r;
        double error;
    };

    Measured measured(Vector x) const
    {
        Vector r(n_);
        A_.times(1, x.data(), r.data());
        for (std::int32_t i = 0; i < n_; ++i) r[i] = b_[i] - r[i];
        const double error = normwiseBackwardError(normOfA_, largestModulus(x.data(), n_), normOfB_,
                                                   largestModulus(r.data(), n_));
        return {std::move(x), std::move(r), error};
    }

    // From one restart to the next. Tells what ends the iteration besides the backward error.
    std::optional<GmresOutcome> cycle()
    {
        ++cycles_;
        Arnoldi<Cell> basis(best_.r);
        std::vector<Vector> z;
        // ||A||*||x|| + ||b|| is ||r||/error. More than the digits of a double no cycle gains.
        const double wanted = largestModulus(best_.r.data(), n_) * (options_.tolerance / best_.error);
        const double goal = std::max(wanted, basis.remainder() * kEps);
        std::optional<GmresOutcome> early;
        while (!early && basis.remainder() > goal && !basis.isComplete() && basis.steps() < options_.cycle &&
               steps_ < options_.steps) {
            if (options_.mustEnd && options_.mustEnd()) {
                early = GmresOutcome::Ended;
            } else if (!step(basis, z)) {
                return GmresOutcome::NotFinite;
            }
        }
        const bool gained = basis.steps() > 0 && takeBetter(basis, z);
        return early || gained ? early : GmresOutcome::Stagnated;
    }

    // One column more of A*Z = V*H; false where it is not finite.
    bool step(Arnoldi<Cell>& basis, std::vector<Vector>& z)
    {
        Vector direction(n_), image(n_);
        WorkScope::tell();
        inverse_.times(1, basis.last().data(), direction.data());
        ++steps_;
        if (!std::isfinite(largestModulus(direction.data(), n_))) return false;
        A_.times(1, direction.data(), image.data());
        if (!basis.extend(std::move(image))) return false;
        if (options_.flexible) z.push_back(std::move(direction));
        return true;
    }

    // Whether x + Z*y is better than x.
    bool takeBetter(const Arnoldi<Cell>& basis, const std::vector<Vector>& z)
    {
        Vector change(n_);
        if (options_.flexible) {
            change = combination(z, basis.minimizer());
        } else {
            const Vector mixed = combination(basis.vectors(), basis.minimizer());
            inverse_.times(1, mixed.data(), change.data());
        }
        for (std::int32_t i = 0; i < n_; ++i) change[i] += best_.x[i];
        Measured next = measured(std::move(change));
        if (!(next.error < best_.error)) return false;
        best_ = std::move(next);
        return true;
    }

    Vector combination(const std::vector<Vector>& vectors, const Vector& weights) const
    {
        Vector sum(n_);
        for (std::size_t j = 0; j < weights.size(); ++j) {
            for (std::int32_t i = 0; i < n_; ++i) sum[i] += times(weights[j], vectors[j][i]);
        }
        return sum;
    }

    GmresResult result(GmresOutcome outcome)
    {
        if (given_ && given_->error < best_.error) best_ = std::move(*given_);
        return {outcome, steps_, cycles_, best_.error};
    }

    const LinearMap<Cell>&A_, &inverse_;
    const GmresOptions& options_;
    std::int32_t n_;
    Vector b_;
    double normOfA_, normOfB_;
    Measured best_;
    std::optional<Measured> given_; ///< a start that was not begun with
    std::int32_t steps_ = 0, cycles_ = 0;
};

} // namespace

template <class Cell>
GmresResult gmres(const LinearMap<Cell>& A, double normOfA, const LinearMap<Cell>& inverse, const Cell* b,
                  Cell* x, const GmresOptions& options)
{
    Gmres<Cell> iteration(A, normOfA, inverse, b, x, options);
    const GmresResult result = iteration.run();
    if (!std::isnan(result.backwardError)) {
        std::copy(iteration.solution().begin(), iteration.solution().end(), x);
    }
    return result;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template GmresResult gmres(const LinearMap<Cell>&, double, const LinearMap<Cell>&, const Cell*, Cell*,   \
                               const GmresOptions&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
