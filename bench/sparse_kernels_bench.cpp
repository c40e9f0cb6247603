// The compressed-row kernels beside Eigen's row-major sparse matrix (`ratio`: own time over Eigen's), and the
// product with a vector beside a plain read of the same arrays (`of_read`: read time over own time; 1 is the
// limit of the memory) and beside the same elements gathered from x and summed without rows (`of_gather`: 1
// is the limit where x is reached at random). Arguments: problem 0 is the Laplacian on 1000 x 1000, 1 that on
// 100^3, 2 has 20 scattered elements in each of 300000 rows; then the number of threads.

#include "bench/paired.h"
#include "bench/sparse_matrices.h"

#include <lintrix/lintrix.h>

#include <Eigen/Sparse>

#include <memory>

namespace Velmar::Lintrix::bench {
namespace {

using EigenRows = ::Eigen::SparseMatrix<double, ::Eigen::RowMajor>;
using Vec = ::Eigen::VectorXd;

const Rows& problem(int number)
{
    static const Rows problems[] = {poisson(2, 1000), poisson(3, 100), scattered(300000, 20, 1)};
    return problems[number];
}

/// The same matrix for Eigen: on the same values, since two copies of an array may differ in speed by a
/// fifth, by where their pages lie. The index arrays differ in their base and are its own.
class Peer {
public:
    explicit Peer(const Rows& A)
        : ia_(A.ia), ja_(A.ja),
          view_(A.n, A.n, static_cast<int>(A.a.size()), ia_.data(), ja_.data(), A.a.data())
    {
        for (int& i : ia_) --i;
        for (int& j : ja_) --j;
    }
    const ::Eigen::Map<const EigenRows>& operator*() const { return view_; }

private:
    std::vector<int> ia_, ja_;
    ::Eigen::Map<const EigenRows> view_;
};

/// A result of the kernels' two passes.
struct Result {
    std::vector<int> ia;
    std::unique_ptr<int[]> ja;
    std::unique_ptr<double[]> a;
};

/// pass(request, c, jc, ic) is the kernel with all else bound.
template <class Pass>
Result twoPasses(int rows, Pass pass)
{
    Result C{std::vector<int>(static_cast<std::size_t>(rows) + 1), nullptr, nullptr};
    pass(1, nullptr, nullptr, C.ia.data());
    const auto elements = static_cast<std::size_t>(C.ia.back() - 1);
    C.ja = std::make_unique_for_overwrite<int[]>(elements);
    C.a = std::make_unique_for_overwrite<double[]>(elements);
    pass(2, C.a.get(), C.ja.get(), C.ia.data());
    return C;
}

void useThreads(const benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(1));
    MKL_Set_Num_Threads(threads);
    ::Eigen::setNbThreads(threads);
}

template <class Dense>
void requireNear(benchmark::State& state, const Dense& own, const Dense& eigen)
{
    if (!((own - eigen).norm() <= 1e-13 * eigen.norm())) state.SkipWithError("the two sides disagree");
}

void requireSame(benchmark::State& state, const Result& own, const EigenRows& eigen)
{
    bool same = eigen.nonZeros() == own.ia.back() - 1;
    for (::Eigen::Index p = 0; same && p < eigen.nonZeros(); ++p) {
        same = eigen.innerIndexPtr()[p] == own.ja[p] - 1 &&
               std::abs(eigen.valuePtr()[p] - own.a[p]) <= 1e-12 * (1.0 + std::abs(own.a[p]));
    }
    if (!same) state.SkipWithError("the two sides disagree");
}

/// Reads the arrays of A and x once and writes y once, with as many threads as the kernel has. Sixteen sums,
/// so that the memory is waited for and no addition.
void readAll(const Rows& A, const Vec& x, Vec& y, int threads)
{
    constexpr int kSums = 16;
    const auto blocks = static_cast<std::ptrdiff_t>(A.a.size()) / kSums;
    double sums[kSums] = {};
    int bits[kSums] = {};
#pragma omp parallel for schedule(static) num_threads(threads) reduction(+ : sums) reduction(^ : bits)
    for (std::ptrdiff_t block = 0; block < blocks; ++block) {
        const double* const a = A.a.data() + block * kSums;
        const int* const ja = A.ja.data() + block * kSums;
        for (int k = 0; k < kSums; ++k) sums[k] += a[k];
        for (int k = 0; k < kSums; ++k) bits[k] ^= ja[k];
    }
    int rowBits = 0;
#pragma omp parallel for simd schedule(static) num_threads(threads) reduction(^ : rowBits)
    for (int i = 0; i < A.n; ++i) {
        y[i] = x[i];
        rowBits ^= A.ia[i];
    }
    benchmark::DoNotOptimize(sums);
    benchmark::DoNotOptimize(bits);
    benchmark::DoNotOptimize(rowBits);
}

/// Reads the arrays of A once and x where the columns point, with as many threads as the kernel has. Four
/// sums, so that no addition waits for another.
void gatherAll(const Rows& A, const Vec& x, int threads)
{
    const auto count = static_cast<std::ptrdiff_t>(A.a.size()) / 4 * 4;
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    const auto product = [&](std::ptrdiff_t p) { return A.a[p] * x[A.ja[p] - 1]; };
#pragma omp parallel for schedule(static) num_threads(threads) reduction(+ : s0, s1, s2, s3)
    for (std::ptrdiff_t p = 0; p < count; p += 4) {
        s0 += product(p);
        s1 += product(p + 1);
        s2 += product(p + 2);
        s3 += product(p + 3);
    }
    benchmark::DoNotOptimize(s0 + s1 + s2 + s3);
}

void csrmv(const char* trans, const char* descriptor, const Rows& A, const Vec& x, Vec& y)
{
    mkl_dcsrmv(trans, A.n, A.n, 1.0, descriptor, A.a.data(), A.ja.data(), A.ia.data(), A.ia.data() + 1,
               x.data(), 0.0, y.data());
}

template <class Own, class Peer>
void vectorProduct(benchmark::State& state, const Rows& A, Own own, Peer peer)
{
    useThreads(state);
    const Vec x = Vec::Random(A.n);
    Vec y(A.n), yPeer(A.n);
    own(x, y);
    peer(x, yPeer);
    requireNear(state, y, yPeer);
    runPaired(
        state, 1, [&] { peer(x, yPeer); }, [&] { own(x, y); });
}

void general(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    const Peer E(A);
    vectorProduct(
        state, A, [&](const Vec& x, Vec& y) { csrmv("N", "GUNF", A, x, y); },
        [&](const Vec& x, Vec& y) { y.noalias() = *E * x; });
}

void general_of_read(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    useThreads(state);
    const Vec x = Vec::Random(A.n);
    Vec y(A.n), copy(A.n);
    csrmv("N", "GUNF", A, x, y);
    requireNear(state, y, Vec(*Peer(A) * x));
    const int threads = static_cast<int>(state.range(1));
    runPaired(
        state, 1, [&] { readAll(A, x, copy, threads); }, [&] { csrmv("N", "GUNF", A, x, y); });
    state.counters["of_read"] = 1.0 / state.counters["ratio"];
    state.counters["read_GBps"] = (A.bytes() + 16.0 * A.n) / state.counters["raw_us"] * 1e-3;
}

void general_of_gather(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    useThreads(state);
    const Vec x = Vec::Random(A.n);
    Vec y(A.n);
    const int threads = static_cast<int>(state.range(1));
    runPaired(
        state, 1, [&] { gatherAll(A, x, threads); }, [&] { csrmv("N", "GUNF", A, x, y); });
    state.counters["of_gather"] = 1.0 / state.counters["ratio"];
}

void transposed(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    const Peer E(A);
    vectorProduct(
        state, A, [&](const Vec& x, Vec& y) { csrmv("T", "GUNF", A, x, y); },
        [&](const Vec& x, Vec& y) { y.noalias() = (*E).transpose() * x; });
}

void symmetric(benchmark::State& state)
{
    const Rows U = upperTriangle(problem(static_cast<int>(state.range(0))));
    const Peer E(U);
    vectorProduct(
        state, U, [&](const Vec& x, Vec& y) { csrmv("N", "SUNF", U, x, y); },
        [&](const Vec& x, Vec& y) { y.noalias() = (*E).selfadjointView<::Eigen::Upper>() * x; });
}

void eight_columns(benchmark::State& state)
{
    useThreads(state);
    const Rows& A = problem(static_cast<int>(state.range(0)));
    const Peer E(A);
    const ::Eigen::MatrixXd B = ::Eigen::MatrixXd::Random(A.n, 8);
    ::Eigen::MatrixXd C(A.n, 8), peer(A.n, 8);
    const auto own = [&] {
        mkl_dcsrmm("N", A.n, 8, A.n, 1.0, "GUNF", A.a.data(), A.ja.data(), A.ia.data(), A.ia.data() + 1,
                   B.data(), A.n, 0.0, C.data(), A.n);
    };
    own();
    peer.noalias() = *E * B;
    requireNear(state, C, peer);
    runPaired(
        state, 1, [&] { peer.noalias() = *E * B; }, own);
}

void sum_of(benchmark::State& state, const Rows& A, const Rows& B)
{
    const Peer EA(A), EB(B);
    const auto own = [&] {
        int info = 0;
        return twoPasses(A.n, [&](int request, double* c, int* jc, int* ic) {
            mkl_dcsradd("N", request, 0, A.n, A.n, A.a.data(), A.ja.data(), A.ia.data(), 1.0, B.a.data(),
                        B.ja.data(), B.ia.data(), c, jc, ic, 0, info);
        });
    };
    requireSame(state, own(), *EA + *EB);
    runPaired(
        state, 1, [&] { benchmark::DoNotOptimize(EigenRows(*EA + *EB)); },
        [&] { benchmark::DoNotOptimize(own()); });
}

void sum_same_pattern(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    sum_of(state, A, A);
}

void sum_shifted(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    sum_of(state, A, shifted(A));
}

void square(benchmark::State& state)
{
    const Rows& A = problem(static_cast<int>(state.range(0)));
    const Peer E(A);
    const auto own = [&] {
        int info = 0;
        return twoPasses(A.n, [&](int request, double* c, int* jc, int* ic) {
            mkl_dcsrmultcsr("N", request, 0, A.n, A.n, A.n, A.a.data(), A.ja.data(), A.ia.data(), A.a.data(),
                            A.ja.data(), A.ia.data(), c, jc, ic, 0, info);
        });
    };
    requireSame(state, own(), *E * *E);
    runPaired(
        state, 1, [&] { benchmark::DoNotOptimize(EigenRows(*E * *E)); },
        [&] { benchmark::DoNotOptimize(own()); });
}

void problems(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"problem", "threads"})
        ->ArgsProduct({{0, 1, 2}, {1, 2}})
        ->UseManualTime()
        ->MinTime(0.5);
}

void serialProblems(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"problem", "threads"})->ArgsProduct({{0, 1, 2}, {1}})->UseManualTime()->MinTime(0.5);
}

BENCHMARK(general)->Apply(problems);
BENCHMARK(general_of_read)->Apply(problems);
BENCHMARK(general_of_gather)->Apply(problems);
BENCHMARK(transposed)->Apply(problems);
BENCHMARK(symmetric)->Apply(problems);
BENCHMARK(eight_columns)->Apply(problems);
BENCHMARK(sum_same_pattern)->Apply(serialProblems);
BENCHMARK(sum_shifted)->Apply(serialProblems);
BENCHMARK(square)->Apply(serialProblems);

} // namespace
} // namespace Velmar::Lintrix::bench
