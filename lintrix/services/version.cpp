#include <lintrix/services/version.h>

#include <lintrix/version.h>

namespace Velmar::Lintrix {

const char* LibraryVersion() noexcept
{
    return LINTRIX_VERSION_STRING;
}

} // namespace Velmar::Lintrix
