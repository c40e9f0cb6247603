#pragma once
/// @file
/// Life, access, reductions and tests of `DenseVector`. For the two files that instantiate the class.

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/dense_vector.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/random_fill.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

// ---- construction

template <class Cell>
DenseVector<Cell>::DenseVector() : mCells(3), a(Block<Cell>::zeroed(3))
{
}

template <class Cell>
DenseVector<Cell>::DenseVector(std::int32_t size)
    : mCells((requireSize(size), size)), a(Block<Cell>::zeroed(size))
{
}

template <class Cell>
DenseVector<Cell>::DenseVector(std::int32_t size, Cell value) : mCells((requireSize(size), size)), a(size)
{
    std::fill_n(a.get(), size, value);
}

template <class Cell>
DenseVector<Cell>::DenseVector(std::span<const Cell> array) : mCells(arrayLength(array.size())), a(mCells)
{
    std::copy(array.begin(), array.end(), a.get());
}

template <class Cell>
DenseVector<Cell>::DenseVector(const DenseVector& vector)
    : mCells(vector.mCells), a(Block<Cell>::copyOf(vector.cells(), mCells))
{
}

template <class Cell>
void DenseVector<Cell>::swap(DenseVector& other) noexcept
{
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
}

template <class Cell>
auto AccessTo<Cell>::strided(const Cell* source, std::int32_t size, std::int64_t step) -> V
{
    return adopt(copied(Line<const Cell>{source, size, step}), size);
}

template <class Cell>
auto DenseVector<Cell>::Clone() const -> V
{
    return {copied(line()), mCells};
}

template <class Cell>
Line<Cell> DenseVector<Cell>::line()
{
    return {cells(), mCells, 1};
}

template <class Cell>
Line<const Cell> DenseVector<Cell>::line() const
{
    return {cells(), mCells, 1};
}

// ---- access and size

template <class Cell>
void DenseVector<Cell>::Length(std::int32_t value)
{
    if (value != mCells) self().Resize(value);
}

template <class Cell>
std::vector<Cell> DenseVector<Cell>::ToArray() const
{
    return std::vector<Cell>(cells(), cells() + mCells);
}

template <class Cell>
DenseVector<Cell>::operator M() const
{
    return AccessTo<Cell>::copyOf(cells(), mCells, 1);
}

template <class Cell>
void DenseVector<Cell>::resizeTo(std::int32_t size)
{
    DenseVector fresh(size);
    std::copy_n(cells(), std::min(size, mCells), fresh.cells());
    swap(fresh);
}

template <class Cell>
void DenseVector<Cell>::FillRandom(double lowerBound, double upperBound, std::int32_t decimals)
{
    fillRandom(cells(), mCells, lowerBound, upperBound, decimals);
}

// ---- reductions and tests

template <class Cell>
Cell DenseVector<Cell>::Sum() const
{
    return sumOf(line());
}

template <class Cell>
double DenseVector<Cell>::AbsSum() const
{
    return blas::asum(mCells, cells(), 1);
}

template <class Cell>
double DenseVector<Cell>::Norm() const
{
    return blas::nrm2(mCells, cells(), 1);
}

template <class Cell>
bool DenseVector<Cell>::HasINFs() const
{
    return anyInfinite(cells(), mCells);
}

template <class Cell>
bool DenseVector<Cell>::HasNaNs() const
{
    return anyNaN(cells(), mCells);
}

template <class Cell>
bool DenseVector<Cell>::IsFinite() const
{
    return allFinite(cells(), mCells);
}

} // namespace Velmar::Lintrix::detail
