// SparseMatrix beside Eigen's row-major sparse matrix, each as its user writes it, allocations included
// (`ratio`: own time over Eigen's). Argument: problem 0 is the Laplacian on 1000 x 1000, 1 that on 100^3,
// 2 and 3 have 20 scattered elements in each of 300000 and 30000 rows.

#include "bench/paired.h"
#include "bench/sparse_matrices.h"

#include <lintrix/lintrix.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <Eigen/Sparse>

#include <cmath>

namespace Velmar::Lintrix::bench {
namespace {

using EigenRows = ::Eigen::SparseMatrix<double, ::Eigen::RowMajor>;

struct Pair {
    explicit Pair(const Rows& rows) : own(rows.a, rows.ia, rows.ja)
    {
        std::vector<int> ia(rows.ia), ja(rows.ja);
        for (int& i : ia) --i;
        for (int& j : ja) --j;
        eigen = ::Eigen::Map<const EigenRows>(rows.n, rows.n, static_cast<int>(rows.a.size()), ia.data(),
                                              ja.data(), rows.a.data());
    }
    SparseMatrix own;
    EigenRows eigen;
};

struct Problem {
    explicit Problem(const Rows& rows) : A(rows), B(shifted(rows)) {}
    Pair A, B;
};

const Problem& problem(const benchmark::State& state)
{
    static const Problem problems[] = {Problem(poisson(2, 1000)), Problem(poisson(3, 100)),
                                       Problem(scattered(300000, 20, 1)), Problem(scattered(30000, 20, 1))};
    return problems[state.range(0)];
}

bool agree(const SparseMatrix& own, const EigenRows& eigen)
{
    bool same =
        own.Rows() == eigen.rows() && own.Cols() == eigen.cols() && own.NumElements() == eigen.nonZeros();
    for (std::size_t k = 0; same && k < own.Values().size(); ++k) {
        same = own.ColumnIndices()[k] - 1 == eigen.innerIndexPtr()[k] &&
               std::abs(own.Values()[k] - eigen.valuePtr()[k]) <= 1e-12 * (1.0 + std::abs(own.Values()[k]));
    }
    return same;
}

bool agree(const Vector& own, const ::Eigen::VectorXd& eigen)
{
    const ::Eigen::Map<const ::Eigen::VectorXd> y(reinterpret_cast<const double*>(own.DataPtr()),
                                                  own.Length());
    return (y - eigen).norm() <= 1e-13 * eigen.norm();
}

// Both sides make their result anew in each call, and give it back within the time.
template <class Own, class Peer>
void compare(benchmark::State& state, Own own, Peer peer)
{
    if (!agree(own(), peer())) {
        state.SkipWithError("the two sides disagree");
        return;
    }
    runPaired(
        state, 1, [&] { benchmark::DoNotOptimize(peer()); }, [&] { benchmark::DoNotOptimize(own()); });
}

void sum(benchmark::State& state)
{
    const Problem& p = problem(state);
    compare(
        state, [&] { return p.A.own + p.B.own; }, [&] { return EigenRows(p.A.eigen + p.B.eigen); });
}

void product(benchmark::State& state)
{
    const Problem& p = problem(state);
    compare(
        state, [&] { return p.A.own * p.B.own; }, [&] { return EigenRows(p.A.eigen * p.B.eigen); });
}

void transpose(benchmark::State& state)
{
    const Problem& p = problem(state);
    compare(
        state, [&] { return p.A.own.Transpose(); }, [&] { return EigenRows(p.A.eigen.transpose()); });
}

void scaled(benchmark::State& state)
{
    const Problem& p = problem(state);
    compare(
        state, [&] { return 2.5 * p.A.own; }, [&] { return EigenRows(2.5 * p.A.eigen); });
}

void vectorProduct(benchmark::State& state)
{
    const Problem& p = problem(state);
    const ::Eigen::VectorXd x = ::Eigen::VectorXd::Random(p.A.eigen.cols());
    const Vector own(std::vector<double>(x.begin(), x.end()));
    compare(
        state, [&] { return p.A.own * own; }, [&] { return ::Eigen::VectorXd(p.A.eigen * x); });
}

BENCHMARK(sum)->DenseRange(0, 2)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
BENCHMARK(product)->Arg(0)->Arg(1)->Arg(3)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(transpose)->DenseRange(0, 2)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
BENCHMARK(scaled)->DenseRange(0, 2)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
BENCHMARK(vectorProduct)->DenseRange(0, 2)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(21);

} // namespace
} // namespace Velmar::Lintrix::bench
