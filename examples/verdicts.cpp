// What a program does with a verdict: three systems, a good one, an ill-conditioned one and a singular one,
// two right-hand sides with a word on each, and a system with more equations than unknowns.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

using namespace Velmar::Lintrix;

namespace {

// Two lines through the plane; the less their slopes differ, the less is known of where they meet.
SparseMatrix lines(double difference)
{
    SparseAssembler entries(2, 2);
    entries.Add(0, 0, 1.0);
    entries.Add(0, 1, 1.0);
    entries.Add(1, 0, 1.0);
    entries.Add(1, 1, 1.0 + difference);
    return entries.Assemble();
}

// Decimal digits of the largest unknowns that are certain.
int certainDigits(const SystemAnswer<double>& answer)
{
    double error = answer.probeError.value_or(0.0);
    for (const ColumnQuality& column : answer.columns)
        error = std::max(error, column.errorBound.value_or(0.0));
    return error > 0.0 ? static_cast<int>(std::min(16.0, -std::log10(error))) : 16;
}

// [meet]
void meet(double difference)
{
    LinearSystem system(lines(difference));
    const auto answer = system.Solve(Vector{2.0, 1.0});
    switch (answer.verdict) {
    case Verdict::Accurate:
        std::printf("use it: (%.3f, %.3f)\n", (*answer.x)(0, 0), (*answer.x)(1, 0));
        break;
    case Verdict::Degraded:
        std::printf("use %s: %s\n", certainDigits(answer) < 6 ? "a few digits" : "it with care",
                    answer.reason.substr(0, answer.reason.find(',')).c_str());
        break;
    case Verdict::Failed:
        std::printf("do not use it: %s\n",
                    answer.reason.substr(0, answer.reason.find_first_of(":,")).c_str());
        break;
    }
}
// [/meet]

// [each]
void each()
{
    LinearSystem system(lines(0.5));
    const Matrix B{{2.0, 1e30}, {1.0, 1e-30}};
    const auto answer = system.Solve(B);
    for (const ColumnQuality& column : answer.columns) {
        const bool bounded = column.errorBound && std::isfinite(*column.errorBound);
        std::printf("%s, backward error at rounding: %s, error bounded: %s\n",
                    std::string(NameOf(column.verdict)).c_str(), column.backwardError < 1e-15 ? "yes" : "no",
                    bounded ? "yes" : "no");
    }
}
// [/each]

// [overdetermined]
// The same unknown measured three times.
void overdetermined()
{
    SparseAssembler entries(3, 1);
    for (int i = 0; i < 3; ++i) entries.Add(i, 0, 1.0);
    LinearSystem system(entries.Assemble());
    const auto answer = system.Solve(Vector{1.0, 2.0, 6.0});
    std::printf("%s by the %s: %.3f, normal residual at rounding: %s\n",
                std::string(NameOf(answer.verdict)).c_str(), std::string(answer.road).c_str(),
                (*answer.x)(0, 0), *answer.normalResidual < 1e-12 ? "yes" : "no");
}
// [/overdetermined]

} // namespace

int main()
{
    for (const double difference : {0.5, 1e-11, 0.0}) meet(difference);
    each();
    overdetermined();
}
