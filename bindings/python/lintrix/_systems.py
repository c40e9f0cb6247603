"""Linear systems."""

from __future__ import annotations

import os
import warnings
import weakref
from typing import TYPE_CHECKING, Any, Callable, Mapping, Optional, Tuple, Type, Union

import numpy as np

from . import _lintrix
from ._errors import AccuracyWarning, SolveError
from ._inputs import (
    COMPLEX,
    REAL,
    as_columns,
    as_matrix,
    cells_of,
    is_sparse,
    native,
    native_array,
    native_rows,
    real_number,
    require_cells,
    whole_number,
)
from ._threads import num_threads
from ._verdict import Forecast, Inertia, Verdict

if TYPE_CHECKING:
    from scipy.sparse.linalg import LinearOperator

    from ._inputs import Array, Cells

_OPS = {"none": 0, "transpose": 1, "adjoint": 2}
_CHECKS = {"raise": 2, "warn": 1, "none": 0}
_TYPES = {None: None, "unsymmetric": 0, "structurally symmetric": 1, "positive definite": 2, "indefinite": 3}
_ORDERINGS = {None: None, "minimum degree": 0, "nested dissection": 2, "parallel nested dissection": 3}

Progress = Callable[[float, float], object]
Path = Union[str, "os.PathLike[str]"]


