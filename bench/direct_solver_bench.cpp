// The direct solver on one file, phase by phase, as one line of JSON.
//
//     direct_solver_bench FILE.mtx[.gz] --type spd|sym|structural|unsym [--ordering 0|1|2|3] [--threads N]
//                         [--rhs K] [--repeat R] [--matching] [--diagonal-pivots] [--single] [--metis]
//
// Real or complex by the file; for `sym` a Hermitian file is solved as one. Nested dissection is that of
// `LinearSystem`, shared by the threads; with --metis it is the engine's by itself. Times are the best of the
// repetitions. The machine's speed drifts, so each repetition is framed by a product of dense matrices, whose
// rate stands beside the result. The residual is |b - A x| / (|A| |x| + |b|) in the infinity norm.

#include <lintrix/engine/pardiso.h>
#include <lintrix/engine/threaded_dissection.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/services/blas.h>
#include <lintrix/sparse/matrix_market.h>

#include <CLI/CLI.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

struct Options {
    std::string file, type = "unsym";
    int ordering = 2, threads = 1, rightSides = 1, repeats = 3;
    bool matching = false, diagonalPivots = false, single = false, metis = false;
};

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double gemmGflops()
{
    constexpr int n = 800;
    static std::vector<double> a(n * n, 1.0), b(n * n, 1.0), c(n * n);
    double best = std::numeric_limits<double>::infinity();
    for (int r = 0; r < 2; ++r) {
        const double start = now();
        detail::blas::gemm('N', 'N', n, n, n, 1.0, a.data(), n, b.data(), n, 0.0, c.data(), n);
        best = std::min(best, now() - start);
    }
    return 2e-9 * n * n * n / best;
}

double peakMebibytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

/// Compressed rows, base 1, columns ascending, entries at one place added up.
template <class T>
struct Rows {
    int n = 0;
    std::vector<int> ia{}, ja{};
    std::vector<T> a{};
};

template <class T>
T valueOf(std::complex<double> z)
{
    if constexpr (std::is_same_v<T, double>)
        return z.real();
    else
        return z;
}

/// `mirror` adds the other triangle of a file with a symmetry; `upper` keeps the upper triangle alone;
/// `diagonal` gives every diagonal place an entry.
template <class T>
Rows<T> compress(const MatrixMarketTriplets& file, bool upper, bool mirror, bool diagonal)
{
    struct Entry {
        int row, col;
        T value;
    };
    std::vector<Entry> entries;
    const bool hermitian = file.symmetry == MatrixMarketSymmetry::Hermitian;
    for (std::size_t k = 0; k < file.values.size(); ++k) {
        const int i = file.rowIndices[k], j = file.colIndices[k];
        const std::complex<double> z = file.values[k], other = hermitian ? std::conj(z) : z;
        if (!upper || i <= j) entries.push_back({i, j, valueOf<T>(z)});
        if (mirror && i != j && (!upper || j <= i)) entries.push_back({j, i, valueOf<T>(other)});
    }
    for (int i = 0; diagonal && i < file.rows; ++i) entries.push_back({i, i, T{}});
    std::ranges::stable_sort(entries, [](const Entry& x, const Entry& y) {
        return x.row != y.row ? x.row < y.row : x.col < y.col;
    });
    Rows<T> A{file.rows, std::vector<int>(static_cast<std::size_t>(file.rows) + 1)};
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const Entry& e = entries[k];
        if (k > 0 && entries[k - 1].row == e.row && entries[k - 1].col == e.col) {
            A.a.back() += e.value;
            continue;
        }
        ++A.ia[static_cast<std::size_t>(e.row) + 1];
        A.ja.push_back(e.col + 1);
        A.a.push_back(e.value);
    }
    A.ia[0] = 1;
    std::partial_sum(A.ia.begin(), A.ia.end(), A.ia.begin());
    return A;
}

template <class T>
std::vector<T> multiply(const Rows<T>& A, const std::vector<T>& x, int columns)
{
    std::vector<T> y(x.size());
    const auto n = static_cast<std::size_t>(A.n);
    for (std::size_t c = 0; c < static_cast<std::size_t>(columns); ++c) {
        for (std::size_t i = 0; i < n; ++i) {
            T sum{};
            for (auto k = static_cast<std::size_t>(A.ia[i] - 1);
                 k < static_cast<std::size_t>(A.ia[i + 1] - 1); ++k)
                sum += A.a[k] * x[c * n + static_cast<std::size_t>(A.ja[k] - 1)];
            y[c * n + i] = sum;
        }
    }
    return y;
}

