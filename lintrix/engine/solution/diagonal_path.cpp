#include <lintrix/engine/solution/diagonal_path.h>

#include <algorithm>
#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class Cell>
Failure inspect(const Arguments& call, const Cell* a)
{
    int& positive = call.iparm[Parameter::PositivePivots] = 0;
    int& others = call.iparm[Parameter::NegativePivots] = 0;
    for (int i = 0; i < call.n; ++i) {
        if (std::int64_t{call.ia[i + 1]} - call.ia[i] != 1) return {Error::Diagonal, i + 1};
        if (a[i] == Cell(0)) return {Error::Diagonal, -(i + 1)};
        ++(std::real(a[i]) > 0 ? positive : others);
    }
    return {};
}

template <class Cell>
void divide(const Arguments& call, const Cell* a, Cell* b, Cell* x)
{
    for (int j = 0; j < call.nrhs; ++j) {
        const std::int64_t column = std::int64_t{j} * call.n;
        for (int i = 0; i < call.n; ++i) x[column + i] = b[column + i] / a[i];
    }
    if (call.iparm[Parameter::SolutionPlace] == 1 && call.nrhs > 0)
        std::copy_n(x, std::int64_t{call.nrhs} * call.n, b);
}

template <class Cell>
Failure run(const Arguments& call)
{
    const Cell* const a = static_cast<const Cell*>(call.a);
    if (const Failure failure = inspect(call, a)) return failure;
    const bool endsInSolve = call.phase.code() % 10 == 3;
    if (endsInSolve) divide(call, a, static_cast<Cell*>(call.b), static_cast<Cell*>(call.x));
    return {};
}

} // namespace

Failure solveDiagonal(const Arguments& call, bool singlePrecision)
{
    if (isComplex(call.mtype))
        return singlePrecision ? run<std::complex<float>>(call) : run<std::complex<double>>(call);
    return singlePrecision ? run<float>(call) : run<double>(call);
}

} // namespace Velmar::Lintrix::detail::engine
