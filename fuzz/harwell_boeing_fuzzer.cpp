// Cards of numbers in fixed columns.

#include "fuzz/matrix_file_fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::checkFile(std::string(reinterpret_cast<const char*>(data), size), "a.rua");
    return 0;
}
