#pragma once
/// @file
/// Matrices of Eigen 3 and of this library in each other's terms, dense ones without a copy.
/// `lintrix/lintrix.h` does not include this header: who includes it has Eigen.
///
///     Matrix A(3, 3);
///     EigenMap(A).triangularView<Eigen::Lower>() = Eigen::Matrix3d::Ones();   // written to A
///     Eigen::MatrixXd E = EigenMap(A) * 2.0;
///     ViewOf(E).RowView(0).Fill(1.0);                                         // written to E
///     const Matrix B = FromEigen(E * E.transpose());
///
/// A map and a view show memory of the other side and are good as long as its block is; neither is made of a
/// temporary. Both sides keep dense matrices column after column, so nothing is moved. Row-major matrices of
/// Eigen and its expressions are copied by `FromEigen`.
///
/// The class `Eigen` of this library has the name of that namespace: inside ours, or under a using-directive,
/// say
/// `::Eigen::MatrixXd`.
///
/// Sparse matrices number from one here and from zero there: `EigenSparse` and `FromEigen` copy them, in one
/// pass.

#if __has_include(<Eigen/SparseCore>)
#include <Eigen/Core>
#include <Eigen/SparseCore>
#elif __has_include(<eigen3/Eigen/SparseCore>)
#include <eigen3/Eigen/Core>
#include <eigen3/Eigen/SparseCore>
#else
#error "lintrix/eigen.h needs Eigen 3 (Debian: libeigen3-dev)"
#endif

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/dense/views.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/entries.h>
#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <cstdint>
#include <limits>
#include <type_traits>

