bool wide()
{
    return __builtin_cpu_supports("avx2") != 0;
}
