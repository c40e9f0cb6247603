// Stands in for OpenBLAS built on pthreads: a bad argument comes back to the caller, the threading is the
// wrong one.
extern "C" {
int openblas_get_parallel();
void zunmqr_(const char*, const char*, const int*, const int*, const int*, void*, const int*, const void*,
             void*, const int*, void*, const int*, int* info);
}

int openblas_get_parallel()
{
    return 1;
}

void zunmqr_(const char*, const char*, const int*, const int*, const int*, void*, const int*, const void*,
             void*, const int*, void*, const int*, int* info)
{
    *info = -2;
}
