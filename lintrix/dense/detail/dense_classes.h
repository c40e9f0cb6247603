#pragma once
/// @file
/// The dense classes that hold cells of one type, so that what real and complex ones share is written once.

#include <lintrix/foundation/function_objects.h>

namespace Velmar::Lintrix {

class Matrix;
class Vector;
class CMatrix;
class CVector;

namespace detail {

template <class Cell>
struct DenseClasses;
template <>
struct DenseClasses<double> {
    using MatrixOf = Matrix;
    using VectorOf = Vector;
};
template <>
struct DenseClasses<Complex> {
    using MatrixOf = CMatrix;
    using VectorOf = CVector;
};

template <class Cell>
using MatrixOf = typename DenseClasses<Cell>::MatrixOf;
template <class Cell>
using VectorOf = typename DenseClasses<Cell>::VectorOf;

} // namespace detail
} // namespace Velmar::Lintrix
