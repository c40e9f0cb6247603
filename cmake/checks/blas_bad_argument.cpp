// Passes when an illegal argument (TRANS = 'T' is not one of the complex routine's letters) comes back as
// INFO = -2. A library that ends the process never reaches the last line, whatever exit code it leaves with.
#include <complex>
#include <cstdio>

extern "C" void zunmqr_(const char* side, const char* trans, const int* m, const int* n, const int* k,
                        std::complex<double>* a, const int* lda, const std::complex<double>* tau,
                        std::complex<double>* c, const int* ldc, std::complex<double>* work, const int* lwork,
                        int* info);

int main()
{
    const int m = 4, n = 2, k = 2, lda = 4, ldc = 4, lwork = 64;
    std::complex<double> a[16] = {1.0, 2.0, 3.0, 4.0}, tau[2] = {1.0, 1.0}, c[16] = {}, work[64] = {};
    int info = 0;
    zunmqr_("L", "T", &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info);
    if (info != -2) return 1;
    std::puts("check passed");
    return 0;
}
