#pragma once
/// @file
/// What factorization will cost, told from the structure alone.

#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Floating-point operations of the factorization, additions and multiplications counted apart, per supernode
/// from its width and height. A column with r entries below its diagonal costs r divisions and r^2 operations
/// in symmetric storage, 2*r^2 in unsymmetric. A complex multiply-add counts four times a real one.
LINTRIX_TESTABLE double operationCount(const FactorStructure& structure, bool unsymmetric, bool complex);

/// A sum of blocks, each rounded up to a kilobyte.
class KilobyteSum {
public:
    KilobyteSum& add(std::int64_t count, std::int64_t elementSize) noexcept
    {
        kilobytes_ += (count * elementSize + 1023) / 1024;
        return *this;
    }
    std::int64_t kilobytes() const noexcept { return kilobytes_; }

private:
    std::int64_t kilobytes_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
