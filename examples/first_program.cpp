#include <iostream>
#include <lintrix/lintrix.h>
using namespace Velmar::Lintrix;
int main()
{
    const Matrix A{{4, -1, 0}, {-1, 4, -1}, {0, -1, 4}};
    const Matrix b{{2}, {4}, {10}};
    const Matrix x = A.Solve(b);
    const Matrix r = b - A * x;
    for (int i = 0; i < 3; ++i) std::cout << "x = " << x(i, 0) << ", residual " << r(i, 0) << '\n';
}