namespace Velmar::Lintrix {

namespace detail {

template <class Cell>
using EigenMatrixOf = ::Eigen::Matrix<Cell, ::Eigen::Dynamic, ::Eigen::Dynamic>;
template <class Cell>
using EigenVectorOf = ::Eigen::Matrix<Cell, ::Eigen::Dynamic, 1>;
using EigenStride = ::Eigen::Stride<::Eigen::Dynamic, ::Eigen::Dynamic>;

/// The map of cells that may be written, or of those that may not.
template <class Cell, class Plain>
using EigenMapOf = std::conditional_t<std::is_const_v<Cell>, const Plain, Plain>;

template <class Cell>
auto eigenMap(const MatrixView<Cell>& A)
{
    using Plain = EigenMapOf<Cell, EigenMatrixOf<std::remove_const_t<Cell>>>;
    return ::Eigen::Map<Plain, ::Eigen::Unaligned, ::Eigen::OuterStride<>>(
        A.data(), A.Rows(), A.Cols(), ::Eigen::OuterStride<>(A.LeadingDimension()));
}
template <class Cell>
auto eigenMap(const VectorView<Cell>& x)
{
    using Plain = EigenMapOf<Cell, EigenVectorOf<std::remove_const_t<Cell>>>;
    return ::Eigen::Map<Plain, ::Eigen::Unaligned, ::Eigen::InnerStride<>>(
        x.data(), x.Length(), ::Eigen::InnerStride<>(x.Stride()));
}

/// @throws InvalidSizeException  a size of Eigen's does not fit
inline std::int32_t sizeFromEigen(::Eigen::Index size)
{
    if (size > std::numeric_limits<std::int32_t>::max()) throw InvalidSizeException();
    return static_cast<std::int32_t>(size);
}

template <class Cell>
using AssemblerOf = std::conditional_t<std::is_same_v<Cell, double>, SparseAssembler, CSparseAssembler>;

/// `Cell` is const where A is.
template <class Cell, class Derived, class Owner>
auto viewOfEigen(Owner& A)
{
    if constexpr (Derived::IsVectorAtCompileTime) {
        return VectorView<Cell>(A.data(), sizeFromEigen(A.size()));
    } else {
        static_assert(!Derived::IsRowMajor, "a view is column-major: copy with FromEigen");
        return MatrixView<Cell>(A.data(), sizeFromEigen(A.rows()), sizeFromEigen(A.cols()), A.outerStride());
    }
}

} // namespace detail

/// @name From this library to Eigen, where the cells stand
/// An Eigen::Map with the matrix's or the view's sizes.
/// @{

template <class Cell>
auto EigenMap(const MatrixView<Cell>& A)
{
    return detail::eigenMap(A);
}
template <class Cell>
auto EigenMap(const VectorView<Cell>& x)
{
    return detail::eigenMap(x);
}
/// Of a `Matrix`, `CMatrix`, `Vector` or `CVector`.
template <class Dense>
requires requires(Dense& A)
{
    A.View();
}
auto EigenMap(Dense& A)
{
    return detail::eigenMap(A.View());
}
template <class Dense>
requires requires(Dense& A)
{
    A.View();
}
void EigenMap(const Dense&& A) = delete;
/// @}

/// @name From Eigen to this library, where the cells stand
/// @{

/// A matrix or vector of Eigen that owns its cells: a `MatrixView`, of a vector a `VectorView`.
template <class Derived>
auto ViewOf(::Eigen::PlainObjectBase<Derived>& A)
{
    return detail::viewOfEigen<typename Derived::Scalar, Derived>(A);
}
template <class Derived>
auto ViewOf(const ::Eigen::PlainObjectBase<Derived>& A)
{
    return detail::viewOfEigen<const typename Derived::Scalar, Derived>(A);
}
template <class Derived>
void ViewOf(const ::Eigen::PlainObjectBase<Derived>&& A) = delete;
/// @}

/// @name Copies
/// @{

/// Any dense expression of Eigen, evaluated into a matrix, or, where it has one column at compile time, into
/// a vector. @throws InvalidSizeException  it has no cells, or more than a matrix can hold
template <class Derived>
auto FromEigen(const ::Eigen::DenseBase<Derived>& A)
{
    using Cell = typename Derived::Scalar;
    if constexpr (Derived::ColsAtCompileTime == 1) {
        detail::VectorOf<Cell> x(detail::sizeFromEigen(A.rows()));
        EigenMap(x) = A.derived();
        return x;
    } else {
        detail::MatrixOf<Cell> B(detail::sizeFromEigen(A.rows()), detail::sizeFromEigen(A.cols()));
        EigenMap(B) = A.derived();
        return B;
    }
}

/// What a sparse matrix stores, in Eigen's compressed rows: of one marked symmetric or Hermitian the upper
/// triangle, for `selfadjointView<::Eigen::Upper>()`.
template <class Cell>
::Eigen::SparseMatrix<Cell, ::Eigen::RowMajor, std::int32_t>
EigenSparse(const detail::CompressedMatrix<Cell>& A)
{
    ::Eigen::SparseMatrix<Cell, ::Eigen::RowMajor, std::int32_t> copy(A.Rows(), A.Cols());
    copy.resizeNonZeros(A.NumElements());
    std::int32_t* const starts = copy.outerIndexPtr();
    const auto rows = A.RowPointers();
    for (std::size_t i = 0; i < rows.size(); ++i) starts[i] = rows[i] - 1;
    std::int32_t k = 0;
    for (const auto [row, col, value] : A) {
        copy.innerIndexPtr()[k] = col;
        copy.valuePtr()[k++] = value;
    }
    return copy;
}

/// A sparse matrix of Eigen, by rows or by columns, compressed or not: what it stores, zeros among it.
/// @throws InvalidSizeException  it has no rows or no columns
template <class Cell, int options, class Index>
auto FromEigen(const ::Eigen::SparseMatrix<Cell, options, Index>& A)
{
    using Source = ::Eigen::SparseMatrix<Cell, options, Index>;
    detail::AssemblerOf<Cell> entries(detail::sizeFromEigen(A.rows()), detail::sizeFromEigen(A.cols()));
    for (::Eigen::Index outer = 0; outer < A.outerSize(); ++outer) {
        for (typename Source::InnerIterator entry(A, outer); entry; ++entry) {
            entries.Add(static_cast<std::int32_t>(entry.row()), static_cast<std::int32_t>(entry.col()),
                        entry.value());
        }
    }
    return entries.Assemble();
}
/// @}

} // namespace Velmar::Lintrix
