#include <lintrix/engine/analysis/ordering/metis_ordering.h>

#include <metis.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <numeric>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

namespace {

static_assert(std::is_same_v<idx_t, int>,
              "The engine's indices and those of METIS are the same 32-bit type.");

using Options = std::array<idx_t, METIS_NOPTIONS>;

// The mutex of all calls.
std::mutex& metisMutex()
{
    static std::mutex mutex;
    return mutex;
}

// Puts a signal's action back on leaving. METIS puts back only the handler's address, without its flags.
class KeptSignal {
public:
    explicit KeptSignal(int number) : number_(number) { sigaction(number_, nullptr, &action_); }
    ~KeptSignal() { sigaction(number_, &action_, nullptr); }
    KeptSignal(const KeptSignal&) = delete;
    KeptSignal& operator=(const KeptSignal&) = delete;

private:
    int number_;
    struct sigaction action_ {};
};

// Gives rand() another state to work on, of the C library's usual size, and the program's back on leaving.
class KeptRandomState {
public:
    KeptRandomState() : before_(initstate(1, state_.data(), state_.size())) {}
    ~KeptRandomState() { setstate(before_); }
    KeptRandomState(const KeptRandomState&) = delete;
    KeptRandomState& operator=(const KeptRandomState&) = delete;

private:
    alignas(long) std::array<char, 128> state_{};
    char* before_;
};

int largestDegree(const Graph& graph)
{
    int largest = 0;
    for (int v = 0; v < graph.vertices(); ++v) largest = std::max(largest, graph.degree(v));
    return largest;
}

// Two sets of options: one for graphs in which a vertex has an eighth of the others for neighbours, and one
// for all else. In the terms of METIS 4, eight words: non-default 1; matching 3, sorted heavy edges; initial
// partition 1, grown by edges; refinement 2, one side of the separator at a time; debug 0; ordering flags 1,
// vertices with the same neighbours taken as one; dense-node factor 200, in tenths of the mean degree; 1
// separator a level. The other set is all zeros, which asks for the defaults: the same but for the dense-node
// factor, which is then 0. METIS 5 has the same choices and the same defaults by name.
Options optionsFor(const Graph& graph)
{
    constexpr idx_t kDenseNodeFactor = 200;
    Options options;
    METIS_SetDefaultOptions(options.data());
    options[METIS_OPTION_CTYPE] = METIS_CTYPE_SHEM;
    options[METIS_OPTION_IPTYPE] = METIS_IPTYPE_EDGE;
    options[METIS_OPTION_RTYPE] = METIS_RTYPE_SEP1SIDED;
    options[METIS_OPTION_DBGLVL] = 0;
    options[METIS_OPTION_COMPRESS] = 1;
    options[METIS_OPTION_CCORDER] = 0;
    options[METIS_OPTION_NSEPS] = 1;
    options[METIS_OPTION_NUMBERING] = 0;
    options[METIS_OPTION_PFACTOR] = largestDegree(graph) >= graph.vertices() / 8 ? kDenseNodeFactor : 0;
    return options;
}

// METIS declares the graph as writable and does not write to it where indices count from 0. Of its entries
// for orderings this is the only one that comes back when an allocation fails, and the only one that heeds
// the dense-node factor.
int callMetis(const Graph& graph, const Ordering& ordering)
{
    auto options = optionsFor(graph);
    idx_t n = graph.vertices();
    const std::lock_guard oneAtATime(metisMutex());
    const KeptSignal abortion(SIGABRT), termination(SIGTERM);
    const KeptRandomState randomState;
    return METIS_NodeND(&n, const_cast<idx_t*>(graph.starts.data()),
                        const_cast<idx_t*>(graph.neighbours.data()), nullptr, options.data(),
                        ordering.vertexAt.data(), ordering.positionOf.data());
}

} // namespace

Failure orderByMetis(const Graph& graph, Ordering ordering)
{
    if (graph.starts.back() == 0) {
        std::iota(ordering.vertexAt.begin(), ordering.vertexAt.end(), 0);
        std::iota(ordering.positionOf.begin(), ordering.positionOf.end(), 0);
        return {};
    }
    const int result = callMetis(graph, ordering);
    return result == METIS_OK ? Failure{} : Failure{Error::Reordering, result};
}

} // namespace Velmar::Lintrix::detail::engine
