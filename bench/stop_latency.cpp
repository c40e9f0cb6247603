// How long a run of `LinearSystem` goes on after it was asked to stop, as a table.
//
//     stop_latency [--points N] [NAME ...] [FILE.mtx[.gz] ...]
//
// For each system, those below unless some are named: one run undisturbed, then one for each of N points of
// time (default 20) that are spread evenly over it, each stopped at its point by another thread. Told are the
// seconds of the undisturbed run, and of each of its steps the longest time in milliseconds from the request
// to the end of the call. A file is solved with one right-hand side.

#include <lintrix/lintrix.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

using Clock = std::chrono::steady_clock;
using Complex = std::complex<double>;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// A solve with these options, from the matrix on.
using Run = std::function<void(const SystemOptions&)>;

struct Case {
    std::string name;
    std::function<Run()> make;
};

template <class M>
M columnsOf(std::int32_t rows, std::int32_t cols)
{
    M B(rows, cols);
    for (std::int32_t j = 0; j < cols; ++j)
        for (std::int32_t i = 0; i < rows; ++i) B(i, j) = std::cos(1.0 + i + 0.5 * j);
    return B;
}

Run solving(SparseMatrix A, std::int32_t columns = 1)
{
    return [A = std::move(A), B = columnsOf<Matrix>(A.Rows(), columns)](const SystemOptions& options) {
        LinearSystem(A, options).Solve(B);
    };
}

template <class M>
Run solvingDense(M A, std::int32_t columns = 1)
{
    return [A = std::move(A), B = columnsOf<M>(A.Rows(), columns)](const SystemOptions& options) {
        LinearSystem(A, options).Solve(B);
    };
}

/// Of seven points; the couplings on one side are (1 + `drift`) times those on the other.
SparseMatrix grid(int side, double diagonal, double drift = 0.0, int depth = 0)
{
    const int plane = side * side, n = plane * (depth > 0 ? depth : side);
    SparseAssembler A(n, n);
    const auto couple = [&](int p, int q) {
        A.Add(p, q, -1.0 - drift);
        A.Add(q, p, -1.0);
    };
    for (int p = 0; p < n; ++p) {
        A.Add(p, p, diagonal);
        if (p % side + 1 < side) couple(p, p + 1);
        if (p / side % side + 1 < side) couple(p, p + side);
        if (p + plane < n) couple(p, p + plane);
    }
    return A.Assemble();
}

/// [H C'; C 0]: H a grid, C sums over neighbours.
SparseMatrix saddlePoint(int side)
{
    const SparseMatrix H = grid(side, 6.1);
    const int n = H.Rows(), m = n / 4;
    SparseAssembler A(n + m, n + m);
    ForEachEntry(H, [&](std::int32_t i, std::int32_t j, double value) { A.Add(i, j, value); });
    for (int k = 0; k < m; ++k) {
        for (const int j : {4 * k, 4 * k + 1, (4 * k + 7) % n}) {
            A.Add(n + k, j, 1.0 + 0.01 * (j % 7));
            A.Add(j, n + k, 1.0 + 0.01 * (j % 7));
        }
    }
    return A.Assemble();
}

/// Nodes of a tree with a few long couplings, one of them a rail that many are tied to.
SparseMatrix circuit(int n)
{
    std::mt19937_64 generator(7);
    SparseAssembler A(n, n);
    const auto tie = [&A](int p, int q, double g) {
        A.Add(p, p, g);
        A.Add(q, q, g);
        A.Add(p, q, -g);
        A.Add(q, p, -1.5 * g);
    };
    for (int p = 1; p < n; ++p) {
        tie(p, static_cast<int>(generator() % static_cast<unsigned>(std::min(p, 40))) + std::max(0, p - 40),
            std::ldexp(1.0, static_cast<int>(generator() % 20) - 10));
        if (p % 20 == 0) tie(p, static_cast<int>(generator() % static_cast<unsigned>(p)), 1e-3);
        A.Add(p, p, 1e-6);
    }
    A.Add(0, 0, 1.0);
    return A.Assemble();
}

/// `perRow` entries in each row, anywhere; of a square one without a strong diagonal.
SparseMatrix scattered(int rows, int cols, int perRow)
{
    std::mt19937_64 generator(11);
    SparseAssembler A(rows, cols);
    for (int i = 0; i < rows; ++i) {
        A.Add(i, i % cols, 1.0 + 1e-3 * (i % 11));
        for (int k = 1; k < perRow; ++k)
            A.Add(i, static_cast<int>(generator() % static_cast<unsigned>(cols)),
                  static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0);
    }
    return A.Assemble();
}

SparseMatrix turned(const SparseMatrix& A)
{
    SparseAssembler T(A.Cols(), A.Rows());
    ForEachEntry(A, [&T](std::int32_t i, std::int32_t j, double value) { T.Add(j, i, value); });
    return T.Assemble();
}

template <class M>
M dense(int rows, int cols)
{
    std::mt19937_64 generator(13);
    M A(rows, cols);
    for (int j = 0; j < cols; ++j)
        for (int i = 0; i < rows; ++i) A(i, j) = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
    return A;
}

Run savingAndLoading(SparseMatrix A)
{
    return [A = std::move(A)](const SystemOptions& options) {
        const std::string path = std::filesystem::temp_directory_path() / "stop_latency.factor";
        LinearSystem system(A, options);
        system.Factorize();
        if (options.stepDone) options.stepDone("load");
        system.Save(path);
        LinearSystem<double>::Load(path, options);
        if (options.stepDone) options.stepDone("load");
        std::filesystem::remove(path);
    };
}

