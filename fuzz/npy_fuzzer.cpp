// One array of NumPy's.

#include "fuzz/matrix_file_fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::checkFile(std::string(reinterpret_cast<const char*>(data), size), "a.npy");
    return 0;
}
