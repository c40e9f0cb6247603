"""Matrix Market files."""

from __future__ import annotations

import os
from typing import Any, Union

import numpy as np

from . import _lintrix
from ._inputs import as_columns, cells_of, is_sparse, native_array, native_rows

Path = Union[str, "os.PathLike[str]"]


def read_matrix_market(path: Path) -> Any:
    """A coordinate file as `scipy.sparse.csr_array`, an array file as NumPy array; real or complex, both triangles.

    Files may be compressed by gzip. Entries at one place are added up, and the ones of a pattern are 1.0. The values are
    in the memory of the library, and an array stands there column by column: neither is copied.

    >>> import os, tempfile
    >>> import scipy.sparse as sp
    >>> import lintrix
    >>> path = os.path.join(tempfile.mkdtemp(), "a.mtx.gz")
    >>> lintrix.write_matrix_market(path, sp.csr_matrix([[2.0, 1.0], [1.0, 0.0]]))
    >>> lintrix.read_matrix_market(path).toarray()
    array([[2., 1.],
           [1., 0.]])
    """
    os.stat(path)  # raises what Python's own functions raise
    read = _lintrix.read_matrix_market(os.fsencode(path))
    if isinstance(read, np.ndarray):
        return read
    from scipy.sparse import csr_array

    shape, values, columns, starts = read
    return csr_array((values, columns, starts), shape=shape)


def write_matrix_market(path: Path, A: Any, *, general: bool = False) -> None:
    """Writes a sparse matrix as coordinate file, an array of one or two dimensions as array file.

    Of a sparse matrix that is symmetric, skew-symmetric or Hermitian to the bit one triangle is written, unless `general`
    asks for all of it. A name that ends in ".gz" has the file compressed. Each number has as many digits as bring it back
    bit by bit; a NaN or an infinity is refused.
    """
    if is_sparse(A):
        _lintrix.write_sparse(os.fsencode(path), native_rows(A, cells_of(A.dtype)), general)
    else:
        A = as_columns(A)
        _lintrix.write_dense(os.fsencode(path), native_array(A, cells_of(A.dtype)))
