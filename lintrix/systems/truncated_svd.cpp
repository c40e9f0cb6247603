#include <lintrix/systems/truncated_svd.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/memory_shortage.h>
#include <lintrix/sparse/access.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/memory_budget.h>
#include <lintrix/systems/run_control.h>
#include <lintrix/systems/truncated_svd/triplet_search.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <optional>
#include <span>

namespace Velmar::Lintrix {

using namespace detail;

std::string_view NameOf(TripletsOutcome outcome) noexcept
{
    switch (outcome) {
    case TripletsOutcome::Converged:
        return "converged";
    case TripletsOutcome::NotConverged:
        return "not converged";
    case TripletsOutcome::NotFinite:
        break;
    }
    return "not finite";
}

std::string_view NameOf(TripletsCertainty certainty) noexcept
{
    switch (certainty) {
    case TripletsCertainty::NotAsked:
        return "not asked";
    case TripletsCertainty::Certain:
        return "certain";
    case TripletsCertainty::Missed:
        return "missed";
    case TripletsCertainty::Undecided:
        break;
    }
    return "undecided";
}

namespace {

constexpr double kPartOfMemory = 0.8; ///< of what the machine leaves
constexpr double kSmall = 0x1p24;     ///< bytes

/// Unasked. What every machine has is not asked about, since reading the limits would take a good part of a
/// small matrix's time.
template <class Cell>
double bytesToTake(const SparseOf<Cell>& A, std::int32_t count)
{
    const double vectors = (double{1.0} * A.Rows() + A.Cols()) * (8.0 * count + 100.0);
    if (sizeof(Cell) * (vectors + 8.0 * A.NumElements()) < kSmall) return 4.0 * kSmall;
    return kPartOfMemory * MemoryLeft();
}

/// No comparison holds of a NaN.
void requireInRange(const TruncatedSvdOptions& options)
{
    if (!(options.tolerance > 0.0))
        throw ArgumentOutOfRangeException("The tolerance must be above 0.", "tolerance");
    if (options.block < 1) throw ArgumentOutOfRangeException("The block must be above 0.", "block");
    if (options.basis < 0) throw ArgumentOutOfRangeException("The basis must not be below 0.", "basis");
    if (options.restarts < 0)
        throw ArgumentOutOfRangeException("The restarts must not be below 0.", "restarts");
    if (!(options.memoryBudget.value_or(0.0) >= 0.0))
        throw ArgumentOutOfRangeException("The memory budget must not be below 0.", "memoryBudget");
    if (!(options.certificateOperations >= 0.0))
        throw ArgumentOutOfRangeException("The operations of the certificate must not be below 0.",
                                          "certificateOperations");
}

/// Of all real and imaginary parts; NaN where one is no number.
template <class Cell>
double largestPart(std::span<const Cell> cells)
{
    double largest = 0.0;
    for (const Cell& cell : cells)
        for (const double part : {std::real(cell), std::imag(cell)})
            largest = largerOrNaN(largest, std::abs(part));
    return largest;
}

/// The power of two that brings numbers as large as this one below 1: 0 of zero and of what is not finite.
int exponentOf(double largest)
{
    if (largest == 0.0 || !std::isfinite(largest)) return 0;
    int exponent = 0;
    std::frexp(largest, &exponent);
    return exponent;
}

/// The power of two by which a matrix is divided so that no square of its size leaves the range of a double:
/// 0 of one whose elements are neither tiny nor huge, or no numbers, or zero.
template <class Cell>
int exponentOfUnit(const SparseOf<Cell>& A)
{
    constexpr int kHarmless = 400;
    const int exponent = exponentOf(largestPart<Cell>(A.Values()));
    return std::abs(exponent) > kHarmless ? exponent : 0;
}

template <class Cell>
std::span<const Cell> cellsOf(const VectorOf<Cell>& x)
{
    return {AccessTo<Cell>::cells(x), static_cast<std::size_t>(x.Length())};
}

/// A*2^exponent, exactly but for what underflows beside elements that are far larger.
template <class Cell>
SparseOf<Cell> scaledBy(SparseOf<Cell> A, int exponent)
{
    const std::span cells(SparseAccess::values(A), static_cast<std::size_t>(A.NumElements()));
    for (Cell& cell : cells) cell = timesPowerOfTwo(cell, exponent);
    return A;
}

RunWatch watchOf(const TruncatedSvdOptions& options)
{
    SystemOptions watched;
    watched.limits = options.limits;
    watched.progress = options.progress;
    return RunWatch(watched);
}

/// A guess in the space of M's columns, in a unit in which no square of it leaves the range of a double.
template <class Cell>
std::vector<Cell> startOf(const LinearMap<Cell>& M, bool isAdjoint, const VectorOf<Cell>* start)
{
    if (start == nullptr) return {};
    const std::span<const Cell> given = cellsOf<Cell>(*start);
    std::vector<Cell> guess(given.begin(), given.end());
    const int exponent = exponentOf(largestPart<Cell>(given));
    for (Cell& cell : guess) cell = timesPowerOfTwo(cell, -exponent);
    if (!isAdjoint) return guess;
    std::vector<Cell> image(static_cast<std::size_t>(M.cols));
    M.adjointTimes(1, guess.data(), image.data());
    return image;
}

} // namespace

template <class Cell>
TruncatedSVD<Cell>::TruncatedSVD(const Sparse& A, std::int32_t count, const TruncatedSvdOptions& options)
{
    tellingShortage([&] { compute(A, count, nullptr, options); });
}

template <class Cell>
TruncatedSVD<Cell>::TruncatedSVD(const Sparse& A, std::int32_t count, const V_& start,
                                 const TruncatedSvdOptions& options)
{
    tellingShortage([&] { compute(A, count, &start, options); });
}

template <class Cell>
std::int32_t TruncatedSVD<Cell>::Converged() const noexcept
{
    return static_cast<std::int32_t>(
        std::count_if(residuals_.begin(), residuals_.end(), [this](double r) { return r <= tolerance_; }));
}

template <class Cell>
void TruncatedSVD<Cell>::compute(const Sparse& A, std::int32_t count, const V_* start,
                                 const TruncatedSvdOptions& options)
{
    if (count < 1 || count > std::min(A.Rows(), A.Cols())) throw InvalidSizeException();
    requireInRange(options);
    if (start != nullptr && start->Length() != A.Cols()) throw SizeMismatchException();
    if (start != nullptr && !std::isfinite(largestPart(cellsOf<Cell>(*start))))
        throw ArgumentException("The start vector is not finite.", "start");
    tolerance_ = options.tolerance;
    const RunWatch watch = watchOf(options);
    ControlledRun run(watch);
    double bytes = options.memoryBudget.value_or(bytesToTake<Cell>(A, count));
    const int exponent = exponentOfUnit<Cell>(A);
    std::optional<Sparse> inUnits;
    if (exponent != 0) {
        bytes -= roads::bytesOfEntries<Cell>(A.Rows(), A.NumElements());
        if (bytes < 0.0) throw OperationFailedException("The memory budget is too small.");
        inUnits = scaledBy<Cell>(A, -exponent);
    }
    const double spare = bytes - TripletSearch<Cell>::leastBytes(A.Rows(), A.Cols(), count, options);
    const SvdMatrix<Cell> matrix(inUnits ? *inUnits : A, std::min(0.5 * bytes, spare));
    if (matrix.isFinite())
        search(matrix, count, bytes - matrix.bytes(), start, options);
    else
        fillWithNaN(A.Rows(), A.Cols(), count);
    if (exponent != 0) multiply(exponent);
    run.finish();
}

template <class Cell>
void TruncatedSVD<Cell>::multiply(int exponent)
{
    for (std::int32_t j = 0; j < values_.Length(); ++j) values_[j] = timesPowerOfTwo(values_[j], exponent);
    certificate_.bound = timesPowerOfTwo(certificate_.bound, exponent);
}

template <class Cell>
void TruncatedSVD<Cell>::search(const SvdMatrix<Cell>& matrix, std::int32_t count, double bytes,
                                const V_* start, const TruncatedSvdOptions& options)
{
    using Access = AccessTo<Cell>;
    const LinearMap<Cell>& map = matrix.products();
    const std::vector<Cell> first = startOf<Cell>(map, matrix.isAdjoint(), start);
    TripletSearch<Cell> found(matrix, count, bytes, options, first.empty() ? nullptr : first.data());
    found.run();
    U_ = Access::copyOf(found.left(0), map.rows, count);
    right_ = Access::copyOf(found.right(0), map.cols, count);
    if (matrix.isAdjoint()) std::swap(U_, right_);
    const std::vector<double>& values = found.values();
    values_ = Vector(std::span(values).first(static_cast<std::size_t>(count)));
    const double largest = values.front() > 0.0 ? values.front() : 1.0;
    for (std::int32_t j = 0; j < count; ++j)
        residuals_.push_back(found.residuals()[static_cast<std::size_t>(j)] / largest);
    outcome_ = Converged() == count ? TripletsOutcome::Converged : TripletsOutcome::NotConverged;
    certificate_ = found.certificate();
    restarts_ = found.restarts();
    basis_ = found.basis();
    products_ = found.products();
}

template <class Cell>
void TruncatedSVD<Cell>::fillWithNaN(std::int32_t rows, std::int32_t cols, std::int32_t count)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    U_ = M(rows, count, Cell(kNaN));
    right_ = M(cols, count, Cell(kNaN));
    values_ = Vector(count, kNaN);
    residuals_.assign(static_cast<std::size_t>(count), kNaN);
}

template class TruncatedSVD<double>;
template class TruncatedSVD<Complex>;

} // namespace Velmar::Lintrix
