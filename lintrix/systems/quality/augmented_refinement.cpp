#include <lintrix/systems/quality/augmented_refinement.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kGoodEnough = 1e-13; // an error that nobody tries to lower
constexpr double kGain = 0.5;         // a step that leaves more of the error is the last
constexpr int kSteps = 10;
constexpr double kUnitRoundoff = 0x1p-53;
/// From here on rounding in a factor takes a part of a correction that a factor of 2 no longer covers.
constexpr double kRegular = 1.0 / 128;

/// The rounding error of x - y = difference (D. E. Knuth, The Art of Computer Programming 2, section 4.2.2).
double lostBy(double x, double y, double difference)
{
    const double ofY = x - difference, ofX = difference + ofY;
    return (x - ofX) + (ofY - y);
}
std::complex<double> lostBy(const std::complex<double>& x, const std::complex<double>& y,
                            const std::complex<double>& difference)
{
    return {lostBy(x.real(), y.real(), difference.real()), lostBy(x.imag(), y.imag(), difference.imag())};
}

template <class Cell>
class Refinement {
    using Columns = std::vector<Cell>;

public:
    Refinement(const AugmentedEquations<Cell>& equations, bool shortest, std::int32_t columns, const Cell* B,
               Cell* X)
        : equations_(equations), shortest_(shortest), columns_(columns),
          p_(static_cast<std::size_t>(equations.op == TransposeMode::NotTransposed ? equations.tall.rows()
                                                                                   : equations.tall.cols())),
          q_(static_cast<std::size_t>(equations.op == TransposeMode::NotTransposed ? equations.tall.cols()
                                                                                   : equations.tall.rows())),
          B_(B), X_(X), t_(p_ * count()), w_(q_ * count()), first_(count(), kInfinity), left_(first_)
    {
        std::copy_n(X, (shortest ? p_ : q_) * count(), shortest ? t_.data() : w_.data());
        if (shortest)
            findMultipliers();
        else
            residualOf(equations_.tall, equations_.op, B, w_.data(), t_.data());
    }

    void run()
    {
        std::vector<double> before(count(), kInfinity), lackedBefore;
        for (int step = 0; step < kSteps; ++step) {
            WorkScope::tell();
            Columns dt = ofEquations(), dw = ofSolution();
            const std::vector<double> lacks = shortest_ ? sizesOf(dt) : std::vector<double>(count());
            const std::vector<char> areSolved = areZero(dt, dw);
            equations_.solve(columns_, dt.data(), dw.data());
            bool isLast = true;
            for (std::size_t j = 0; j < count(); ++j) {
                const double size = sizeOf(shortest_ ? dt : dw, j, areSolved[j] != 0) +
                                    uncertainty(lacks[j], step > 0 ? lackedBefore[j] : lacks[j]);
                if (step == 0) first_[j] = size;
                if (size < left_[j]) take(j, size);
                if (size <= kGoodEnough || !(size <= kGain * before[j])) continue;
                before[j] = size;
                add(dt, t_, p_ * j, p_);
                add(dw, w_, q_ * j, q_);
                isLast = false;
            }
            if (isLast) return;
            lackedBefore = lacks;
        }
    }

    std::vector<RefinedColumn> told() const
    {
        std::vector<RefinedColumn> told;
        for (std::size_t j = 0; j < count(); ++j)
            told.push_back({left_[j], largestModulus(t_.data() + p_ * j, static_cast<std::int32_t>(p_)),
                            left_[j] <= std::max(kGoodEnough, kGain * first_[j])});
        return told;
    }

private:
    std::size_t count() const { return static_cast<std::size_t>(columns_); }

    /// A part of what t + M*w lacks goes into dt, where it is no error of t: as large a part as the step
    /// before has left.
    static double uncertainty(double lack, double lackedBefore)
    {
        return lack < lackedBefore ? lack * (lack / lackedBefore) : lack;
    }

    void residualOf(const AnyMatrix<Cell>& A, TransposeMode op, const Cell* b, const Cell* x, Cell* r) const
    {
        residualInTwicePrecision(A, op, columns_, b, x, static_cast<const Cell*>(nullptr), r);
    }

    /// w of M*w = -t: without it nothing is seen of what t has outside of the range of M.
    void findMultipliers()
    {
        Columns F(t_);
        for (Cell& f : F) f = -f;
        equations_.solve(columns_, F.data(), w_.data());
    }

    /// f - t - M*w, to rounding of the result.
    Columns ofEquations() const
    {
        Columns start(t_.size()), lost(t_.size()), left(t_.size());
        for (std::size_t k = 0; k < t_.size(); ++k) {
            const Cell f = shortest_ ? Cell() : B_[k];
            start[k] = f - t_[k];
            lost[k] = lostBy(f, t_[k], start[k]);
        }
        residualOf(equations_.tall, equations_.op, start.data(), w_.data(), left.data());
        add(lost, left, 0, left.size());
        return left;
    }

