#include <tools/input/engine_matrix.h>

#include <array>

namespace Velmar::Lintrix::tools {

template <class Cell>
int typeOf(Assumption assumption, const Traits& traits)
{
    using Types = std::array<int, 4>;
    constexpr Types kReal{2, -2, 1, 11}, kHermitian{4, -4, 3, 13}, kComplexSymmetric{4, 6, 3, 13};
    const Types& types = !kIsComplex<Cell> ? kReal : traits.hermitian ? kHermitian : kComplexSymmetric;
    return types[static_cast<std::size_t>(assumption)];
}

Assumption assumptionOf(const Traits& traits)
{
    if (traits.mirrored())
        return traits.positiveLooking ? Assumption::PositiveDefinite : Assumption::Symmetric;
    return traits.symmetricPattern && traits.fullDiagonal ? Assumption::SymmetricPattern
                                                          : Assumption::Nothing;
}

std::string_view typeInWords(int mtype)
{
    switch (mtype) {
    case 1:
        return "real with a symmetric pattern";
    case 2:
        return "real symmetric, may be positive definite";
    case -2:
        return "real symmetric indefinite";
    case 3:
        return "complex with a symmetric pattern";
    case 4:
        return "hermitian, may be positive definite";
    case -4:
        return "hermitian indefinite";
    case 6:
        return "complex symmetric";
    case 13:
        return "complex unsymmetric";
    default:
        return "real unsymmetric";
    }
}

template <class Cell>
EngineMatrix engineMatrixOf(SparseSystem<Cell>& system, Assumption assumption)
{
    EngineMatrix matrix{.mtype = typeOf<Cell>(assumption, system.traits()), .n = system.size()};
    SparseRows<Cell>& rows = matrix.isTriangle() ? system.upper() : system.full();
    matrix.a = rows.Values().data();
    matrix.ia = const_cast<std::int32_t*>(rows.RowPointers().data()); // of a matrix that is not const
    matrix.ja = const_cast<std::int32_t*>(rows.ColumnIndices().data());
    return matrix;
}

template int typeOf<double>(Assumption, const Traits&);
template int typeOf<ComplexNumber>(Assumption, const Traits&);
template EngineMatrix engineMatrixOf(SparseSystem<double>&, Assumption);
template EngineMatrix engineMatrixOf(SparseSystem<ComplexNumber>&, Assumption);

} // namespace Velmar::Lintrix::tools