template <class T>
double normInf(const Rows<T>& A)
{
    double norm = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(A.n); ++i) {
        double sum = 0;
        for (auto k = static_cast<std::size_t>(A.ia[i] - 1); k < static_cast<std::size_t>(A.ia[i + 1] - 1);
             ++k)
            sum += std::abs(A.a[k]);
        norm = std::max(norm, sum);
    }
    return norm;
}

template <class T>
double residualOf(const Rows<T>& whole, const std::vector<T>& x, const std::vector<T>& b, int columns)
{
    const std::vector<T> Ax = multiply(whole, x, columns);
    const double normA = normInf(whole);
    const auto n = static_cast<std::size_t>(whole.n);
    double worst = 0;
    for (std::size_t c = 0; c < static_cast<std::size_t>(columns); ++c) {
        double r = 0, sizeX = 0, sizeB = 0;
        for (std::size_t i = c * n; i < (c + 1) * n; ++i) {
            const double difference = std::abs(b[i] - Ax[i]);
            r = std::isfinite(difference) ? std::max(r, difference) : std::numeric_limits<double>::infinity();
            sizeX = std::max(sizeX, std::abs(x[i]));
            sizeB = std::max(sizeB, std::abs(b[i]));
        }
        worst = std::max(worst, r / (normA * sizeX + sizeB));
    }
    return worst;
}

/// The first column is the image of ones, so that the answer is known by eye.
template <class T>
std::vector<T> rightSides(const Rows<T>& whole, int columns)
{
    std::vector<T> x(static_cast<std::size_t>(whole.n) * static_cast<std::size_t>(columns), T(1));
    std::mt19937 random(42);
    std::uniform_real_distribution<double> uniform(-1, 1);
    for (auto i = static_cast<std::size_t>(whole.n); i < x.size(); ++i) x[i] = T(uniform(random));
    return multiply(whole, x, columns);
}

template <class T>
int typeNumber(const std::string& type, bool hermitian)
{
    constexpr bool real = std::is_same_v<T, double>;
    if (type == "spd") return real ? 2 : 4;
    if (type == "sym") return real ? -2 : hermitian ? -4 : 6;
    if (type == "structural") return real ? 1 : 3;
    return real ? 11 : 13;
}

bool isUnsymmetric(int type)
{
    return type == 11 || type == 13;
}

/// A handle with its parameters.
template <class T>
class Solver {
public:
    Solver(Rows<T>& A, int type, const Options& options) : A_(A), type_(type)
    {
        const bool unsymmetric = isUnsymmetric(type), definite = type == 2 || type == 4;
        using enum PardisoParameter;
        parameter(CallersValues) = 1;
        parameter(Ordering) = options.ordering;
        parameter(PivotExponent) = definite ? 0 : unsymmetric || type == 1 || type == 3 ? 13 : 8;
        parameter(Scaling) = parameter(Matching) = unsymmetric || options.matching ? 1 : 0;
        parameter(FactorNonZeros) = parameter(Gigaflops) = -1;
        parameter(SymmetricPivoting) = options.diagonalPivots ? 0 : 1;
        parameter(SinglePrecision) = options.single ? 1 : 0;
    }
    ~Solver() { call(-1, 1, nullptr, nullptr); }
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    int call(int phase, int columns, T* b, T* x)
    {
        int error = 0, unused = 0;
        const int one = 1, silent = 0;
        pardiso(handle_.data(), one, one, type_, phase, A_.n, A_.a.data(), A_.ia.data(), A_.ja.data(),
                &unused, columns, parameters_.data(), silent, b, x, error);
        return error;
    }
    int& parameter(PardisoParameter name) { return PardisoParameters(parameters_.data())[name]; }

private:
    Rows<T>& A_;
    int type_;
    std::array<void*, 64> handle_{};
    std::array<int, PardisoParameters::kSlots> parameters_{};
};

struct Timing {
    double analysis = 1e300, factorization = 1e300, solve = 1e300, total = 1e300;
    void take(double t0, double t1, double t2, double t3)
    {
        analysis = std::min(analysis, t1 - t0);
        factorization = std::min(factorization, t2 - t1);
        solve = std::min(solve, t3 - t2);
        total = std::min(total, t3 - t0);
    }
};

