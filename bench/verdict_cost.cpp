// What the verdict of a `LinearSystem` costs beside the solution that it judges, as a table.
//
//     verdict_cost FILE.mtx[.gz] ...
//
// For each square real matrix that is solved accurately, with one right-hand side: milliseconds of analysis,
// and of factorization and solve, and those by which a whole run is longer with condition, error bounds and
// inertia than with the probe alone. Minima of several runs of each, which take turns; at the end the mean
// share.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kNever = std::numeric_limits<double>::infinity();

/// The shortest of several runs, in milliseconds.
struct Shortest {
    double whole = kNever, analysis = kNever, solution = kNever;
};

double millisecondsSince(Clock::time_point start)
{
    return 1e3 * std::chrono::duration<double>(Clock::now() - start).count();
}

SystemAnswer<double> run(const SparseMatrix& A, const Matrix& b, std::int32_t bounds, Shortest& shortest)
{
    std::map<std::string, double, std::less<>> steps;
    Clock::time_point last = Clock::now();
    SystemOptions options;
    options.errorBounds = bounds;
    options.stepDone = [&](std::string_view step) {
        steps[std::string(step)] += millisecondsSince(last);
        last = Clock::now();
    };
    const Clock::time_point start = last;
    LinearSystem system(A, options);
    SystemAnswer<double> answer = system.Solve(b);
    shortest.whole = std::min(shortest.whole, millisecondsSince(start));
    shortest.analysis = std::min(shortest.analysis, steps["analyse"]);
    shortest.solution = std::min(shortest.solution, steps["factorize"] + steps["solve"]);
    return answer;
}

Matrix rightHandOf(const SparseMatrix& A)
{
    Matrix b(A.Rows(), 1);
    for (std::int32_t i = 0; i < A.Rows(); ++i) b(i, 0) = std::cos(1.0 + i);
    return b;
}

/// Shares of the verdict in factorization and solve, and in the analysis as well.
struct Shares {
    double solution, all;
};

bool report(const std::string& path, Shares& shares)
{
    constexpr double kEnough = 700.0; // milliseconds
    constexpr int kMost = 60;
    const SparseMatrix A = MatrixMarketReader(path).ReadSparse();
    if (A.Rows() != A.Cols()) return false;
    const Matrix b = rightHandOf(A);
    Shortest with, without;
    const SystemAnswer<double> answer = run(A, b, SystemOptions().errorBounds, with);
    if (answer.verdict != Verdict::Accurate) return false;
    const Clock::time_point start = Clock::now();
    for (int k = 0; k < kMost && (k < 3 || millisecondsSince(start) < kEnough); ++k) {
        run(A, b, 0, without);
        run(A, b, SystemOptions().errorBounds, with);
    }
    const double verdict = with.whole - without.whole, solution = std::min(with.solution, without.solution),
                 analysis = std::min(with.analysis, without.analysis);
    shares = {verdict / solution, verdict / (analysis + solution)};
    std::printf("| %s | %d | %s | %.2f | %.2f | %.3f | %.0f %% |\n",
                std::filesystem::path(path).filename().c_str(), A.Rows(), std::string(answer.road).c_str(),
                analysis, solution, verdict, 100.0 * shares.solution);
    std::fflush(stdout);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::printf("| matrix | n | road | analysis, ms | factorization and solve, ms | verdict, ms | share |\n"
                "|---|---|---|---|---|---|---|\n");
    double solution = 0.0, all = 0.0;
    int count = 0;
    for (int k = 1; k < argc; ++k) {
        try {
            Shares shares{};
            if (!report(argv[k], shares)) continue;
            solution += shares.solution;
            all += shares.all;
            ++count;
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s: %s\n", argv[k], failure.what());
        }
    }
    if (count > 0)
        std::printf("\n%d matrices: mean %.1f %%, with the analysis %.1f %%\n", count,
                    100.0 * solution / count, 100.0 * all / count);
    return 0;
}
