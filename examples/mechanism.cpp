// A steel tower of three storeys, each braced by a diagonal, but for the second, where it was forgotten: what
// stands above can sway sideways and no bar resists. The stiffness matrix is singular, and the answer names
// the unknowns that take part. Then the bar is put in, in the same system.
//
//      6 --- 7      Joints; 0 and 1 stand on the ground. Unknown 2*(joint - 2) is the displacement of a joint
//      |   / |      to the right, the next one that upwards.
//      4 --- 5
//      |     |      here
//      2 --- 3
//      |   / |
//      0 --- 1

#include <lintrix/lintrix.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

constexpr int storeys = 3, free_joints = 2 * storeys, n = 2 * free_joints;
constexpr double width = 4.0, height = 3.0; // m
constexpr double stiffness = 300e6;         // N, of every bar
constexpr double wind = 20e3;               // N, at each joint on the left

struct Bar {
    int from, to;
};

std::vector<Bar> tower()
{
    std::vector<Bar> bars;
    for (int s = 0; s < storeys; ++s) {
        const int below = 2 * s, above = below + 2;
        bars.push_back({below, above});         // the posts,
        bars.push_back({below + 1, above + 1}); // the beam,
        bars.push_back({above, above + 1});
        if (s != 1) bars.push_back({below, above + 1}); // and the diagonal
    }
    return bars;
}

SparseMatrix stiffnessMatrix(const std::vector<Bar>& bars)
{
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Ignore});
    for (const Bar& bar : bars) {
        const double dx = (bar.to % 2 - bar.from % 2) * width, dy = (bar.to / 2 - bar.from / 2) * height;
        const double l = std::hypot(dx, dy), k = stiffness / (l * l * l);
        const std::array<int, 4> place{2 * bar.from - 4, 2 * bar.from - 3, 2 * bar.to - 4, 2 * bar.to - 3};
        const std::array<double, 4> along{-dx, -dy, dx, dy};
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t j = 0; j < 4; ++j) {
                if (place[i] >= 0 && place[j] >= 0) entries.Add(place[i], place[j], k * along[i] * along[j]);
            }
        }
    }
    return entries.Assemble();
}

} // namespace

int main()
{
    Vector load(n);
    for (int joint = 2; joint < 2 + free_joints; joint += 2) load[2 * joint - 4] = wind;

    // [answer]
    std::vector<Bar> bars = tower();
    LinearSystem system(stiffnessMatrix(bars));
    const auto swaying = system.Solve(load);
    std::printf("as drawn: %s, %s\n", std::string(NameOf(swaying.verdict)).c_str(),
                swaying.reason.substr(0, swaying.reason.find_first_of(":,")).c_str());
    const std::string told = swaying.Explain();
    const std::size_t begin = told.find("Columns"), end = told.find('\n', begin);
    std::printf("%s\n", told.substr(begin, end - begin).c_str());
    // [/answer]

    // [repaired]
    bars.push_back({2, 5});
    system.Update(stiffnessMatrix(bars));
    const auto braced = system.Solve(load);
    std::printf("with a bar from joint 2 to joint 5: %s\n", std::string(NameOf(braced.verdict)).c_str());
    if (braced.x) std::printf("sway of joint 6: %.1f mm\n", 1e3 * (*braced.x)(8, 0));
    // [/repaired]
    return braced.verdict == Verdict::Accurate ? 0 : 1;
}
