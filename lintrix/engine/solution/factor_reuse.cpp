#include <lintrix/engine/solution/factor_reuse.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kFirstSolveAlone = 30;
constexpr int kSmallBudget = 5;

constexpr double kShortestSolve = 1.000000013351432e-10;
constexpr double kShare = 0.44999998807907104;
constexpr int kLargestBudget = 100, kEagerBudget = 150;

int budgetByTimes(int kind, double factorSeconds, double solveSeconds)
{
    if (!(solveSeconds > kShortestSolve)) return 0;
    const double solves = 3.0 * std::abs(kind) * factorSeconds / solveSeconds;
    const double budget = std::max(2.0, solves * kShare + 1.0);
    return static_cast<int>(std::min<double>(budget, kLargestBudget));
}

} // namespace

bool needsFactor(const FactorQuestion& question) noexcept
{
    if (!question.stored) return true;
    if (question.steps >= kFirstSolveAlone) return false;
    if (question.kind == 0 || question.iterationResult < 0) return true;
    return question.kind > 0 && question.budget < kSmallBudget;
}

IterationBudget iterationBudget(int kind, double factorSeconds, double solveSeconds) noexcept
{
    const int most = kind < 0 ? kEagerBudget : budgetByTimes(kind, factorSeconds, solveSeconds);
    return {most, static_cast<int>(most * 0.5 + 1.0)};
}

} // namespace Velmar::Lintrix::detail::engine
