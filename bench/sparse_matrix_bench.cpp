// SparseMatrix and CSparseMatrix beside Eigen's row-major sparse matrix, each as its user writes it,
// allocations included (`ratio`: own time over Eigen's). Argument: problem 0 is the Laplacian on 1000 x 1000,
// 1 that on 100^3, 2 and 3 have 20 scattered elements in each of 300000 and 30000 rows; complex values have
// the same patterns.

#include "bench/paired.h"
#include "bench/sparse_matrices.h"

#include <lintrix/lintrix.h>

#include <Eigen/Sparse>

#include <cmath>
#include <type_traits>

namespace Velmar::Lintrix::bench {
namespace {

template <class Cell>
using EigenRows = ::Eigen::SparseMatrix<Cell, ::Eigen::RowMajor>;
template <class Cell>
using EigenVector = ::Eigen::Matrix<Cell, ::Eigen::Dynamic, 1>;
template <class Cell>
inline constexpr bool kIsComplex = !std::is_same_v<Cell, double>;
template <class Cell>
using OwnMatrix = std::conditional_t<kIsComplex<Cell>, CSparseMatrix, SparseMatrix>;
template <class Cell>
using OwnVector = std::conditional_t<kIsComplex<Cell>, CVector, Vector>;

/// The value itself, or one with an imaginary part that differs from element to element.
template <class Cell>
Cell cellOf(double value, std::size_t k)
{
    if constexpr (kIsComplex<Cell>) {
        return {value, 0.25 * static_cast<double>(k % 7) - 0.75};
    } else {
        return value;
    }
}

template <class Cell>
std::vector<Cell> cellsOf(const Rows& rows)
{
    std::vector<Cell> cells;
    for (const double value : rows.a) cells.push_back(cellOf<Cell>(value, cells.size()));
    return cells;
}

template <class Cell>
struct Pair {
    explicit Pair(const Rows& rows) : own(cellsOf<Cell>(rows), rows.ia, rows.ja)
    {
        std::vector<int> ia(rows.ia), ja(rows.ja);
        for (int& i : ia) --i;
        for (int& j : ja) --j;
        const std::vector<Cell> cells = cellsOf<Cell>(rows);
        eigen = ::Eigen::Map<const EigenRows<Cell>>(rows.n, rows.n, static_cast<int>(cells.size()), ia.data(),
                                                    ja.data(), cells.data());
    }
    OwnMatrix<Cell> own;
    EigenRows<Cell> eigen;
};

template <class Cell>
struct Problem {
    explicit Problem(const Rows& rows) : A(rows), B(shifted(rows)) {}
    Pair<Cell> A, B;
};

template <class Cell>
const Problem<Cell>& problem(const benchmark::State& state)
{
    static const Problem<Cell> problems[] = {Problem<Cell>(poisson(2, 1000)), Problem<Cell>(poisson(3, 100)),
                                             Problem<Cell>(scattered(300000, 20, 1)),
                                             Problem<Cell>(scattered(30000, 20, 1))};
    return problems[state.range(0)];
}

template <class Own, class Cell>
bool agree(const Own& own, const EigenRows<Cell>& eigen)
{
    bool same =
        own.Rows() == eigen.rows() && own.Cols() == eigen.cols() && own.NumElements() == eigen.nonZeros();
    for (std::size_t k = 0; same && k < own.Values().size(); ++k) {
        same = own.ColumnIndices()[k] - 1 == eigen.innerIndexPtr()[k] &&
               std::abs(own.Values()[k] - eigen.valuePtr()[k]) <= 1e-12 * (1.0 + std::abs(own.Values()[k]));
    }
    return same;
}

template <class Own, class Cell>
bool agree(const Own& own, const EigenVector<Cell>& eigen)
{
    const ::Eigen::Map<const EigenVector<Cell>> y(reinterpret_cast<const Cell*>(own.DataPtr()), own.Length());
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

template <class Cell>
void sum(benchmark::State& state)
{
    const auto& p = problem<Cell>(state);
    compare(
        state, [&] { return p.A.own + p.B.own; }, [&] { return EigenRows<Cell>(p.A.eigen + p.B.eigen); });
}

template <class Cell>
void product(benchmark::State& state)
{
    const auto& p = problem<Cell>(state);
    compare(
        state, [&] { return p.A.own * p.B.own; }, [&] { return EigenRows<Cell>(p.A.eigen * p.B.eigen); });
}

template <class Cell>
void transpose(benchmark::State& state)
{
    const auto& p = problem<Cell>(state);
    compare(
        state, [&] { return p.A.own.Transpose(); }, [&] { return EigenRows<Cell>(p.A.eigen.transpose()); });
}

template <class Cell>
void scaled(benchmark::State& state)
{
    const auto& p = problem<Cell>(state);
    const auto factor = cellOf<Cell>(2.5, 5);
    compare(
        state, [&] { return factor * p.A.own; }, [&] { return EigenRows<Cell>(factor * p.A.eigen); });
}

template <class Cell>
void vectorProduct(benchmark::State& state)
{
    const auto& p = problem<Cell>(state);
    const EigenVector<Cell> x = EigenVector<Cell>::Random(p.A.eigen.cols());
    const OwnVector<Cell> own(std::vector<Cell>(x.begin(), x.end()));
    compare(
        state, [&] { return p.A.own * own; }, [&] { return EigenVector<Cell>(p.A.eigen * x); });
}

void times(benchmark::internal::Benchmark* benchmark, const std::vector<std::int64_t>& problems,
           std::int64_t count)
{
    for (const std::int64_t problem : problems) benchmark->Arg(problem);
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(count);
}
void onAll(benchmark::internal::Benchmark* benchmark)
{
    times(benchmark, {0, 1, 2}, 9);
}
void onSmaller(benchmark::internal::Benchmark* benchmark)
{
    times(benchmark, {0, 1, 3}, 5);
}
void often(benchmark::internal::Benchmark* benchmark)
{
    times(benchmark, {0, 1, 2}, 21);
}

BENCHMARK_TEMPLATE(sum, double)->Apply(onAll);
BENCHMARK_TEMPLATE(product, double)->Apply(onSmaller);
BENCHMARK_TEMPLATE(transpose, double)->Apply(onAll);
BENCHMARK_TEMPLATE(scaled, double)->Apply(onAll);
BENCHMARK_TEMPLATE(vectorProduct, double)->Apply(often);
BENCHMARK_TEMPLATE(sum, Complex)->Apply(onAll);
BENCHMARK_TEMPLATE(product, Complex)->Apply(onSmaller);
BENCHMARK_TEMPLATE(transpose, Complex)->Apply(onAll);
BENCHMARK_TEMPLATE(scaled, Complex)->Apply(onAll);
BENCHMARK_TEMPLATE(vectorProduct, Complex)->Apply(often);

} // namespace
} // namespace Velmar::Lintrix::bench
