#include <lintrix/solvers/do_lan.h>

#include <lintrix/solvers/lanczos.h>

namespace Velmar::Lintrix {

void DoLan(std::int32_t m, std::int32_t n, std::int32_t k, double eps, const double* a,
           const std::int32_t* ia, const std::int32_t* ja, bool sym, double* U, double* V, double* S)
{
    detail::LanczosRun({m, n, a, ia, ja, sym}, {k, U, V, S}, eps).run({});
}

} // namespace Velmar::Lintrix
