// In how many groups does a network fall, and are these all?
//
// With W the weights of the links and d the sums of its rows, the matrix D^-1/2 * W * D^-1/2 has the singular
// value 1 once for each part that nothing leads out of, and values near 1 for parts with few links between
// them. A multiple value is just what a single Krylov space cannot see: the certificate counts it.
#include <cmath>
#include <cstdio>
#include <lintrix/lintrix.h>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

constexpr int kGroups = 4, kMembers = 30;

// Each group is a ring with chords; no link leads from one to another.
SparseMatrix network()
{
    const int n = kGroups * kMembers;
    SparseAssembler links(n, n);
    for (int group = 0; group < kGroups; ++group) {
        for (int i = 0; i < kMembers; ++i) {
            for (const int step : {1, 2}) {
                const int from = group * kMembers + i, to = group * kMembers + (i + step) % kMembers;
                links.Add(from, to, 0.25); // each member has four links of equal weight
                links.Add(to, from, 0.25);
            }
        }
    }
    return links.Assemble();
}

} // namespace

int main()
{
    const SparseMatrix W = network();
    const TruncatedSVD svd(W, kGroups + 1, TruncatedSvdOptions{.certify = true});
    std::printf("%s, %s\n", std::string(NameOf(svd.Outcome())).c_str(),
                std::string(NameOf(svd.Certificate().certainty)).c_str());
    int parts = 0;
    for (int i = 0; i < svd.S().Length(); ++i) {
        std::printf("%.6f\n", svd.S()[i]);
        if (std::abs(svd.S()[i] - 1.0) < 1e-8) ++parts;
    }
    std::printf("The network has %d parts.\n", parts);
}
