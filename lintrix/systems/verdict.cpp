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

std::string_view NameOf(Solutions solutions) noexcept
{
    switch (solutions) {
    case Solutions::Many:
        return "many";
    case Solutions::None:
        return "none";
    case Solutions::Unknown:
        break;
    }
    return "unknown";
}

} // namespace Velmar::Lintrix
