"""The largest singular values of a sparse matrix."""

from __future__ import annotations

import warnings
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Callable, Dict, Optional, Tuple, Union

import numpy as np

from . import _lintrix
from ._errors import AccuracyWarning, ArgumentError, ConvergenceError
from ._inputs import COMPLEX, as_array, as_matrix, cells_of, native, real_number, require_cells, whole_number
from ._threads import num_threads

if TYPE_CHECKING:
    from ._inputs import Array


@dataclass(frozen=True)
class Certificate:
    """Whether a larger singular value may have been passed over.

    `certainty` is "certain" (none was), "missed", "undecided" (`reason` tells why) or "not asked". `above` values lie
    above `bound`, multiplicities counted; `recovered` of these had been passed over at first.
    """

    certainty: str
    bound: float
    above: int
    recovered: int
    reason: str


class SvdsResult(Tuple[Any, Any, Any]):
    """(u, s, vh), and what is told of them.

    `residuals` are the larger of ||A v - s u|| and ||A^H u - s v|| of each triplet, relative to the largest value;
    `certificate`, `restarts` and `products` of A with a vector.
    """

    residuals: Array
    certificate: Certificate
    restarts: int
    products: int


def svds(
    A: Any,
    k: int = 6,
    *,
    which: str = "LM",
    tol: float = 0.0,
    v0: Any = None,
    return_singular_vectors: Union[bool, str] = True,
    certify: bool = False,
    check: str = "raise",
    block: int = 1,
    basis: int = 0,
    maxiter: int = 1000,
    seed: int = 17,
    threads: Optional[int] = None,
    deadline: Optional[float] = None,
    memory_budget: Optional[float] = None,
    progress: Optional[Callable[[float, float], object]] = None,
) -> Union[SvdsResult, Array]:
    """The k largest singular values with their vectors, in the shape of `scipy.sparse.linalg.svds`, smallest first.

    >>> import numpy as np
    >>> import scipy.sparse as sp
    >>> import lintrix
    >>> A = sp.diags([5.0, 4.0, 3.0, 3.0, 1.0], format="csr")
    >>> result = lintrix.svds(A, k=4, certify=True)
    >>> u, s, vh = result
    >>> s.round(12)
    array([3., 3., 4., 5.])
    >>> result.certificate.certainty
    'certain'

    A is a sparse matrix or array of SciPy, or a NumPy array; k goes up to min(A.shape). Values that are zero, and those of
    a zero matrix, come with orthonormal vectors, too.

    tol
        The residual of a triplet that is good enough, relative to the largest value; 0: 1e-10.
    v0
        A guess of a right singular vector, of as many finite elements as A has columns.
    return_singular_vectors
        False: the values alone are returned. "u" and "vh": the other vectors are None.
    certify
        Proves by a factorization that no larger value was passed over, and finds those that were.
    check
        "raise": triplets above the tolerance raise `ConvergenceError`, and a certificate that is asked for and is not
        certain warns with `AccuracyWarning`; "warn": both warn; "none": neither.
    block, basis, maxiter, seed, memory_budget
        Vectors of a step, vectors of a basis at most, restarts at most, the seed of the start vectors, and bytes that may
        be taken besides the matrix.

    Further arguments are as for `solve`. u has its columns and vh its rows in the memory of the library: of a real matrix
    nothing is copied.
    """
    if which != "LM":
        raise ValueError('which has to be "LM": the largest singular values')
    if return_singular_vectors not in (True, False, "u", "vh"):
        raise ValueError('return_singular_vectors has to be True, False, "u" or "vh"')
    if check not in ("raise", "warn", "none"):
        raise ValueError('check has to be "raise", "warn" or "none"')
    A = as_matrix(A)
    k, block = whole_number(k, "k", 1, max(1, min(A.shape))), whole_number(block, "block", 1)
    basis, maxiter = whole_number(basis, "basis", 0), whole_number(maxiter, "maxiter", 0)
    seed = whole_number(seed, "seed", 0, 2**64 - 1)
    require_cells(max(A.shape), k)
    guess = None if v0 is None else as_array(v0).reshape(-1)
    cells = cells_of(A.dtype) if guess is None else np.promote_types(cells_of(A.dtype), cells_of(guess.dtype))
    if guess is not None:
        guess = np.ascontiguousarray(guess, cells)
    tolerance, budget = real_number(tol, "tol") or 1e-10, real_number(memory_budget, "memory_budget")
    options = _lintrix.SvdOptions(tolerance, basis, block, maxiter, budget, seed, certify, progress)
    with num_threads(threads):
        decompose = _lintrix.complex_svd if cells == COMPLEX else _lintrix.real_svd
        told = decompose(native(A, cells), k, guess, options, real_number(deadline, "deadline"))
    result = _result(told, return_singular_vectors)
    _judge(told, result, certify, check)
    return result if return_singular_vectors else result[1]


def _result(told: Dict[str, Any], vectors: Union[bool, str]) -> SvdsResult:
    """Smallest first, as views."""
    u, v = told["u"][:, ::-1], told["v"][:, ::-1]
    parts = (u if vectors in (True, "u") else None), told["s"][::-1], (v.conj().T if vectors in (True, "vh") else None)
    result = SvdsResult(parts)
    result.residuals = np.array(told["residuals"])[::-1]
    result.certificate = Certificate(
        *(told[name] for name in ("certainty", "bound", "above", "recovered", "reason"))
    )
    result.restarts, result.products = told["restarts"], told["products"]
    return result


def _judge(told: Dict[str, Any], result: SvdsResult, certify: bool, check: str) -> None:
    if told["outcome"] == "not finite":
        raise ArgumentError("The matrix holds a NaN or an infinity")
    if told["outcome"] == "not converged":
        text = f"{told['converged']} of {len(told['s'])} triplets are within the tolerance"
        if check == "raise":
            raise ConvergenceError(text, result)
        if check == "warn":
            warnings.warn(AccuracyWarning(text), stacklevel=3)
    if certify and result.certificate.certainty != "certain" and check != "none":
        why = result.certificate.reason or f"{result.certificate.above} values are above the bound"
        warnings.warn(AccuracyWarning(f"{result.certificate.certainty}: {why}"), stacklevel=3)
