// Matrix as text and as bytes, 1000 x 1000: cells and megabytes per second. The byte form is timed beside a
// plain copy of as many bytes into memory that stands ready.

#include "bench/paired.h"

#include <lintrix/lintrix.h>

#include <cstring>
#include <istream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

constexpr int kSize = 1000;
constexpr double kCells = double{kSize} * kSize;

Matrix sample()
{
    Matrix A(kSize, kSize);
    A.FillRandom(-10.0, 10.0, 15);
    return A;
}

void report(benchmark::State& state, double bytes)
{
    const auto perSecond = benchmark::Counter::kIsIterationInvariantRate;
    state.counters["cells"] = benchmark::Counter(kCells, perSecond);
    state.counters["MBps"] = benchmark::Counter(bytes * 1e-6, perSecond);
}

void to_string(benchmark::State& state, const char* format)
{
    const Matrix A = sample();
    const std::string text = A.ToString(std::locale::classic(), format);
    const std::string last = FormatNumber(A(kSize - 1, kSize - 1), format, std::locale::classic());
    if (!text.ends_with(last + " |\n")) state.SkipWithError("wrong result");
    for (auto _ : state) benchmark::DoNotOptimize(A.ToString(std::locale::classic(), format).data());
    report(state, static_cast<double>(text.size()));
}

template <class Work>
void against_copy(benchmark::State& state, const Matrix& A, Work work)
{
    const std::vector<std::byte> source = A.Data();
    std::vector<std::byte> target(source.size());
    const auto copy = [&] {
        std::memcpy(target.data(), source.data(), source.size());
        benchmark::ClobberMemory();
    };
    runPaired(state, 1, copy, work);
    state.counters["own_MBps"] = static_cast<double>(source.size()) / state.counters["own_us"];
}

void data_read(benchmark::State& state)
{
    const Matrix A = sample();
    against_copy(state, A, [&] { benchmark::DoNotOptimize(A.Data().data()); });
}

void data_write(benchmark::State& state)
{
    const Matrix A = sample();
    const std::vector<std::byte> bytes = A.Data();
    Matrix B(kSize, kSize);
    against_copy(state, A, [&] {
        B.Data(bytes);
        benchmark::ClobberMemory();
    });
    if (!(A == B)) state.SkipWithError("wrong result");
}

template <class Write, class Read>
void archive(benchmark::State& state, Write write, Read read)
{
    const Matrix A = sample();
    std::ostringstream out;
    write(out, ToArchive(A));
    const std::string stored = out.str();
    for (auto _ : state) {
        std::istringstream in(stored);
        const Matrix B = FromArchive<Matrix>(read(in));
        if (!(A == B)) state.SkipWithError("wrong result");
    }
    report(state, static_cast<double>(stored.size()));
}

void archive_binary_read(benchmark::State& state)
{
    archive(state, WriteArchive, [](std::istream& in) { return ReadArchive(in); });
}

void archive_json_read(benchmark::State& state)
{
    archive(state, WriteArchiveJson, [](std::istream& in) { return ReadArchiveJson(in); });
}

BENCHMARK_CAPTURE(to_string, F3, "F3")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(to_string, N3, "N3")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(to_string, E6, "E6")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(to_string, G, "G")->Unit(benchmark::kMillisecond);
BENCHMARK(data_read)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(data_write)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(archive_binary_read)->Unit(benchmark::kMillisecond);
BENCHMARK(archive_json_read)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace Velmar::Lintrix::bench
