#include <lintrix/services/version.h>

namespace Velmar::Lintrix {

const char* LibraryVersion() noexcept
{
    return LINTRIX_VERSION;
}

} // namespace Velmar::Lintrix
