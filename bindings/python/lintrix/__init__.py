"""Linear systems and singular values that come with a verdict.

>>> import numpy as np
>>> import lintrix
>>> A = np.array([[4.0, -1.0, 0.0], [-1.0, 4.0, -1.0], [0.0, -1.0, 4.0]])
>>> x, verdict = lintrix.solve(A, [2.0, 4.0, 10.0])
>>> x.round(12)
array([1., 2., 3.])
>>> verdict.status
'accurate'

`solve` takes NumPy arrays and SciPy's sparse matrices and arrays; `LinearSystem` keeps the factor for further right-hand
sides; `svds` finds the largest singular values of a sparse matrix; `read_matrix_market` and `write_matrix_market` are for
files. Whatever is done runs without the interpreter's lock and is ended by Ctrl-C.
"""

from . import _lintrix  # before NumPy, which may bring another build of the BLAS under the same name
from ._errors import (
    AccuracyWarning,
    ArgumentError,
    ConvergenceError,
    DeadlineError,
    Error,
    FileFormatError,
    OperationError,
    OutOfMemoryError,
    SavedSystemError,
    SolveError,
)
from ._matrix_market import read_matrix_market, write_matrix_market
from ._svds import Certificate, SvdsResult, svds
from ._systems import LinearSystem, solve
from ._threads import describe_blas, get_num_threads, num_threads, set_num_threads, warn_of_other_blas
from ._verdict import ColumnQuality, Forecast, Inertia, Verdict

__version__ = _lintrix.version()

__all__ = [
    "AccuracyWarning",
    "ArgumentError",
    "Certificate",
    "ColumnQuality",
    "ConvergenceError",
    "DeadlineError",
    "Error",
    "FileFormatError",
    "Forecast",
    "Inertia",
    "LinearSystem",
    "OperationError",
    "OutOfMemoryError",
    "SavedSystemError",
    "SolveError",
    "SvdsResult",
    "Verdict",
    "describe_blas",
    "get_num_threads",
    "num_threads",
    "read_matrix_market",
    "set_num_threads",
    "solve",
    "svds",
    "write_matrix_market",
]

for _name in __all__:
    if _name.endswith(("Error", "Warning")):
        globals()[_name].__module__ = __name__  # as it is told where it is not caught

warn_of_other_blas(describe_blas())
