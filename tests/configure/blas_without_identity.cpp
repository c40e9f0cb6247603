// Stands in for a BLAS that is no OpenBLAS at all: it cannot be asked how it is threaded.
extern "C" void zunmqr_(const char*, const char*, const int*, const int*, const int*, void*, const int*,
                        const void*, void*, const int*, void*, const int*, int* info);

void zunmqr_(const char*, const char*, const int*, const int*, const int*, void*, const int*, const void*,
             void*, const int*, void*, const int*, int* info)
{
    *info = -2;
}
