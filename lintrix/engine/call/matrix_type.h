#pragma once
/// @file
/// What a matrix type means. Even types hold the upper triangle, diagonal included; odd ones all entries.

namespace Velmar::Lintrix::detail::engine {

/// What decides the method; real and complex types fall together.
enum class MatrixClass {
    StructurallySymmetric, ///< 1, 3: LU without row exchanges across supernodes
    Definite,              ///< 2, 4: Cholesky
    Indefinite,            ///< -2, -4, 6: LDL^T or LDL^H
    Unsymmetric,           ///< 11, 13: LU with matching
    Unknown,               ///< no branch of the engine knows it
};

constexpr MatrixClass classOf(int mtype) noexcept
{
    switch (mtype) {
    case 1:
    case 3:
        return MatrixClass::StructurallySymmetric;
    case 2:
    case 4:
        return MatrixClass::Definite;
    case -2:
    case -4:
    case 6:
        return MatrixClass::Indefinite;
    case 11:
    case 13:
        return MatrixClass::Unsymmetric;
    default:
        return MatrixClass::Unknown;
    }
}

/// Whether the input check lets it pass: |mtype| in 1..6 or 11, or 13. That is wider than what the engine
/// knows: -1, -3, -5, -6, -11 and 5 pass and end the process afterwards. Which types get a number
/// and which end the process is part of the entry's description, so it stays as wide.
constexpr bool isAdmitted(int mtype) noexcept
{
    return (mtype >= -6 && mtype <= 6 && mtype != 0) || mtype == 11 || mtype == -11 || mtype == 13;
}

constexpr bool isComplex(int mtype) noexcept
{
    return (mtype >= 3 && mtype <= 6) || (mtype >= -6 && mtype <= -3) || mtype == 13;
}

constexpr bool isHermitian(int mtype) noexcept
{
    return mtype == 4 || mtype == -4;
}

constexpr bool isSymmetricStorage(int mtype) noexcept
{
    return mtype % 2 == 0;
}

} // namespace Velmar::Lintrix::detail::engine
