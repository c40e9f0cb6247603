// Poles of a transfer function. A motor turns a load through an elastic shaft, under a controller that keeps
// its speed: x' = A*x with the states below. The poles of C*inv(s*I - A)*B, whatever is put in and looked at,
// are the eigenvalues of A; the left and right eigenvectors tell how much each state takes part in each of
// them.

#include <lintrix/lintrix.h>

#include <cmath>
#include <cstdio>

using namespace Velmar::Lintrix;

namespace {

constexpr double motor = 0.02, load = 0.15;              // kg m^2
constexpr double spring = 900.0, friction = 0.3;         // of the shaft: N m, N m s
constexpr double proportional = 2.5, integrating = 12.0; // of the controller: N m s, N m

const char* const states[] = {"twist", "motor", "load", "control"};

// twist' = motor - load; each speed by the torques at its end; control' = -motor.
Matrix drive()
{
    return {{0, 1, -1, 0},
            {-spring / motor, -(friction + proportional) / motor, friction / motor, integrating / motor},
            {spring / load, friction / load, -friction / load, 0},
            {0, -1, 0, 0}};
}

// The state in which pole i is seen and moved most: the largest |u_k*v_k| of its eigenvectors.
const char* leadingState(const CVector& left, const CVector& right)
{
    int leading = 0;
    for (int k = 1; k < right.Length(); ++k) {
        if (std::abs(left(k) * right(k)) > std::abs(left(leading) * right(leading))) leading = k;
    }
    return states[leading];
}

} // namespace

int main()
{
    const Eigen eigen(drive(), true, true);
    std::printf("        pole          rad/s  damping  leading state\n");
    for (int i = 0; i < eigen.Size(); ++i) {
        const Complex pole = eigen.Eigenvalue(i);
        if (pole.imag() < 0.0) continue; // told with its conjugate
        const char* sign = pole.imag() > 0.0 ? "+-" : "  ";
        std::printf("%9.3f %s %7.3fi %8.3f %8.4f  %s\n", pole.real(), sign, pole.imag(), std::abs(pole),
                    -pole.real() / std::abs(pole),
                    leadingState(*eigen.LeftEigenvector(i), *eigen.Eigenvector(i)));
    }
}
