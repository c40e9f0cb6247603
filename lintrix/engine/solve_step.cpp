#include <lintrix/engine/solve_step.h>

namespace Velmar::Lintrix::detail::engine {

Failure solve(const Arguments&, Handle, Timers&)
{
    return {Error::Unclassified, 0};
}

} // namespace Velmar::Lintrix::detail::engine
