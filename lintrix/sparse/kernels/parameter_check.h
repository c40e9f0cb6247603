#pragma once
/// @file
/// The checks that the kernels share, and the report of a parameter that fails one.

#include <lintrix/services/export.h>

#include <initializer_list>

namespace Velmar::Lintrix::detail {

/// Prints "MKL ERROR: Parameter %d was incorrect on entry to %s" and a newline on standard output. `position`
/// counts from 1, `routine` is the name in capitals.
LINTRIX_TESTABLE void reportParameter(int position, const char* routine);

/// One check and the position it stands for.
struct ParameterCheck {
    bool holds;
    int position;
};

/// True if all checks hold; else reports the first that does not.
inline bool parametersHold(const char* routine, std::initializer_list<ParameterCheck> checks)
{
    for (const ParameterCheck& check : checks) {
        if (check.holds) continue;
        reportParameter(check.position, routine);
        return false;
    }
    return true;
}

/// "N", "T" or "C".
constexpr bool isTransposition(char trans) noexcept
{
    return trans == 'N' || trans == 'T' || trans == 'C';
}

/// Is the matrix descriptor a legal one? Letter 1 is one of G, S, H, T, D, A; all but G and D name a
/// triangle, L or U, in letter 2; all but G and A say in letter 3 whether the diagonal is unit, U, or not, N.
constexpr bool isDescriptor(const char* descriptor) noexcept
{
    const auto namesTriangle = [descriptor] { return descriptor[1] == 'L' || descriptor[1] == 'U'; };
    const auto namesDiagonal = [descriptor] { return descriptor[2] == 'N' || descriptor[2] == 'U'; };
    switch (descriptor[0]) {
    case 'G':
        return true;
    case 'D':
        return namesDiagonal();
    case 'A':
        return namesTriangle();
    case 'S':
    case 'H':
    case 'T':
        return namesTriangle() && namesDiagonal();
    default:
        return false;
    }
}

/// The two kinds that the products with dense operands serve.
constexpr bool isGeneral(const char* descriptor) noexcept
{
    return descriptor[0] == 'G' && descriptor[3] == 'F';
}

constexpr bool isSymmetric(const char* descriptor) noexcept
{
    return descriptor[0] == 'S' && descriptor[1] == 'U' && descriptor[2] == 'N' && descriptor[3] == 'F';
}

} // namespace Velmar::Lintrix::detail
