#include <lintrix/engine/analysis/matching/matching_pairs.h>

#include <lintrix/engine/analysis/matching/csr_record.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr double kSafePivot = 1e-8;

/// Fills an order from its front and from its end.
class PairOrder {
public:
    PairOrder(std::span<const double> diagonal, std::span<int> vertexAt, bvec_new split) noexcept
        : diagonal_(diagonal), vertexAt_(vertexAt), split_(split), end_(static_cast<int>(vertexAt.size()))
    {
    }

    void putFirst(int i) noexcept
    {
        vertexAt_[next_++] = i;
        ++parts_.front;
    }
    void putLast(int i) noexcept { vertexAt_[--end_] = i; }
    void putPair(int i, int j) noexcept
    {
        vertexAt_[next_++] = i;
        vertexAt_[next_++] = j;
        if (diagonal_[i] > kSafePivot && diagonal_[j] > kSafePivot) split_.set(parts_.pairs);
        ++parts_.pairs;
    }
    PivotParts parts() const noexcept { return parts_; }

private:
    std::span<const double> diagonal_;
    std::span<int> vertexAt_;
    bvec_new split_;
    int next_ = 0;
    int end_;
    PivotParts parts_;
};

int cycleLength(std::span<const int> permutation, int first) noexcept
{
    int length = 1;
    for (int i = permutation[first]; i != first; i = permutation[i]) ++length;
    return length;
}

// `waiting` holds what no cycle has taken yet.
void cutCycle(std::span<const int> permutation, int first, bvec_new waiting, PairOrder& order) noexcept
{
    int left = cycleLength(permutation, first);
    int i = first;
    const auto take = [&] {
        const int taken = i;
        waiting.reset(taken);
        i = permutation[taken];
        return taken;
    };
    if (left % 2 == 1) order.putLast(take());
    for (left /= 2; left > 0; --left) {
        const int one = take();
        order.putPair(one, take());
    }
}

} // namespace

Failure orderPairs(std::span<const int> columnOfRow, std::span<const double> diagonal,
                   std::span<int> vertexAt, bvec_new split, std::span<int> marks, PivotParts& parts) noexcept
{
    if (checkPermutation(columnOfRow, {}, marks)) return {Error::Reordering, -1};
    const bvec_new waiting(marks); // the check has set them all
    const int n = static_cast<int>(columnOfRow.size());
    PairOrder order(diagonal, vertexAt, split);
    for (int i = 0; i < n; ++i) {
        if (columnOfRow[i] != i) continue;
        order.putFirst(i);
        waiting.reset(i);
    }
    for (int i = 0; i < n; ++i) {
        if (waiting.test(i)) cutCycle(columnOfRow, i, waiting, order);
    }
    parts = order.parts();
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
