void clear(int n, double* x)
{
#pragma omp parallel for
    for (int i = 0; i < n; ++i) x[i] = 0.0;
}
