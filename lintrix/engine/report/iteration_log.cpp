#include <lintrix/engine/report/iteration_log.h>

namespace Velmar::Lintrix::detail::engine {

IterationLog& iterationLog() noexcept
{
    static constinit IterationLog log = [](std::string_view, std::span<const double>) {};
    return log;
}

} // namespace Velmar::Lintrix::detail::engine
