// Runs a fuzzer on the files of the given folders, each once. No file at all is a failure.

#include "fuzz/fuzzing.h"

#include <filesystem>
#include <fstream>
#include <iterator>

int main(int count, char** folders)
{
    int files = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(folders[i])) {
            std::ifstream in(entry.path(), std::ios::binary);
            const std::string input{std::istreambuf_iterator<char>(in), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
            ++files;
        }
    }
    std::cout << files << " files replayed\n";
    return files > 0 ? 0 : 1;
}
