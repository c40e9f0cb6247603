#include <lintrix/engine/analysis_steps.h>

#include <lintrix/engine/settings.h>

namespace Velmar::Lintrix::detail::engine {

Failure matchAndScale(Analysis& run)
{
    if (matchingForm(run.call.mtype, run.call.iparm[Parameter::Matching]) == 0) return {};
    return {Error::Unclassified, 0}; // not yet available
}

} // namespace Velmar::Lintrix::detail::engine
