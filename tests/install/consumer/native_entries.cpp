// A user's program that works on its own compressed rows: each native entry once, through the umbrella header
// alone, on numbers that are exact; and the version macros against the library in use.
#include <lintrix/lintrix.h>

#include <algorithm>
#include <complex>
#include <cstring>
#include <iostream>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

bool allHold = true;

void expect(bool holds, const char* what)
{
    if (!holds) std::cout << "wrong: " << what << '\n';
    allHold = allHold && holds;
}

//     [ 1 2 ]
// A = [ . 3 ]
const double a[] = {1, 2, 3};
const int ja[] = {1, 2, 2}, ia[] = {1, 3, 4};
constexpr int kUnwritten = 99;

void products()
{
    const double x[] = {1, 10}, B[] = {1, 10, 2, 20};
    double y[] = {5, 6}, C[4];
    mkl_dcsrmv("N", 2, 2, 2.0, "GUNF", a, ja, ia, ia + 1, x, 1.0, y);
    expect(y[0] == 47 && y[1] == 66, "mkl_dcsrmv");
    mkl_dcsrmv("N", 2, 2, 1.0, "SUNF", a, ja, ia, ia + 1, x, 0.0, y);
    expect(y[0] == 21 && y[1] == 32, "mkl_dcsrmv, symmetric");
    mkl_dcsrmm("T", 2, 2, 2, 1.0, "GUNF", a, ja, ia, ia + 1, B, 2, 0.0, C, 2);
    expect(C[0] == 1 && C[1] == 32 && C[2] == 2 && C[3] == 64, "mkl_dcsrmm");
}

void sparseResults()
{
    int ic[3], info = kUnwritten;
    mkl_dcsradd("T", 1, 0, 2, 2, a, ja, ia, 1.0, a, ja, ia, nullptr, nullptr, ic, 0, info);
    expect(info == 0 && ic[2] == 5, "mkl_dcsradd, pointers");
    std::vector<double> c(4);
    std::vector<int> jc(4);
    mkl_dcsradd("T", 2, 0, 2, 2, a, ja, ia, 1.0, a, ja, ia, c.data(), jc.data(), ic, 0, info);
    expect(info == 0 && c == std::vector<double>{2, 2, 2, 6} && jc == std::vector<int>{1, 2, 1, 2},
           "mkl_dcsradd");

    mkl_dcsrmultcsr("N", 1, 0, 2, 2, 2, a, ja, ia, a, ja, ia, nullptr, nullptr, ic, 0, info);
    expect(info == 0 && ic[2] == 4, "mkl_dcsrmultcsr, pointers");
    mkl_dcsrmultcsr("N", 2, 0, 2, 2, 2, a, ja, ia, a, ja, ia, c.data(), jc.data(), ic, 0, info);
    expect(info == 0 && c[0] == 1 && c[1] == 8 && c[2] == 9, "mkl_dcsrmultcsr");
    mkl_dcsrmultcsr("N", 0, 0, 2, 2, 2, a, ja, ia, a, ja, ia, c.data(), jc.data(), ic, 3, info);
    expect(info == KernelNotServed, "mkl_dcsrmultcsr in one pass");
}

using Cell = std::complex<double>;

//     [ 1 2i ]
// Z = [ .  3 ]
const Cell z[] = {1.0, {0, 2}, 3.0};

void complexProducts()
{
    const Cell x[] = {1.0, 10.0}, identity[] = {1.0, 0.0, 0.0, 1.0};
    Cell y[2], C[4];
    mkl_zcsrmv("C", 2, 2, 1.0, "GUNF", z, ja, ia, ia + 1, x, 0.0, y);
    expect(y[0] == 1.0 && y[1] == Cell(30, -2), "mkl_zcsrmv");
    mkl_zcsrmm("N", 2, 2, 2, {0, 1}, "GUNF", z, ja, ia, ia + 1, identity, 2, 0.0, C, 2);
    expect(C[0] == Cell(0, 1) && C[1] == 0.0 && C[2] == -2.0 && C[3] == Cell(0, 3), "mkl_zcsrmm");
}

void complexSparseResults()
{
    int ic[3], jc[4], info = kUnwritten;
    Cell c[4];
    for (const int request : {1, 2})
        mkl_zcsradd("C", request, 0, 2, 2, z, ja, ia, 1.0, z, ja, ia, c, jc, ic, 0, info);
    const Cell sum[] = {2.0, {0, 2}, {0, -2}, 6.0};
    expect(info == 0 && ic[2] == 5 && std::ranges::equal(c, sum), "mkl_zcsradd");

    for (const int request : {1, 2})
        mkl_zcsrmultcsr("C", request, 0, 2, 2, 2, z, ja, ia, z, ja, ia, c, jc, ic, 0, info);
    const Cell product[] = {1.0, {0, 2}, {0, -2}, 13.0};
    expect(info == 0 && ic[2] == 5 && std::ranges::equal(c, product), "mkl_zcsrmultcsr");
}

void conversion()
{
    const double dense[] = {0, 4, -0.0, 5};
    const int job[] = {0, 0, 1, 2, 4, 1};
    double values[2];
    int columns[2], pointers[3], info = kUnwritten;
    mkl_ddnscsr(job, 2, 2, dense, 2, values, columns, pointers, info);
    expect(values[0] == 4 && values[1] == 5 && columns[0] == 2 && columns[1] == 2 && pointers[1] == 2 &&
               pointers[2] == 3 && info == kUnwritten,
           "mkl_ddnscsr");
}

} // namespace

int main()
{
    products();
    sparseResults();
    complexProducts();
    complexSparseResults();
    conversion();
    expect(std::strcmp(LINTRIX_VERSION_STRING, LibraryVersion()) == 0, "LINTRIX_VERSION_STRING");
    const std::string dotted = std::to_string(LINTRIX_VERSION_MAJOR) + '.' +
                               std::to_string(LINTRIX_VERSION_MINOR) + '.' +
                               std::to_string(LINTRIX_VERSION_PATCH);
    expect(dotted == LINTRIX_VERSION_STRING, "version numbers");
    expect(LINTRIX_VERSION ==
                   LINTRIX_VERSION / 10000 * 10000 + LINTRIX_VERSION_MINOR * 100 + LINTRIX_VERSION_PATCH &&
               LINTRIX_VERSION / 10000 == LINTRIX_VERSION_MAJOR,
           "LINTRIX_VERSION");
    std::cout << "version = " << LINTRIX_VERSION_STRING << '\n';
    return allHold ? 0 : 1;
}
