// Passes when the library is OpenBLAS threaded by OpenMP. openblas_get_parallel(): 0 sequential, 1 pthread, 2
// OpenMP.
#include <cstdio>

extern "C" int openblas_get_parallel();

int main()
{
    if (openblas_get_parallel() != 2) return 1;
    std::puts("check passed");
    return 0;
}