    /// g - M^H*t, likewise.
    Columns ofSolution() const
    {
        const Columns zero(shortest_ ? 0 : w_.size());
        Columns left(w_.size());
        residualOf(equations_.wide, equations_.adjointOp, shortest_ ? B_ : zero.data(), t_.data(),
                   left.data());
        return left;
    }

    /// Infinite where x is zero, does not solve its equations, and has no correction for underflow.
    double sizeOf(const Columns& change, std::size_t j, bool isSolved) const
    {
        const Columns& x = shortest_ ? t_ : w_;
        const std::size_t length = shortest_ ? p_ : q_;
        if (!isSolved && isZero(x, length, j)) return kInfinity;
        return relative(change, x, length, j);
    }

    std::vector<char> areZero(const Columns& F, const Columns& G) const
    {
        std::vector<char> zero;
        for (std::size_t j = 0; j < count(); ++j) zero.push_back(isZero(F, p_, j) && isZero(G, q_, j));
        return zero;
    }

    static bool isZero(const Columns& X, std::size_t length, std::size_t j)
    {
        return largestModulus(X.data() + length * j, static_cast<std::int32_t>(length)) == 0.0;
    }

    std::vector<double> sizesOf(const Columns& changesOfT) const
    {
        std::vector<double> sizes;
        for (std::size_t j = 0; j < count(); ++j) sizes.push_back(relative(changesOfT, t_, p_, j));
        return sizes;
    }

    static double relative(const Columns& change, const Columns& x, std::size_t length, std::size_t j)
    {
        const auto size = [length, j](const Columns& of) {
            return largestModulus(of.data() + length * j, static_cast<std::int32_t>(length));
        };
        return size(change) == 0.0 ? 0.0 : size(change) / size(x);
    }

    void take(std::size_t j, double size)
    {
        const std::size_t length = shortest_ ? p_ : q_;
        std::copy_n((shortest_ ? t_ : w_).data() + length * j, length, X_ + length * j);
        left_[j] = size;
    }

    static void add(const Columns& from, Columns& to, std::size_t first, std::size_t length)
    {
        for (std::size_t k = first; k < first + length; ++k) to[k] += from[k];
    }

    const AugmentedEquations<Cell>& equations_;
    bool shortest_;
    std::int32_t columns_;
    std::size_t p_, q_;
    const Cell* B_;
    Cell* X_;                   ///< the best so far
    Columns t_, w_;             ///< on their way
    std::vector<double> first_; ///< correction, beside x
    std::vector<double> left_;  ///< the correction of the best, which it has not taken, beside it
};

} // namespace

template <class Cell>
SolutionTerms solutionTerms(const std::vector<double>& norms, const Cell* w)
{
    double largest = 0.0, shortest = kInfinity;
    for (std::size_t k = 0; k < norms.size(); ++k) {
        largest = std::max(largest, norms[k] * modulus(w[k]));
        shortest = std::min(shortest, norms[k]);
    }
    return {largest, shortest * largestModulus(w, static_cast<std::int32_t>(norms.size()))};
}

double boundOf(const RefinedColumn& column, const SolveQuality& solves, const std::optional<SolutionTerms>& w)
{
    const double lost = solves.terms * kUnitRoundoff * solves.condition, wrong = lost + solves.unseen;
    if (!column.converged || !(lost <= kRegular)) return kInfinity;
    if (w && w->largest == 0.0) return column.correction;
    double left = 2.0 * column.correction + kUnitRoundoff * wrong * (w ? w->largest / w->least : 1.0);
    if (w) left += lost * lost * column.residual / w->least;
    return (1.0 + solves.unseen) * left;
}

template <class Cell>
std::vector<RefinedColumn> refine(const AugmentedEquations<Cell>& equations, bool shortest,
                                  std::int32_t columns, const Cell* B, Cell* X)
{
    Refinement<Cell> refinement(equations, shortest, columns, B, X);
    refinement.run();
    return refinement.told();
}

template SolutionTerms solutionTerms(const std::vector<double>&, const double*);
template SolutionTerms solutionTerms(const std::vector<double>&, const std::complex<double>*);
template std::vector<RefinedColumn> refine(const AugmentedEquations<double>&, bool, std::int32_t,
                                           const double*, double*);
template std::vector<RefinedColumn> refine(const AugmentedEquations<std::complex<double>>&, bool,
                                           std::int32_t, const std::complex<double>*, std::complex<double>*);

} // namespace Velmar::Lintrix::detail
