#include <distributed/judged_columns.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::Distributed {

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

/// The largest modulus; infinite where there is a NaN.
template <class Cell>
double largestOf(const Cell* cells, std::size_t count)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double size = std::abs(cells[i]);
        largest = size <= largest ? largest : std::isnan(size) ? kInfinite : size;
    }
    return largest;
}

/// |r|/w, where both may be so small that sums of products have lost all to underflow: then as the expert
/// drivers of LAPACK (xGERFS) do, too large rather than too small. An equation without data is solved.
double componentOf(double r, double w, double terms)
{
    if (r == 0.0) return 0.0;
    const double shift = terms * std::numeric_limits<double>::min();
    const double quotient = w > shift * 0x1p53 ? r / w : (r + shift) / (w + shift);
    return std::isnan(quotient) || std::isinf(w) ? kInfinite : quotient;
}

/// ||r||/(||A||*||x|| + ||b||), in exponents that no product of norms overflows.
double normwiseOf(double r, double normOfA, double x, double b)
{
    if (r == 0.0 && std::isfinite(x)) return 0.0;
    const long double scale = static_cast<long double>(normOfA) * x + b;
    return std::isfinite(scale) && std::isfinite(r) ? static_cast<double>(r / scale) : kInfinite;
}

} // namespace

template <class Cell>
JudgedColumns<Cell> judgedColumns(const Agreement& all, const OwnRows<Cell>& A, double normOfA,
                                  std::int32_t columns, const Cell* b, const Cell* x)
{
    JudgedColumns<Cell> judged;
    const auto rows = static_cast<std::size_t>(A.Count()), count = static_cast<std::size_t>(columns);
    std::vector<double> sizesOfR, sizesOfB;
    all.reach([&] {
        OwnResidual<Cell> own = residualOf(A, columns, b, x);
        for (std::size_t j = 0; j < count; ++j) {
            double worst = 0.0;
            for (std::size_t at = rows * j; at < rows * (j + 1); ++at)
                worst = std::max(worst, componentOf(std::abs(own.r[at]), own.w[at], A.size + 1.0));
            judged.componentwise.push_back(worst);
            sizesOfR.push_back(largestOf(own.r.data() + rows * j, rows));
            sizesOfB.push_back(largestOf(b + rows * j, rows));
        }
        judged.residual = std::move(own.r);
        judged.normwise.resize(count);
    });
    for (std::vector<double>* const sizes : {&judged.componentwise, &sizesOfR, &sizesOfB})
        MPI_Allreduce(MPI_IN_PLACE, sizes->data(), columns, MPI_DOUBLE, MPI_MAX, all.comm());
    for (std::size_t j = 0; j < count; ++j) {
        const auto size = static_cast<std::size_t>(A.size);
        judged.normwise[j] = normwiseOf(sizesOfR[j], normOfA, largestOf(x + size * j, size), sizesOfB[j]);
    }
    MPI_Bcast(judged.normwise.data(), columns, MPI_DOUBLE, 0, all.comm());
    return judged;
}

Verdict verdictOf(double backwardError, double error)
{
    if (!(backwardError <= kPoor) || !(error < kNoDigit)) return Verdict::Failed;
    return backwardError <= kRoundingLevel && error <= kFewDigits ? Verdict::Accurate : Verdict::Degraded;
}

std::string reasonOf(double backwardError, double error)
{
    const Verdict verdict = verdictOf(backwardError, error);
    if (verdict == Verdict::Accurate) return "";
    if (std::isinf(backwardError)) return "a number overflowed";
    if (!(backwardError <= (verdict == Verdict::Failed ? kPoor : kRoundingLevel)))
        return fmt::format("scaled residual {:.3e}", backwardError);
    return verdict == Verdict::Failed ? "no digit of a known solution came back" : "ill-conditioned";
}

template <class Cell>
std::vector<double> relativeDifferences(std::int32_t size, std::int32_t columns, const Cell* x, const Cell* y)
{
    std::vector<double> differences;
    const auto rows = static_cast<std::size_t>(size);
    for (std::size_t j = 0; j < static_cast<std::size_t>(columns); ++j) {
        double largest = 0.0;
        for (std::size_t at = rows * j; at < rows * (j + 1); ++at) {
            const Cell difference = x[at] - y[at];
            largest = std::max(largest, largestOf(&difference, 1));
        }
        differences.push_back(largest == 0.0 ? 0.0 : largest / largestOf(y + rows * j, rows));
    }
    return differences;
}

using Complex = std::complex<double>;
template JudgedColumns<double> judgedColumns(const Agreement&, const OwnRows<double>&, double, std::int32_t,
                                             const double*, const double*);
template JudgedColumns<Complex> judgedColumns(const Agreement&, const OwnRows<Complex>&, double, std::int32_t,
                                              const Complex*, const Complex*);
template std::vector<double> relativeDifferences(std::int32_t, std::int32_t, const double*, const double*);
template std::vector<double> relativeDifferences(std::int32_t, std::int32_t, const Complex*, const Complex*);

} // namespace Velmar::Lintrix::Distributed
