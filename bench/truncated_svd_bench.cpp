// The truncated SVD that restarts beside ARPACK and Spectra, in turn in one process, on one thread or as many
// as OMP_NUM_THREADS says:
//
//     truncated_svd_bench [--k 6,20,50] [--tol 1e-10] [--runs 5] FILE.mtx.gz ...
//
// A Markdown row for each file and count: own time over the faster peer's; restarts and products; the least
// seconds of all runs with the largest residual of all triplets, max(||A*v - s*u||, ||A'*u - s*v||)/s(0), and
// the last value of each. The last line tells the geometric mean of the ratios. The peers' time is without
// the copy of A' that they are given; the own one makes it. Values differ where a peer has missed one of a
// multiple value.

#include <bench/paired.h>
#include <bench/svd_peers.h>

#include <lintrix/dense/access.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <sstream>

namespace Velmar::Lintrix::bench {
namespace {

struct Own {
    int restarts = 0;
    long products = 0;
};

std::optional<Decomposition> byRestarts(const Task& task, Own& own)
{
    using detail::DenseAccess;
    const TruncatedSVD svd(task.A, task.k, TruncatedSvdOptions{.tolerance = task.tolerance});
    own = {svd.Restarts(), static_cast<long>(svd.Products())};
    if (svd.Outcome() != TripletsOutcome::Converged) return std::nullopt;
    return Decomposition{
        ::Eigen::Map<const ::Eigen::MatrixXd>(DenseAccess::cells(svd.U()), task.A.Rows(), task.k),
        ::Eigen::Map<const ::Eigen::MatrixXd>(DenseAccess::cells(svd.V()), task.A.Cols(), task.k),
        ::Eigen::Map<const ::Eigen::VectorXd>(DenseAccess::cells(svd.S()), task.k), 0};
}

struct Contestant {
    std::function<std::optional<Decomposition>()> work;
    std::optional<Decomposition> found{};
    double seconds = std::numeric_limits<double>::infinity();

    void run()
    {
        const double taken = secondsOf(1, [&] { found = work(); });
        if (found) seconds = std::min(seconds, taken);
    }
    std::string figures(const Task& task) const
    {
        if (!found) return "- | - | -";
        char text[80];
        std::snprintf(text, sizeof text, "%.5f | %.1e | %.10g", seconds, residualOf(task, *found),
                      found->s[task.k - 1]);
        return text;
    }
};

/// @return  own time over the faster peer's
double compare(const std::string& file, const Task& task, int runs)
{
    Own own;
    Contestant all[] = {{[&] { return byRestarts(task, own); }}, {[&] { return byArpack(task); }}, {[&] {
                            return bySpectra(task);
                        }}};
    for (int run = 0; run < runs; ++run)
        for (Contestant& one : all) one.run();
    const double ratio = all[0].seconds / std::min(all[1].seconds, all[2].seconds);
    std::printf("| %s | %d x %d | %d | %.2f | %d | %ld | %s | %s | %s |\n", nameOf(file).c_str(),
                task.A.Rows(), task.A.Cols(), task.k, ratio, own.restarts, own.products,
                all[0].figures(task).c_str(), all[1].figures(task).c_str(), all[2].figures(task).c_str());
    std::fflush(stdout);
    return ratio;
}

int run(const std::vector<std::string>& words)
{
    std::vector<int> counts{6, 20, 50};
    double tolerance = 1e-10, logarithms = 0.0;
    int runs = 5, rows = 0;
    std::puts(
        "| matrix | size | k | own / best peer | restarts | products | own s | residual | s(k) | ARPACK s | "
        "residual | s(k) | Spectra s | residual | s(k) "
        "|\n|---|---|---|---|---|---|---|---|---|---|---|---|---|"
        "---|---|");
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool valued = i + 1 < words.size();
        if (words[i] == "--tol" && valued) {
            tolerance = std::atof(words[++i].c_str());
        } else if (words[i] == "--runs" && valued) {
            runs = std::atoi(words[++i].c_str());
        } else if (words[i] == "--k" && valued) {
            counts.clear();
            std::istringstream list(words[++i]);
            for (std::string word; std::getline(list, word, ',');) counts.push_back(std::atoi(word.c_str()));
        } else {
            const SparseMatrix A =
                MatrixMarketReader(words[i]).ReadSparse(MatrixMarketStorage::BothTriangles);
            const Rows elements = rowsOf(A);
            for (const int k : counts) {
                if (k >= std::min(A.Rows(), A.Cols())) continue;
                const double ratio =
                    compare(words[i], Task{A, elements, Rows(elements.transpose()), k, tolerance}, runs);
                if (!std::isfinite(ratio) || ratio == 0.0) continue;
                logarithms += std::log(ratio);
                ++rows;
            }
        }
    }
    if (rows > 0) std::printf("\nGeometric mean of %d: %.2f\n", rows, std::exp(logarithms / rows));
    return 0;
}

} // namespace
} // namespace Velmar::Lintrix::bench

int main(int argc, char** argv)
{
    return Velmar::Lintrix::bench::run({argv + 1, argv + argc});
}
