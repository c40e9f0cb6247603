#pragma once
// The dense classes of real and of complex cells, for tests that are typed by both.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

namespace Velmar::Lintrix::testing {

struct Real {
    using M = Matrix;
    using V = Vector;
    using Cell = double;
    static Cell cell(double x) { return x; }
};
struct ComplexCells {
    using M = CMatrix;
    using V = CVector;
    using Cell = Complex;
    static Cell cell(double x) { return {x, -2.0 * x}; }
};

} // namespace Velmar::Lintrix::testing
