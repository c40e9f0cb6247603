#include <lintrix/systems/structure/non_finite.h>

#include <lintrix/systems/cells.h>

#include <fmt/format.h>

#include <complex>

namespace Velmar::Lintrix::detail {

template <class Cell>
NonFinite nonFiniteElements(const AnyMatrix<Cell>& A)
{
    NonFinite found;
    for (std::int32_t line = 0; line < A.lines(); ++line) {
        A.forElements(line, 0, A.rows(), [&](std::int32_t place, const Cell& value) {
            if (isFinite(value) || (A.isOneTriangle() && place < line)) return;
            if (found.count++ > 0) return;
            found.row = A.isDense() ? place : line;
            found.col = A.isDense() ? line : place;
        });
    }
    return found;
}

std::string explain(const NonFinite& elements, std::int32_t firstIndex)
{
    const std::int64_t others = elements.count - 1;
    return fmt::format("The element in row {}, column {} is not a finite number{}.",
                       elements.row + firstIndex, elements.col + firstIndex,
                       others == 0   ? ""
                       : others == 1 ? ", and another one is none"
                                     : fmt::format(", and {} others are none", others));
}

template NonFinite nonFiniteElements(const AnyMatrix<double>&);
template NonFinite nonFiniteElements(const AnyMatrix<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail
