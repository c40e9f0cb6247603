// What a program does with runs that take long: a deadline, a request to stop from elsewhere, the percentage
// on the way, and a factor that is kept for tomorrow.

#include <lintrix/lintrix.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stop_token>
#include <string>

#include <unistd.h>

using namespace Velmar::Lintrix;

namespace {

constexpr int side = 60, n = side * side;

SparseMatrix plate()
{
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric});
    for (int k = 0; k < n; ++k) {
        entries.Add(k, k, 4.0);
        if (k % side + 1 < side) entries.Add(k, k + 1, -1.0);
        if (k / side + 1 < side) entries.Add(k, k + side, -1.0);
    }
    return entries.Assemble();
}

} // namespace

int main()
{
    const Vector b(n, 1.0);

    // [progress]
    SystemOptions options;
    double reached = 0.0;
    options.progress = [&reached](double done, double all) { reached = 100.0 * done / all; };
    LinearSystem system(plate(), options);
    // [/progress]

    // [deadline]
    system.Limits({.deadline = std::chrono::steady_clock::now()}); // no time at all
    try {
        system.Solve(b);
    } catch (const OperationFailedException& failure) {
        std::printf("%s\n", failure.what());
    }
    // [/deadline]

    // [stop]
    std::stop_source source; // request_stop() may be called from any thread
    source.request_stop();
    system.Limits({.stop = source.get_token()});
    try {
        system.Solve(b);
    } catch (const OperationFailedException& failure) {
        std::printf("%s\n", failure.what());
    }
    // [/stop]

    // [again]
    system.Limits({}); // none: the same system goes on
    const auto answer = system.Solve(b);
    std::printf("%s, %.0f %% done\n", std::string(NameOf(answer.verdict)).c_str(), reached);
    // [/again]

    // [keep]
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("lintrix-night-" + std::to_string(::getpid()) + ".lts");
    system.Save(path);

    auto morning = LinearSystem<double>::Load(path);
    const auto same = morning.Solve(b);
    std::printf("factorizations of the loaded system: %d, the same bits: %s\n", morning.Factorizations(),
                *same.x == *answer.x ? "yes" : "no");
    // [/keep]
    std::filesystem::remove(path);
}
