#pragma once
/// @file
/// The dense classes that hold cells of one type, so that what a decomposition does with either is written
/// once.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

namespace Velmar::Lintrix::detail {

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

} // namespace Velmar::Lintrix::detail
