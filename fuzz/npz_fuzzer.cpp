// Archives of NumPy and SciPy.

#include "fuzz/matrix_file_fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::checkFile(std::string(reinterpret_cast<const char*>(data), size), "a.npz");
    return 0;
}
