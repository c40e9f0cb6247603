#include <lintrix/engine/numeric.h>

namespace Velmar::Lintrix::detail::engine {

Failure factorize(const Arguments&, Handle, Timers&)
{
    return {Error::Unclassified, 0};
}

Failure solve(const Arguments&, Handle, Timers&)
{
    return {Error::Unclassified, 0};
}

} // namespace Velmar::Lintrix::detail::engine
