[[gnu::target("avx2")]] double twice(double x)
{
    return x + x;
}
