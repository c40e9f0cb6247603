"""Arrays as the native part takes them: native doubles or complex numbers, copied only where the layout asks for it."""

from __future__ import annotations

import numbers
import operator
import sys
from typing import TYPE_CHECKING, Any, Optional, Union

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


def as_array(x: Any) -> Array:
    """As NumPy takes it; a masked array has elements that are missing, which no computation here can leave out."""
    if isinstance(x, np.ma.MaskedArray):
        raise ValueError("Masked arrays are not supported; x.filled(value) says what stands for what is masked")
    return np.asarray(x)


def as_matrix(A: Any) -> Any:
    """A sparse matrix as it is, or an array of two dimensions that holds numbers."""
    if not is_sparse(A):
        A = as_array(A)
    if len(A.shape) != 2:
        raise ValueError(f"A matrix has two dimensions, not {len(A.shape)}")
    cells_of(A.dtype)
    return A


def as_columns(b: Any) -> Array:
    """Right-hand sides: an array of one or two dimensions that holds numbers."""
    columns = as_array(b.toarray() if is_sparse(b) else b)
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


def whole_number(value: Any, name: str, least: int = -(2**31), most: int = 2**31 - 1) -> int:
    """A number of Python's or NumPy's without a fraction, in its range."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} has to be a whole number, not {value!r}") from None
    if not least <= number <= most:
        raise ArgumentError(f"{name} is {number}, and has to be from {least} to {most}")
    return number


def real_number(value: Any, name: str) -> Optional[float]:
    """Of Python or of NumPy; None stays."""
    if value is not None and not isinstance(value, numbers.Real):
        raise TypeError(f"{name} has to be a number, not {value!r}")
    return None if value is None else float(value)


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
