#include <lintrix/engine/factorization/runs.h>

#include <lintrix/engine/factorization/descendants.h>

#include <algorithm>
#include <cstddef>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kSharesPerThread = 8;
constexpr int kPanelsAtTop = 2; // in a run: more would leave the other threads waiting

// `work` receives the work of each subtree; returns that of all.
double gatherWork(const FactorStructure& structure, std::span<double> work)
{
    double all = 0.0;
    for (int J = 0; J < structure.supernodes(); ++J) {
        work[J] += workOf(structure, J);
        const int parent = structure.parent(J);
        (parent < 0 ? all : work[parent]) += work[J];
    }
    return all;
}

} // namespace

double workOf(const FactorStructure& structure, int J) noexcept
{
    const double height = structure.height(J), width = structure.width(J);
    constexpr double kOverhead = 200.0; // of touching a supernode and its rows at all
    return width * height * height + kOverhead * (width + height);
}

int dealOutSubtrees(const FactorStructure& structure, int threads, std::span<double> work,
                    std::span<PositionRange> runs)
{
    const int supernodes = structure.supernodes();
    if (threads <= 1) {
        runs[0] = {0, supernodes - 1};
        return 1;
    }
    std::fill(work.begin(), work.end(), 0.0);
    const double share = gatherWork(structure, work) / (kSharesPerThread * threads);
    const auto isSmall = [&](int J) { return work[J] <= share; };

    // Where the order is a postorder, what stands between two cuts is one subtree. Within parts and
    // separators it need not be; the runs then are stretches of small subtrees, which serves as well.
    int count = 0, first = 0;
    const auto cut = [&](int behind) {
        if (first < behind) runs[count++] = {first, behind - 1};
    };
    for (int J = 0; J < supernodes; ++J) {
        const int parent = structure.parent(J);
        if (!isSmall(J)) {
            cut(J);
            first = J + 1;
        } else if (parent < 0 || !isSmall(parent)) {
            cut(J + 1);
            first = J + 1;
        }
    }
    cut(supernodes);
    for (int J = 0; J < supernodes; ++J) {
        if (isSmall(J)) continue;
        const int last = lastTogether(structure, J, supernodes - 1, kPanelsAtTop);
        runs[count++] = {J, last};
        J = last;
    }
    return count;
}

int dealOutSubgraphs(const FactorStructure& structure, std::span<const PositionRange> supernodes,
                     int independent, std::span<PositionRange> runs)
{
    int count = 0;
    for (int p = 0; p < independent; ++p) {
        if (supernodes[p].first <= supernodes[p].last) runs[count++] = supernodes[p];
    }
    for (std::size_t s = static_cast<std::size_t>(independent); s < supernodes.size(); ++s) {
        for (int J = supernodes[s].first; J <= supernodes[s].last; J = runs[count++].last + 1) {
            runs[count] = {J, lastTogether(structure, J, supernodes[s].last, kPanelsAtTop)};
        }
    }
    return count;
}

} // namespace Velmar::Lintrix::detail::engine