template <class T>
int run(const MatrixMarketTriplets& file, const Options& options)
{
    const bool mirror = file.symmetry != MatrixMarketSymmetry::General;
    const int type = typeNumber<T>(options.type, file.symmetry == MatrixMarketSymmetry::Hermitian);
    const Rows<T> whole = compress<T>(file, false, mirror, false);
    // Unsymmetric types take the matrix as it stands, as from the classes: the matching moves rows, and an
    // entry put on the old diagonal would be fill for the ordering and no more.
    Rows<T> A = isUnsymmetric(type) ? whole : compress<T>(file, type % 2 == 0, mirror, true);
    std::vector<T> b = rightSides(whole, options.rightSides), x(b.size());

    Timing best;
    double gemm = 0;
    int error = 0, nonZeros = 0, perturbed = 0;
    for (int r = 0; r < options.repeats && error == 0; ++r) {
        gemm = std::max(gemm, gemmGflops());
        Solver<T> solver(A, type, options);
        const double t0 = now();
        error = solver.call(11, options.rightSides, b.data(), x.data());
        const double t1 = now();
        if (error == 0) error = solver.call(22, options.rightSides, b.data(), x.data());
        const double t2 = now();
        if (error == 0) error = solver.call(33, options.rightSides, b.data(), x.data());
        best.take(t0, t1, t2, now());
        nonZeros = solver.parameter(PardisoParameter::FactorNonZeros);
        perturbed = solver.parameter(PardisoParameter::PerturbedPivots);
        gemm = std::max(gemm, gemmGflops());
    }
    std::printf(
        "{\"solver\":\"lintrix-%d\",\"matrix\":\"%s\",\"type\":\"%s\",\"scalar\":\"%s\",\"n\":%d,\"nnz\":%zu,"
        "\"threads\":%d,\"rhs\":%d,\"analysis_s\":%.7f,\"factor_s\":%.7f,\"solve_s\":%.7f,\"total_s\":%.7f,"
        "\"nnz_factors\":%d,\"dgemm_gflops\":%.1f,\"residual\":%.2e,\"peak_rss_mib\":%.0f,"
        "\"perturbed\":%d,\"error_code\":%d}\n",
        options.ordering, std::filesystem::path(options.file).stem().c_str(), options.type.c_str(),
        std::is_same_v<T, double> ? "real" : "complex", A.n, whole.a.size(), options.threads,
        options.rightSides, best.analysis, best.factorization, best.solve, best.total, nonZeros, gemm,
        residualOf(whole, x, b, options.rightSides), peakMebibytes(), perturbed, error);
    return error == 0 ? 0 : 1;
}

} // namespace
} // namespace Velmar::Lintrix::bench

int main(int count, char** words)
{
    using namespace Velmar::Lintrix;
    using namespace Velmar::Lintrix::bench;
    Options options;
    CLI::App app{"Times the direct solver on one Matrix Market file."};
    app.add_option("FILE", options.file)->required()->check(CLI::ExistingFile);
    app.add_option("--type", options.type)->check(CLI::IsMember({"spd", "sym", "structural", "unsym"}));
    app.add_option("--ordering", options.ordering, "as iparm(2)")->check(CLI::Range(0, 3));
    app.add_option("--threads", options.threads)->check(CLI::PositiveNumber);
    app.add_option("--rhs", options.rightSides)->check(CLI::PositiveNumber);
    app.add_option("--repeat", options.repeats)->check(CLI::PositiveNumber);
    app.add_flag("--matching", options.matching, "matching and scaling for symmetric matrices too");
    app.add_flag("--diagonal-pivots", options.diagonalPivots, "instead of Bunch-Kaufman");
    app.add_flag("--single", options.single, "single precision inside");
    app.add_flag("--metis", options.metis, "METIS for nested dissection, on one thread");
    CLI11_PARSE(app, count, words);
    TrellConfiguration::SetNumThreads(options.threads);
    std::optional<ThreadedDissectionScope> byThreads;
    if (!options.metis) byThreads.emplace();
    const MatrixMarketTriplets file = ReadMatrixMarketTriplets(options.file);
    return file.field == MatrixMarketField::ComplexNumber ? run<std::complex<double>>(file, options)
                                                          : run<double>(file, options);
}