class LinearSystem:
    """op(A) X = B for one matrix and any number of right-hand sides.

    >>> import numpy as np
    >>> import scipy.sparse as sp
    >>> import lintrix
    >>> A = sp.diags([-1.0, 4.0, -1.0], [-1, 0, 1], shape=(50, 50), format="csr")
    >>> system = lintrix.LinearSystem(A)
    >>> x, verdict = system.solve(A @ np.ones(50))
    >>> bool(np.allclose(x, 1.0)), verdict.status
    (True, 'accurate')
    >>> system.update(2.0 * A), system.solve(A @ np.ones(50))[0].round(12)[0]
    ('values', 0.5)

    A is a NumPy array, or a sparse matrix or array of SciPy in any format, real or complex, of any shape: square; tall,
    solved in the least-squares sense; or wide, solved with smallest norm. The system keeps a copy. `dtype` complex makes
    a complex system of a real matrix, which then takes complex right-hand sides.

    Options:

    type
        "unsymmetric", "structurally symmetric", "positive definite" or "indefinite"; else as the values suggest.
    ordering
        "minimum degree", "nested dissection" or "parallel nested dissection"; else what takes less time in all.
    error_bounds
        So many right-hand sides have their error bounded, those with the largest backward errors. 0: none, and neither
        condition nor inertia is told.
    refine
        Steps of iterative refinement at most; below 0 with residuals in extended precision.
    certain_inertia
        Factorizes shifted matrices where the factor leaves signs of eigenvalues uncertain.
    reuse_factor
        After an update with other values the factor at hand is a preconditioner as long as it pays.
    same_bits
        The same bits for any number of threads: work is cut the same way always, and dense work runs on one thread.
    out_of_core
        The factor in files; else only where memory has no room for it. They stand in a folder of their own below
        $TMPDIR or /var/tmp, which goes with the system, unless the variables of the library say otherwise.
    memory_budget
        Bytes of all that the system holds.
    progress
        Is called with the operations done and those there are in all, from any thread. What it raises ends the run.

    A call that is ended by its `deadline` (in seconds), by Ctrl-C or by a failure leaves the system as it was. Several
    threads may call one system, and solve at once where a sparse factor in memory serves.
    """

    def __init__(
        self,
        A: Any,
        *,
        dtype: Any = None,
        type: Optional[str] = None,
        ordering: Optional[str] = None,
        error_bounds: int = 4,
        refine: int = 0,
        certain_inertia: bool = False,
        reuse_factor: bool = False,
        same_bits: bool = False,
        out_of_core: bool = False,
        memory_budget: Optional[float] = None,
        progress: Optional[Progress] = None,
    ) -> None:
        A = as_matrix(A)
        self._cells = np.promote_types(cells_of(A.dtype), cells_of(np.dtype(dtype)) if dtype else REAL)
        options = _options(
            type, ordering, error_bounds, refine, certain_inertia, reuse_factor, same_bits, out_of_core, memory_budget
        )
        options.progress = self._relay(progress)
        self._system: _lintrix._System = _class_for(self._cells)(native(A, self._cells), options)
        self._verdict: Optional[Verdict] = None

    @classmethod
    def load(
        cls,
        path: Path,
        *,
        type: Optional[str] = None,
        ordering: Optional[str] = None,
        error_bounds: int = 4,
        refine: int = 0,
        certain_inertia: bool = False,
        reuse_factor: bool = False,
        same_bits: bool = False,
        out_of_core: bool = False,
        memory_budget: Optional[float] = None,
        progress: Optional[Progress] = None,
    ) -> LinearSystem:
        """A system that `save` has written, as it was: the first solve is by the factor that was saved."""
        options = _options(
            type, ordering, error_bounds, refine, certain_inertia, reuse_factor, same_bits, out_of_core, memory_budget
        )
        with open(path, "rb") as file:
            content = file.read(24)[16:]
        system = cls.__new__(cls)
        options.progress = system._relay(progress)
        system._cells = COMPLEX if content.startswith(b"complex") else REAL
        system._system = _class_for(system._cells).load(os.fsencode(path), options)
        system._verdict = None
        return system

    def _relay(self, progress: Optional[Progress]) -> Optional[Progress]:
        """The native part holds no listener, which may hold this system: no one would find such a circle."""
        self._progress = progress
        if progress is None:
            return None
        system = weakref.ref(self)
        return lambda done, all: system()._progress(done, all)  # type: ignore[union-attr,misc]

    def save(self, path: Path) -> None:
        """Writes matrix, analysis and factor of a square sparse system, as far as they are made."""
        self._system.save(os.fsencode(path))

    @property
    def shape(self) -> Tuple[int, int]:
        """Rows and columns of A."""
        return self._system.shape

    @property
    def dtype(self) -> Cells:
        """float64 or complex128."""
        return self._cells

    @property
    def analyses(self) -> int:
        """How many there were."""
        return self._system.analyses

    @property
    def factorizations(self) -> int:
        """How many there were."""
        return self._system.factorizations

    def analyse(self, *, deadline: Optional[float] = None) -> Forecast:
        """Analyses the pattern, if that is not done yet, and tells what the factorization is going to take."""
        return Forecast(**self._system.forecast(real_number(deadline, "deadline")))

    def factorize(self, *, deadline: Optional[float] = None) -> str:
        """Makes the factor by the best road. Returns "accurate", "degraded" or "failed", a verdict on the factor."""
        return self._system.factorize(real_number(deadline, "deadline"))

    def solve(
        self, b: Any, *, op: str = "none", check: str = "raise", deadline: Optional[float] = None
    ) -> Tuple[Optional[Array], Verdict]:
        """X with op(A) X = B, of the shape of B, and a verdict on it; `op` is "none", "transpose" or "adjoint".

        A failed solution raises `SolveError`, a degraded one warns with `AccuracyWarning`; check="warn" warns of both,
        check="none" leaves all to the caller. x is None where no road led to any. It stands over the memory of the
        library, column by column: nothing is copied.
        """
        level = _chosen(_CHECKS, check, "check")
        x, verdict = self._solved(b, _chosen(_OPS, op, "op"), deadline)
        _judge(x, verdict, level)
        return x, verdict

    def _solved(self, b: Any, op: int, deadline: Optional[float]) -> Tuple[Optional[Array], Verdict]:
        b = as_columns(b)
        if np.promote_types(cells_of(b.dtype), self._cells) != self._cells:
            raise TypeError("A real system takes no complex right-hand side; LinearSystem(A, dtype=complex) does")
        require_cells(max(self.shape), b.size // max(b.shape[0], 1) + 1)  # x, and the probe beside it
        seconds = real_number(deadline, "deadline")
        x, told = self._system.solve(native_array(b, self._cells), op, seconds)
        self._verdict = verdict = Verdict.of(told)
        return x.reshape(-1) if x is not None and b.ndim == 1 else x, verdict

    def update(self, A: Any) -> str:
        """Goes on with other values or another pattern, and repeats no more than it must.

        Tells what has changed: "none", "values" (the analysis stands) or "pattern". Only square sparse systems can be
        updated.
        """
        A = as_matrix(A)
        if not is_sparse(A):
            raise TypeError("A system is updated with a sparse matrix")
        if np.promote_types(cells_of(A.dtype), self._cells) != self._cells:
            raise TypeError("A real system cannot be updated with a complex matrix")
        changed: str = self._system.update(native_rows(A, self._cells))
        self._verdict = None
        return changed

    @property
    def condition(self) -> Optional[float]:
        """||A|| ||inverse of A|| in the 1-norm, estimated through the factor, which is made where there is none."""
        return self._judged().condition

    @property
    def inertia(self) -> Optional[Inertia]:
        """Signs of the eigenvalues of a sparse symmetric or Hermitian matrix, by the factor."""
        return self._judged().inertia

    def _judged(self) -> Verdict:
        """A verdict on this matrix, of the last solve or of one that asks for nothing else."""
        verdict = self._verdict
        if verdict is None:
            verdict = self._solved(np.ones(self.shape[0]), _OPS["none"], None)[1]
        return verdict

    def as_linear_operator(self, *, check: str = "raise") -> LinearOperator:
        """The inverse of A as an operator of SciPy, for a preconditioner or shift-invert; of a matrix that is not square
        the pseudo-inverse. It takes complex vectors, too. `check` is as for `solve`, but there is always a result.

        >>> import numpy as np
        >>> import lintrix
        >>> inverse = lintrix.LinearSystem(np.diag([1.0, 2.0, 4.0])).as_linear_operator()
        >>> inverse @ np.ones(3)
        array([1.  , 0.5 , 0.25])
        """
        from scipy.sparse.linalg import LinearOperator

        _chosen(_CHECKS, check, "check")

        def apply(b: Array, op: str) -> Array:
            if np.iscomplexobj(b) and self._cells == REAL:
                real, imaginary = apply(b.real, op), apply(b.imag, op)
                return real.astype(COMPLEX) + 1j * imaginary
            x, verdict = self.solve(b, op=op, check=check)
            if x is None:
                raise _failure(x, verdict)
            return x

        def forward(b: Array) -> Array:
            return apply(b, "none")

        def adjoint(b: Array) -> Array:
            return apply(b, "adjoint")

        rows, cols = self.shape
        return LinearOperator(
            (cols, rows), matvec=forward, rmatvec=adjoint, matmat=forward, rmatmat=adjoint, dtype=self._cells
        )

    def __repr__(self) -> str:
        rows, cols = self.shape
        return f"<LinearSystem: {rows} x {cols}, {self._cells}>"


def solve(
    A: Any,
    b: Any,
    *,
    op: str = "none",
    check: str = "raise",
    threads: Optional[int] = None,
    deadline: Optional[float] = None,
    memory_budget: Optional[float] = None,
    type: Optional[str] = None,
    ordering: Optional[str] = None,
    error_bounds: int = 4,
    refine: int = 0,
    certain_inertia: bool = False,
    same_bits: bool = False,
    out_of_core: bool = False,
    progress: Optional[Progress] = None,
) -> Tuple[Optional[Array], Verdict]:
    """X with op(A) X = B, of the shape of B, and a verdict on it.

    >>> import numpy as np
    >>> import scipy.sparse as sp
    >>> import lintrix
    >>> A = sp.csr_matrix([[1.0, 1.0], [0.0, 1e-3], [1.0, 0.0]])   # more equations than unknowns
    >>> x, verdict = lintrix.solve(A, [3.0, 2e-3, 1.0])
    >>> x.round(9), verdict.status
    (array([1., 2.]), 'accurate')

    A right-hand side that none can solve raises:

    >>> lintrix.solve(np.ones((2, 2)), [1.0, 2.0])
    Traceback (most recent call last):
    ...
    lintrix.SolveError: There is no good solution: singular.

    `op`, `check` and the result are as told at `LinearSystem.solve`, all else at `LinearSystem`. `threads` is how many
    threads may work meanwhile, in the whole process; `deadline` how many seconds analysis, factorization and solve may take.
    """
    level = _chosen(_CHECKS, check, "check")
    A, b = as_matrix(A), as_columns(b)
    with num_threads(threads):
        system = LinearSystem(
            A,
            dtype=b.dtype,
            type=type,
            ordering=ordering,
            error_bounds=error_bounds,
            refine=refine,
            certain_inertia=certain_inertia,
            same_bits=same_bits,
            out_of_core=out_of_core,
            memory_budget=memory_budget,
            progress=progress,
        )
        x, verdict = system._solved(b, _chosen(_OPS, op, "op"), deadline)
    _judge(x, verdict, level)
    return x, verdict


def _class_for(cells: Cells) -> Type[_lintrix._System]:
    return _lintrix.ComplexSystem if cells == COMPLEX else _lintrix.RealSystem


def _options(
    type: Optional[str],
    ordering: Optional[str],
    error_bounds: int,
    refine: int,
    certain_inertia: bool,
    reuse_factor: bool,
    same_bits: bool,
    out_of_core: bool,
    memory_budget: Optional[float],
) -> _lintrix.Options:
    options = _lintrix.Options()
    options.type = _chosen(_TYPES, type, "type")
    options.ordering = _chosen(_ORDERINGS, ordering, "ordering")
    options.error_bounds = whole_number(error_bounds, "error_bounds")
    options.refine = whole_number(refine, "refine")
    options.certain_inertia = certain_inertia
    options.reuse_factor = reuse_factor
    options.same_bits = same_bits
    options.out_of_core = out_of_core
    options.memory_budget = real_number(memory_budget, "memory_budget")
    return options


def _chosen(choices: Mapping[Any, Any], word: Optional[str], name: str) -> Any:
    if word not in choices:
        words = ", ".join(repr(choice) for choice in choices)
        raise ValueError(f"{name} is {word!r}, and has to be one of {words}")
    return choices[word]


def _judge(x: Optional[Array], verdict: Verdict, level: int) -> None:
    """Raises or warns as it was asked for."""
    if verdict.status == "failed" and level > 1:
        raise _failure(x, verdict)
    if not verdict and level > 0:
        warnings.warn(AccuracyWarning(_first_line(verdict), verdict), stacklevel=3)


def _failure(x: Optional[Array], verdict: Verdict) -> SolveError:
    return SolveError(_first_line(verdict), verdict, x)


def _first_line(verdict: Verdict) -> str:
    return verdict.explain().splitlines()[0]
