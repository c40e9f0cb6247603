#include <lintrix/systems/matrix_faults.h>

#include <utility>

namespace Velmar::Lintrix {

MatrixFaults::MatrixFaults(std::function<std::string(std::int32_t firstIndex)> inWords)
    : inWords_(std::move(inWords))
{
}

std::string MatrixFaults::InWords(std::int32_t firstIndex) const
{
    return inWords_ ? inWords_(firstIndex) : std::string();
}

} // namespace Velmar::Lintrix
