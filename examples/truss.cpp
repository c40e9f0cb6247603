// A truss bridge by the direct solver's own entry: analysed once, factorized for the sound and for a corroded
// bridge, and solved for a lorry at each of its joints at once.
//
//        5 --- 6 --- 7 ...         Bars between joints that turn freely. The stiffness matrix is positive
//       / \   / \   / \            definite once the bridge rests on its supports: mtype 2, upper triangle.
//      0 --- 1 --- 2 --- 3 ...

#include <lintrix/lintrix.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

constexpr int panels = 12, joints = 2 * panels + 1; // panels + 1 below, panels above
constexpr double panelLength = 4.0, height = 3.5;   // m
constexpr double stiffness = 210e9 * 60e-4;         // N: steel, 60 cm^2
constexpr double lorry = 300e3;                     // N

struct Bar {
    int from, to;
    double share = 1.0; // of its cross section that is left
};

std::vector<Bar> bridge()
{
    std::vector<Bar> bars;
    for (int i = 0; i < panels; ++i) {
        const int above = panels + 1 + i;
        bars.push_back({i, i + 1});
        bars.push_back({i, above});
        bars.push_back({above, i + 1});
        if (i + 1 < panels) bars.push_back({above, above + 1});
    }
    return bars;
}

// The unknowns are the displacements of the joints to the right and down, but for those that the supports
// hold: joint 0 stays, joint `panels` can only slide. Unknowns count from 1; 0 is a displacement that is
// held.
int unknown(int joint, int direction)
{
    if (joint == 0) return 0;
    const int number = 2 * joint - 1 + direction;
    if (joint == panels) return direction == 0 ? number : 0;
    return joint < panels ? number : number - 1;
}
constexpr int n = 2 * joints - 3;

double x(int joint)
{
    return joint <= panels ? joint * panelLength : (joint - panels - 0.5) * panelLength;
}
double y(int joint)
{
    return joint <= panels ? height : 0.0; // downwards
}

// The upper triangle in compressed rows that count from 1. Whatever the bars are made of, the pattern is the
// same, so that one analysis serves all.
struct Rows {
    std::vector<double> a;
    std::vector<int> ia{1}, ja;
};

Rows stiffnessMatrix(const std::vector<Bar>& bars)
{
    std::vector<std::map<int, double>> rows(n + 1);
    for (const Bar& bar : bars) {
        const double dx = x(bar.to) - x(bar.from), dy = y(bar.to) - y(bar.from), l = std::hypot(dx, dy);
        const double k = bar.share * stiffness / l;
        const int place[] = {unknown(bar.from, 0), unknown(bar.from, 1), unknown(bar.to, 0),
                             unknown(bar.to, 1)};
        const double along[] = {-dx / l, -dy / l, dx / l, dy / l};
        for (int i = 0; i < 4; ++i) {
            for (int j = 0; j < 4; ++j) {
                if (place[i] != 0 && place[i] <= place[j])
                    rows[static_cast<std::size_t>(place[i])][place[j]] += k * along[i] * along[j];
            }
        }
    }
    Rows K;
    for (int i = 1; i <= n; ++i) {
        for (const auto& [j, value] : rows[static_cast<std::size_t>(i)]) {
            K.ja.push_back(j);
            K.a.push_back(value);
        }
        K.ia.push_back(static_cast<int>(K.ja.size()) + 1);
    }
    return K;
}

// The handle with its parameters, and the calls.
class Solver {
public:
    Solver()
    {
        const PardisoParameters parameter(iparm.data());
        parameter[PardisoParameter::CallersValues] = 0; // the defaults,
        parameter[PardisoParameter::MatrixCheck] = 1;   // and a look at the pattern
    }
    ~Solver() { call(-1, nullptr, nullptr, 0); } // gives all memory back
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    void call(int phase, Rows* K, std::vector<double>* load, int loads, double* u = nullptr)
    {
        int error = 0;
        pardiso(pt.data(), 1, 1, 2, phase, n, K ? K->a.data() : nullptr, K ? K->ia.data() : nullptr,
                K ? K->ja.data() : nullptr, nullptr, loads, iparm.data(), 0, load ? load->data() : nullptr, u,
                error);
        if (error == 0) return;
        std::printf("phase %d: error %d\n", phase, error);
        std::exit(1);
    }

private:
    std::array<void*, 64> pt{}; // all null before the first call
    std::array<int, PardisoParameters::kSlots> iparm{};
};

// A lorry at each joint of the road but the supports, a right-hand side each.
std::vector<double> lorries()
{
    std::vector<double> load(static_cast<std::size_t>(n) * (panels - 1));
    for (int i = 1; i < panels; ++i) load[static_cast<std::size_t>(n * (i - 1) + unknown(i, 1) - 1)] = lorry;
    return load;
}

} // namespace

int main()
{
    std::vector<Bar> bars = bridge();
    Rows K = stiffnessMatrix(bars);
    std::vector<double> load = lorries(), sound(load.size()), corroded(load.size());

    Solver solver;
    solver.call(11, &K, nullptr, 1);                      // the pattern, once
    solver.call(22, &K, nullptr, 1);                      // the values
    solver.call(33, &K, &load, panels - 1, sound.data()); // all lorries
    bars[4 * 3 + 2].share = 0.3;                          // rust has taken most of a diagonal
    K = stiffnessMatrix(bars);                            // other values, the same pattern
    solver.call(22, &K, nullptr, 1);
    solver.call(33, &K, &load, panels - 1, corroded.data());

    std::printf("%d joints, %d unknowns; deflection under the lorry in mm\nat m   sound  corroded\n", joints,
                n);
    for (int i = 1; i < panels; ++i) {
        const auto place = static_cast<std::size_t>(n * (i - 1) + unknown(i, 1) - 1);
        std::printf("%4.0f %7.3f %9.3f\n", x(i), 1e3 * sound[place], 1e3 * corroded[place]);
    }
}
