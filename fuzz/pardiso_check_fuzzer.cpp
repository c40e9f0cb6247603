// The checks of the sparse direct solver's entry, and its analysis of what they let through.

#include "fuzz/pardiso_check.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::checkPardisoOnce({data, size});
    return 0;
}
