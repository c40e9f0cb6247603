#include <lintrix/systems/verdict.h>

namespace Velmar::Lintrix {

std::string_view NameOf(Verdict verdict) noexcept
{
    switch (verdict) {
    case Verdict::Accurate:
        return "accurate";
    case Verdict::Degraded:
        return "degraded";
    case Verdict::Failed:
        break;
    }
    return "failed";
}

} // namespace Velmar::Lintrix
