// The tutorial on factors in files: what a factorization will take, a factor that stands in files, and a
// bound on memory that sends it there by itself.

#include <lintrix/lintrix.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

using namespace Velmar::Lintrix;

namespace {

constexpr int side = 14, n = side * side * side;

// The seven-point Laplacian of a cube.
SparseMatrix cube()
{
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric});
    for (int k = 0; k < n; ++k) {
        entries.Add(k, k, 6.0);
        if (k % side + 1 < side) entries.Add(k, k + 1, -1.0);
        if (k / side % side + 1 < side) entries.Add(k, k + side, -1.0);
        if (k / (side * side) + 1 < side) entries.Add(k, k + side * side, -1.0);
    }
    return entries.Assemble();
}

const char* storeOf(const SystemAnswer<double>& answer)
{
    return answer.store == FactorStore::Files ? "in files" : "in memory";
}

} // namespace

int main()
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("lintrix-tutorial-" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    // [place]
    setenv("MKL_PARDISO_OOC_PATH", (folder / "factor").c_str(), 1); // how the names of the files begin
    setenv("MKL_PARDISO_OOC_KEEP_FILE", "0", 1);                    // they go with the system
    setenv("MKL_PARDISO_OOC_MAX_CORE_SIZE", "64", 1);               // megabytes of memory beside them
    // [/place]

    const SparseMatrix A = cube();
    const Vector b(n, 1.0);

    // [forecast]
    LinearSystem system(A);
    const SystemForecast forecast = system.Forecast(); // analyses, and computes no number
    std::printf("memory for a factor in memory is told: %s, and for one in files: %s\n",
                forecast.bytesInMemory > 8.0 * n ? "yes" : "no",
                forecast.bytesWithFiles <= forecast.bytesInMemory ? "yes, no more" : "no");
    const auto inMemory = system.Solve(b);
    std::printf("%s, factor %s\n", std::string(NameOf(inMemory.verdict)).c_str(), storeOf(inMemory));
    // [/forecast]

    // [files]
    {
        LinearSystem large(A, {.outOfCore = true});
        const auto answer = large.Solve(b);
        std::printf("%s, factor %s\n", std::string(NameOf(answer.verdict)).c_str(), storeOf(answer));
        std::printf("files while it lives: %s\n", std::filesystem::is_empty(folder) ? "no" : "yes");
    }
    std::printf("files afterwards: %s\n", std::filesystem::is_empty(folder) ? "no" : "yes");
    // [/files]

    // [budget]
    try {
        LinearSystem bounded(A, {.memoryBudget = 1e4}); // ten kilobytes: not even the matrix has room
        bounded.Solve(b);
    } catch (const OperationFailedException&) {
        std::printf("refused before it began\n");
    }
    // [/budget]
    std::filesystem::remove_all(folder);
}
