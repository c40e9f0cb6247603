// What Matrix and Vector share with their complex twins, for real cells.

#include <lintrix/dense/detail/dense_matrix_arithmetic_impl.h>
#include <lintrix/dense/detail/dense_matrix_editing_impl.h>
#include <lintrix/dense/detail/dense_matrix_impl.h>
#include <lintrix/dense/detail/dense_matrix_reductions_impl.h>
#include <lintrix/dense/detail/dense_matrix_text_impl.h>
#include <lintrix/dense/detail/dense_vector_arithmetic_impl.h>
#include <lintrix/dense/detail/dense_vector_impl.h>
#include <lintrix/dense/detail/dense_vector_text_impl.h>

namespace Velmar::Lintrix::detail {

void raiseReleased()
{
    throw InvalidOperationException("The object was used after its release.");
}
void raiseRowIndex()
{
    throw IndexOutOfBoundsException("Row index exceeds matrix size.");
}
void raiseColumnIndex()
{
    throw IndexOutOfBoundsException("Column index exceeds matrix size.");
}
void raiseVectorIndex()
{
    throw IndexOutOfBoundsException("Index exceeds vector size.");
}

template class DenseMatrix<double>;
template class DenseVector<double>;
template struct AccessTo<double>;

} // namespace Velmar::Lintrix::detail
