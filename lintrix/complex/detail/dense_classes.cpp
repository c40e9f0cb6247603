// What CMatrix and CVector share with their real twins, for complex cells.

#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/trell_complex.h>
#include <lintrix/dense/detail/dense_matrix_arithmetic_impl.h>
#include <lintrix/dense/detail/dense_matrix_editing_impl.h>
#include <lintrix/dense/detail/dense_matrix_impl.h>
#include <lintrix/dense/detail/dense_matrix_reductions_impl.h>
#include <lintrix/dense/detail/dense_matrix_text_impl.h>
#include <lintrix/dense/detail/dense_vector_arithmetic_impl.h>
#include <lintrix/dense/detail/dense_vector_impl.h>
#include <lintrix/dense/detail/dense_vector_text_impl.h>

namespace Velmar::Lintrix::detail {

template class DenseMatrix<Complex>;
template class DenseVector<Complex>;
template struct AccessTo<Complex>;

} // namespace Velmar::Lintrix::detail
