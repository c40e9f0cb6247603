// A step of an optimization: the smallest move d with A*d = b, from its optimality conditions
//
//     [ H  A' ] [ d ]   [ 0 ]
//     [ A  0  ] [ y ] = [ b ]
//
// H is the curvature, a chain of springs; A holds constraints on sums of moves. The zero block makes the
// matrix indefinite, and pivots from its diagonal would fail. Then the springs stiffen, step by step, with
// the same pattern; at last somebody states a constraint twice, which no solver can make good for, and is
// told so.

#include <lintrix/lintrix.h>

#include <cstdio>
#include <string>

using namespace Velmar::Lintrix;

namespace {

constexpr int moves = 400, constraints = 4, n = moves + constraints;

// `last` is the constraint that the last row repeats, or `constraints` for one of its own.
SparseMatrix conditions(double stiffness, int last)
{
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric});
    for (int i = 0; i < moves; ++i) {
        entries.Add(i, i, 2.0 * stiffness + 1e-3);
        if (i + 1 < moves) entries.Add(i, i + 1, -stiffness);
    }
    for (int k = 0; k < constraints; ++k) {
        const int which = k == constraints - 1 && last < constraints ? last : k;
        for (int i = which; i < moves; i += constraints) entries.Add(i, moves + k, 1.0);
        entries.Add(moves + k, moves + k, 0.0);
    }
    return entries.Assemble();
}

Vector demands()
{
    Vector b(n);
    for (int k = 0; k < constraints; ++k) b[moves + k] = k + 1.0;
    return b;
}

} // namespace

int main()
{
    LinearSystem system(conditions(1.0, constraints));
    for (const double stiffness : {1.0, 10.0, 100.0}) {
        const SystemChange change = system.Update(conditions(stiffness, constraints));
        const auto answer = system.Solve(demands());
        if (answer.verdict == Verdict::Failed) {
            std::fputs(answer.Explain().c_str(), stderr);
            return 1;
        }
        double sum = 0.0; // of the moves under the first constraint, which demands 1
        for (int i = 0; i < moves; i += constraints) sum += (*answer.x)(i, 0);
        std::printf("stiffness %5.1f, %s: %s, first demand met by %.6f\n", stiffness,
                    change == SystemChange::None ? "as before " : "new values",
                    std::string(NameOf(answer.verdict)).c_str(), sum);
    }
    std::printf("analyses %d\n", system.Analyses());

    system.Update(conditions(1.0, 0));
    const auto answer = system.Solve(demands());
    std::printf("the first constraint twice: %s, %s\n", std::string(NameOf(answer.verdict)).c_str(),
                answer.reason.substr(0, answer.reason.find_first_of(":,")).c_str());
}
