"""Arrays as the native part takes them: native doubles or complex numbers, copied only where the layout asks for it."""

from __future__ import annotations

import sys
from typing import TYPE_CHECKING, Any, Union

import numpy as np

from . import _lintrix
from ._errors import ArgumentError

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Array = NDArray[Any]
    Cells = np.dtype[Any]

REAL, COMPLEX = np.dtype(np.float64), np.dtype(np.complex128)


def is_sparse(A: Any) -> bool:
    """Whoever has a sparse matrix has imported SciPy."""
    sparse = sys.modules.get("scipy.sparse")
    return sparse is not None and bool(sparse.issparse(A))


def as_matrix(A: Any) -> Any:
    """A sparse matrix as it is, or an array of two dimensions that holds numbers."""
    if not is_sparse(A):
        A = np.asarray(A)
    if len(A.shape) != 2:
        raise ValueError(f"A matrix has two dimensions, not {len(A.shape)}")
    cells_of(A.dtype)
    return A


def as_columns(b: Any) -> Array:
    """Right-hand sides: an array of one or two dimensions that holds numbers."""
    columns = np.asarray(b.toarray() if is_sparse(b) else b)
    if columns.ndim not in (1, 2):
        raise ValueError(f"Right-hand sides have one or two dimensions, not {columns.ndim}")
    cells_of(columns.dtype)
    return columns


def cells_of(dtype: Cells) -> Cells:
    """The native type of cell that holds all numbers of a type."""
    if dtype.kind == "c":
        return COMPLEX
    if dtype.kind in "biuf":
        return REAL
    raise TypeError(f"{dtype} is no type of number")


def require_cells(rows: int, cols: int) -> None:
    """A dense matrix has fewer than 2^31 cells, which the library leaves to its callers."""
    if rows * cols >= 2**31:
        raise ArgumentError("Invalid number of rows or columns.")


def native(A: Any, cells: Cells) -> Union[_lintrix.Rows, Array]:
    """Compressed rows, or an array of any layout. Where the arrays of A fit they are passed on as they are."""
    return native_rows(A, cells) if is_sparse(A) else native_array(A, cells)


def native_array(A: Array, cells: Cells) -> Array:
    """Of any layout."""
    return A.astype(cells, copy=False, subok=False)


def native_rows(A: Any, cells: Cells) -> _lintrix.Rows:
    """Of a sparse matrix."""
    rows = A.tocsr()
    used = int(rows.indptr[-1])  # the arrays may be longer
    both_narrow = rows.indices.dtype == rows.indptr.dtype == np.int32
    index = np.dtype(np.int32 if both_narrow else np.int64)
    values, columns, starts = (
        np.require(array, dtype, ["C", "A"])
        for array, dtype in ((rows.data[:used], cells), (rows.indices[:used], index), (rows.indptr, index))
    )
    return _lintrix.Rows(rows.shape[0], rows.shape[1], values, columns, starts)
