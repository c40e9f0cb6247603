#include <lintrix/solvers/sliced_rows.h>

#include <lintrix/services/dispatch.h>
#include <lintrix/services/team.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <cstddef>

#include <immintrin.h>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kRows = SlicedRows::kRows;

// Fewer groups than this are not worth a second thread.
constexpr int kGroupsPerThread = 2500;

/// Calls visit(row of the slices, column, value) for each element; the columns of a row ascend.
template <class Visit>
void visitElements(SlicedRows::Of side, const LanczosMatrix& A, Visit visit)
{
    for (std::int32_t r = 0; r < A.m; ++r) {
        const std::int32_t end = A.ia[r + 1] - 1;
        if (side == SlicedRows::Of::A) {
            for (std::int32_t p = A.ia[r] - 1; p < end; ++p) visit(r, A.ja[p] - 1, A.a[p]);
        } else {
            for (std::int32_t p = A.ia[r] - 1; p < end; ++p) visit(A.ja[p] - 1, r, A.a[p]);
        }
    }
}

/// 0 .. rows-1 by descending length: a counting sort.
Block<std::int32_t> longestFirst(std::int32_t rows, const Block<std::int32_t>& lengths)
{
    const std::int32_t longest = *std::max_element(lengths.get(), lengths.get() + rows);
    const auto place = Block<std::int32_t>::zeroed(std::int64_t{longest} + 2); // by what the longest has more
    for (std::int32_t r = 0; r < rows; ++r) ++place[longest - lengths[r] + 1];
    for (std::int32_t less = 0; less <= longest; ++less) place[less + 1] += place[less];
    auto order = Block<std::int32_t>::zeroed(std::int64_t{rows} + kRows); // a whole last slice
    for (std::int32_t r = 0; r < rows; ++r) order[place[longest - lengths[r]]++] = r;
    return order;
}

/// The arrays of SlicedRows.
struct Slices {
    const double* values;
    const std::int32_t *columns, *starts, *order;
    std::int32_t rows;

    std::int64_t begin(std::int32_t slice) const { return std::int64_t{starts[slice]} * kRows; }
    int rowsOf(std::int32_t slice) const { return std::min(kRows, rows - slice * kRows); }
};

/// Rows of slices first .. last-1 of y := A*x.
using MultiplySlices = void (*)(const Slices& A, std::int32_t first, std::int32_t last, const double* x,
                                double* y);

[[gnu::target("avx512f")]] void multiplyAvx512(const Slices& A, std::int32_t first, std::int32_t last,
                                               const double* x, double* y)
{
    const __m512d zero = _mm512_setzero_pd();
    for (std::int32_t s = first; s < last; ++s) {
        __m512d sum = zero;
        for (std::int64_t i = A.begin(s); i < A.begin(s + 1); i += kRows) {
            const __m256i columns = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(A.columns + i));
            const __m512d gathered = _mm512_mask_i32gather_pd(zero, 0xFF, columns, x, sizeof(double));
            sum = _mm512_add_pd(sum, _mm512_mul_pd(_mm512_loadu_pd(A.values + i), gathered));
        }
        const std::int32_t* const order = A.order + std::int64_t{s} * kRows;
        const auto lanes = static_cast<__mmask8>((1 << A.rowsOf(s)) - 1);
        _mm512_mask_i32scatter_pd(y, lanes, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(order)), sum,
                                  sizeof(double));
    }
}

void multiplyPlain(const Slices& A, std::int32_t first, std::int32_t last, const double* x, double* y)
{
    for (std::int32_t s = first; s < last; ++s) {
        double sum[kRows] = {};
        for (std::int64_t i = A.begin(s); i < A.begin(s + 1); i += kRows) {
            for (int l = 0; l < kRows; ++l) sum[l] += A.values[i + l] * x[A.columns[i + l]];
        }
        for (int l = 0; l < A.rowsOf(s); ++l) y[A.order[std::int64_t{s} * kRows + l]] = sum[l];
    }
}

constexpr KernelForms<MultiplySlices> kForms{
    .sse2 = multiplyPlain, .avx2 = multiplyPlain, .avx512 = multiplyAvx512};

} // namespace

SlicedRows::SlicedRows(Of side, const LanczosMatrix& A)
    : rows_(side == Of::A ? A.m : A.n), starts_(std::int64_t{slices()} + 1)
{
    const auto lengths = Block<std::int32_t>::zeroed(rows_);
    visitElements(side, A, [&](std::int32_t r, std::int32_t, double) { ++lengths[r]; });
    order_ = longestFirst(rows_, lengths);
    starts_[0] = 0;
    for (std::int32_t s = 0; s < slices(); ++s) {
        starts_[s + 1] = starts_[s] + lengths[order_[std::int64_t{s} * kRows]]; // at most all elements
    }
}

std::optional<SlicedRows> SlicedRows::make(Of side, const LanczosMatrix& A, std::int64_t mostBytes)
{
    SlicedRows made(side, A);
    if (made.bytes() > mostBytes || made.groups() >= INT32_MAX / kRows) return std::nullopt;
    made.fill(side, A);
    return made;
}

std::int64_t SlicedRows::bytes() const noexcept
{
    return std::int64_t{12} * kRows * groups() + std::int64_t{4} * (rows_ + kRows + slices() + 1);
}

void SlicedRows::fill(Of side, const LanczosMatrix& A)
{
    values_ = Block<double>::zeroed(std::int64_t{groups()} * kRows);
    columns_ = Block<std::int32_t>::zeroed(std::int64_t{groups()} * kRows);
    const Block<std::int32_t> slot(rows_); // of the next element of each row
    for (std::int32_t place = 0; place < rows_; ++place) {
        slot[order_[place]] = starts_[place / kRows] * kRows + place % kRows;
    }
    visitElements(side, A, [&](std::int32_t r, std::int32_t c, double value) {
        values_[slot[r]] = value;
        columns_[slot[r]] = c;
        slot[r] += kRows;
    });
}

void SlicedRows::multiply(const double* x, double* y) const
{
    const MultiplySlices multiplySlices = kForms.chosen();
    const Slices A{values_.get(), columns_.get(), starts_.get(), order_.get(), rows_};
    const int threads = std::clamp(groups() / kGroupsPerThread, 1, MKL_Get_Max_Threads());
    if (threads == 1) return multiplySlices(A, 0, slices(), x, y);
    const auto firstSlice = [&](std::int64_t part) {
        const auto group = static_cast<std::int32_t>(groups() * part / threads);
        return static_cast<std::int32_t>(std::lower_bound(A.starts, A.starts + slices(), group) - A.starts);
    };
    runParts(threads, threads, [&](int part) {
        const std::int32_t last = part + 1 == threads ? slices() : firstSlice(part + 1);
        multiplySlices(A, firstSlice(part), last, x, y);
    });
}

} // namespace Velmar::Lintrix::detail
