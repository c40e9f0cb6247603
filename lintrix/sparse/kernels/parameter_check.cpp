#include <lintrix/sparse/kernels/parameter_check.h>

#include <cstdio>

namespace Velmar::Lintrix::detail {

void reportParameter(int position, const char* routine)
{
    std::printf("MKL ERROR: Parameter %d was incorrect on entry to %s\n", position, routine);
}

} // namespace Velmar::Lintrix::detail
