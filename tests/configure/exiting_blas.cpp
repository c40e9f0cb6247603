// Stands in for a LAPACK that ends the process on a bad argument, with an exit code that looks like success.
#include <cstdlib>

extern "C" {
int openblas_get_parallel();
void zunmqr_(const char*, const char*, const int*, const int*, const int*, void*, const int*, const void*,
             void*, const int*, void*, const int*, int*);
}

int openblas_get_parallel()
{
    return 2;
}

void zunmqr_(const char*, const char*, const int*, const int*, const int*, void*, const int*, const void*,
             void*, const int*, void*, const int*, int*)
{
    std::exit(0);
}
