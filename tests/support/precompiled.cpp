// Carries the precompiled header of the tests; the program itself does nothing.
int main()
{
    return 0;
}