const std::vector<Case>& cases()
{
    static const std::vector<Case> all{
        {"3-D grid of 40^3, positive definite", [] { return solving(grid(40, 6.0)); }},
        {"3-D grid of 30^3, unsymmetric", [] { return solving(grid(30, 5.0, 0.3)); }},
        {"saddle point of 30^3 + a quarter", [] { return solving(saddlePoint(30)); }},
        {"circuit of 50000", [] { return solving(circuit(50000)); }},
        {"circuit of 150000", [] { return solving(circuit(150000)); }},
        {"grid of 100^2, 2000 columns", [] { return solving(grid(100, 6.0, 0.0, 1), 2000); }},
        {"unsymmetric grid of 100^2, 1000 columns", [] { return solving(grid(100, 5.0, 0.3, 1), 1000); }},
        {"singular grid of 25^3 with one equation lost",
         [] {
             SparseMatrix A = grid(25, 6.0);
             for (int j = 0; j < 2; ++j) A(j, j) = 0.0;
             return solving(std::move(A));
         }},
        {"scattered 3000 x 3000, 6 a row", [] { return solving(scattered(3000, 3000, 6)); }},
        {"scattered 200000 x 20000, 4 a row", [] { return solving(scattered(200000, 20000, 4)); }},
        {"scattered 20000 x 3000, 12 a row", [] { return solving(scattered(20000, 3000, 12)); }},
        {"scattered 20000 x 200000, 4 a column", [] { return solving(turned(scattered(200000, 20000, 4))); }},
        {"dense 2000 x 2000", [] { return solvingDense(dense<Matrix>(2000, 2000)); }},
        {"dense 4000 x 4000, 100 columns", [] { return solvingDense(dense<Matrix>(4000, 4000), 100); }},
        {"dense complex 1500 x 1500", [] { return solvingDense(dense<CMatrix>(1500, 1500)); }},
        {"dense 2000 x 1000", [] { return solvingDense(dense<Matrix>(2000, 1000)); }},
        {"dense 1000 x 2000", [] { return solvingDense(dense<Matrix>(1000, 2000)); }},
        {"3-D grid of 30^3, saved and loaded", [] { return savingAndLoading(grid(30, 6.0)); }},
    };
    return all;
}

Case ofFile(const std::string& path)
{
    return {std::filesystem::path(path).filename(), [path] {
                MatrixMarketReader reader(path);
                return solving(reader.ReadSparse());
            }};
}

/// When each step of an undisturbed run has ended.
using Steps = std::vector<std::pair<std::string, double>>;

Steps undisturbed(const Run& run, double& seconds)
{
    Steps steps;
    const Clock::time_point start = Clock::now();
    SystemOptions options;
    options.stepDone = [&](std::string_view step) { steps.emplace_back(step, secondsSince(start)); };
    run(options);
    seconds = secondsSince(start);
    return steps;
}

/// Milliseconds from the request to the end of the run. @return  below 0: it had ended before
double latency(const Run& run, double stopAfter, std::size_t& stepsDone)
{
    std::stop_source source;
    std::atomic<std::size_t> steps = 0;
    std::atomic<bool> hasEnded = false;
    Clock::time_point asked{};
    SystemOptions options;
    options.limits.stop = source.get_token();
    options.stepDone = [&steps](std::string_view) { ++steps; };
    const Clock::time_point start = Clock::now();
    std::thread stopping([&] {
        std::this_thread::sleep_until(
            start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(stopAfter)));
        if (hasEnded) return;
        stepsDone = steps;
        asked = Clock::now();
        source.request_stop();
    });
    bool wasStopped = false;
    double took = 0.0;
    try {
        run(options);
    } catch (const OperationFailedException&) {
        wasStopped = true;
    }
    const Clock::time_point end = Clock::now();
    hasEnded = true;
    stopping.join();
    if (asked != Clock::time_point()) took = 1e3 * std::chrono::duration<double>(end - asked).count();
    return wasStopped || took > 0.0 ? took : -1.0;
}

void report(const Case& each, int points)
{
    const Run run = each.make();
    double seconds = 0.0;
    undisturbed(run, seconds); // pages, threads, rates
    const Steps steps = undisturbed(run, seconds);
    std::map<std::string, std::pair<int, double>> worst;
    double all = 0.0;
    for (int k = 0; k < points; ++k) {
        std::size_t done = 0;
        const double took = latency(run, seconds * (k + 0.5) / points, done);
        if (took < 0.0) continue;
        auto& [count, longest] = worst[done < steps.size() ? steps[done].first : "end"];
        ++count;
        longest = std::max(longest, took);
        all = std::max(all, took);
    }
    std::printf("| %s | %.2f |", each.name.c_str(), seconds);
    for (const char* const step : {"analyse", "factorize", "solve", "check", "load"}) {
        const auto found = worst.find(step);
        if (found == worst.end())
            std::printf(" |");
        else
            std::printf(" %.0f (%d) |", found->second.second, found->second.first);
    }
    std::printf(" %.0f |\n", all);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    int points = 20;
    std::vector<Case> chosen;
    for (int k = 1; k < argc; ++k) {
        const std::string word = argv[k];
        if (word == "--points" && k + 1 < argc) {
            points = std::stoi(argv[++k]);
        } else if (std::filesystem::exists(word)) {
            chosen.push_back(ofFile(word));
        } else {
            for (const Case& each : cases())
                if (each.name.find(word) != std::string::npos) chosen.push_back(each);
        }
    }
    std::printf("| system | seconds | analyse | factorize | solve | check | load | longest |\n"
                "|---|---|---|---|---|---|---|---|\n");
    for (const Case& each : chosen.empty() ? cases() : chosen) report(each, points);
    return 0;
}
