#pragma once
/// @file
/// What factorization will cost, told from the structure alone.

#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Floating-point operations of the factorization, additions and multiplications counted apart, per supernode
/// from its width and height. A column with r entries below its diagonal costs r divisions and r^2 operations
/// in symmetric storage, 2*r^2 in unsymmetric. A complex multiply-add counts four times a real one.
LINTRIX_TESTABLE double operationCount(const FactorStructure& structure, bool unsymmetric, bool complex);

} // namespace Velmar::Lintrix::detail::engine
