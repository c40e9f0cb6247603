// Matrix Market files and assembly from triplets: bytes and entries a second, on one thread. The matrix is
// the five-point Laplacian of a square grid; with full digits, each value is changed a little, as measured
// data are. Assembly stands beside Eigen's setFromTriplets, with the triplets in row order and in random
// order.

#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <Eigen/SparseCore>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace Velmar::Lintrix;

constexpr std::int32_t kSide = 1000;

/// Five-point Laplacian, row after row.
std::vector<SparseTriplet> poisson(std::int32_t side, bool fullDigits)
{
    std::mt19937_64 generator(5);
    std::vector<SparseTriplet> triplets;
    const auto add = [&](std::int32_t row, std::int32_t col, double value) {
        const double noise = fullDigits ? 1e-3 * static_cast<double>(generator() >> 11) * 0x1p-53 : 0.0;
        triplets.push_back({row, col, value + noise});
    };
    for (std::int32_t i = 0; i < side; ++i) {
        for (std::int32_t j = 0; j < side; ++j) {
            const std::int32_t k = i * side + j;
            if (i > 0) add(k, k - side, -1.0);
            if (j > 0) add(k, k - 1, -1.0);
            add(k, k, 4.0);
            if (j + 1 < side) add(k, k + 1, -1.0);
            if (i + 1 < side) add(k, k + side, -1.0);
        }
    }
    return triplets;
}

SparseMatrix assembled(const std::vector<SparseTriplet>& triplets, std::int32_t size)
{
    SparseAssembler entries(size, size);
    entries.Reserve(triplets.size());
    for (const SparseTriplet& t : triplets) entries.Add(t.row, t.col, t.value);
    return entries.Assemble();
}

void requireSame(bool same, const char* what)
{
    if (same) return;
    std::fprintf(stderr, "wrong: %s\n", what);
    std::exit(1);
}

bool identical(const SparseMatrix& A, const SparseMatrix& B)
{
    return std::ranges::equal(A.RowPointers(), B.RowPointers()) &&
           std::ranges::equal(A.ColumnIndices(), B.ColumnIndices()) &&
           std::ranges::equal(A.Values(), B.Values());
}

/// The matrix in a file of its own, removed at the end.
struct MarketFile {
    std::string path;
    SparseMatrix matrix;
    std::int64_t bytes;

    MarketFile(const std::string& ending, bool fullDigits)
        : path(std::filesystem::temp_directory_path() / ("lintrix_bench" + ending)),
          matrix(assembled(poisson(kSide, fullDigits), kSide * kSide))
    {
        WriteMatrixMarket(path, matrix);
        requireSame(identical(ReadMatrixMarket(path), matrix), "the file as read again");
        MatrixMarketReader reader(
            path, [this](const MatrixMarketProgress& p) { bytes = static_cast<std::int64_t>(p.textBytes); });
        reader.ReadTriplets();
    }
    ~MarketFile() { std::filesystem::remove(path); }
    MarketFile(const MarketFile&) = delete;
    MarketFile& operator=(const MarketFile&) = delete;
};

/// The parser alone: entries become triplets as they stand.
void parse(benchmark::State& state, const std::string& ending, bool fullDigits)
{
    const MarketFile file(ending, fullDigits);
    for (auto _ : state) benchmark::DoNotOptimize(ReadMatrixMarketTriplets(file.path));
    state.SetBytesProcessed(state.iterations() * file.bytes);
}

/// The whole way to compressed rows.
void read(benchmark::State& state, bool fullDigits)
{
    const MarketFile file(".mtx", fullDigits);
    for (auto _ : state) benchmark::DoNotOptimize(ReadMatrixMarket(file.path));
    state.SetBytesProcessed(state.iterations() * file.bytes);
}

void write(benchmark::State& state, const std::string& ending, bool fullDigits)
{
    const MarketFile file(ending, fullDigits);
    for (auto _ : state) WriteMatrixMarket(file.path, file.matrix);
    state.SetBytesProcessed(state.iterations() * file.bytes);
}

std::vector<SparseTriplet> ordered(std::int32_t side, bool shuffled)
{
    std::vector<SparseTriplet> triplets = poisson(side, true);
    if (shuffled) std::shuffle(triplets.begin(), triplets.end(), std::mt19937_64(9));
    return triplets;
}

using EigenMatrix = Eigen::SparseMatrix<double, Eigen::RowMajor>;

EigenMatrix assembledByEigen(const std::vector<SparseTriplet>& triplets, std::int32_t size)
{
    std::vector<Eigen::Triplet<double>> entries;
    entries.reserve(triplets.size());
    for (const SparseTriplet& t : triplets) entries.emplace_back(t.row, t.col, t.value);
    EigenMatrix matrix(size, size);
    matrix.setFromTriplets(entries.begin(), entries.end());
    return matrix;
}

void requireAgreement(const std::vector<SparseTriplet>& triplets, std::int32_t size)
{
    const SparseMatrix ours = assembled(triplets, size);
    const EigenMatrix theirs = assembledByEigen(triplets, size);
    requireSame(std::equal(ours.Values().begin(), ours.Values().end(), theirs.valuePtr(),
                           theirs.valuePtr() + theirs.nonZeros()),
                "values of the assembled matrix");
}

/// Both from a list of triplets to a matrix, filling included.
template <class Assemble>
void assemble(benchmark::State& state, bool shuffled, Assemble how)
{
    const auto side = static_cast<std::int32_t>(state.range(0));
    const std::vector<SparseTriplet> triplets = ordered(side, shuffled);
    requireAgreement(triplets, side * side);
    for (auto _ : state) benchmark::DoNotOptimize(how(triplets, side * side));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(triplets.size()));
}

BENCHMARK_CAPTURE(parse, short_values, ".mtx", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parse, full_values, ".mtx", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parse, full_values_gzip, ".mtx.gz", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read, short_values, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read, full_values, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(write, short_values, ".mtx", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(write, full_values, ".mtx", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(write, full_values_gzip, ".mtx.gz", true)->Unit(benchmark::kMillisecond);

#define LINTRIX_ASSEMBLY(name, shuffled, how)                                                                \
    BENCHMARK_CAPTURE(assemble, name, shuffled, how)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)
LINTRIX_ASSEMBLY(rows_lintrix, false, assembled);
LINTRIX_ASSEMBLY(rows_eigen, false, assembledByEigen);
LINTRIX_ASSEMBLY(random_lintrix, true, assembled);
LINTRIX_ASSEMBLY(random_eigen, true, assembledByEigen);

} // namespace
