#pragma once
/// @file
/// Plain buffers beside the classes: what a raw routine works on, and the check that both computed the same.

#include <lintrix/dense/matrix.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmar::Lintrix::bench {

using Buffer = std::vector<double>;

inline Buffer cellsOf(const Matrix& A)
{
    const auto* cells = reinterpret_cast<const double*>(A.DataPtr());
    return Buffer(cells, cells + std::size_t(A.Rows()) * std::size_t(A.Cols()));
}

/// The two sides must have computed the same: same routine, same arguments, same bits up to thread
/// scheduling.
inline void requireClose(benchmark::State& state, const Matrix& own, const Buffer& raw)
{
    const auto* cells = reinterpret_cast<const double*>(own.DataPtr());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (!(std::abs(cells[i] - raw[i]) <= 1e-10 * (1.0 + std::abs(raw[i])))) {
            state.SkipWithError("the class and the raw routine disagree");
            return;
        }
    }
}

inline void copyTo(const Buffer& source, Buffer& target)
{
    std::copy(source.begin(), source.end(), target.begin());
}

} // namespace Velmar::Lintrix::bench
