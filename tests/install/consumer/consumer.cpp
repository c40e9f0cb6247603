// What a user's program does first: solves a system, and tells which BLAS it did that on.
#include <lintrix/lintrix.h>

#include <iostream>

using namespace Velmar::Lintrix;

int main()
{
    const Matrix A{{4, 1, 0}, {1, 4, 1}, {0, 1, 4}};
    const Matrix x = A.Solve(Matrix{{6}, {12}, {14}});
    std::cout << "x = " << x(0, 0) << ' ' << x(1, 0) << ' ' << x(2, 0) << '\n';

    const BlasIdentity blas = DescribeBlas();
    std::cout << "BLAS = " << blas.file << " (" << blas.threading << ")\n";

    try {
        A.Solve(Matrix(2, 1));
    } catch (
        const SizeMismatchException& failure) { // the type is known on both sides of the library's border
        std::cout << failure.what() << '\n';
        return 0;
    }
    return 1;
}
